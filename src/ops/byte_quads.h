/// @file byte_quads.h
/// Four neighbouring outputs of a line at a time, for weights that are short binary fractions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ops/byte_weights.h"

namespace rastrel {

/// Where an output's samples start, how many they are, and what they weigh.
struct ByteWindow {
    std::uint64_t first;
    std::uint64_t count;
    const double* weights;
    double sum;
};

/// Outputs `output` to `output` + 3 of a line of pixels of four bytes.
struct ByteQuad {
    enum class Kind : std::uint8_t {
        joint, ///< up to two pixels each, all within four from `first[0]` on
        apart, ///< up to eight pixels each, from its own `first` on
    };

    std::size_t output;
    std::array<std::uint64_t, 4> first;
    ByteRule rule;
    Kind kind;
    /// Joint: the weights of both pixels of each output, once for every channel. Apart: eight weights an output.
    std::array<std::int8_t, 32> weights;
    /// Joint: which of the 16 bytes goes with which weight.
    std::array<std::int8_t, 32> picks;
};

/// The quad of four windows on a line of `sourceCount` pixels; false when it is neither joint nor apart, when a weight
/// has too many bits, and when eight pixels (four of a joint quad) from the first one on would leave the line.
[[nodiscard]] bool makeByteQuad(ByteQuad& quad, std::span<const ByteWindow, 4> windows, std::uint64_t sourceCount);

} // namespace rastrel
