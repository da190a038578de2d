/// @file quick_weights.h
/// Weights for cheap arithmetic that is proven to round like the defined one, or says that it may not.
///
/// The definition of a filtered 8-bit sample is a sum of doubles in a fixed order, + 0.5, truncated, clamped. Any
/// cheaper sum whose error is below a known bound gives the same byte unless it comes close to a rounding boundary;
/// only there the definition itself has to be computed. Here the cheap sum is single precision, scaled by 2^16 and
/// started at `bias`: with X its value rounded to an integer, the byte is X / 65536, rounded down and clamped, for
/// every X whose low 16 bits are at least `threshold`. All others are to be computed as defined.
///
/// Why: let x be 65536 (v + 0.5) for the exact value v, E the bound of all errors. X starts E too high, so x lies
/// between X - 2E and X; with X mod 65536 >= 2E both have the same integer part after division. Below zero all clamps
/// to 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rastrel {

/// How to read a cheap sum.
struct QuickRule {
    float bias = 0.0F;
    std::uint32_t threshold = kAlways;

    /// No cheap sum of this window is safe: compute all of its samples as defined.
    static constexpr std::uint32_t kAlways = 0xFFFFFFFF;

    [[nodiscard]] bool usable() const noexcept { return threshold != kAlways; }
};

/// Whether the weights are short binary fractions and their sum is a power of two: every step of the definition and of
/// a sum in single precision is exact then, so nothing is ever in doubt, exact halves included. They are common:
/// triangles at ratios 4, 2, 1 / 2, 1 / 4.
[[nodiscard]] bool isShortBinary(const double* weights, std::size_t count, double sum) noexcept;

/// Appends `count` single-precision weights for a window whose definition divides the sum of `weights[i]` x sample by
/// `sum` at the end, or does not divide when `sum` is 1. Throws std::bad_alloc.
[[nodiscard]] QuickRule appendQuickWeights(std::vector<float>& quick, const double* weights, std::size_t count,
                                           double sum);

} // namespace rastrel
