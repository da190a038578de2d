/// @file orf_curve.cpp
/// From the 12-bit values of a raw file to 16 bits.
#include "formats/orf_curve.h"

namespace rastrel {

namespace {

constexpr std::array<std::uint16_t, 4096> kCurve = makeOrfCurve();
constexpr std::uint16_t kSampleMask = 0xFFF;

/// The largest values by parity of the column, in lanes of neighbouring columns: the samples are looked at in order.
SitePair largestOfRow(const std::uint16_t* row, std::size_t count) noexcept {
    constexpr std::size_t kLanes = 16;
    std::array<std::uint16_t, kLanes> largest{};
    const auto take = [&](std::size_t lane, std::uint16_t sample) noexcept {
        const auto value = static_cast<std::uint16_t>(sample & kSampleMask);
        largest[lane] = value > largest[lane] ? value : largest[lane];
    };
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes)
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            take(lane, row[i + lane]);
    for (std::size_t lane = 0; i + lane < count; ++lane)
        take(lane, row[i + lane]);
    SitePair result{0, 0};
    for (std::size_t lane = 0; lane < kLanes; lane += 2) {
        result.even = largest[lane] > result.even ? largest[lane] : result.even;
        result.odd = largest[lane + 1] > result.odd ? largest[lane + 1] : result.odd;
    }
    return result;
}

} // namespace

SitePair applyOrfCurve(const std::uint16_t* row, std::size_t count, std::uint16_t* even, std::uint16_t* odd) noexcept {
    const std::size_t pairs = count / 2;
    for (std::size_t i = 0; i < pairs; ++i) {
        even[i] = kCurve[row[2 * i] & kSampleMask];
        odd[i] = kCurve[row[2 * i + 1] & kSampleMask];
    }
    if (count % 2 != 0) even[pairs] = kCurve[row[2 * pairs] & kSampleMask];
    return largestOfRow(row, count);
}

} // namespace rastrel
