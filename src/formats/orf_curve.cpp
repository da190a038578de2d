/// @file orf_curve.cpp
/// From the 12-bit values of a raw file to 16 bits.
#include "formats/orf_curve.h"

namespace rastrel {

namespace {

constexpr std::array<std::uint16_t, 4096> kCurve = makeOrfCurve();
constexpr unsigned kSampleMask = 0xFFF;

} // namespace

SitePair applyOrfCurve(const std::uint16_t* row, std::size_t count, std::uint16_t* even, std::uint16_t* odd) noexcept {
    unsigned largestEven = 0;
    unsigned largestOdd = 0;
    std::size_t i = 0;
    for (; 2 * i + 1 < count; ++i) {
        const unsigned first = row[2 * i] & kSampleMask;
        const unsigned second = row[2 * i + 1] & kSampleMask;
        largestEven = first > largestEven ? first : largestEven;
        largestOdd = second > largestOdd ? second : largestOdd;
        even[i] = kCurve[first];
        odd[i] = kCurve[second];
    }
    if (2 * i < count) {
        const unsigned last = row[2 * i] & kSampleMask;
        largestEven = last > largestEven ? last : largestEven;
        even[i] = kCurve[last];
    }
    return {static_cast<std::uint16_t>(largestEven), static_cast<std::uint16_t>(largestOdd)};
}

} // namespace rastrel
