/// @file word_weights.h
/// Filter weights for 16-bit multiply-adds, proven to round as defined or to say that they may not.
///
/// The reasoning is that of `QuickRule`, in two steps. Coarse sums take the weights rounded to 16 bits: with the errors
/// of the single weights known, about one sample in a hundred is in doubt. For these the fine sums add the rest of the
/// weights to 31 bits, a few less for hundreds of taps; what is still in doubt then is computed as defined.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rastrel {

/// How to read sums of words. A coarse sum + `coarseBias`, scaled from 2^(16 + shift) to 2^16, is read as `QuickRule`
/// says; so is, with the fine values, coarse sum + (fine sum >> fineShift).
struct WordRule {
    std::int32_t coarseBias = 0;
    std::int32_t fineBias = 0;
    std::uint32_t coarseThreshold = 0;
    std::uint32_t fineThreshold = 0;
    int shift = kNone;
    int fineShift = 0;

    static constexpr int kNone = 99;

    [[nodiscard]] bool usable() const noexcept { return shift != kNone; }
};

/// Weights of pairs of taps, two words each, the first tap's in the lower one; a tap that is missing at either end has
/// weight 0.
struct WordWeights {
    std::vector<std::int32_t> coarse; ///< scaled by 2^(16 + shift)
    std::vector<std::int32_t> fine;   ///< what rounding left of the coarse ones, scaled by 2^fineShift more

    void clear() noexcept;
    void reserve(std::size_t pairs);
    /// Appends the pairs of a window's normalised weights; with `second` the first weight is the second of its pair,
    /// after a zero. Nothing, and a rule that is not usable, when a weight is too large for 16 bits or when sums could
    /// overflow. Throws std::bad_alloc.
    [[nodiscard]] WordRule append(std::span<const double> weights, bool second);
};

/// Two weights side by side as a multiply-add of words wants them.
[[nodiscard]] constexpr std::int32_t wordPair(std::int32_t first, std::int32_t second) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(first & 0xFFFF) | static_cast<std::uint32_t>(second)
                                                                                      << 16);
}

} // namespace rastrel
