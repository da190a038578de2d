// Outputs by fours with AVX2, for short binary weights: a row at a time, straight from its bytes, exact in 16 bits.
// Included inside the AVX2 region; no include guard.

inline __m256i loadBytes(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }

/// What all rows of a joint quad share.
struct JointQuad {
    __m256i picks, weights, half;
    __m128i shift;

    explicit JointQuad(const ByteQuad& quad)
        : picks(loadBytes(quad.picks.data())), weights(loadBytes(quad.weights.data())),
          half(_mm256_set1_epi16(static_cast<short>((1 << quad.rule.shift) >> 1))),
          shift(_mm_cvtsi32_si128(quad.rule.shift)) {}

    /// The words of four output pixels.
    [[nodiscard]] __m256i row(const unsigned char* source) const {
        const __m256i pixels = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(source)));
        const __m256i sums = _mm256_maddubs_epi16(_mm256_shuffle_epi8(pixels, picks), weights);
        return _mm256_sra_epi16(_mm256_add_epi16(sums, half), shift);
    }
};

/// What all rows of an apart quad share: for each output its eight weights, each pair of them once for every channel.
struct ApartQuad {
    __m256i weights[4];
    __m256i picks, half;
    __m128i shift;
    std::size_t first[4]; ///< bytes into the row

    explicit ApartQuad(const ByteQuad& quad)
        : picks(_mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15))),
          half(_mm256_set1_epi16(static_cast<short>((1 << quad.rule.shift) >> 1))),
          shift(_mm_cvtsi32_si128(quad.rule.shift)) {
        const __m256i spread = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5, 4, 5, 4, 5,
                                                6, 7, 6, 7, 6, 7, 6, 7);
        for (std::size_t i = 0; i < 4; ++i) {
            std::int64_t eight = 0;
            std::memcpy(&eight, quad.weights.data() + 8 * i, sizeof eight);
            weights[i] = _mm256_shuffle_epi8(_mm256_set1_epi64x(eight), spread);
            first[i] = static_cast<std::size_t>(quad.first[i]) * 4;
        }
    }

    /// Sums of two pixels each: those of the first, second, third and fourth pair of output `i`.
    [[nodiscard]] __m256i products(const unsigned char* source, std::size_t i) const {
        return _mm256_maddubs_epi16(_mm256_shuffle_epi8(loadBytes(source + first[i]), picks), weights[i]);
    }
    /// Adds the first to the second pair, the third to the fourth, of two outputs.
    [[nodiscard]] static __m256i folded(__m256i a, __m256i b) {
        return _mm256_add_epi16(_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b));
    }
    /// The words of four output pixels.
    [[nodiscard]] __m256i row(const unsigned char* source) const {
        const __m256i front = folded(products(source, 0), products(source, 1));
        const __m256i back = folded(products(source, 2), products(source, 3));
        const __m256i sums = _mm256_add_epi16(_mm256_permute2x128_si256(front, back, 0x20),
                                              _mm256_permute2x128_si256(front, back, 0x31));
        return _mm256_sra_epi16(_mm256_add_epi16(sums, half), shift);
    }
};

/// One quad of all rows; `offset` is where its samples start in a row.
template <class Quad>
void makeQuad(const Band& band, const Quad& quad, std::size_t offset, std::size_t output) {
    for (std::size_t pair = 0; pair < kRowPairs; ++pair) {
        const __m256i first = quad.row(band.sources[2 * pair] + offset);
        const __m256i second = quad.row(band.sources[2 * pair + 1] + offset);
        // Packing works within halves: its quarters are the front of both rows, then the back of both.
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), _MM_SHUFFLE(3, 1, 2, 0));
        storePair(band.destinations[2 * pair] + output * 4, band.destinations[2 * pair + 1] + output * 4, bytes);
    }
}

/// Quads `begin` to `end` - 1 of the plan.
inline void makeQuads(const Band& band, std::span<const ByteQuad> quads) {
    std::size_t asked = quads.empty() ? 0 : static_cast<std::size_t>(quads.front().first[0]) * 4;
    for (const ByteQuad& quad : quads) {
        const std::size_t reached = static_cast<std::size_t>(quad.first[3]) * 4;
        prefetchNextBand(band, asked, reached);
        asked = reached;
        if (quad.kind == ByteQuad::Kind::joint)
            makeQuad(band, JointQuad(quad), static_cast<std::size_t>(quad.first[0]) * 4, quad.output);
        else
            makeQuad(band, ApartQuad(quad), 0, quad.output);
    }
}
