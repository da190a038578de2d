#include <cstring>
#include <type_traits>

#include "pixel/convert_cells.h"
#include "pixel/convert_rules.h"

namespace rastrel::baseline {
namespace {

using Byte = unsigned char;

template <class Sample>
Sample load(const Byte* from) noexcept {
    Sample sample;
    std::memcpy(&sample, from, sizeof sample);
    return sample;
}

template <class Sample>
void store(Byte* to, Sample sample) noexcept {
    std::memcpy(to, &sample, sizeof sample);
}

template <class Layout>
bool isWhiteBit(const Byte* bits, std::size_t i) noexcept {
    return ((bits[i / 8] >> (7 - i % 8) & 1) != 0) != Layout::reversed;
}

/// Any source to a grey sample.
template <class Source, class To>
To greyAt(const Byte* source, std::size_t i) noexcept {
    using From = typename Source::Sample;
    if constexpr (Source::kind == PixelKind::bit) {
        return isWhiteBit<Source>(source, i) ? kFullScale<To> : To(0);
    } else {
        const Byte* pixel = source + i * Source::bytes;
        if constexpr (Source::colored)
            return greyOf<To>(load<From>(pixel + Source::r * sizeof(From)),
                              load<From>(pixel + Source::g * sizeof(From)),
                              load<From>(pixel + Source::b * sizeof(From)));
        else
            return scaleSample<To>(load<From>(pixel));
    }
}

template <class Source>
bool whiteAt(const Byte* source, std::size_t i) noexcept {
    if constexpr (Source::kind == PixelKind::bit)
        return isWhiteBit<Source>(source, i);
    else if constexpr (Source::colored)
        return isWhite(greyAt<Source, std::uint16_t>(source, i));
    else
        return isWhite(greyAt<Source, typename Source::Sample>(source, i));
}

/// A colour pixel into a colour pixel, channel by channel.
template <class Source, class Destination>
void moveChannels(Byte* to, const Byte* from) noexcept {
    using S = typename Source::Sample;
    using D = typename Destination::Sample;
    const auto move = [&](std::size_t target, std::size_t origin) {
        store(to + target * sizeof(D), scaleSample<D>(load<S>(from + origin * sizeof(S))));
    };
    move(Destination::r, Source::r);
    move(Destination::g, Source::g);
    move(Destination::b, Source::b);
    if constexpr (Destination::hasAlpha) {
        if constexpr (Source::hasAlpha)
            move(Destination::a, Source::a);
        else
            store(to + Destination::a * sizeof(D), kFullScale<D>);
    }
}

/// A grey into every channel of a colour pixel.
template <class Destination>
void spreadGrey(Byte* to, typename Destination::Sample grey) noexcept {
    using D = typename Destination::Sample;
    store(to + Destination::r * sizeof(D), grey);
    store(to + Destination::g * sizeof(D), grey);
    store(to + Destination::b * sizeof(D), grey);
    if constexpr (Destination::hasAlpha) store(to + Destination::a * sizeof(D), kFullScale<D>);
}

/// Sets the upper `count` bits of a byte (1 to 8) and keeps the others.
void mergeBits(Byte& target, unsigned bits, std::size_t count) noexcept {
    const unsigned mask = 0xFF00U >> count & 0xFFU;
    target = static_cast<Byte>((target & ~mask) | (bits & mask));
}

/// Runs into 1-bit layouts: eight pixels make a byte.
template <class Source, class Destination>
void runToBits(Byte* __restrict destination, const Byte* __restrict source, std::size_t count) noexcept {
    const auto byteOf = [&](std::size_t first, std::size_t pixels) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < pixels; ++i)
            bits |= unsigned{whiteAt<Source>(source, first + i) != Destination::reversed} << (7 - i);
        return bits;
    };
    for (std::size_t i = 0; i < count / 8; ++i) {
        destination[i] = static_cast<Byte>(byteOf(i * 8, 8));
    }
    if (count % 8 != 0) mergeBits(destination[count / 8], byteOf(count - count % 8, count % 8), count % 8);
}

/// Runs between 1-bit layouts: bits copied or inverted byte by byte.
template <bool Invert>
void runBits(Byte* __restrict destination, const Byte* __restrict source, std::size_t count) noexcept {
    constexpr unsigned kFlip = Invert ? 0xFF : 0;
    for (std::size_t i = 0; i < count / 8; ++i) {
        destination[i] = static_cast<Byte>(source[i] ^ kFlip);
    }
    if (count % 8 != 0) mergeBits(destination[count / 8], source[count / 8] ^ kFlip, count % 8);
}

/// Runs into whole samples.
template <class Source, class Destination>
void runToSamples(Byte* __restrict destination, const Byte* __restrict source, std::size_t count) noexcept {
    using D = typename Destination::Sample;
    for (std::size_t i = 0; i < count; ++i) {
        Byte* to = destination + i * Destination::bytes;
        if constexpr (!Destination::colored)
            store(to, greyAt<Source, D>(source, i));
        else if constexpr (!Source::colored)
            spreadGrey<Destination>(to, greyAt<Source, D>(source, i));
        else
            moveChannels<Source, Destination>(to, source + i * Source::bytes);
    }
}

template <class Source, class Destination>
struct Cell {
    static void run(void* destination, const void* source, std::size_t count) noexcept {
        auto* to = static_cast<Byte*>(destination);
        const auto* from = static_cast<const Byte*>(source);
        if constexpr (Destination::kind == PixelKind::bit && Source::kind == PixelKind::bit)
            runBits<Source::reversed != Destination::reversed>(to, from, count);
        else if constexpr (Destination::kind == PixelKind::bit)
            runToBits<Source, Destination>(to, from, count);
        else if constexpr (std::is_same_v<Source, Destination>)
            std::memcpy(to, from, count * Source::bytes);
        else
            runToSamples<Source, Destination>(to, from, count);
    }
};

} // namespace

constinit const ConvertTable kConvertCells = ConvertTableOf<Cell>::all(Layouts{});

} // namespace rastrel::baseline
