/// Interpolated samples of 8-bit pixels, one routine for each instruction set.
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <bit>
#include <cstdint>
#include <cstring>

#include "pixel/sampling.h"
#include "platform/cpu.h"
#include "platform/target_region.h"

#if defined(__x86_64__)

namespace rastrel {
namespace {

/// The sample, or nothing between four transparent pixels. Those have an alpha of 0 between them, so that all others
/// need no look at their neighbours.
inline pixel_argb8 unlessTransparent(std::uint32_t sample, const PixelPairs& pairs) noexcept {
    if (sample < 0x1000000) [[unlikely]] {
        std::uint64_t upper, lower;
        __builtin_memcpy(&upper, pairs.upper, 8);
        __builtin_memcpy(&lower, pairs.lower, 8);
        if (((upper | lower) & 0xFF000000FF000000) == 0) sample = 0;
    }
    return std::bit_cast<pixel_argb8>(sample);
}

/// Two channels at a time, each in the order of the definition.
inline std::uint32_t blendSse2(const PixelPairs& pairs) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i top = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs.upper)), zero);
    const __m128i bottom = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs.lower)), zero);
    const double wx = pairs.wx();
    const double wy = pairs.wy();
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
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}

template <class Layer>
pixel_argb8 sampleSse2(Rastrel& image, double x, double y) {
    PixelPairs pairs;
    if (!Layer::template findPairs<pixel_argb8>(image, x, y, pairs)) [[unlikely]]
        return Layer::template sampleThroughGetters<pixel_argb8>(image, x, y);
    return unlessTransparent(blendSse2(pairs), pairs);
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

/// All channels at once. Multiplications and additions stay apart, as in the definition.
inline std::uint32_t blendAvx2(const PixelPairs& pairs) noexcept {
    // Both weights at once, and from the rounded position: that is the index, and there before the integer is.
    const __m128d position = _mm_setr_pd(pairs.column, pairs.row);
    const __m128d one = _mm_set1_pd(1.0);
    const __m128d truncated = _mm_round_pd(position, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    const __m128d w1 = _mm_sub_pd(one, _mm_sub_pd(position, truncated));
    const __m128d w0 = _mm_sub_pd(one, w1);
    const __m256d x0 = _mm256_broadcastsd_pd(w0);
    const __m256d x1 = _mm256_broadcastsd_pd(w1);
    const __m256d y0 = _mm256_broadcastsd_pd(_mm_unpackhi_pd(w0, w0));
    const __m256d y1 = _mm256_broadcastsd_pd(_mm_unpackhi_pd(w1, w1));
    const __m256d below =
        _mm256_add_pd(_mm256_mul_pd(x0, channelsOf(pairs.lower + 4)), _mm256_mul_pd(x1, channelsOf(pairs.lower)));
    const __m256d above =
        _mm256_add_pd(_mm256_mul_pd(x0, channelsOf(pairs.upper + 4)), _mm256_mul_pd(x1, channelsOf(pairs.upper)));
    const __m256d sum = _mm256_add_pd(_mm256_mul_pd(below, y0), _mm256_mul_pd(above, y1));
    const __m128i lowBytes = _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi8(_mm256_cvttpd_epi32(sum), lowBytes)));
}

template <class Layer>
pixel_argb8 sampleAvx2(Rastrel& image, double x, double y) {
    PixelPairs pairs;
    if (!Layer::template findPairs<pixel_argb8>(image, x, y, pairs)) [[unlikely]]
        return Layer::template sampleThroughGetters<pixel_argb8>(image, x, y);
    return unlessTransparent(blendAvx2(pairs), pairs);
}

} // namespace
} // namespace rastrel

RASTREL_TARGET_END

#endif

std::span<const rastrel::ByteSampler> Rastrel::LineLayer::byteSamplers() {
#if defined(__x86_64__)
    static constexpr rastrel::ByteSampler kSamplers[] = {{"general", &sampleThroughGetters<pixel_argb8>},
                                                         {"sse2", rastrel::sampleSse2<LineLayer>},
                                                         {"avx2", rastrel::sampleAvx2<LineLayer>}};
    return {kSamplers, rastrel::cpuFeatures().avx2 ? std::size_t{3} : std::size_t{2}};
#else
    static constexpr rastrel::ByteSampler kSamplers[] = {{"general", &sampleThroughGetters<pixel_argb8>}};
    return kSamplers;
#endif
}

constinit Rastrel::LineLayer::SampleBytes Rastrel::LineLayer::byteSampler = &sampleThroughGetters<pixel_argb8>;

const bool Rastrel::LineLayer::samplerIsChosen = [] {
    byteSampler = byteSamplers().back().sample;
    return true;
}();
