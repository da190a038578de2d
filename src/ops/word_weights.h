/// @file word_weights.h
/// Smoothing weights for 16-bit multiply-adds, proven to round as defined or to say that they may not.
///
/// The reasoning is that of `QuickRule`, in two steps. Coarse sums take the weights rounded to 16 bits: with the errors
/// of the single weights known, about one sample in a hundred is in doubt. For these the fine sums add the rest of the
/// weights to 31 bits; what is still in doubt then is computed as defined.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace rastrel {

/// Weights of tap pairs, two words each, the first tap's in the lower one; an odd last tap is paired with weight 0.
struct WordWeights {
    std::vector<std::int32_t> coarse; ///< scaled by 2^(16 + shift)
    std::vector<std::int32_t> fine;   ///< what rounding left of the coarse ones, scaled by 2^15 more; empty: unusable
    int shift = 0;
    std::int32_t coarseBias = 0; ///< added to a coarse sum; then >> shift, and read as `QuickRule` says
    std::int32_t fineBias = 0;   ///< the same for coarse sum + (fine sum >> 15)
    std::uint32_t coarseThreshold = 0;
    std::uint32_t fineThreshold = 0;

    [[nodiscard]] bool usable() const noexcept { return !fine.empty(); }
    /// For normalised weights; leaves them unusable when one is too large for 16 bits at this scale or when sums could
    /// overflow. Throws std::bad_alloc.
    void build(std::span<const double> weights);
};

/// Two weights side by side as a multiply-add of words wants them.
[[nodiscard]] constexpr std::int32_t wordPair(std::int32_t first, std::int32_t second) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(first & 0xFFFF) | static_cast<std::uint32_t>(second)
                                                                                      << 16);
}

} // namespace rastrel
