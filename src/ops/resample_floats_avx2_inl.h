// Windows of few weights with AVX2: single precision. Included inside the AVX2 region; no include guard.

/// Source pixels that are held as floats: 20 KiB.
constexpr std::size_t kFloatTilePixels = 160;
/// Floats from one pixel to the next: those of all rows.
constexpr std::size_t kFloatPixel = kBandRows * 4;

/// Pixel `Which` of four, of both rows, as floats.
template <int Which>
inline __m256 pixelFloats(__m256i pixels) {
    constexpr char kNone = -128;
    constexpr char k0 = 4 * Which;
    constexpr char k1 = k0 + 1;
    constexpr char k2 = k0 + 2;
    constexpr char k3 = k0 + 3;
    const __m256i pick = _mm256_setr_epi8(k0, kNone, kNone, kNone, k1, kNone, kNone, kNone, k2, kNone, kNone, kNone, k3,
                                          kNone, kNone, kNone, k0, kNone, kNone, kNone, k1, kNone, kNone, kNone, k2,
                                          kNone, kNone, kNone, k3, kNone, kNone, kNone);
    return _mm256_cvtepi32_ps(_mm256_shuffle_epi8(pixels, pick));
}

inline void storePixels(float* to, __m256i pixels) {
    _mm256_storeu_ps(to, pixelFloats<0>(pixels));
    _mm256_storeu_ps(to + kFloatPixel, pixelFloats<1>(pixels));
    _mm256_storeu_ps(to + 2 * kFloatPixel, pixelFloats<2>(pixels));
    _mm256_storeu_ps(to + 3 * kFloatPixel, pixelFloats<3>(pixels));
}

/// One output pixel of a band; sum k holds rows 2k and 2k + 1. Even and odd taps are summed apart: four sums alone
/// would wait for one another.
inline QuickSums bandSums(const float* taps, const float* weights, std::size_t count, float bias) {
    __m256 a0 = _mm256_set1_ps(bias);
    __m256 a1 = a0, a2 = a0, a3 = a0;
    __m256 b0 = _mm256_setzero_ps();
    __m256 b1 = b0, b2 = b0, b3 = b0;
    std::size_t tap = 0;
    for (; tap + 2 <= count; tap += 2, taps += 2 * kFloatPixel) {
        const __m256 even = _mm256_broadcast_ss(weights + tap);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), even, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8), even, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 16), even, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 24), even, a3);
        const __m256 odd = _mm256_broadcast_ss(weights + tap + 1);
        b0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kFloatPixel), odd, b0);
        b1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kFloatPixel + 8), odd, b1);
        b2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kFloatPixel + 16), odd, b2);
        b3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kFloatPixel + 24), odd, b3);
    }
    if (tap < count) {
        const __m256 even = _mm256_broadcast_ss(weights + tap);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), even, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8), even, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 16), even, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 24), even, a3);
    }
    return toSums(_mm256_add_ps(a0, b0), _mm256_add_ps(a1, b1), _mm256_add_ps(a2, b2), _mm256_add_ps(a3, b3));
}

inline void makeFloatColumn(Column& column, const Band& band, const float* taps, const ResamplePlan& plan,
                            const ResamplePlan::Window& window) {
    if (!window.rule.usable()) {
        settleColumn(column, band, plan, window, 0xFFFFFFFF);
        return;
    }
    const QuickSums sums = bandSums(taps, plan.quick(window), window.count, window.rule.bias);
    column.store(sums.sideBySide());
    if (sums.inDoubt(words(window.rule.threshold)))
        settleColumn(column, band, plan, window, sums.doubts(window.rule.threshold));
}

/// Makes outputs from `output` on, at most up to `limit` - 1, whose windows lie within one tile: near `expected` of
/// them. Returns their number, 0 when no tile holds the first window.
inline std::size_t makeFloatTile(const Band& band, const ResamplePlan& plan, std::size_t output, std::size_t limit,
                                 std::size_t expected) {
    const Tile part = tileAt(plan, output, limit, plan.windows()[output].first, kFloatTilePixels, expected);
    alignas(32) float tile[(kFloatTilePixels + 3) * kFloatPixel];
    forEachFour(band, part.begin, part.end - part.begin,
                [&tile](std::size_t pair, std::size_t group, const __m256i& four) {
                    storePixels(tile + 4 * group * kFloatPixel + 8 * pair, four);
                });
    makeColumns(band, plan, output, output + part.outputs, [&](Column& column, const ResamplePlan::Window& window) {
        makeFloatColumn(column, band, tile + (window.first - part.begin) * kFloatPixel, plan, window);
    });
    return part.outputs;
}

/// One output pixel of each row, for windows that no tile holds.
inline void makeWideColumn(Column& column, const Band& band, const ResamplePlan& plan,
                           const ResamplePlan::Window& window) {
    const auto pixel = [](const unsigned char* at) {
        std::int32_t bytes = 0;
        std::memcpy(&bytes, at, sizeof bytes);
        return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
    };
    for (std::size_t row = 0; row < kBandRows; ++row) {
        const unsigned char* taps = band.sources[row] + window.first * 4;
        const float* weights = plan.quick(window);
        __m128 even = _mm_set1_ps(window.rule.bias);
        __m128 odd = _mm_setzero_ps();
        std::uint64_t tap = 0;
        for (; tap + 2 <= window.count; tap += 2, taps += 8) {
            even = _mm_fmadd_ps(pixel(taps), _mm_broadcast_ss(weights + tap), even);
            odd = _mm_fmadd_ps(pixel(taps + 4), _mm_broadcast_ss(weights + tap + 1), odd);
        }
        if (tap < window.count) even = _mm_fmadd_ps(pixel(taps), _mm_broadcast_ss(weights + tap), even);
        std::int32_t sums[4];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sums), _mm_cvtps_epi32(_mm_add_ps(even, odd)));
        for (std::size_t channel = 0; channel < 4; ++channel) {
            const bool doubted = (static_cast<std::uint32_t>(sums[channel]) & 0xFFFF) < window.rule.threshold;
            column.bytes[Column::offsetOf(row) + channel] =
                doubted ? definedBandSample(band, plan, window, row, channel)
                        : static_cast<unsigned char>(std::clamp(sums[channel] >> 16, 0, 255));
        }
    }
}
