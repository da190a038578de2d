// Resampling of rows of one channel with AVX2: single precision, eight taps at a time. Included inside the AVX2 region;
// no include guard.

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
    if (channels == 4) {
        for (std::size_t done = 0; done < rowCount; done += kBandRows)
            resampleFourChannels(destinations + done, sources + done, std::min(kBandRows, rowCount - done), plan);
    } else if (channels == 1) {
        for (std::size_t row = 0; row < rowCount; ++row)
            resampleGreyRow(destinations[row], sources[row], plan);
    } else {
        plain::resampleRows8(destinations, sources, rowCount, channels, plan);
    }
}
