/// @file bilinear.h
/// Bilinear interpolation between four neighbours. Pure functions; double arithmetic in the order told here, so that
/// the results are the same bits everywhere.
#pragma once

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

#include <cstdint>
#include <limits>
#include <type_traits>

#include "rastrel/pixel.h"

namespace rastrel {

/// `value` truncated toward zero. What 63 bits do not hold, and what is not a number, is far below zero.
[[nodiscard]] inline std::int64_t truncatedIndex(double value) noexcept {
#if defined(__x86_64__)
    return _mm_cvttsd_si64(_mm_set_sd(value)); // the processor's own answer is just that
#else
    constexpr double kBeyond = 0x1p63;
    constexpr std::int64_t kFarBelow = std::numeric_limits<std::int64_t>::min();
    return value >= -kBeyond && value < kBeyond ? static_cast<std::int64_t>(value) : kFarBelow;
#endif
}

/// Where a sample lies along one axis: the lower neighbour's index and its weight. Between -1 and 0 truncation gives
/// index 0 and a weight above 1: the sample is extrapolated there, not clamped.
struct AxisPosition {
    std::int64_t index;
    double weight;

    AxisPosition(double position, std::uint32_t extent) noexcept : index(truncatedIndex(position)) {
        if (index < 0)
            weight = 0.0;
        else if (static_cast<std::uint64_t>(index) >= static_cast<std::uint32_t>(extent - 1))
            weight = 1.0;
        else
            weight = 1.0 - (position - static_cast<double>(index));
    }
};

/// Four neighbours: pXY, X and Y steps to the right and down.
template <class Pixel>
struct Neighbours {
    Pixel p00, p10, p01, p11;
};

/// One channel between its four values.
[[nodiscard]] constexpr double interpolated(double p00, double p10, double p01, double p11, double wx,
                                            double wy) noexcept {
    return ((1.0 - wx) * p11 + wx * p01) * (1.0 - wy) + ((1.0 - wx) * p10 + wx * p00) * wy;
}

/// A channel's value as a sample: floating ones as they are, integer ones truncated to their low bits.
template <class Sample>
[[nodiscard]] constexpr Sample sampleOf(double value) noexcept {
    if constexpr (std::is_floating_point_v<Sample>)
        return value;
    else
        return static_cast<Sample>(static_cast<std::int32_t>(value));
}

/// All four channels. Colour is not weighted by alpha; but four transparent 8-bit pixels give 0 in every channel.
template <class Pixel>
[[nodiscard]] constexpr Pixel interpolated(const Neighbours<Pixel>& n, double wx, double wy) noexcept {
    using Sample = decltype(Pixel::a);
    if constexpr (std::is_same_v<Pixel, pixel_argb8>) {
        if ((n.p00.a | n.p10.a | n.p01.a | n.p11.a) == 0) return Pixel{};
    }
    const auto channel = [&](Sample Pixel::*c) {
        return sampleOf<Sample>(interpolated(n.p00.*c, n.p10.*c, n.p01.*c, n.p11.*c, wx, wy));
    };
    return {channel(&Pixel::b), channel(&Pixel::g), channel(&Pixel::r), channel(&Pixel::a)};
}

} // namespace rastrel
