/// @file low_pass_weights.h
/// The weights of a smoothing filter, and what a row needs at its ends.
#pragma once

#include <cstdint>
#include <vector>

#include "ops/quick_weights.h"
#include "ops/word_weights.h"

namespace rastrel {

/// A smoothing kernel of more taps than this is refused.
inline constexpr std::int64_t kMaxLowPassTaps = std::int64_t{1} << 20;

/// The taps of a smoothing kernel, relative to the sample that is smoothed.
struct TapRange {
    std::int64_t first = 0;
    std::int64_t last = -1;

    [[nodiscard]] std::int64_t count() const noexcept { return last - first + 1; }
};

/// Taps ceil(lo * width) to floor(hi * width). False for filter code 0, for a width or support that is no finite
/// number, for a range without taps (negative widths), and for one of more than `kMaxLowPassTaps`.
[[nodiscard]] bool lowPassTaps(TapRange& taps, double width, unsigned char filterType, double parameter) noexcept;

/// Taps with their normalised weights.
struct LowPassWeights {
    TapRange taps;
    std::vector<double> weights;
    std::vector<float> quick;
    QuickRule rule;
    WordWeights words;
    WordRule wordRule;

    /// False when there are no taps (`lowPassTaps`) or when their sum cannot normalise them: zero or no finite number.
    /// The tap at offset 0 takes k(0), also at width 0. Throws std::bad_alloc.
    [[nodiscard]] bool build(double width, unsigned char filterType, double parameter);
};

/// The weights in 16.16 fixed point, truncated.
[[nodiscard]] std::vector<std::int32_t> fixedPointWeights(const std::vector<double>& weights);

/// Index `s` reflected into 0..count - 1 at both ends without repeating them, again until it is inside.
[[nodiscard]] inline std::uint64_t reflectedIndex(std::int64_t s, std::uint64_t count) noexcept {
    if (count < 2) return 0;
    const auto period = static_cast<std::int64_t>(2 * (count - 1));
    const std::int64_t folded = (s < 0 ? -s : s) % period;
    return static_cast<std::uint64_t>(folded < static_cast<std::int64_t>(count) ? folded : period - folded);
}

} // namespace rastrel
