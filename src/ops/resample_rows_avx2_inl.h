// Resampling along rows with AVX2: single precision, two taps of four channels to a register, eight rows side by side
// so that a weight is fetched once for all of them. Included inside the AVX2 region; no include guard.

/// Rows that are filtered together, and the source pixels that are held as floats for them: 20 KiB.
constexpr std::size_t kBandRows = 8;
constexpr std::size_t kTilePixels = 160;
constexpr std::size_t kTileStride = kTilePixels * 4;

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

/// Two neighbouring weights, each for the four channels of its pixel.
inline __m256 weightPair(const float* weights) {
    const __m256 both = _mm256_castpd_ps(_mm256_broadcast_sd(reinterpret_cast<const double*>(weights)));
    return _mm256_permutevar_ps(both, _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
}

/// The sum of the halves of two registers: the pixel of the first row, then that of the second.
inline __m256i sumHalves(__m256 first, __m256 second) {
    const __m256 low = _mm256_permute2f128_ps(first, second, 0x20);
    const __m256 high = _mm256_permute2f128_ps(first, second, 0x31);
    return _mm256_cvtps_epi32(_mm256_add_ps(low, high));
}

inline __m256i lowWords(__m256i sums) { return _mm256_and_si256(sums, _mm256_set1_epi32(0xFFFF)); }

/// One output pixel of eight rows of four channels, before it is written.
struct BandPixel {
    __m256i sums[4]; ///< rows 0 and 1, 2 and 3, ...

    /// Pixels of the rows in the order 0, 2, 4, 6, 1, 3, 5, 7.
    [[nodiscard]] __m256i bytes() const {
        const __m256i front = _mm256_packs_epi32(_mm256_srai_epi32(sums[0], 16), _mm256_srai_epi32(sums[1], 16));
        const __m256i back = _mm256_packs_epi32(_mm256_srai_epi32(sums[2], 16), _mm256_srai_epi32(sums[3], 16));
        return _mm256_packus_epi16(front, back);
    }
    [[nodiscard]] bool inDoubt(__m256i threshold) const {
        const __m256i lowest = _mm256_min_epu32(_mm256_min_epu32(lowWords(sums[0]), lowWords(sums[1])),
                                                _mm256_min_epu32(lowWords(sums[2]), lowWords(sums[3])));
        return _mm256_movemask_epi8(_mm256_cmpgt_epi32(threshold, lowest)) != 0;
    }
    /// A bit for each sample in doubt: four channels of row 0, of row 1, ...
    [[nodiscard]] std::uint32_t doubts(__m256i threshold) const {
        std::uint32_t bits = 0;
        for (unsigned pair = 0; pair < 4; ++pair) {
            const __m256i below = _mm256_cmpgt_epi32(threshold, lowWords(sums[pair]));
            bits |= static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(below))) << (8 * pair);
        }
        return bits;
    }
};

/// `taps` points at the first tap in the floats of row 0; those of row r lie r * kTileStride further.
inline BandPixel bandPixel(const float* taps, const float* weights, std::size_t pairs, float bias) {
    const __m256 start = _mm256_insertf128_ps(_mm256_setzero_ps(), _mm_set1_ps(bias), 0);
    __m256 a0 = start, a1 = start, a2 = start, a3 = start, a4 = start, a5 = start, a6 = start, a7 = start;
    for (std::size_t pair = 0; pair < pairs; ++pair, taps += 8, weights += 2) {
        const __m256 weight = weightPair(weights);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(taps), weight, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 1 * kTileStride), weight, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 2 * kTileStride), weight, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 3 * kTileStride), weight, a3);
        a4 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 4 * kTileStride), weight, a4);
        a5 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 5 * kTileStride), weight, a5);
        a6 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 6 * kTileStride), weight, a6);
        a7 = _mm256_fmadd_ps(_mm256_loadu_ps(taps + 7 * kTileStride), weight, a7);
    }
    return {{sumHalves(a0, a1), sumHalves(a2, a3), sumHalves(a4, a5), sumHalves(a6, a7)}};
}

/// A band of rows of four channels; pointers of rows that are not there repeat another one.
struct Band {
    unsigned char* destinations[kBandRows];
    const unsigned char* sources[kBandRows];
    std::size_t rows;
};

inline void exactBandPixel(const Band& band, std::size_t output, const ResamplePlan& plan,
                           const ResamplePlan::Window& window, std::uint32_t samples) {
    for (; samples != 0; samples &= samples - 1) {
        const auto bit = static_cast<unsigned>(__builtin_ctz(samples));
        const unsigned row = bit / 4;
        const unsigned channel = bit % 4;
        band.destinations[row][output * 4 + channel] =
            definedResample(band.sources[row] + window.first * 4 + channel, 4, plan.weights(window), window);
    }
}

/// How many outputs from `output` on have all their taps within one tile.
inline std::size_t outputsOfTile(const std::vector<ResamplePlan::Window>& windows, std::size_t output) {
    const std::uint64_t begin = windows[output].first;
    std::size_t end = output;
    while (end < windows.size() && windows[end].first + windows[end].count + 1 - begin <= kTilePixels)
        ++end;
    return end - output;
}

/// One output pixel of one row, for windows that no tile holds.
inline void wideBandPixel(const Band& band, std::size_t output, const ResamplePlan& plan,
                          const ResamplePlan::Window& window, std::size_t row) {
    const unsigned char* taps = band.sources[row] + window.first * 4;
    const float* weights = plan.quick(window);
    __m128 even = _mm_set1_ps(window.rule.bias);
    __m128 odd = _mm_setzero_ps();
    const auto pixel = [](const unsigned char* at) {
        std::int32_t bytes = 0;
        std::memcpy(&bytes, at, sizeof bytes);
        return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
    };
    std::uint64_t tap = 0;
    for (; tap + 2 <= window.count; tap += 2, taps += 8) {
        even = _mm_fmadd_ps(pixel(taps), _mm_broadcast_ss(weights + tap), even);
        odd = _mm_fmadd_ps(pixel(taps + 4), _mm_broadcast_ss(weights + tap + 1), odd);
    }
    if (tap < window.count) even = _mm_fmadd_ps(pixel(taps), _mm_broadcast_ss(weights + tap), even);
    std::int32_t sums[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sums), _mm_cvtps_epi32(_mm_add_ps(even, odd)));
    for (unsigned channel = 0; channel < 4; ++channel) {
        if ((static_cast<std::uint32_t>(sums[channel]) & 0xFFFF) < window.rule.threshold)
            exactBandPixel(band, output, plan, window, 1U << (row * 4 + channel));
        else
            band.destinations[row][output * 4 + channel] =
                static_cast<unsigned char>(std::clamp(sums[channel] >> 16, 0, 255));
    }
}

inline void resampleBand(const Band& band, const ResamplePlan& plan) {
    const std::vector<ResamplePlan::Window>& windows = plan.windows();
    float tile[kBandRows * kTileStride + 8] = {};
    for (std::size_t output = 0; output < windows.size();) {
        const std::size_t count = outputsOfTile(windows, output);
        if (count == 0) {
            for (std::size_t row = 0; row < kBandRows; ++row)
                wideBandPixel(band, output, plan, windows[output], row);
            ++output;
            continue;
        }
        const std::uint64_t begin = windows[output].first;
        const ResamplePlan::Window& last = windows[output + count - 1];
        for (std::size_t row = 0; row < kBandRows; ++row)
            toFloats(tile + row * kTileStride, band.sources[row] + begin * 4, (last.first + last.count - begin) * 4);
        for (const std::size_t end = output + count; output < end; ++output) {
            const ResamplePlan::Window& window = windows[output];
            if (!window.rule.usable()) {
                exactBandPixel(band, output, plan, window, 0xFFFFFFFF);
                continue;
            }
            const BandPixel pixel = bandPixel(tile + (window.first - begin) * 4, plan.quick(window),
                                              (window.count + 1) / 2, window.rule.bias);
            unsigned char bytes[32];
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), pixel.bytes());
            for (std::size_t row = 0; row < kBandRows; ++row)
                std::memcpy(band.destinations[row] + output * 4, bytes + (row / 2 + row % 2 * 4) * 4, 4);
            const __m256i threshold = _mm256_set1_epi32(static_cast<int>(window.rule.threshold));
            if (pixel.inDoubt(threshold)) exactBandPixel(band, output, plan, window, pixel.doubts(threshold));
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
        resampleBand(band, plan);
    }
}
