#include "pixel/sample_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <bit>
#include <cstdint>
#include <cstring>

#include "pixel/bilinear.h"
#include "platform/cpu.h"
#include "platform/target_region.h"

namespace rastrel {
namespace {

pixel_argb8 samplePlain(const unsigned char* upper, const unsigned char* lower, double wx, double wy) noexcept {
    Neighbours<pixel_argb8> n;
    std::memcpy(&n.p00, upper, 8);
    std::memcpy(&n.p01, lower, 8);
    return interpolated(n, wx, wy);
}

#if defined(__x86_64__)

/// Whether all four pixels have alpha 0.
inline bool isTransparent(const unsigned char* upper, const unsigned char* lower) noexcept {
    std::uint64_t pairs[2];
    std::memcpy(&pairs[0], upper, 8);
    std::memcpy(&pairs[1], lower, 8);
    return ((pairs[0] | pairs[1]) & 0xFF000000FF000000) == 0;
}

/// Two channels at a time, each in the order of the plain form.
pixel_argb8 sampleSse2(const unsigned char* upper, const unsigned char* lower, double wx, double wy) noexcept {
    if (isTransparent(upper, lower)) return pixel_argb8{};
    const __m128i zero = _mm_setzero_si128();
    const __m128i top = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(upper)), zero);
    const __m128i bottom = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(lower)), zero);
    const __m128d x0 = _mm_set1_pd(1.0 - wx);
    const __m128d x1 = _mm_set1_pd(wx);
    const __m128d y0 = _mm_set1_pd(1.0 - wy);
    const __m128d y1 = _mm_set1_pd(wy);
    // The low lanes of four 32-bit vectors.
    const auto channels = [&](__m128i p00, __m128i p10, __m128i p01, __m128i p11) {
        const __m128d below = _mm_add_pd(_mm_mul_pd(x0, _mm_cvtepi32_pd(p11)), _mm_mul_pd(x1, _mm_cvtepi32_pd(p01)));
        const __m128d above = _mm_add_pd(_mm_mul_pd(x0, _mm_cvtepi32_pd(p10)), _mm_mul_pd(x1, _mm_cvtepi32_pd(p00)));
        return _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(below, y0), _mm_mul_pd(above, y1)));
    };
    const auto upperLanes = [](__m128i lanes) { return _mm_unpackhi_epi64(lanes, lanes); };
    const __m128i p00 = _mm_unpacklo_epi16(top, zero);
    const __m128i p10 = _mm_unpackhi_epi16(top, zero);
    const __m128i p01 = _mm_unpacklo_epi16(bottom, zero);
    const __m128i p11 = _mm_unpackhi_epi16(bottom, zero);
    const __m128i sums = _mm_unpacklo_epi64(
        channels(p00, p10, p01, p11), channels(upperLanes(p00), upperLanes(p10), upperLanes(p01), upperLanes(p11)));
    const __m128i bytes = _mm_and_si128(sums, _mm_set1_epi32(0xFF));
    const __m128i words = _mm_packs_epi32(bytes, bytes);
    return std::bit_cast<pixel_argb8>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}

} // namespace
} // namespace rastrel

RASTREL_TARGET_BEGIN("avx2")

namespace rastrel {
namespace {

/// The four channels of one pixel.
inline __m256d channelsOf(const unsigned char* pixel) noexcept {
    int bytes;
    __builtin_memcpy(&bytes, pixel, 4);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
}

/// All channels at once. Multiplications and additions stay apart, as in the plain form.
pixel_argb8 sampleAvx2(const unsigned char* upper, const unsigned char* lower, double wx, double wy) noexcept {
    std::uint64_t pairs[2];
    __builtin_memcpy(&pairs[0], upper, 8);
    __builtin_memcpy(&pairs[1], lower, 8);
    if (((pairs[0] | pairs[1]) & 0xFF000000FF000000) == 0) return pixel_argb8{0, 0, 0, 0};
    const __m256d x0 = _mm256_set1_pd(1.0 - wx);
    const __m256d x1 = _mm256_set1_pd(wx);
    const __m256d below = _mm256_add_pd(_mm256_mul_pd(x0, channelsOf(lower + 4)), _mm256_mul_pd(x1, channelsOf(lower)));
    const __m256d above = _mm256_add_pd(_mm256_mul_pd(x0, channelsOf(upper + 4)), _mm256_mul_pd(x1, channelsOf(upper)));
    const __m256d sum =
        _mm256_add_pd(_mm256_mul_pd(below, _mm256_set1_pd(1.0 - wy)), _mm256_mul_pd(above, _mm256_set1_pd(wy)));
    const __m128i lowBytes = _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const int packed = _mm_cvtsi128_si32(_mm_shuffle_epi8(_mm256_cvttpd_epi32(sum), lowBytes));
    pixel_argb8 sample;
    __builtin_memcpy(&sample, &packed, 4);
    return sample;
}

} // namespace
} // namespace rastrel

RASTREL_TARGET_END

namespace rastrel {
namespace {

constexpr SampleKernel kKernels[] = {{"plain", samplePlain}, {"sse2", sampleSse2}, {"avx2", sampleAvx2}};

std::size_t countKernels() noexcept { return cpuFeatures().avx2 ? 3 : 2; }

#else

constexpr SampleKernel kKernels[] = {{"plain", samplePlain}};

std::size_t countKernels() noexcept { return 1; }

#endif

} // namespace

std::span<const SampleKernel> availableSampleKernels() noexcept {
    static const std::size_t count = countKernels();
    return {kKernels, count};
}

constinit PairSampler samplePairs = samplePlain;

namespace {

struct ChooseAtStart {
    ChooseAtStart() noexcept { samplePairs = availableSampleKernels().back().sample; }
};
const ChooseAtStart chooseAtStart;

} // namespace
} // namespace rastrel
