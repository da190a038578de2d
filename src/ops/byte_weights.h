/// @file byte_weights.h
/// Weights that are short binary fractions, as signed bytes for 8-bit multiply-adds.
///
/// Triangles at ratios 4, 2, 1 / 2, 1 / 4 and boxes of 2, 4, 8 ... samples have them. Every step of the definition is
/// exact for such a window, and so is its sum in 16-bit integers: the two agree on exact halves, which are common
/// there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rastrel {

/// How to read a sum of bytes x byte weights: add half of 2^shift, shift right, clamp to a byte.
struct ByteRule {
    std::uint8_t shift = kNone;

    static constexpr std::uint8_t kNone = 0xFF;

    [[nodiscard]] bool usable() const noexcept { return shift != kNone; }
};

/// Appends the weights of a window whose definition divides the sum of `weights[i]` x sample by `sum`, a power of two,
/// at the end. Appends nothing when a weight has more bits than a byte holds or when 16 bits do not hold all sums; then
/// the rule is not usable. Throws std::bad_alloc.
[[nodiscard]] ByteRule appendByteWeights(std::vector<std::int8_t>& bytes, const double* weights, std::size_t count,
                                         double sum);

} // namespace rastrel
