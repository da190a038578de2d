#include "ops/word_weights.h"

#include <algorithm>
#include <cmath>

namespace rastrel {
namespace {

constexpr std::size_t kFewTaps = 500; // 255 times as many words of 2^14 stay below 2^31
constexpr std::size_t kMaxTaps = kFewTaps << 5;
constexpr int kFineBits = 15;
constexpr double kLargestWord = 32767.0;
constexpr int kLeastShift = -2;
constexpr int kMostShift = 5;

/// A weight's word and what it leaves, in units of the scale.
struct Word {
    double value;
    double rest;
};

Word wordOf(double scaled) noexcept {
    const double value = std::floor(scaled + 0.5);
    return {value, scaled - value};
}

/// Appends a value that is the first or the second of a pair.
void appendWord(std::vector<std::int32_t>& pairs, bool second, double value) {
    const auto word = static_cast<std::int32_t>(value);
    if (second)
        pairs.back() = wordPair(pairs.back(), word);
    else
        pairs.push_back(wordPair(word, 0));
}

} // namespace

void WordWeights::clear() noexcept {
    coarse.clear();
    fine.clear();
}

void WordWeights::reserve(std::size_t pairs) {
    coarse.reserve(pairs);
    fine.reserve(pairs);
}

WordRule WordWeights::append(std::span<const double> weights, bool second) {
    double largest = 0.0;
    double absolute = 0.0;
    for (const double weight : weights) {
        largest = std::max(largest, std::fabs(weight));
        absolute += std::fabs(weight);
    }
    if (weights.empty() || weights.size() > kMaxTaps || !(absolute < 2.0)) return {};
    WordRule rule;
    rule.fineShift = kFineBits;
    while (weights.size() > kFewTaps << (kFineBits - rule.fineShift))
        --rule.fineShift;
    const double fineScale = std::ldexp(1.0, rule.fineShift);
    rule.shift = kLeastShift;
    double scale = std::ldexp(65536.0, kLeastShift);
    for (; rule.shift < kMostShift && largest * scale * 2.0 < kLargestWord; ++rule.shift)
        scale *= 2.0;

    // Sample x error is at most 255 times the positive errors too low and 255 times the negative ones too high.
    double tooLow = 0.0;
    double tooHigh = 0.0;
    for (const double weight : weights) {
        const Word word = wordOf(weight * scale);
        (word.rest > 0.0 ? tooLow : tooHigh) += std::fabs(word.rest) * 255.0;
    }
    // Where more is in doubt, single precision is ahead, unless the taps are so many that it doubts as much.
    if (tooLow + tooHigh > scale / (weights.size() > kFewTaps ? 4 : 16)) return {};
    if (second) {
        coarse.push_back(0);
        fine.push_back(0);
    }
    for (const double weight : weights) {
        const Word word = wordOf(weight * scale);
        appendWord(coarse, second, word.value);
        appendWord(fine, second, std::floor(word.rest * fineScale + 0.5));
        second = !second;
    }
    // Biases lift every sum to the true value or above, by at most the threshold. The ones cover the definition's own
    // error and, in the fine sum, what its shift drops.
    const auto taps = static_cast<double>(weights.size());
    const double lift = std::ceil(tooLow) + 1.0;
    const double fineError = std::ceil(taps * 255.0 * 0.5 / fineScale);
    const double fineLift = fineError + 2.0;
    const auto threshold = [&rule](double width) {
        return static_cast<std::uint32_t>(std::ceil(std::ldexp(width, -rule.shift)));
    };
    rule.coarseBias = static_cast<std::int32_t>(scale / 2 + lift);
    rule.fineBias = static_cast<std::int32_t>(scale / 2 + fineLift);
    rule.coarseThreshold = threshold(lift + std::ceil(tooHigh) + 1.0);
    rule.fineThreshold = threshold(fineLift + fineError + 1.0);
    return rule;
}

} // namespace rastrel
