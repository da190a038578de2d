// Blocks of eight pixels in AVX2 registers: load, store, spread, pack. Included inside a target region.

namespace rastrel::avx2 {
namespace {

using Byte = unsigned char;

/// Eight grey samples, or the eight samples of two colour pixels.
template <class Sample>
struct Lanes;
template <>
struct Lanes<std::uint8_t> {
    __m128i v; ///< in the lower half
};
template <>
struct Lanes<std::uint16_t> {
    __m128i v;
};
template <>
struct Lanes<float> {
    __m256 v;
};
template <>
struct Lanes<double> {
    __m256d low, high;
};

/// Eight colour pixels, channels in the order B, G, R, A.
template <class Sample>
struct Colours;
template <>
struct Colours<std::uint8_t> {
    __m256i v;
};
template <>
struct Colours<std::uint16_t> {
    __m256i low, high;
};
template <class Sample>
struct Colours {
    Lanes<Sample> pair[4];
};

#define RASTREL_INLINE [[gnu::always_inline]] inline

RASTREL_INLINE __m128i load8(const Byte* from) noexcept {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
}
RASTREL_INLINE __m128i load16(const Byte* from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
RASTREL_INLINE __m256i load32(const Byte* from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}
RASTREL_INLINE __m256i loadHalves(const Byte* low, const Byte* high) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}
RASTREL_INLINE void store8(Byte* to, __m128i v) noexcept { _mm_storel_epi64(reinterpret_cast<__m128i*>(to), v); }
RASTREL_INLINE void store16(Byte* to, __m128i v) noexcept { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
RASTREL_INLINE void store32(Byte* to, __m256i v) noexcept { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v); }
RASTREL_INLINE __m128i lowHalf(__m256i v) noexcept { return _mm256_castsi256_si128(v); }
RASTREL_INLINE __m128i highHalf(__m256i v) noexcept { return _mm256_extracti128_si256(v, 1); }

template <const ShufflePattern& pattern>
RASTREL_INLINE __m256i shuffle(__m256i v) noexcept {
    return _mm256_shuffle_epi8(v, _mm256_load_si256(reinterpret_cast<const __m256i*>(pattern.at)));
}

template <class Layout, std::size_t UpperOffset>
constexpr ShufflePattern kGather = gatherPattern<Layout>(UpperOffset);
template <class Layout>
constexpr ShufflePattern kScatter = scatterPattern<Layout>();
template <class Sample, std::size_t First>
constexpr ShufflePattern kSpread = spreadPattern<Sample>(First);

constexpr int kSwapMiddleQuarters = 0xD8;
constexpr int kReverseFour = 0x1B;

// --- grey blocks in memory ---

RASTREL_INLINE Lanes<std::uint8_t> loadGrey(const Byte* from, std::uint8_t) noexcept { return {load8(from)}; }
RASTREL_INLINE Lanes<std::uint16_t> loadGrey(const Byte* from, std::uint16_t) noexcept { return {load16(from)}; }
RASTREL_INLINE Lanes<float> loadGrey(const Byte* from, float) noexcept {
    return {_mm256_loadu_ps(reinterpret_cast<const float*>(from))};
}
RASTREL_INLINE Lanes<double> loadGrey(const Byte* from, double) noexcept {
    return {_mm256_loadu_pd(reinterpret_cast<const double*>(from)),
            _mm256_loadu_pd(reinterpret_cast<const double*>(from + 32))};
}
RASTREL_INLINE void storeGrey(Byte* to, Lanes<std::uint8_t> grey) noexcept { store8(to, grey.v); }
RASTREL_INLINE void storeGrey(Byte* to, Lanes<std::uint16_t> grey) noexcept { store16(to, grey.v); }
RASTREL_INLINE void storeGrey(Byte* to, Lanes<float> grey) noexcept {
    _mm256_storeu_ps(reinterpret_cast<float*>(to), grey.v);
}
RASTREL_INLINE void storeGrey(Byte* to, Lanes<double> grey) noexcept {
    _mm256_storeu_pd(reinterpret_cast<double*>(to), grey.low);
    _mm256_storeu_pd(reinterpret_cast<double*>(to + 32), grey.high);
}

/// Eight bits as 0 and 255.
template <bool Inverted>
RASTREL_INLINE Lanes<std::uint8_t> loadBits(const Byte* from) noexcept {
    const __m128i masks = _mm_set1_epi64x(0x0102040810204080LL);
    const __m128i bits = _mm_and_si128(_mm_set1_epi8(static_cast<char>(*from)), masks);
    return {_mm_cmpeq_epi8(bits, Inverted ? _mm_setzero_si128() : masks)};
}

/// A bit per sample that counts as white, the first sample's on top.
RASTREL_INLINE int whiteBits(Lanes<std::uint8_t> grey) noexcept {
    const __m128i reversed = _mm_shuffle_epi8(grey.v, _mm_set1_epi64x(0x0001020304050607LL));
    return _mm_movemask_epi8(reversed) & 0xFF; // 128 and more: the top bit
}
RASTREL_INLINE int whiteBits(Lanes<std::uint16_t> grey) noexcept {
    const __m128i high = _mm_srli_epi16(grey.v, 8);
    return whiteBits(Lanes<std::uint8_t>{_mm_packus_epi16(high, high)});
}
RASTREL_INLINE int whiteBits(Lanes<float> grey) noexcept {
    const __m256 reversed = _mm256_permutevar8x32_ps(grey.v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
    return _mm256_movemask_ps(_mm256_cmp_ps(reversed, _mm256_set1_ps(0.5F), _CMP_GE_OQ));
}
RASTREL_INLINE int whiteBits(__m256d four) noexcept {
    const __m256d reversed = _mm256_permute4x64_pd(four, kReverseFour);
    return _mm256_movemask_pd(_mm256_cmp_pd(reversed, _mm256_set1_pd(0.5), _CMP_GE_OQ));
}
RASTREL_INLINE int whiteBits(Lanes<double> grey) noexcept { return whiteBits(grey.low) << 4 | whiteBits(grey.high); }

// --- colour blocks in memory ---

template <class Layout>
RASTREL_INLINE Colours<std::uint8_t> loadColours(const Byte* from, std::uint8_t) noexcept {
    if constexpr (kIsBgra<Layout>) {
        return {load32(from)};
    } else if constexpr (Layout::hasAlpha) {
        return {shuffle<kGather<Layout, 0>>(load32(from))};
    } else {
        const __m256i colours = shuffle<kGather<Layout, 4>>(loadHalves(from, from + 8));
        return {_mm256_or_si256(colours, _mm256_set1_epi32(static_cast<int>(0xFF000000U)))};
    }
}

template <class Layout>
RASTREL_INLINE Colours<std::uint16_t> loadColours(const Byte* from, std::uint16_t) noexcept {
    if constexpr (kIsBgra<Layout>) {
        return {load32(from), load32(from + 32)};
    } else if constexpr (Layout::hasAlpha) {
        return {shuffle<kGather<Layout, 0>>(load32(from)), shuffle<kGather<Layout, 0>>(load32(from + 32))};
    } else {
        const __m256i alpha = _mm256_set1_epi64x(static_cast<long long>(0xFFFF000000000000ULL));
        return {_mm256_or_si256(shuffle<kGather<Layout, 4>>(loadHalves(from, from + 8)), alpha),
                _mm256_or_si256(shuffle<kGather<Layout, 4>>(loadHalves(from + 24, from + 32)), alpha)};
    }
}

template <class Layout>
RASTREL_INLINE Lanes<float> inOrder(Lanes<float> pair) noexcept {
    if constexpr (kIsBgra<Layout>)
        return pair;
    else
        return {_mm256_permute_ps(pair.v, kReverseFour)};
}
template <class Layout>
RASTREL_INLINE Lanes<double> inOrder(Lanes<double> pair) noexcept {
    if constexpr (kIsBgra<Layout>)
        return pair;
    else
        return {_mm256_permute4x64_pd(pair.low, kReverseFour), _mm256_permute4x64_pd(pair.high, kReverseFour)};
}

template <class Layout, class Float>
RASTREL_INLINE Colours<Float> loadColours(const Byte* from, Float) noexcept {
    constexpr std::size_t kPair = 2 * Layout::bytes;
    return {{inOrder<Layout>(loadGrey(from, Float())), inOrder<Layout>(loadGrey(from + kPair, Float())),
             inOrder<Layout>(loadGrey(from + 2 * kPair, Float())),
             inOrder<Layout>(loadGrey(from + 3 * kPair, Float()))}};
}

template <class Layout>
RASTREL_INLINE void storeColours(Byte* to, Colours<std::uint8_t> colours) noexcept {
    if constexpr (kIsBgra<Layout>) {
        store32(to, colours.v);
    } else if constexpr (Layout::hasAlpha) {
        store32(to, shuffle<kScatter<Layout>>(colours.v));
    } else {
        const __m256i packed = shuffle<kScatter<Layout>>(colours.v); // twelve bytes in each half
        store16(to, _mm_or_si128(lowHalf(packed), _mm_slli_si128(highHalf(packed), 12)));
        store8(to + 16, _mm_srli_si128(highHalf(packed), 4));
    }
}

template <class Layout>
RASTREL_INLINE void storeColours(Byte* to, Colours<std::uint16_t> colours) noexcept {
    if constexpr (kIsBgra<Layout>) {
        store32(to, colours.low);
        store32(to + 32, colours.high);
    } else if constexpr (Layout::hasAlpha) {
        store32(to, shuffle<kScatter<Layout>>(colours.low));
        store32(to + 32, shuffle<kScatter<Layout>>(colours.high));
    } else {
        const __m256i first = shuffle<kScatter<Layout>>(colours.low);
        const __m256i last = shuffle<kScatter<Layout>>(colours.high);
        store16(to, _mm_or_si128(lowHalf(first), _mm_slli_si128(highHalf(first), 12)));
        store16(to + 16, _mm_or_si128(_mm_srli_si128(highHalf(first), 4), _mm_slli_si128(lowHalf(last), 8)));
        store16(to + 32, _mm_or_si128(_mm_srli_si128(lowHalf(last), 8), _mm_slli_si128(highHalf(last), 4)));
    }
}

template <class Layout, class Float>
RASTREL_INLINE void storeColours(Byte* to, Colours<Float> colours) noexcept {
    constexpr std::size_t kPair = 2 * Layout::bytes;
    storeGrey(to, inOrder<Layout>(colours.pair[0]));
    storeGrey(to + kPair, inOrder<Layout>(colours.pair[1]));
    storeGrey(to + 2 * kPair, inOrder<Layout>(colours.pair[2]));
    storeGrey(to + 3 * kPair, inOrder<Layout>(colours.pair[3]));
}

// --- grey into every colour channel, full alpha ---

RASTREL_INLINE Colours<std::uint8_t> spreadGrey(Lanes<std::uint8_t> grey) noexcept {
    const __m256i both = _mm256_broadcastsi128_si256(grey.v);
    return {_mm256_or_si256(shuffle<kSpread<std::uint8_t, 0>>(both), _mm256_set1_epi32(static_cast<int>(0xFF000000U)))};
}
RASTREL_INLINE Colours<std::uint16_t> spreadGrey(Lanes<std::uint16_t> grey) noexcept {
    const __m256i both = _mm256_broadcastsi128_si256(grey.v);
    const __m256i alpha = _mm256_set1_epi64x(static_cast<long long>(0xFFFF000000000000ULL));
    return {_mm256_or_si256(shuffle<kSpread<std::uint16_t, 0>>(both), alpha),
            _mm256_or_si256(shuffle<kSpread<std::uint16_t, 4>>(both), alpha)};
}
template <int First>
RASTREL_INLINE Lanes<float> spreadPair(__m256 grey) noexcept {
    const __m256i from = _mm256_setr_epi32(First, First, First, First, First + 1, First + 1, First + 1, First + 1);
    return {_mm256_blend_ps(_mm256_permutevar8x32_ps(grey, from), _mm256_set1_ps(1.0F), 0x88)};
}
RASTREL_INLINE Colours<float> spreadGrey(Lanes<float> grey) noexcept {
    return {{spreadPair<0>(grey.v), spreadPair<2>(grey.v), spreadPair<4>(grey.v), spreadPair<6>(grey.v)}};
}
template <int Which>
RASTREL_INLINE __m256d spreadOne(__m256d grey) noexcept {
    return _mm256_blend_pd(_mm256_permute4x64_pd(grey, Which * 0x55), _mm256_set1_pd(1.0), 0x8);
}
RASTREL_INLINE Colours<double> spreadGrey(Lanes<double> grey) noexcept {
    return {{{spreadOne<0>(grey.low), spreadOne<1>(grey.low)},
             {spreadOne<2>(grey.low), spreadOne<3>(grey.low)},
             {spreadOne<0>(grey.high), spreadOne<1>(grey.high)},
             {spreadOne<2>(grey.high), spreadOne<3>(grey.high)}}};
}

} // namespace
} // namespace rastrel::avx2
