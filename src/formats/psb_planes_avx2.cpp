/// Sixteen bytes at a time: each register of the result collects its bytes from as many registers as there are samples
/// in a pixel.
#include <array>
#include <cstddef>

#include <immintrin.h>

#include "formats/psb_planes.h"
#include "platform/target_region.h"

namespace rastrel {
namespace {

constexpr std::size_t kLane = 16; ///< bytes of a register

/// A byte shuffle; entries with the high bit set give 0.
using Shuffle = std::array<unsigned char, kLane>;

/// [position][register of pixels]: the bytes of the pixels that go into a register of the plane.
template <std::size_t Channels, std::size_t Size>
constexpr auto makeGatherShuffles() {
    std::array<std::array<Shuffle, Channels>, Channels> shuffles{};
    for (std::size_t position = 0; position < Channels; ++position) {
        for (std::size_t part = 0; part < Channels; ++part)
            shuffles[position][part].fill(0x80);
        for (std::size_t i = 0; i < kLane; ++i) {
            const std::size_t source = (i / Size * Channels + position) * Size + (Size - 1 - i % Size);
            shuffles[position][source / kLane][i] = static_cast<unsigned char>(source % kLane);
        }
    }
    return shuffles;
}

/// [register of pixels][plane]: the bytes of the plane that go into a register of pixels.
template <std::size_t Channels, std::size_t Size>
constexpr auto makeMergeShuffles() {
    std::array<std::array<Shuffle, Channels>, Channels> shuffles{};
    for (std::size_t part = 0; part < Channels; ++part) {
        for (std::size_t plane = 0; plane < Channels; ++plane)
            shuffles[part][plane].fill(0x80);
        for (std::size_t i = 0; i < kLane; ++i) {
            const std::size_t byte = part * kLane + i;
            const std::size_t sample = byte / Size;
            const std::size_t plane = Channels - 1 - sample % Channels;
            shuffles[part][plane][i] = static_cast<unsigned char>(sample / Channels * Size + (Size - 1 - byte % Size));
        }
    }
    return shuffles;
}

template <std::size_t Channels, std::size_t Size>
inline constexpr auto kGatherShuffles = makeGatherShuffles<Channels, Size>();
template <std::size_t Channels, std::size_t Size>
inline constexpr auto kMergeShuffles = makeMergeShuffles<Channels, Size>();

} // namespace
} // namespace rastrel

RASTREL_TARGET_BEGIN("avx2")
namespace rastrel {
namespace {

inline __m128i load(const unsigned char* bytes) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)); }
inline void store(unsigned char* bytes, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value); }

template <std::size_t Channels, std::size_t Size>
void gather(const unsigned char* pixels, std::size_t position, std::size_t count, unsigned char* plane) {
    constexpr std::size_t kStep = kLane / Size; // pixels
    __m128i shuffles[Channels];
    for (std::size_t part = 0; part < Channels; ++part)
        shuffles[part] = load(&kGatherShuffles<Channels, Size>[position][part][0]);
    std::size_t done = 0;
    for (; done + kStep <= count; done += kStep) {
        const unsigned char* const from = pixels + done * Channels * Size;
        __m128i result = _mm_shuffle_epi8(load(from), shuffles[0]);
        for (std::size_t part = 1; part < Channels; ++part)
            result = _mm_or_si128(result, _mm_shuffle_epi8(load(from + part * kLane), shuffles[part]));
        store(plane + done * Size, result);
    }
    kPlanesBaseline.of(Channels, Size)
        .gather(pixels + done * Channels * Size, position, count - done, plane + done * Size);
}

template <std::size_t Channels, std::size_t Size>
void merge(const unsigned char* const* planes, std::size_t count, unsigned char* pixels) {
    constexpr std::size_t kStep = kLane / Size; // pixels
    std::size_t done = 0;
    for (; done + kStep <= count; done += kStep) {
        __m128i sources[Channels];
        for (std::size_t plane = 0; plane < Channels; ++plane)
            sources[plane] = load(planes[plane] + done * Size);
        unsigned char* const to = pixels + done * Channels * Size;
        for (std::size_t part = 0; part < Channels; ++part) {
            const auto& shuffles = kMergeShuffles<Channels, Size>[part];
            __m128i result = _mm_shuffle_epi8(sources[0], load(&shuffles[0][0]));
            for (std::size_t plane = 1; plane < Channels; ++plane)
                result = _mm_or_si128(result, _mm_shuffle_epi8(sources[plane], load(&shuffles[plane][0])));
            store(to + part * kLane, result);
        }
    }
    const unsigned char* rest[Channels];
    for (std::size_t plane = 0; plane < Channels; ++plane)
        rest[plane] = planes[plane] + done * Size;
    kPlanesBaseline.of(Channels, Size).merge(rest, count - done, pixels + done * Channels * Size);
}

} // namespace
} // namespace rastrel
RASTREL_TARGET_END

namespace rastrel {

const PlaneKernelSet kPlanesAvx2{"avx2",
                                 {{{&gather<1, 1>, &merge<1, 1>}, {&gather<1, 2>, &merge<1, 2>}},
                                  {{&gather<3, 1>, &merge<3, 1>}, {&gather<3, 2>, &merge<3, 2>}},
                                  {{&gather<4, 1>, &merge<4, 1>}, {&gather<4, 2>, &merge<4, 2>}}}};

} // namespace rastrel
