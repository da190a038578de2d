#include "pixel/convert_cells.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "pixel/convert_rules.h"
#include "pixel/shuffle_patterns.h"
#include "platform/target_region.h"

RASTREL_TARGET_BEGIN("avx2")

#include "pixel/convert_blocks_avx2_inl.h"
#include "pixel/convert_scale_avx2_inl.h"

namespace rastrel::avx2 {
namespace {

template <class Source>
RASTREL_INLINE auto loadBlock(const Byte* from) noexcept {
    using Sample = typename Source::Sample;
    if constexpr (Source::kind == PixelKind::bit)
        return loadBits<Source::reversed>(from);
    else if constexpr (Source::colored)
        return loadColours<Source>(from, Sample());
    else
        return loadGrey(from, Sample());
}

template <class Sample, class From>
RASTREL_INLINE Lanes<Sample> greyOf(const Lanes<From>& grey) noexcept {
    return scale<Sample>(grey);
}
template <class Sample, class From>
RASTREL_INLINE Lanes<Sample> greyOf(const Colours<From>& colours) noexcept {
    return greyOfColours<Sample>(colours);
}

template <class Sample, class From>
RASTREL_INLINE Colours<Sample> coloursOf(const Lanes<From>& grey) noexcept {
    return spreadGrey(scale<Sample>(grey));
}
template <class Sample, class From>
RASTREL_INLINE Colours<Sample> coloursOf(const Colours<From>& colours) noexcept {
    return scale<Sample>(colours);
}

template <class From>
RASTREL_INLINE int bitsOf(const Lanes<From>& grey) noexcept {
    return whiteBits(grey);
}
template <class From>
RASTREL_INLINE int bitsOf(const Colours<From>& colours) noexcept {
    return whiteBits(greyOfColours<std::uint16_t>(colours));
}

/// Colours whose channels lie alike: only the samples change, and their order does not matter.
template <class Source, class Destination>
constexpr bool hasSameShape() noexcept {
    return Source::colored && Source::kind == Destination::kind && Source::reversed == Destination::reversed;
}

template <class Source, class Destination>
RASTREL_INLINE void convertSamples(Byte* to, const Byte* from) noexcept {
    using S = typename Source::Sample;
    using D = typename Destination::Sample;
    for (std::size_t lane = 0; lane < Source::channels; ++lane)
        storeGrey(to + lane * 8 * sizeof(D), scale<D>(loadGrey(from + lane * 8 * sizeof(S), S())));
}

/// Eight pixels.
template <class Source, class Destination>
RASTREL_INLINE void convertBlock(Byte* to, const Byte* from) noexcept {
    using Sample = typename Destination::Sample;
    if constexpr (hasSameShape<Source, Destination>()) {
        convertSamples<Source, Destination>(to, from);
    } else if constexpr (Destination::kind == PixelKind::bit) {
        const int white = bitsOf(loadBlock<Source>(from));
        *to = static_cast<Byte>(Destination::reversed ? ~white : white);
    } else if constexpr (Destination::colored) {
        storeColours<Destination>(to, coloursOf<Sample>(loadBlock<Source>(from)));
    } else {
        storeGrey(to, greyOf<Sample>(loadBlock<Source>(from)));
    }
}

/// Four bytes a pixel into 8-bit grey: a shorter way than through the common channel order.
template <class Source, class Destination>
constexpr bool isByteGrey() noexcept {
    return Source::hasAlpha && std::is_same_v<typename Source::Sample, std::uint8_t> &&
           std::is_same_v<Destination, GreyLayout<std::uint8_t>>;
}

/// Asks for the lines of a block that lies some blocks ahead, where blocks are large enough for that to be worth its
/// instruction: the processor's own prefetching keeps up with a copy, not with four times as many bytes read as written.
/// At a row's end that is the next row, as a rule; a prefetch of foreign memory does nothing.
template <std::size_t Bytes>
RASTREL_INLINE void prefetchBlock(const Byte* from) noexcept {
    constexpr std::size_t kLine = 64;
    constexpr std::size_t kAhead = 2048;
    if constexpr (Bytes >= kLine) {
        for (std::size_t at = kAhead; at < kAhead + Bytes; at += kLine)
            _mm_prefetch(reinterpret_cast<const char*>(from) + at, _MM_HINT_T0);
    }
}

/// Bytes of eight pixels.
template <class Layout>
constexpr std::size_t kBlockBytes = Layout::kind == PixelKind::bit ? 1 : 8 * Layout::bytes;

template <class Source, class Destination>
struct Cell {
    static constexpr bool kPlainCopy =
        std::is_same_v<Source, Destination> || (Source::kind == PixelKind::bit && Destination::kind == PixelKind::bit);

    static void run(void* destination, const void* source, std::size_t count) noexcept {
        auto* to = static_cast<Byte*>(destination);
        const auto* from = static_cast<const Byte*>(source);
        if constexpr (isByteGrey<Source, Destination>()) {
            for (; count >= 32; count -= 32) {
                prefetchBlock<128>(from);
                greyOfManyBytes<Source>(to, from);
                to += 32;
                from += 128;
            }
        }
        if constexpr (!kPlainCopy) {
            for (; count >= 8; count -= 8) {
                prefetchBlock<kBlockBytes<Source>>(from);
                convertBlock<Source, Destination>(to, from);
                to += kBlockBytes<Destination>;
                from += kBlockBytes<Source>;
            }
        }
        if (count != 0) baseline::kConvertCells[kIndexOf<Source>][kIndexOf<Destination>](to, from, count);
    }
};

constinit const ConvertTable kConvertCells = ConvertTableOf<Cell>::all(Layouts{});

} // namespace

} // namespace rastrel::avx2

RASTREL_TARGET_END

namespace rastrel::avx2 {
const ConvertTable* convertCells() noexcept { return &kConvertCells; }
} // namespace rastrel::avx2

#else

namespace rastrel::avx2 {
const ConvertTable* convertCells() noexcept { return nullptr; }
} // namespace rastrel::avx2

#endif
