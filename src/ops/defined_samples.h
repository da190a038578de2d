/// @file defined_samples.h
/// Single samples computed as they are defined: what cheap arithmetic falls back to where it is in doubt.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ops/resample_plan.h"
#include "ops/sample_rounding.h"

namespace rastrel {

/// One channel of a resampled pixel; `taps` points at its first source sample, the next ones lie `stride` further.
[[nodiscard]] inline unsigned char definedResample(const unsigned char* taps, std::size_t stride, const double* weights,
                                                   const ResamplePlan::Window& window) noexcept {
    double sum = 0.0;
    for (std::uint64_t tap = 0; tap < window.count; ++tap)
        sum += taps[tap * stride] * weights[tap];
    return roundResampled<unsigned char>(sum / window.sum);
}

/// One sample of combined rows.
[[nodiscard]] inline unsigned char definedCombine(const unsigned char* const* rows, std::size_t sample,
                                                  std::span<const double> weights) noexcept {
    double sum = 0.0;
    for (std::size_t row = 0; row < weights.size(); ++row)
        sum += weights[row] * rows[row][sample];
    return roundResampled<unsigned char>(sum);
}

/// One sample of a smoothed row.
[[nodiscard]] inline unsigned char definedSmooth(const unsigned char* taps, std::size_t stride,
                                                 std::span<const double> weights) noexcept {
    double sum = 0.0;
    for (std::size_t tap = 0; tap < weights.size(); ++tap)
        sum += weights[tap] * taps[tap * stride];
    return roundSmoothed<unsigned char>(sum);
}

} // namespace rastrel
