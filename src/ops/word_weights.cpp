#include "ops/word_weights.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace rastrel {
namespace {

constexpr std::size_t kMaxTaps = 500; // 255 times as many fine weights stay below 2^31
constexpr double kLargestWord = 32767.0;
constexpr int kMostShift = 5;

} // namespace

void WordWeights::build(std::span<const double> weights) {
    coarse.clear();
    fine.clear();
    double largest = 0.0;
    double absolute = 0.0;
    for (const double weight : weights) {
        largest = std::max(largest, std::fabs(weight));
        absolute += std::fabs(weight);
    }
    if (weights.empty() || weights.size() > kMaxTaps || !(largest * 65536.0 < kLargestWord) || !(absolute <= 2.0))
        return;
    shift = 0;
    while (shift < kMostShift && largest * std::ldexp(65536.0, shift + 1) < kLargestWord)
        ++shift;
    const double scale = std::ldexp(65536.0, shift);

    // Sample x error is at most 255 times the positive errors too low and 255 times the negative ones too high.
    double tooLow = 0.0;
    double tooHigh = 0.0;
    std::vector<std::int32_t> rests;
    std::vector<std::int32_t> words;
    for (const double weight : weights) {
        const double word = std::floor(weight * scale + 0.5);
        const double rest = weight * scale - word;
        (rest > 0.0 ? tooLow : tooHigh) += std::fabs(rest) * 255.0;
        words.push_back(static_cast<std::int32_t>(word));
        rests.push_back(static_cast<std::int32_t>(std::floor(rest * 32768.0 + 0.5)));
    }
    if (tooLow + tooHigh > scale / 16) return;
    if (words.size() % 2 != 0) {
        words.push_back(0);
        rests.push_back(0);
    }
    for (std::size_t i = 0; i < words.size(); i += 2) {
        coarse.push_back(wordPair(words[i], words[i + 1]));
        fine.push_back(wordPair(rests[i], rests[i + 1]));
    }
    // Biases lift every sum to the true value or above, by at most the threshold. The ones cover the definition's own
    // error and, in the fine sum, what its shift drops.
    const double lift = std::ceil(tooLow) + 1.0;
    const double fineError = std::ceil(static_cast<double>(weights.size()) * 255.0 * 0.5 / 32768.0);
    const double fineLift = fineError + 2.0;
    const auto threshold = [this](double width) {
        return static_cast<std::uint32_t>(std::ceil(std::ldexp(width, -shift)));
    };
    coarseBias = static_cast<std::int32_t>(scale / 2 + lift);
    fineBias = static_cast<std::int32_t>(scale / 2 + fineLift);
    coarseThreshold = threshold(lift + std::ceil(tooHigh) + 1.0);
    fineThreshold = threshold(fineLift + fineError + 1.0);
}

} // namespace rastrel
