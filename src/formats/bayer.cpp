/// @file bayer.cpp
/// Full colour from a mosaic: the rows that are held, and in which order the steps are done.
#include "formats/bayer.h"

#include <algorithm>
#include <utility>

#include "formats/bayer_kernel_sets.h"
#include "platform/cpu.h"

namespace rastrel {

namespace {

/// Mirrors a coordinate into 0 .. `size` - 1 without repeating the edge. Sites keep their colour, except on an axis of
/// one pixel.
std::int64_t mirrored(std::int64_t at, std::int64_t size) noexcept {
    if (size == 1) return 0;
    const std::int64_t period = 2 * (size - 1);
    const std::int64_t place = ((at % period) + period) % period;
    return place < size ? place : period - place;
}

/// Fills the margins of one row's columns: `half` holds those of parity `parity`, `other` those of the other one.
void fillMargin(std::uint16_t* half, const std::uint16_t* other, std::int64_t parity, std::int64_t width) noexcept {
    const auto fill = [&](std::ptrdiff_t i) noexcept {
        const std::int64_t column = mirrored(2 * i + parity, width);
        half[i] = column % 2 == parity ? half[column / 2] : other[column / 2];
    };
    const auto columns = static_cast<std::ptrdiff_t>((width + 1 - parity) / 2);
    for (std::ptrdiff_t i = 1; i <= kBayerMargin; ++i)
        fill(-i);
    // One more than the margin: the odd columns of an odd width are one fewer than the sites that are computed.
    for (std::ptrdiff_t i = 0; i <= kBayerMargin; ++i)
        fill(columns + i);
}

} // namespace

const BayerKernels& bayerKernels() noexcept { return cpuFeatures().avx2 ? kBayerAvx2 : kBayerBaseline; }

std::span<const BayerKernels* const> availableBayerKernels() noexcept {
    static constexpr std::array<const BayerKernels*, 2> kSets{&kBayerBaseline, &kBayerAvx2};
    return std::span(kSets).first(cpuFeatures().avx2 ? 2 : 1);
}

BayerRows::BayerRows(std::uint32_t width, std::uint32_t height, Load load, const BayerKernels& kernels)
    : width_(width), height_(height), load_(std::move(load)), kernels_(kernels) {
    constexpr std::size_t kArrays = 7;
    // Rounded up so that each array begins on a vector's boundary relative to the first.
    const std::size_t sites = (std::size_t{width} + 1) / 2 + 2 * static_cast<std::size_t>(kBayerMargin) + 1;
    const std::size_t stride = (sites + 31) / 32 * 32;
    storage_.resize(kArrays * kRing * stride);
    std::size_t taken = 0;
    const auto take = [&] { return storage_.data() + stride * taken++ + kBayerMargin; };
    for (BayerRow& row : rows_)
        row = {take(), take(), take(), take(), take(), take(), take()};
    // What lies above the first row, as far as the neighbours of its neighbours reach.
    for (std::int64_t y = -5; y < 5; ++y)
        fetch(y);
}

void BayerRows::fetch(std::int64_t y) {
    const bool odd = (y & 1) != 0;
    const BayerRow& row = at(y);
    std::uint16_t* const evenColumns = odd ? row.green : row.color;
    std::uint16_t* const oddColumns = odd ? row.color : row.green;
    load_(static_cast<std::uint32_t>(mirrored(y, height_)), evenColumns, oddColumns);
    fillMargin(evenColumns, oddColumns, 0, width_);
    fillMargin(oddColumns, evenColumns, 1, width_);
    // Estimates need two rows below theirs, decisions the estimates of two rows below.
    const auto sites = static_cast<std::ptrdiff_t>((std::uint64_t{width_} + 1) / 2);
    kernels_.estimate(at(y - 4), at(y - 3), at(y - 2), at(y - 1), at(y), sites, odd);
    kernels_.vary(at(y - 4), at(y - 2), sites);
    kernels_.decide(at(y - 6), at(y - 5), at(y - 4), at(y - 3), at(y - 2), sites, odd);
    decideBorder(y - 4);
}

void BayerRows::decideBorder(std::int64_t y) {
    const auto sites = static_cast<std::ptrdiff_t>((std::uint64_t{width_} + 1) / 2);
    const bool mirroredRows = y < 2 || y + 2 >= height_;
    const std::ptrdiff_t inner = mirroredRows ? 1 : std::max<std::ptrdiff_t>(sites - 2, 1);
    decideAtBorder(y, -1, mirroredRows);
    decideAtBorder(y, 0, mirroredRows);
    for (std::ptrdiff_t i = inner; i <= sites; ++i)
        decideAtBorder(y, i, mirroredRows);
}

void BayerRows::decideAtBorder(std::int64_t y, std::ptrdiff_t i, bool mirroredRows) {
    const BayerRow& row = at(y);
    const BayerRow& above = at(y - 1);
    const BayerRow& above2 = at(y - 2);
    const BayerRow& below2 = at(y + 2);
    const bool odd = (y & 1) != 0;
    const std::ptrdiff_t left = odd ? i : i - 1;
    const std::int64_t x = 2 * i + (odd ? 1 : 0);
    const bool mirroredColumns = x < 2 || x + 2 >= width_;
    if (!mirroredColumns && !mirroredRows) return;
    const auto pair = [](const std::uint16_t* variations, std::ptrdiff_t place) {
        return variations[place - 1] + variations[place];
    };
    const int across = 3 * pair(row.rowVariation, i) + pair(above2.rowVariation, i) + pair(below2.rowVariation, i) +
                       above.rowVariation[left] + at(y + 1).rowVariation[left];
    const int down = 3 * (above2.columnVariation[i] + row.columnVariation[i]) + above2.columnVariation[i - 1] +
                     row.columnVariation[i - 1] + above2.columnVariation[i + 1] + row.columnVariation[i + 1] +
                     pair(above.columnVariation, left + 1);
    const bool clearlyRow = 2 * across < down;
    const bool clearlyColumn = 2 * down < across;
    if (clearlyRow || (!mirroredColumns && !clearlyColumn)) {
        row.colorGreen[i] = row.greenAlongRow[i];
    } else if (clearlyColumn || !mirroredRows) {
        row.colorGreen[i] = row.greenAlongColumn[i];
    } else {
        row.colorGreen[i] = static_cast<std::uint16_t>((row.greenAlongRow[i] + row.greenAlongColumn[i]) >> 1);
    }
}

void BayerRows::next(std::uint16_t* rgb) {
    fetch(y_ + 5);
    kernels_.emit(at(y_ - 1), at(y_), at(y_ + 1), width_, (y_ & 1) != 0, rgb);
    ++y_;
}

} // namespace rastrel
