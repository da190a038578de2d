// Smoothing with AVX2. Along rows: single precision over neighbouring samples, which all have the same weights. Across
// rows: 16-bit multiply-adds of row pairs, which are the 16.16 definition itself. Included inside the AVX2 region; no
// include guard.

/// Samples of a row that are turned to floats together, and the floats that their taps may reach.
constexpr std::size_t kSmoothBlock = 1024;
constexpr std::size_t kSmoothReach = 4096;

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

/// 32 sums from `taps` on, `stride` floats from tap to tap.
inline QuickSums sumSmooth(const float* taps, std::size_t stride, const float* weights, std::size_t count, float bias) {
    __m256 a0 = _mm256_set1_ps(bias);
    __m256 a1 = a0, a2 = a0, a3 = a0;
    for (std::size_t tap = 0; tap < count; ++tap, taps += stride) {
        const __m256 weight = _mm256_broadcast_ss(weights + tap);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), weight, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8), weight, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 16), weight, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 24), weight, a3);
    }
    return toSums(a0, a1, a2, a3);
}

/// One block of outputs; `samples` is a multiple of 32.
inline void smoothBlock(unsigned char* destination, const unsigned char* padded, std::size_t samples, unsigned channels,
                        const LowPassWeights& weights, float* block) {
    const std::size_t count = weights.quick.size();
    toFloats(block, padded, samples + (count - 1) * channels);
    const __m256i threshold = words(weights.rule.threshold);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7); // undoes the split into halves
    for (std::size_t at = 0; at < samples; at += 32) {
        const QuickSums sums = sumSmooth(block + at, channels, weights.quick.data(), count, weights.rule.bias);
        const __m256i bytes = _mm256_permutevar8x32_epi32(sums.sideBySide(), order);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + at), bytes);
        if (!sums.inDoubt(threshold)) continue;
        for (std::uint32_t doubts = sums.doubts(weights.rule.threshold); doubts != 0; doubts &= doubts - 1) {
            const std::size_t sample = at + static_cast<unsigned>(__builtin_ctz(doubts));
            destination[sample] = definedSmooth(padded + sample, channels, weights.weights);
        }
    }
}

inline void smoothRow8(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                       const LowPassWeights& weights) {
    const std::size_t samples = pixels * channels;
    if (!weights.rule.usable() || samples < 32 || (weights.quick.size() - 1) * channels > kSmoothReach) {
        plain::smoothRow8(destination, padded, pixels, channels, weights);
        return;
    }
    float block[kSmoothBlock + kSmoothReach + 8];
    std::size_t done = 0;
    while (samples - done >= 32) {
        const std::size_t part = std::min(kSmoothBlock, (samples - done) / 32 * 32);
        smoothBlock(destination + done, padded + done, part, channels, weights, block);
        done += part;
    }
    // The last 32 samples overlap those before: the same bytes are written twice.
    if (done != samples) smoothBlock(destination + samples - 32, padded + samples - 32, 32, channels, weights, block);
}

/// Word pairs of one block of line pairs: 24 KiB.
constexpr std::size_t kPairBytes = 24576;
constexpr std::size_t kMaxPairs = kPairBytes / 128;

/// 32 samples of two lines as words side by side. Registers 0 and 1, 2 and 3 pack back into the order of the samples.
inline void storePairs(unsigned char* to, const unsigned char* upper, const unsigned char* lower) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(upper));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lower));
    const __m256i zero = _mm256_setzero_si256();
    const __m256i front = _mm256_unpacklo_epi8(a, b);
    const __m256i back = _mm256_unpackhi_epi8(a, b);
    auto* const words = reinterpret_cast<__m256i*>(to);
    _mm256_storeu_si256(words, _mm256_unpacklo_epi8(front, zero));
    _mm256_storeu_si256(words + 1, _mm256_unpackhi_epi8(front, zero));
    _mm256_storeu_si256(words + 2, _mm256_unpacklo_epi8(back, zero));
    _mm256_storeu_si256(words + 3, _mm256_unpackhi_epi8(back, zero));
}

/// Weights of line pairs, two words each, for outputs whose first line is the upper or the lower one of a pair.
struct PairWeights {
    std::vector<std::int32_t> upper, lower;
    bool negative = false;
};

inline std::int32_t wordPair(std::int32_t first, std::int32_t second) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(first & 0xFFFF) | static_cast<std::uint32_t>(second)
                                                                                      << 16);
}

inline void finishPairs(unsigned char* destination, __m256i s0, __m256i s1, __m256i s2, __m256i s3, bool negative) {
    const __m256i half = _mm256_set1_epi32(2048);
    const auto rounded = [half](__m256i sum) { return _mm256_srai_epi32(_mm256_add_epi32(sum, half), 16); };
    __m256i bytes =
        _mm256_packus_epi16(_mm256_packs_epi32(rounded(s0), rounded(s1)), _mm256_packs_epi32(rounded(s2), rounded(s3)));
    auto* const to = reinterpret_cast<__m256i*>(destination);
    if (negative) {
        // A negative sum leaves the sample as it was.
        const __m256i signs = _mm256_packs_epi16(_mm256_packs_epi32(s0, s1), _mm256_packs_epi32(s2, s3));
        bytes = _mm256_blendv_epi8(bytes, _mm256_loadu_si256(to), signs);
    }
    _mm256_storeu_si256(to, bytes);
}

inline void smoothPairs(unsigned char* destination, const unsigned char* words, std::size_t pairStride,
                        const std::vector<std::int32_t>& weights, bool negative) {
    __m256i s0 = _mm256_setzero_si256();
    __m256i s1 = s0, s2 = s0, s3 = s0;
    for (const std::int32_t weight : weights) {
        const __m256i pair = _mm256_set1_epi32(weight);
        const auto* const at = reinterpret_cast<const __m256i*>(words);
        s0 = _mm256_add_epi32(s0, _mm256_madd_epi16(_mm256_loadu_si256(at), pair));
        s1 = _mm256_add_epi32(s1, _mm256_madd_epi16(_mm256_loadu_si256(at + 1), pair));
        s2 = _mm256_add_epi32(s2, _mm256_madd_epi16(_mm256_loadu_si256(at + 2), pair));
        s3 = _mm256_add_epi32(s3, _mm256_madd_epi16(_mm256_loadu_si256(at + 3), pair));
        words += pairStride;
    }
    finishPairs(destination, s0, s1, s2, s3, negative);
}

inline void smoothColumnsBlock(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                               std::size_t lineCount, std::size_t column, std::size_t chunks,
                               const PairWeights& weights, unsigned char* words) {
    const std::size_t stride = chunks * 128;
    for (std::size_t line = 0; line < lineCount; line += 2) {
        const unsigned char* const upper = lines[line] + column;
        const unsigned char* const lower = lines[std::min(line + 1, lineCount - 1)] + column;
        for (std::size_t chunk = 0; chunk < chunks; ++chunk)
            storePairs(words + line / 2 * stride + chunk * 128, upper + chunk * 32, lower + chunk * 32);
    }
    for (std::size_t output = 0; output < destinations.size(); ++output) {
        const unsigned char* const first = words + output / 2 * stride;
        const std::vector<std::int32_t>& row = output % 2 == 0 ? weights.upper : weights.lower;
        for (std::size_t chunk = 0; chunk < chunks; ++chunk)
            smoothPairs(destinations[output] + column + chunk * 32, first + chunk * 128, stride, row, weights.negative);
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
    PairWeights pairs;
    if (samples < 32 || weights.empty() || (lineCount + 1) / 2 > kMaxPairs || !makePairWeights(pairs, weights)) {
        plain::smoothColumns8(destinations, lines, samples, weights);
        return;
    }
    unsigned char words[kPairBytes];
    const std::size_t chunks = kMaxPairs / ((lineCount + 1) / 2);
    std::size_t column = 0;
    while (samples - column >= 32) {
        const std::size_t part = std::min(chunks, (samples - column) / 32);
        smoothColumnsBlock(destinations, lines, lineCount, column, part, pairs, words);
        column += part * 32;
    }
    // The last chunk overlaps the one before it: what it finds there it would write again.
    if (column != samples) smoothColumnsBlock(destinations, lines, lineCount, samples - 32, 1, pairs, words);
}
