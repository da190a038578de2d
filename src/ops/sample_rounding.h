/// @file sample_rounding.h
/// From filtered values back to integer samples.
#pragma once

#include <limits>

namespace rastrel {

template <class Sample>
inline constexpr double kSampleMax = std::numeric_limits<Sample>::max();

/// Resampling's rule: truncate(value + 0.5), clamped. A value that is no number gives 0.
template <class Sample>
[[nodiscard]] inline Sample roundResampled(double value) noexcept {
    const double shifted = value + 0.5;
    if (!(shifted > 0.0)) return 0;
    if (shifted >= kSampleMax<Sample> + 1.0) return std::numeric_limits<Sample>::max();
    return static_cast<Sample>(shifted);
}

/// Smoothing's rule: two thresholds, then truncate(value + 0.5). It differs from resampling's for the largest value
/// below one half. A value that is no number gives 0.
template <class Sample>
[[nodiscard]] inline Sample roundSmoothed(double value) noexcept {
    if (!(value >= 0.5)) return 0;
    if (value >= kSampleMax<Sample> - 0.5) return std::numeric_limits<Sample>::max();
    return static_cast<Sample>(value + 0.5);
}

} // namespace rastrel
