// Sums of 32 samples in four registers, and what becomes of them. Included inside the AVX2 region; no include guard.

/// Asks for what lies `distance` bytes further: that need not be in any object.
inline void prefetchSamples(const unsigned char* samples, std::uintptr_t distance) {
    _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(samples) + distance), _MM_HINT_T0);
}

/// 32 sums scaled by 2^16, four registers of eight. The words of a register are shared by two of them: the upper halves
/// of one, the lower of the other.
struct QuickSums {
    __m256i sums[4];

    /// The bytes of sums 0, 1, 2, 3 of lane 0 of each half, of lane 1, ...
    [[nodiscard]] __m256i interleaved() const {
        const __m256i front = _mm256_blend_epi16(_mm256_srli_epi32(sums[0], 16), sums[1], 0xAA);
        const __m256i back = _mm256_blend_epi16(_mm256_srli_epi32(sums[2], 16), sums[3], 0xAA);
        const __m256i order = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3,
                                               10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        return _mm256_shuffle_epi8(_mm256_packus_epi16(front, back), order);
    }
    /// The bytes of each half of sum 0, of sum 1, ...
    [[nodiscard]] __m256i sideBySide() const {
        const __m256i front = _mm256_blend_epi16(_mm256_srli_epi32(sums[0], 16), sums[1], 0xAA);
        const __m256i back = _mm256_blend_epi16(_mm256_srli_epi32(sums[2], 16), sums[3], 0xAA);
        const __m256i order = _mm256_setr_epi8(0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15, 0, 2, 4, 6, 1, 3,
                                               5, 7, 8, 10, 12, 14, 9, 11, 13, 15);
        return _mm256_shuffle_epi8(_mm256_packus_epi16(front, back), order);
    }
    [[nodiscard]] __m256i frontFractions() const {
        return _mm256_blend_epi16(sums[0], _mm256_slli_epi32(sums[1], 16), 0xAA);
    }
    [[nodiscard]] __m256i backFractions() const {
        return _mm256_blend_epi16(sums[2], _mm256_slli_epi32(sums[3], 16), 0xAA);
    }
    [[nodiscard]] bool inDoubt(__m256i threshold) const {
        const __m256i lowest = _mm256_min_epu16(frontFractions(), backFractions());
        const __m256i below = _mm256_subs_epu16(threshold, lowest);
        return _mm256_testz_si256(below, below) == 0;
    }
    /// A bit for each sum in doubt: those of register 0 first.
    [[nodiscard]] std::uint32_t doubts(std::uint32_t threshold) const {
        const __m256i limit = _mm256_set1_epi32(static_cast<int>(threshold));
        std::uint32_t bits = 0;
        for (unsigned i = 0; i < 4; ++i) {
            const __m256i below = _mm256_cmpgt_epi32(limit, _mm256_and_si256(sums[i], _mm256_set1_epi32(0xFFFF)));
            bits |= static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(below))) << (8 * i);
        }
        return bits;
    }
};

inline __m256i words(std::uint32_t threshold) { return _mm256_set1_epi16(static_cast<short>(threshold)); }

inline QuickSums toSums(__m256 a0, __m256 a1, __m256 a2, __m256 a3) {
    return {{_mm256_cvtps_epi32(a0), _mm256_cvtps_epi32(a1), _mm256_cvtps_epi32(a2), _mm256_cvtps_epi32(a3)}};
}

/// Adds the products of word pairs. The empty statement keeps the compiler from regrouping the sums of an unrolled
/// loop: it runs out of registers over that.
inline __m256i addProducts(__m256i sum, __m256i pairs, __m256i weights) {
    __m256i result = _mm256_add_epi32(sum, _mm256_madd_epi16(pairs, weights));
    __asm__("" : "+x"(result));
    return result;
}

/// 32 integer sums, four registers of eight.
struct WordSums {
    __m256i sums[4];

    [[nodiscard]] static WordSums startingAt(std::int32_t bias) {
        const __m256i start = _mm256_set1_epi32(bias);
        return {{start, start, start, start}};
    }
    /// From scale 2^(16 + shift) to 2^16.
    [[nodiscard]] QuickSums scaled(int shift) const {
        const __m128i count = _mm_cvtsi32_si128(std::abs(shift));
        QuickSums quick;
        if (shift < 0) {
            for (std::size_t i = 0; i < 4; ++i)
                quick.sums[i] = _mm256_sll_epi32(sums[i], count);
        } else {
            for (std::size_t i = 0; i < 4; ++i)
                quick.sums[i] = _mm256_sra_epi32(sums[i], count);
        }
        return quick;
    }
    /// Coarse sums that started at the coarse bias, refined by fine sums.
    void refine(const WordSums& fine, const WordRule& rule) {
        const __m256i lift = _mm256_set1_epi32(rule.fineBias - rule.coarseBias);
        const __m128i count = _mm_cvtsi32_si128(rule.fineShift);
        for (std::size_t i = 0; i < 4; ++i)
            sums[i] = _mm256_add_epi32(sums[i], _mm256_add_epi32(lift, _mm256_sra_epi32(fine.sums[i], count)));
    }
};
