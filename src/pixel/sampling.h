/// @file sampling.h
/// The short way to an interpolated sample: both pairs of neighbours read where they lie.
#pragma once

#include <cstdint>
#include <string_view>
#include <typeinfo>

#include "image/line_layer.h"
#include "image/reflect.h"
#include "pixel/bilinear.h"
#include "pixel/interchange.h"
#include "pixel/transform.h"
#include "rastrel/rastrel.h"

namespace rastrel {

/// Takes samples of 8-bit pixels, with one instruction set. All of them give the same bytes.
struct ByteSampler {
    std::string_view name;
    pixel_argb8 (*sample)(Rastrel& image, double x, double y);
};

/// Pixel coordinates to sampling position: pixel centres, and y counted from the bottom row upwards.
[[nodiscard]] inline double columnPosition(double x) noexcept { return x - 0.5; }
[[nodiscard]] inline double rowPosition(double y, std::uint32_t height) noexcept { return height - y - 1.0 - 0.5; }

/// A public coordinate for the integer getters: as it is, or brought inside by reflection when 32 bits do not hold it.
[[nodiscard]] inline long coordinateOf(std::int64_t index, unsigned long extent) noexcept {
    if (index == static_cast<std::int32_t>(index)) return static_cast<long>(index);
    const auto n = static_cast<std::uint32_t>(extent);
    return n == 0 ? 0 : static_cast<long>(reflect(index, n));
}

/// The neighbours of a sample in memory, two pixels each, and its position.
struct PixelPairs {
    const unsigned char* upper;
    const unsigned char* lower;
    double column, row;
    std::int64_t ix, iy; ///< the position truncated

    /// Weight of the left neighbours.
    [[nodiscard]] double wx() const noexcept { return 1.0 - (column - static_cast<double>(ix)); }
    /// Weight of the upper neighbours.
    [[nodiscard]] double wy() const noexcept { return 1.0 - (row - static_cast<double>(iy)); }
};

} // namespace rastrel

/// Finds the neighbours of a sample at host coordinates. False unless all four are inside and are just what the image's
/// own operations would give: only the class itself is known to map and to read its pixels like this, stored as `T`,
/// displayed as stored, least significant component first, in memory.
///
/// It serves one call for one sample, so every instruction counts: at random positions it is also their small number
/// that lets the next samples' loads begin before this one's pixels have arrived.
template <class T>
[[gnu::always_inline]] inline bool Rastrel::LineLayer::findPairs(Rastrel& image, double x, double y,
                                                                 rastrel::PixelPairs& pairs) {
    // One address a class: where the addresses differ, the general way is taken.
    if (&typeid(image) != &typeid(Rastrel)) return false;
    // Neighbouring bytes in this form become one load.
    const std::uint32_t display = std::uint32_t{image.transposed} | std::uint32_t{image.mirrorX} << 8 |
                                  std::uint32_t{image.mirrorY} << 16 | std::uint32_t{image.componentOrder} << 24;
    const unsigned model = unsigned{image.colormodel} | unsigned{image.transformActive} << 8;
    if (display != std::uint32_t{1} << 24) return false;
    if (model != kCode<T> && image.colormodel != kCode<T>) return false;
    rastrel::mapForward(image.forwardMatrix, model != kCode<T>, image.bilinearX, image.bilinearY, x, y);
    const std::uint32_t width = image.width;
    const std::uint32_t height = image.height;
    const double column = rastrel::columnPosition(x);
    // `rowPosition` in one step less. With d = height - y that is d - 1.0 - 0.5; from d = 0.5 up to where rows end both
    // steps are exact, and so is this one; below, both ways lead to a row below -1.
    const double row = (height - y) - 1.5;
    // Left of the first centre the neighbours are the same, with a weight above 1.
    const std::int64_t ix = rastrel::truncatedIndex(column);
    const std::int64_t iy = rastrel::truncatedIndex(row);
    if ((ix | iy) < 0 || ix + 1 >= std::int64_t{width} || iy + 1 >= std::int64_t{height}) return false;
    const std::uint64_t upper = static_cast<std::uint64_t>(iy) * width + static_cast<std::uint64_t>(ix);
    const std::uint64_t lower = upper + width;
    if (lower + 2 > image.pixels.GetSizeInMemory() / sizeof(T)) return false;
    pairs.upper = image.pixels.GetDataInMemory() + upper * sizeof(T);
    pairs.lower = image.pixels.GetDataInMemory() + lower * sizeof(T);
    pairs.column = column;
    pairs.row = row;
    pairs.ix = ix;
    pairs.iy = iy;
    return true;
}
