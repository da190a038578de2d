#include "ops/brightness_histogram.h"

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

#include <cstring>

namespace rastrel {
namespace {

#if defined(__x86_64__)

/// The bins of four pixels as four 32-bit lanes; `spare` for those of alpha 0.
__m128i binsOf(__m128i pixels, __m128i spare) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i weights = _mm_setr_epi16(1, 6, 3, 0, 1, 6, 3, 0);
    // Per pixel a pair of lanes: blue + 6 green, 3 red.
    const __m128i front = _mm_madd_epi16(_mm_unpacklo_epi8(pixels, zero), weights);
    const __m128i back = _mm_madd_epi16(_mm_unpackhi_epi8(pixels, zero), weights);
    const __m128 even = _mm_shuffle_ps(_mm_castsi128_ps(front), _mm_castsi128_ps(back), _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 odd = _mm_shuffle_ps(_mm_castsi128_ps(front), _mm_castsi128_ps(back), _MM_SHUFFLE(3, 1, 3, 1));
    const __m128i sums = _mm_add_epi32(_mm_castps_si128(even), _mm_castps_si128(odd));
    const __m128i transparent = _mm_cmpeq_epi32(_mm_srli_epi32(pixels, 24), zero);
    return _mm_or_si128(_mm_andnot_si128(transparent, sums), _mm_and_si128(transparent, spare));
}

#endif

} // namespace

void BrightnessHistogram::add(const void* pixels, std::size_t count) noexcept {
    auto& counters = parts_->counters;
    const auto spareSum = [&counters] {
        return counters[0][kSpare] + counters[1][kSpare] + counters[2][kSpare] + counters[3][kSpare];
    };
    const std::uint32_t spareBefore = spareSum();
    const auto* from = static_cast<const unsigned char*>(pixels);
    std::size_t left = count;
#if defined(__x86_64__)
    const __m128i spare = _mm_set1_epi32(static_cast<int>(kSpare));
    for (; left >= 4; left -= 4, from += 16) {
        const __m128i bins = binsOf(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), spare);
        const auto low = static_cast<std::uint64_t>(_mm_cvtsi128_si64(bins));
        const auto high = static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(bins, bins)));
        ++counters[0][low & 0xFFFFFFFF];
        ++counters[1][low >> 32];
        ++counters[2][high & 0xFFFFFFFF];
        ++counters[3][high >> 32];
    }
#endif
    for (; left != 0; --left, from += 4) {
        pixel_argb8 pixel;
        std::memcpy(&pixel, from, sizeof pixel);
        ++counters[0][pixel.a != 0 ? 3U * pixel.r + 6U * pixel.g + pixel.b : kSpare];
    }
    total_ += count - static_cast<std::uint32_t>(spareSum() - spareBefore);
}

} // namespace rastrel
