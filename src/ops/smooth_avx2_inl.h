// Smoothing with AVX2. Along rows: single precision over neighbouring samples, which all have the same weights. Across
// rows: 16-bit multiply-adds of row pairs, which are the 16.16 definition itself. Included inside the AVX2 region; no
// include guard.

/// Samples of a row that are turned to floats or words together.
constexpr std::size_t kSmoothBlock = 1024;
/// Samples from the first to the last tap: as many as most kernels have, and as many as there may be.
constexpr std::size_t kSmoothReach = 4096;
constexpr std::size_t kMaxSmoothReach = std::size_t{1} << 18;

/// Numbers to compute with: on the stack as long as `Few` are enough. Throws std::bad_alloc.
template <class Number, std::size_t Few>
class Scratch {
public:
    explicit Scratch(std::size_t count) : many_(count > Few ? new Number[count] : nullptr) {}

    [[nodiscard]] Number* data() noexcept { return many_ != nullptr ? many_.get() : few_; }

private:
    alignas(32) Number few_[Few];
    std::unique_ptr<Number[]> many_;
};

/// Undoes the split of `sideBySide` into halves.
inline __m256i inOrder(__m256i sideBySide) {
    return _mm256_permutevar8x32_epi32(sideBySide, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

/// `samples` bytes as floats. Reads no byte more; may write up to seven floats more.
inline void toFloats(float* to, const unsigned char* from, std::size_t samples) {
    std::size_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + i));
        _mm256_storeu_ps(to + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)));
    }
    if (i == samples) return;
    unsigned char rest[8] = {};
    std::memcpy(rest, from + i, samples - i);
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(rest));
    _mm256_storeu_ps(to + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)));
}

/// One block of outputs; `samples` is a multiple of 32.
template <class Weights>
void smoothBlock(unsigned char* destination, const unsigned char* padded, std::size_t samples, unsigned channels,
                 const LowPassWeights& weights, const Weights& quick, float* block) {
    toFloats(block, padded, samples + (quick.count() - 1) * channels);
    const QuickRule rule = weights.rule;
    const __m256i threshold = words(rule.threshold);
    for (std::size_t at = 0; at < samples; at += 32) {
        const QuickSums sums = sumLines(block + at, channels, quick, rule.bias);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + at), inOrder(sums.sideBySide()));
        if (!sums.inDoubt(threshold)) continue;
        for (std::uint32_t doubts = sums.doubts(rule.threshold); doubts != 0; doubts &= doubts - 1) {
            const std::size_t sample = at + static_cast<unsigned>(__builtin_ctz(doubts));
            destination[sample] = definedSmooth(padded + sample, channels, weights.weights);
        }
    }
}

/// Each of `count` samples beside the one `channels` further, as two words. Samples from `available` on count as 0.
inline void toWordPairs(std::int32_t* to, const unsigned char* from, std::size_t count, std::size_t available,
                        unsigned channels) {
    const auto c = static_cast<char>(channels);
    const auto c1 = static_cast<char>(c + 1), c2 = static_cast<char>(c + 2), c3 = static_cast<char>(c + 3);
    const auto c4 = static_cast<char>(c + 4), c5 = static_cast<char>(c + 5), c6 = static_cast<char>(c + 6);
    const auto c7 = static_cast<char>(c + 7);
    constexpr char kNone = -128;
    const __m256i pick =
        _mm256_setr_epi8(0, kNone, c, kNone, 1, kNone, c1, kNone, 2, kNone, c2, kNone, 3, kNone, c3, kNone, 4, kNone,
                         c4, kNone, 5, kNone, c5, kNone, 6, kNone, c6, kNone, 7, kNone, c7, kNone);
    std::size_t i = 0;
    for (; i + 16 <= available && i + 8 <= count; i += 8) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i),
                            _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(bytes), pick));
    }
    const auto sample = [&](std::size_t at) { return at < available ? from[at] : 0; };
    for (; i < count; ++i)
        to[i] = wordPair(sample(i), sample(i + channels));
}

/// The second attempt at 32 samples, and the definition where that is in doubt as well.
inline void settleWords(unsigned char* destination, const unsigned char* padded, const std::int32_t* pairs,
                        WordSums sums, unsigned channels, const LowPassWeights& weights) {
    sums.refine(sumWords(pairs, std::size_t{2} * channels, weights.words.fine, 0), weights.wordRule);
    const QuickSums quick = sums.scaled(weights.wordRule.shift);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination), inOrder(quick.sideBySide()));
    if (!quick.inDoubt(words(weights.wordRule.fineThreshold))) return;
    for (std::uint32_t doubts = quick.doubts(weights.wordRule.fineThreshold); doubts != 0; doubts &= doubts - 1) {
        const auto sample = static_cast<unsigned>(__builtin_ctz(doubts));
        destination[sample] = definedSmooth(padded + sample, channels, weights.weights);
    }
}

/// One block of outputs by words; `samples` is a multiple of 32.
inline void smoothWordBlock(unsigned char* destination, const unsigned char* padded, std::size_t samples,
                            unsigned channels, const LowPassWeights& weights, std::int32_t* pairs) {
    const std::vector<std::int32_t>& coarse = weights.words.coarse;
    const WordRule& rule = weights.wordRule;
    const std::size_t stride = std::size_t{2} * channels;
    toWordPairs(pairs, padded, samples + (coarse.size() - 1) * stride,
                samples + (weights.weights.size() - 1) * channels, channels);
    const __m256i threshold = words(rule.coarseThreshold);
    for (std::size_t at = 0; at < samples; at += 32) {
        const WordSums sums = sumWords(pairs + at, stride, coarse, rule.coarseBias);
        const QuickSums quick = sums.scaled(rule.shift);
        if (quick.inDoubt(threshold))
            settleWords(destination + at, padded + at, pairs + at, sums, channels, weights);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + at), inOrder(quick.sideBySide()));
    }
}

/// Calls `block(start, length)` for blocks of a multiple of 32 samples. The last 32 samples may overlap those before:
/// the same bytes are written twice.
template <class Block>
void forEachBlock(std::size_t samples, const Block& block) {
    std::size_t done = 0;
    while (samples - done >= 32) {
        const std::size_t part = std::min(kSmoothBlock, (samples - done) / 32 * 32);
        block(done, part);
        done += part;
    }
    if (done != samples) block(samples - 32, 32);
}

/// From this many taps on words are faster than floats.
constexpr std::size_t kWordTaps = 16;

inline void smoothRow8(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                       const LowPassWeights& weights) {
    const std::size_t samples = pixels * channels;
    const std::size_t taps = weights.weights.size();
    const std::size_t numbers = kSmoothBlock + taps * channels + 8;
    constexpr std::size_t kFew = kSmoothBlock + kSmoothReach + 8;
    if (!weights.rule.usable() || samples < 32 || taps * channels > kMaxSmoothReach) {
        plain::smoothRow8(destination, padded, pixels, channels, weights);
    } else if (weights.wordRule.usable() && weights.rule.threshold != 0 && taps >= kWordTaps) {
        Scratch<std::int32_t, kFew> pairs(numbers);
        forEachBlock(samples, [&](std::size_t start, std::size_t length) {
            smoothWordBlock(destination + start, padded + start, length, channels, weights, pairs.data());
        });
    } else {
        Scratch<float, kFew> block(numbers);
        withWeights(weights.quick.data(), weights.quick.size(), [&](const auto& quick) {
            forEachBlock(samples, [&](std::size_t start, std::size_t length) {
                smoothBlock(destination + start, padded + start, length, channels, weights, quick, block.data());
            });
        });
    }
}

/// Word pairs of one block of line pairs: 24 KiB.
constexpr std::size_t kPairWords = 3072;
constexpr std::size_t kMaxPairs = kPairWords / 32;
/// Pairs of the highest windows: 16 MiB of words.
constexpr std::size_t kMostPairs = std::size_t{1} << 16;

/// Weights of line pairs, two words each, for outputs whose first line is the upper or the lower one of a pair.
struct PairWeights {
    std::vector<std::int32_t> upper, lower;
    bool negative = false;
};

/// Added to a sum before its shift, as defined.
constexpr std::int32_t kColumnBias = 2048;

/// Writes 32 samples of sums that started at `kColumnBias`.
inline void finishPairs(unsigned char* destination, const WordSums& sums, bool negative) {
    const auto& s = sums.sums;
    const __m256i front = _mm256_packs_epi32(_mm256_srai_epi32(s[0], 16), _mm256_srai_epi32(s[1], 16));
    const __m256i back = _mm256_packs_epi32(_mm256_srai_epi32(s[2], 16), _mm256_srai_epi32(s[3], 16));
    __m256i bytes = _mm256_packus_epi16(front, back);
    auto* const to = reinterpret_cast<__m256i*>(destination);
    if (negative) {
        // A negative sum leaves the sample as it was.
        const __m256i bias = _mm256_set1_epi32(kColumnBias);
        const __m256i signs =
            _mm256_packs_epi16(_mm256_packs_epi32(_mm256_sub_epi32(s[0], bias), _mm256_sub_epi32(s[1], bias)),
                               _mm256_packs_epi32(_mm256_sub_epi32(s[2], bias), _mm256_sub_epi32(s[3], bias)));
        bytes = _mm256_blendv_epi8(bytes, _mm256_loadu_si256(to), signs);
    }
    _mm256_storeu_si256(to, bytes);
}

inline void smoothColumnsBlock(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                               std::size_t lineCount, std::size_t column, std::size_t chunks,
                               const PairWeights& weights, std::int32_t* pairs) {
    const std::size_t stride = chunks * 32;
    for (std::size_t line = 0; line < lineCount; line += 2) {
        const unsigned char* const upper = lines[line] + column;
        const unsigned char* const lower = lines[std::min(line + 1, lineCount - 1)] + column;
        storePairs(pairs + line / 2 * stride, upper, lower, stride);
    }
    std::size_t output = 0;
    for (; output + 2 <= destinations.size(); output += 2) {
        for (std::size_t at = 0; at < stride; at += 32) {
            const TwoSums sums =
                sumBoth(pairs + output / 2 * stride + at, stride, weights.upper, weights.lower, kColumnBias);
            finishPairs(destinations[output] + column + at, sums.first, weights.negative);
            finishPairs(destinations[output + 1] + column + at, sums.second, weights.negative);
        }
    }
    if (output == destinations.size()) return;
    for (std::size_t at = 0; at < stride; at += 32) {
        const WordSums sums = sumWords(pairs + output / 2 * stride + at, stride, weights.upper, kColumnBias);
        finishPairs(destinations[output] + column + at, sums, weights.negative);
    }
}

/// False for weights that do not fit 16 bits or could overflow a sum.
inline bool makePairWeights(PairWeights& pairs, std::span<const std::int32_t> weights) {
    std::int64_t absolute = 0;
    for (const std::int32_t weight : weights) {
        if (weight != static_cast<std::int16_t>(weight)) return false;
        absolute += std::abs(weight);
        pairs.negative = pairs.negative || weight < 0;
    }
    if (absolute > 8000000) return false; // 255 times that stays below 2^31 - 2048
    for (std::size_t i = 0; i < weights.size(); i += 2)
        pairs.upper.push_back(wordPair(weights[i], i + 1 < weights.size() ? weights[i + 1] : 0));
    pairs.lower.push_back(wordPair(0, weights[0]));
    for (std::size_t i = 1; i < weights.size(); i += 2)
        pairs.lower.push_back(wordPair(weights[i], i + 1 < weights.size() ? weights[i + 1] : 0));
    return true;
}

inline void smoothColumns8(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                           std::size_t samples, std::span<const std::int32_t> weights) {
    const std::size_t lineCount = destinations.size() + weights.size() - 1;
    const std::size_t pairCount = (lineCount + 1) / 2;
    PairWeights pairs;
    if (samples < 32 || weights.empty() || pairCount > kMostPairs || !makePairWeights(pairs, weights)) {
        plain::smoothColumns8(destinations, lines, samples, weights);
        return;
    }
    // High windows take whole cache lines of each row all the same.
    const std::size_t chunks = std::max<std::size_t>(kMaxPairs / pairCount, 2);
    Scratch<std::int32_t, kPairWords> words(pairCount * chunks * 32);
    std::size_t column = 0;
    while (samples - column >= 32) {
        const std::size_t part = std::min(chunks, (samples - column) / 32);
        smoothColumnsBlock(destinations, lines, lineCount, column, part, pairs, words.data());
        column += part * 32;
    }
    // The last chunk overlaps the one before it: what it finds there it would write again.
    if (column != samples) smoothColumnsBlock(destinations, lines, lineCount, samples - 32, 1, pairs, words.data());
}
