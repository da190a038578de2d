// Resampling along rows with AVX2: single precision, four channels of two rows to a register, eight rows side by side
// so that a weight is fetched once for all of them. Included inside the AVX2 region; no include guard.

/// Rows that are filtered together, and the source pixels that are held as floats for them: 20 KiB.
constexpr std::size_t kBandRows = 8;
constexpr std::size_t kRowPairs = kBandRows / 2;
constexpr std::size_t kTilePixels = 160;
constexpr std::size_t kPairStride = kTilePixels * 8;
/// Output pixels that are turned from columns into rows together.
constexpr std::size_t kTurned = 4;

/// A band of rows of four channels; pointers of rows that are not there repeat another one.
struct Band {
    unsigned char* destinations[kBandRows];
    const unsigned char* sources[kBandRows];
    std::uintptr_t ahead; ///< from a row to the one that takes its place in the next band, when that is known
};

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

inline __m256i loadPair(const unsigned char* first, const unsigned char* second) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(second));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

inline void storePixels(float* to, __m256i pixels) {
    _mm256_storeu_ps(to, pixelFloats<0>(pixels));
    _mm256_storeu_ps(to + 8, pixelFloats<1>(pixels));
    _mm256_storeu_ps(to + 16, pixelFloats<2>(pixels));
    _mm256_storeu_ps(to + 24, pixelFloats<3>(pixels));
}

/// `count` pixels of two rows, pixel by pixel. Reads no pixel more; may write three more.
inline void convertPair(float* to, const unsigned char* first, const unsigned char* second, std::size_t count,
                        std::uintptr_t ahead) {
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4, to += 32) {
        if (i % 16 == 0) {
            _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(first + i * 4) + ahead),
                         _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(second + i * 4) + ahead),
                         _MM_HINT_T0);
        }
        storePixels(to, loadPair(first + i * 4, second + i * 4));
    }
    if (i == count) return;
    unsigned char rest[2][16] = {};
    std::memcpy(rest[0], first + i * 4, (count - i) * 4);
    std::memcpy(rest[1], second + i * 4, (count - i) * 4);
    storePixels(to, loadPair(rest[0], rest[1]));
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

/// One output pixel of a band; sum k holds rows 2k and 2k + 1. Even and odd taps are summed apart: four sums alone
/// would wait for one another.
inline QuickSums bandSums(const float* taps, const float* weights, std::size_t count, float bias) {
    __m256 a0 = _mm256_set1_ps(bias);
    __m256 a1 = a0, a2 = a0, a3 = a0;
    __m256 b0 = _mm256_setzero_ps();
    __m256 b1 = b0, b2 = b0, b3 = b0;
    std::size_t tap = 0;
    for (; tap + 2 <= count; tap += 2, taps += 16) {
        const __m256 even = _mm256_broadcast_ss(weights + tap);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), even, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kPairStride), even, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 2 * kPairStride), even, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 3 * kPairStride), even, a3);
        const __m256 odd = _mm256_broadcast_ss(weights + tap + 1);
        b0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8), odd, b0);
        b1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8 + kPairStride), odd, b1);
        b2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8 + 2 * kPairStride), odd, b2);
        b3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 8 + 3 * kPairStride), odd, b3);
    }
    if (tap < count) {
        const __m256 even = _mm256_broadcast_ss(weights + tap);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), even, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + kPairStride), even, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 2 * kPairStride), even, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 3 * kPairStride), even, a3);
    }
    return toSums(_mm256_add_ps(a0, b0), _mm256_add_ps(a1, b1), _mm256_add_ps(a2, b2), _mm256_add_ps(a3, b3));
}

inline unsigned char definedBandSample(const Band& band, const ResamplePlan& plan, const ResamplePlan::Window& window,
                                       std::size_t row, std::size_t channel) {
    return definedResample(band.sources[row] + window.first * 4 + channel, 4, plan.weights(window), window);
}

/// An output pixel of all rows: rows 0, 2, 4, 6, then 1, 3, 5, 7.
struct Column {
    unsigned char bytes[32];

    [[nodiscard]] static std::size_t offsetOf(std::size_t row) { return row % 2 * 16 + row / 2 * 4; }
    [[nodiscard]] __m256i load() const { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)); }
};

/// Computes the samples whose bits are set as defined; bits are those of `QuickSums::doubts`.
inline void settleColumn(Column& column, const Band& band, const ResamplePlan& plan, const ResamplePlan::Window& window,
                         std::uint32_t samples) {
    for (; samples != 0; samples &= samples - 1) {
        const auto bit = static_cast<unsigned>(__builtin_ctz(samples));
        const std::size_t row = bit / 4;
        column.bytes[Column::offsetOf(row) + bit % 4] = definedBandSample(band, plan, window, row, bit % 4);
    }
}

inline void makeColumn(Column& column, const Band& band, const float* taps, const ResamplePlan& plan,
                       const ResamplePlan::Window& window) {
    if (!window.rule.usable()) {
        settleColumn(column, band, plan, window, 0xFFFFFFFF);
        return;
    }
    const QuickSums sums = bandSums(taps, plan.quick(window), window.count, window.rule.bias);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(column.bytes), sums.sideBySide());
    if (sums.inDoubt(words(window.rule.threshold)))
        settleColumn(column, band, plan, window, sums.doubts(window.rule.threshold));
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

/// Writes `count` columns as pixels `output`.. of the rows.
inline void writeColumns(const Band& band, std::size_t output, const Column (&columns)[kTurned], std::size_t count) {
    if (count != kTurned) {
        for (std::size_t row = 0; row < kBandRows; ++row) {
            for (std::size_t i = 0; i < count; ++i)
                std::memcpy(band.destinations[row] + (output + i) * 4, columns[i].bytes + Column::offsetOf(row), 4);
        }
        return;
    }
    const __m256i low01 = _mm256_unpacklo_epi32(columns[0].load(), columns[1].load());
    const __m256i high01 = _mm256_unpackhi_epi32(columns[0].load(), columns[1].load());
    const __m256i low23 = _mm256_unpacklo_epi32(columns[2].load(), columns[3].load());
    const __m256i high23 = _mm256_unpackhi_epi32(columns[2].load(), columns[3].load());
    const __m256i rows[kRowPairs] = {_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
                                     _mm256_unpacklo_epi64(high01, high23), _mm256_unpackhi_epi64(high01, high23)};
    for (std::size_t pair = 0; pair < kRowPairs; ++pair) {
        auto* const first = reinterpret_cast<__m128i*>(band.destinations[2 * pair] + output * 4);
        auto* const second = reinterpret_cast<__m128i*>(band.destinations[2 * pair + 1] + output * 4);
        _mm_storeu_si128(first, _mm256_castsi256_si128(rows[pair]));
        _mm_storeu_si128(second, _mm256_extracti128_si256(rows[pair], 1));
    }
}

/// How many outputs from `output` on have all their taps within one tile; near `expected` as a rule.
inline std::size_t outputsOfTile(const std::vector<ResamplePlan::Window>& windows, std::size_t output,
                                 std::size_t expected) {
    const std::uint64_t limit = windows[output].first + kTilePixels;
    const auto fits = [&](std::size_t i) { return windows[i].first + windows[i].count <= limit; };
    std::size_t end = std::min(output + expected, windows.size());
    while (end > output && !fits(end - 1))
        --end;
    while (end < windows.size() && fits(end))
        ++end;
    return end - output;
}

inline void resampleBand(const Band& band, const ResamplePlan& plan) {
    const std::vector<ResamplePlan::Window>& windows = plan.windows();
    float tile[kRowPairs * kPairStride + 24];
    Column columns[kTurned];
    std::size_t expected = 0;
    for (std::size_t output = 0; output < windows.size();) {
        expected = outputsOfTile(windows, output, expected);
        const std::size_t end = output + expected;
        if (end == output) {
            makeWideColumn(columns[0], band, plan, windows[output]);
            writeColumns(band, output++, columns, 1);
            continue;
        }
        const std::uint64_t begin = windows[output].first;
        const std::uint64_t pixels = windows[end - 1].first + windows[end - 1].count - begin;
        for (std::size_t pair = 0; pair < kRowPairs; ++pair)
            convertPair(tile + pair * kPairStride, band.sources[2 * pair] + begin * 4,
                        band.sources[2 * pair + 1] + begin * 4, pixels, band.ahead);
        while (output < end) {
            const std::size_t count = std::min(kTurned, end - output);
            for (std::size_t i = 0; i < count; ++i) {
                const ResamplePlan::Window& window = windows[output + i];
                makeColumn(columns[i], band, tile + (window.first - begin) * 8, plan, window);
            }
            writeColumns(band, output, columns, count);
            output += count;
        }
    }
}

/// The sum of eight taps of one channel at a time.
inline float greySum(const unsigned char* taps, const float* weights, std::uint64_t count) {
    __m256 sum = _mm256_setzero_ps();
    std::uint64_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(taps + i));
        sum = _mm256_fmadd_ps(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)), _mm256_loadu_ps(weights + i), sum);
    }
    float rest = 0.0F;
    for (; i < count; ++i)
        rest += static_cast<float>(taps[i]) * weights[i];
    const __m128 quarter = _mm_add_ps(_mm256_castps256_ps128(sum), _mm256_extractf128_ps(sum, 1));
    const __m128 pair = _mm_add_ps(quarter, _mm_movehl_ps(quarter, quarter));
    return _mm_cvtss_f32(_mm_add_ss(pair, _mm_movehdup_ps(pair))) + rest;
}

inline void resampleGreyRow(unsigned char* destination, const unsigned char* source, const ResamplePlan& plan) {
    for (const ResamplePlan::Window& window : plan.windows()) {
        const unsigned char* taps = source + window.first;
        const std::int32_t sum =
            window.rule.usable()
                ? _mm_cvtss_si32(_mm_set_ss(window.rule.bias + greySum(taps, plan.quick(window), window.count)))
                : 0;
        if ((static_cast<std::uint32_t>(sum) & 0xFFFF) < window.rule.threshold)
            *destination++ = definedResample(taps, 1, plan.weights(window), window);
        else
            *destination++ = static_cast<unsigned char>(std::clamp(sum >> 16, 0, 255));
    }
}

inline void resampleRows8(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                          unsigned channels, const ResamplePlan& plan) {
    if (channels == 1) {
        for (std::size_t row = 0; row < rowCount; ++row)
            resampleGreyRow(destinations[row], sources[row], plan);
        return;
    }
    if (channels != 4) {
        plain::resampleRows8(destinations, sources, rowCount, channels, plan);
        return;
    }
    for (std::size_t done = 0; done < rowCount; done += kBandRows) {
        Band band{};
        for (std::size_t row = 0; row < kBandRows; ++row) {
            const std::size_t taken = std::min(done + row, rowCount - 1);
            band.destinations[row] = destinations[taken];
            band.sources[row] = sources[taken];
        }
        // Where rows lie at even distances, as those of an image do, the next band follows.
        const auto distance = [&band](std::size_t row) {
            return reinterpret_cast<std::uintptr_t>(band.sources[row]) -
                   reinterpret_cast<std::uintptr_t>(band.sources[0]);
        };
        if (distance(7) == 7 * distance(1)) band.ahead = 8 * distance(1);
        resampleBand(band, plan);
    }
}
