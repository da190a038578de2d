// The rules of scale and grey on blocks of eight pixels. Included inside a target region, behind the blocks. Every
// floating operation is the one of convert_rules.h, in the same order: the results are the same bits.

namespace rastrel::avx2 {
namespace {

// --- eight 32-bit integers as the step between integer and floating samples ---

/// `scaled` + 0.5 truncated, 0 where `value` is below `low` or no number, `maximum` from `high` on.
RASTREL_INLINE __m256i roundClamped(__m256 value, float low, float high, __m256 scaled, float maximum) noexcept {
    const __m256 rounded = _mm256_add_ps(scaled, _mm256_set1_ps(0.5F));
    const __m256 positive = _mm256_and_ps(rounded, _mm256_cmp_ps(value, _mm256_set1_ps(low), _CMP_GE_OQ));
    return _mm256_cvttps_epi32(
        _mm256_blendv_ps(positive, _mm256_set1_ps(maximum), _mm256_cmp_ps(value, _mm256_set1_ps(high), _CMP_GE_OQ)));
}
RASTREL_INLINE __m128i roundClamped(__m256d value, double low, double high, __m256d scaled, double maximum) noexcept {
    const __m256d rounded = _mm256_add_pd(scaled, _mm256_set1_pd(0.5));
    const __m256d positive = _mm256_and_pd(rounded, _mm256_cmp_pd(value, _mm256_set1_pd(low), _CMP_GE_OQ));
    return _mm256_cvttpd_epi32(
        _mm256_blendv_pd(positive, _mm256_set1_pd(maximum), _mm256_cmp_pd(value, _mm256_set1_pd(high), _CMP_GE_OQ)));
}

/// Floating samples in the scale of `To`.
template <class To>
RASTREL_INLINE __m256i toIntegers(Lanes<float> v) noexcept {
    using Limits = ClampLimits<To, float>;
    const __m256 scaled = _mm256_mul_ps(v.v, _mm256_set1_ps(Limits::maximum));
    return roundClamped(v.v, Limits::low, Limits::high, scaled, Limits::maximum);
}
template <class To>
RASTREL_INLINE __m128i toIntegers(__m256d v) noexcept {
    using Limits = ClampLimits<To, double>;
    const __m256d scaled = _mm256_mul_pd(v, _mm256_set1_pd(Limits::maximum));
    return roundClamped(v, Limits::low, Limits::high, scaled, Limits::maximum);
}
template <class To>
RASTREL_INLINE __m256i toIntegers(Lanes<double> v) noexcept {
    return _mm256_set_m128i(toIntegers<To>(v.high), toIntegers<To>(v.low));
}

/// Integers times `unit`.
RASTREL_INLINE Lanes<float> toFloating(__m256i integers, float unit) noexcept {
    return {_mm256_mul_ps(_mm256_cvtepi32_ps(integers), _mm256_set1_ps(unit))};
}
RASTREL_INLINE Lanes<double> toFloating(__m256i integers, double unit) noexcept {
    return {_mm256_mul_pd(_mm256_cvtepi32_pd(lowHalf(integers)), _mm256_set1_pd(unit)),
            _mm256_mul_pd(_mm256_cvtepi32_pd(highHalf(integers)), _mm256_set1_pd(unit))};
}

RASTREL_INLINE __m256i integersOf(Lanes<std::uint8_t> v) noexcept { return _mm256_cvtepu8_epi32(v.v); }
RASTREL_INLINE __m256i integersOf(Lanes<std::uint16_t> v) noexcept { return _mm256_cvtepu16_epi32(v.v); }

RASTREL_INLINE Lanes<std::uint16_t> packLanes(__m256i v, std::uint16_t) noexcept {
    return {_mm_packus_epi32(lowHalf(v), highHalf(v))};
}
RASTREL_INLINE Lanes<std::uint8_t> packLanes(__m256i v, std::uint8_t) noexcept {
    const __m128i words = packLanes(v, std::uint16_t()).v;
    return {_mm_packus_epi16(words, words)};
}

RASTREL_INLINE Colours<std::uint16_t> packColours(const __m256i (&pair)[4], std::uint16_t) noexcept {
    return {_mm256_permute4x64_epi64(_mm256_packus_epi32(pair[0], pair[1]), kSwapMiddleQuarters),
            _mm256_permute4x64_epi64(_mm256_packus_epi32(pair[2], pair[3]), kSwapMiddleQuarters)};
}
RASTREL_INLINE Colours<std::uint8_t> packColours(const __m256i (&pair)[4], std::uint8_t) noexcept {
    const __m256i packed =
        _mm256_packus_epi16(_mm256_packus_epi32(pair[0], pair[1]), _mm256_packus_epi32(pair[2], pair[3]));
    return {_mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7))};
}

/// The two pixels `Pair` of a block as integers.
template <int Pair>
RASTREL_INLINE __m256i pairOf(Colours<std::uint8_t> colours) noexcept {
    const __m128i half = Pair < 2 ? lowHalf(colours.v) : highHalf(colours.v);
    return _mm256_cvtepu8_epi32(Pair % 2 == 0 ? half : _mm_unpackhi_epi64(half, half));
}
template <int Pair>
RASTREL_INLINE __m256i pairOf(Colours<std::uint16_t> colours) noexcept {
    const __m256i four = Pair < 2 ? colours.low : colours.high;
    return _mm256_cvtepu16_epi32(Pair % 2 == 0 ? lowHalf(four) : highHalf(four));
}

// --- depth ---

/// Eight samples in another depth.
template <class To, class From>
RASTREL_INLINE Lanes<To> scale(Lanes<From> v) noexcept {
    if constexpr (std::is_same_v<To, From>)
        return v;
    else if constexpr (std::is_integral_v<From> && !std::is_integral_v<To>)
        return toFloating(integersOf(v), kUnitOf<To, From>);
    else if constexpr (std::is_integral_v<To> && !std::is_integral_v<From>)
        return packLanes(toIntegers<To>(v), To());
    else if constexpr (std::is_same_v<To, std::uint16_t>)
        return {_mm_unpacklo_epi8(v.v, v.v)};
    else if constexpr (std::is_same_v<To, std::uint8_t>)
        return {_mm_packus_epi16(_mm_srli_epi16(v.v, 8), _mm_setzero_si128())};
    else if constexpr (std::is_same_v<To, double>)
        return {_mm256_cvtps_pd(_mm256_castps256_ps128(v.v)), _mm256_cvtps_pd(_mm256_extractf128_ps(v.v, 1))};
    else
        return {_mm256_set_m128(_mm256_cvtpd_ps(v.high), _mm256_cvtpd_ps(v.low))};
}

/// Eight colours in another depth, channel by channel: full alpha stays full alpha.
template <class To, class From>
RASTREL_INLINE Colours<To> scale(const Colours<From>& c) noexcept {
    if constexpr (std::is_same_v<To, From>) {
        return c;
    } else if constexpr (std::is_integral_v<From> && !std::is_integral_v<To>) {
        constexpr To kUnit = kUnitOf<To, From>;
        return {{toFloating(pairOf<0>(c), kUnit), toFloating(pairOf<1>(c), kUnit), toFloating(pairOf<2>(c), kUnit),
                 toFloating(pairOf<3>(c), kUnit)}};
    } else if constexpr (std::is_integral_v<To> && !std::is_integral_v<From>) {
        const __m256i pairs[4] = {toIntegers<To>(c.pair[0]), toIntegers<To>(c.pair[1]), toIntegers<To>(c.pair[2]),
                                  toIntegers<To>(c.pair[3])};
        return packColours(pairs, To());
    } else if constexpr (std::is_same_v<To, std::uint16_t>) {
        const __m256i swapped = _mm256_permute4x64_epi64(c.v, kSwapMiddleQuarters);
        return {_mm256_unpacklo_epi8(swapped, swapped), _mm256_unpackhi_epi8(swapped, swapped)};
    } else if constexpr (std::is_same_v<To, std::uint8_t>) {
        const __m256i bytes = _mm256_packus_epi16(_mm256_srli_epi16(c.low, 8), _mm256_srli_epi16(c.high, 8));
        return {_mm256_permute4x64_epi64(bytes, kSwapMiddleQuarters)};
    } else {
        return {{scale<To>(c.pair[0]), scale<To>(c.pair[1]), scale<To>(c.pair[2]), scale<To>(c.pair[3])}};
    }
}

// --- grey of colours ---

/// 3 R + 4 G + B of eight pixels.
RASTREL_INLINE __m256i weightedSum(Colours<std::uint8_t> colours) noexcept {
    const __m256i pairs = _mm256_maddubs_epi16(colours.v, _mm256_set1_epi32(0x00030401));
    return _mm256_madd_epi16(pairs, _mm256_set1_epi16(1));
}
RASTREL_INLINE __m256i weightedSum(Colours<std::uint16_t> colours) noexcept {
    // The multiplication is signed: take half scale from each sample and give its eight-fold back to the sum.
    const __m256i half = _mm256_set1_epi16(static_cast<short>(-32768));
    const __m256i weights = _mm256_set1_epi64x(0x0000000300040001LL);
    const __m256i low = _mm256_madd_epi16(_mm256_xor_si256(colours.low, half), weights);
    const __m256i high = _mm256_madd_epi16(_mm256_xor_si256(colours.high, half), weights);
    const __m256i sums = _mm256_permute4x64_epi64(_mm256_hadd_epi32(low, high), kSwapMiddleQuarters);
    return _mm256_add_epi32(sums, _mm256_set1_epi32(8 * 32768));
}

template <class To, class From>
RASTREL_INLINE Lanes<To> integerGrey(const Colours<From>& colours) noexcept {
    const __m256i t = weightedSum(colours);
    if constexpr (!std::is_integral_v<To>) {
        // t is the sum before its shift; the unit takes the shift, a power of two, with it.
        return toFloating(t, kGreyUnitOf<To, From> * To(1U << kGreyShift<From>));
    } else if constexpr (sizeof(From) == 1) {
        const __m256i grey16 = _mm256_add_epi32(_mm256_slli_epi32(t, 5), _mm256_srli_epi32(t, 3));
        return packLanes(sizeof(To) == 1 ? _mm256_srli_epi32(grey16, 8) : grey16, To());
    } else {
        return packLanes(_mm256_srli_epi32(t, sizeof(To) == 1 ? 11 : 3), To());
    }
}

/// The 8-bit greys of 32 four-channel pixels straight from memory: 3 R + 4 G + B is t, and (t x 8224) >> 16 is the
/// 8-bit grey for every t up to 2040.
template <class Layout>
RASTREL_INLINE void greyOfManyBytes(Byte* to, const Byte* from) noexcept {
    constexpr unsigned kWeights = 3U << 8 * Layout::r | 4U << 8 * Layout::g | 1U << 8 * Layout::b;
    const __m256i weights = _mm256_set1_epi32(static_cast<int>(kWeights));
    const __m256i factor = _mm256_set1_epi16(8224);
    const __m256i low = _mm256_hadd_epi16(_mm256_maddubs_epi16(load32(from), weights),
                                          _mm256_maddubs_epi16(load32(from + 32), weights));
    const __m256i high = _mm256_hadd_epi16(_mm256_maddubs_epi16(load32(from + 64), weights),
                                           _mm256_maddubs_epi16(load32(from + 96), weights));
    const __m256i packed = _mm256_packus_epi16(_mm256_mulhi_epu16(low, factor), _mm256_mulhi_epu16(high, factor));
    store32(to, _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
}

/// Red, green and blue apart.
template <class Float>
struct Planes {
    Lanes<Float> red, green, blue;
};

RASTREL_INLINE Planes<float> planesOf(const Colours<float>& c) noexcept {
    const __m256 p0 = _mm256_permute2f128_ps(c.pair[0].v, c.pair[2].v, 0x20);
    const __m256 p1 = _mm256_permute2f128_ps(c.pair[0].v, c.pair[2].v, 0x31);
    const __m256 p2 = _mm256_permute2f128_ps(c.pair[1].v, c.pair[3].v, 0x20);
    const __m256 p3 = _mm256_permute2f128_ps(c.pair[1].v, c.pair[3].v, 0x31);
    const __m256 blueGreen01 = _mm256_unpacklo_ps(p0, p1);
    const __m256 blueGreen23 = _mm256_unpacklo_ps(p2, p3);
    return {{_mm256_shuffle_ps(_mm256_unpackhi_ps(p0, p1), _mm256_unpackhi_ps(p2, p3), 0x44)},
            {_mm256_shuffle_ps(blueGreen01, blueGreen23, 0xEE)},
            {_mm256_shuffle_ps(blueGreen01, blueGreen23, 0x44)}};
}
/// The planes of four pixels.
struct FourPlanes {
    __m256d red, green, blue;
};
RASTREL_INLINE FourPlanes planesOf(const Lanes<double>& p, const Lanes<double>& q) noexcept {
    const __m256d blueRed01 = _mm256_unpacklo_pd(p.low, p.high);
    const __m256d blueRed23 = _mm256_unpacklo_pd(q.low, q.high);
    const __m256d green01 = _mm256_unpackhi_pd(p.low, p.high);
    const __m256d green23 = _mm256_unpackhi_pd(q.low, q.high);
    return {_mm256_permute2f128_pd(blueRed01, blueRed23, 0x31), _mm256_permute2f128_pd(green01, green23, 0x20),
            _mm256_permute2f128_pd(blueRed01, blueRed23, 0x20)};
}
RASTREL_INLINE Planes<double> planesOf(const Colours<double>& c) noexcept {
    const FourPlanes low = planesOf(c.pair[0], c.pair[1]);
    const FourPlanes high = planesOf(c.pair[2], c.pair[3]);
    return {{low.red, high.red}, {low.green, high.green}, {low.blue, high.blue}};
}

/// (red term + green term) + blue term in the scale of `maximum`.
RASTREL_INLINE __m256 weigh(__m256 red, __m256 green, __m256 blue, float maximum) noexcept {
    const __m256 first = _mm256_add_ps(_mm256_mul_ps(red, _mm256_set1_ps(maximum * 0.375F)),
                                       _mm256_mul_ps(green, _mm256_set1_ps(maximum * 0.5F)));
    return _mm256_add_ps(first, _mm256_mul_ps(blue, _mm256_set1_ps(maximum * 0.125F)));
}
RASTREL_INLINE __m256d weigh(__m256d red, __m256d green, __m256d blue, double maximum) noexcept {
    const __m256d first = _mm256_add_pd(_mm256_mul_pd(red, _mm256_set1_pd(maximum * 0.375)),
                                        _mm256_mul_pd(green, _mm256_set1_pd(maximum * 0.5)));
    return _mm256_add_pd(first, _mm256_mul_pd(blue, _mm256_set1_pd(maximum * 0.125)));
}
RASTREL_INLINE Lanes<float> weigh(const Planes<float>& p, float maximum) noexcept {
    return {weigh(p.red.v, p.green.v, p.blue.v, maximum)};
}
RASTREL_INLINE Lanes<double> weigh(const Planes<double>& p, double maximum) noexcept {
    return {weigh(p.red.low, p.green.low, p.blue.low, maximum), weigh(p.red.high, p.green.high, p.blue.high, maximum)};
}

RASTREL_INLINE __m256i roundGrey(Lanes<float> sum, float maximum) noexcept {
    return roundClamped(sum.v, 0.5F, maximum - 0.5F, sum.v, maximum);
}
RASTREL_INLINE __m256i roundGrey(Lanes<double> sum, double maximum) noexcept {
    return _mm256_set_m128i(roundClamped(sum.high, 0.5, maximum - 0.5, sum.high, maximum),
                            roundClamped(sum.low, 0.5, maximum - 0.5, sum.low, maximum));
}

template <class To, class From>
RASTREL_INLINE Lanes<To> floatingGrey(const Colours<From>& colours) noexcept {
    const Planes<From> planes = planesOf(colours);
    if constexpr (std::is_integral_v<To>) {
        constexpr From kMaximum = From(kFullScale<To>);
        return packLanes(roundGrey(weigh(planes, kMaximum), kMaximum), To());
    } else if constexpr (sizeof(To) > sizeof(From)) {
        const Planes<double> wide = {scale<double>(planes.red), scale<double>(planes.green),
                                     scale<double>(planes.blue)};
        return weigh(wide, 1.0);
    } else {
        return scale<To>(weigh(planes, From(1)));
    }
}

/// The grey of eight colours.
template <class To, class From>
RASTREL_INLINE Lanes<To> greyOfColours(const Colours<From>& colours) noexcept {
    if constexpr (std::is_integral_v<From>)
        return integerGrey<To>(colours);
    else
        return floatingGrey<To>(colours);
}

} // namespace
} // namespace rastrel::avx2
