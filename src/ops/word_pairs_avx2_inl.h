// Sums of 32 samples over pairs of words with AVX2. Included inside the AVX2 region; no include guard.

inline __m256i loadPairs(const std::int32_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// Adds 32 pairs of samples.
inline void addWords(WordSums& sums, const std::int32_t* pairs, std::int32_t weight) {
    const __m256i both = _mm256_set1_epi32(weight);
    sums.sums[0] = addProducts(sums.sums[0], loadPairs(pairs), both);
    sums.sums[1] = addProducts(sums.sums[1], loadPairs(pairs + 8), both);
    sums.sums[2] = addProducts(sums.sums[2], loadPairs(pairs + 16), both);
    sums.sums[3] = addProducts(sums.sums[3], loadPairs(pairs + 24), both);
}

/// Sums of 32 samples over word pairs that lie `stride` apart for successive weights. Unrolled: the loop costs as much
/// as the sums otherwise.
inline WordSums sumWords(const std::int32_t* pairs, std::size_t stride, const std::int32_t* weight, std::size_t count,
                         std::int32_t bias) {
    WordSums sums = WordSums::startingAt(bias);
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4, pairs += 4 * stride) {
        addWords(sums, pairs, weight[i]);
        addWords(sums, pairs + stride, weight[i + 1]);
        addWords(sums, pairs + 2 * stride, weight[i + 2]);
        addWords(sums, pairs + 3 * stride, weight[i + 3]);
    }
    for (; i < count; ++i, pairs += stride)
        addWords(sums, pairs, weight[i]);
    return sums;
}

inline WordSums sumWords(const std::int32_t* pairs, std::size_t stride, const std::vector<std::int32_t>& weights,
                         std::int32_t bias) {
    return sumWords(pairs, stride, weights.data(), weights.size(), bias);
}

/// The same for two outputs over the same pairs, each with weights of its own: half of the loads.
struct TwoSums {
    WordSums first, second;
};

inline TwoSums sumBoth(const std::int32_t* pairs, std::size_t stride, const std::vector<std::int32_t>& first,
                       const std::vector<std::int32_t>& second, std::int32_t bias) {
    TwoSums both{WordSums::startingAt(bias), WordSums::startingAt(bias)};
    __m256i a0 = both.first.sums[0], a1 = a0, a2 = a0, a3 = a0;
    __m256i b0 = a0, b1 = a0, b2 = a0, b3 = a0;
    const std::int32_t* const firstWeights = first.data();
    const std::int32_t* const secondWeights = second.data();
    const std::size_t count = std::min(first.size(), second.size());
    for (std::size_t i = 0; i < count; ++i, pairs += stride) {
        const __m256i a = _mm256_set1_epi32(firstWeights[i]);
        const __m256i b = _mm256_set1_epi32(secondWeights[i]);
        const __m256i p0 = loadPairs(pairs), p1 = loadPairs(pairs + 8);
        a0 = addProducts(a0, p0, a);
        b0 = addProducts(b0, p0, b);
        a1 = addProducts(a1, p1, a);
        b1 = addProducts(b1, p1, b);
        const __m256i p2 = loadPairs(pairs + 16), p3 = loadPairs(pairs + 24);
        a2 = addProducts(a2, p2, a);
        b2 = addProducts(b2, p2, b);
        a3 = addProducts(a3, p3, a);
        b3 = addProducts(b3, p3, b);
    }
    both = {{{a0, a1, a2, a3}}, {{b0, b1, b2, b3}}};
    for (std::size_t i = count; i < first.size(); ++i)
        addWords(both.first, pairs + (i - count) * stride, first[i]);
    for (std::size_t i = count; i < second.size(); ++i)
        addWords(both.second, pairs + (i - count) * stride, second[i]);
    return both;
}

/// 32 samples of two lines as words side by side. Registers 0 and 1, 2 and 3 pack back into the order of
/// the samples; so do the bytes of `QuickSums::sideBySide`.
inline void storePairs(std::int32_t* to, const unsigned char* upper, const unsigned char* lower) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(upper));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lower));
    const __m256i zero = _mm256_setzero_si256();
    const __m256i front = _mm256_unpacklo_epi8(a, b);
    const __m256i back = _mm256_unpackhi_epi8(a, b);
    auto* const pairs = reinterpret_cast<__m256i*>(to);
    _mm256_storeu_si256(pairs, _mm256_unpacklo_epi8(front, zero));
    _mm256_storeu_si256(pairs + 1, _mm256_unpackhi_epi8(front, zero));
    _mm256_storeu_si256(pairs + 2, _mm256_unpacklo_epi8(back, zero));
    _mm256_storeu_si256(pairs + 3, _mm256_unpackhi_epi8(back, zero));
}

/// `samples` samples of two lines, a multiple of 32; asks for those that follow, which are wanted next.
inline void storePairs(std::int32_t* to, const unsigned char* upper, const unsigned char* lower, std::size_t samples) {
    for (std::size_t at = 0; at < samples; at += 32) {
        if (at % 64 == 0) {
            prefetchSamples(upper + at, samples);
            prefetchSamples(lower + at, samples);
        }
        storePairs(to + at, upper + at, lower + at);
    }
}

/// The sample of a bit of `QuickSums::doubts` in that order.
constexpr std::size_t sampleOfPairs(unsigned bit) noexcept {
    return std::size_t{bit} % 8 / 4 * 16 + std::size_t{bit} / 8 * 4 + bit % 4;
}
