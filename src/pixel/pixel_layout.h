/// @file pixel_layout.h
/// The memory layouts that conversion kernels read and write, as types, and the list that makes their matrix.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "pixel/color_model.h"

namespace rastrel {

enum class PixelKind : std::uint8_t { bit, grey, rgb, argb, rgba };

[[nodiscard]] constexpr bool isColored(PixelKind kind) noexcept {
    return kind != PixelKind::bit && kind != PixelKind::grey;
}

/// Position of the channel that is the nominal `place`-th of `channels`.
[[nodiscard]] constexpr std::size_t channelPosition(std::size_t place, std::size_t channels, bool reversed) noexcept {
    return reversed ? channels - 1 - place : place;
}

/// One pixel layout. `Reversed`: a colour layout whose channels lie in the reverse of their nominal order (the
/// component-order flag is set), or a 1-bit layout whose set bits are black.
template <PixelKind Kind, class SampleType, bool Reversed = false>
struct PixelLayout {
    using Sample = SampleType;
    static constexpr PixelKind kind = Kind;
    static constexpr bool reversed = Reversed;
    static constexpr bool colored = isColored(Kind);
    static constexpr bool hasAlpha = Kind == PixelKind::argb || Kind == PixelKind::rgba;
    static constexpr std::size_t channels = colored ? (hasAlpha ? 4 : 3) : 1;
    /// Bytes a pixel; 0 for 1-bit layouts, whose pixels lie most significant bit first.
    static constexpr std::size_t bytes = Kind == PixelKind::bit ? 0 : channels * sizeof(Sample);

    /// Positions of the channels within a colour pixel; `a` only with alpha.
    static constexpr std::size_t r = channelPosition(Kind == PixelKind::argb ? 1 : 0, channels, Reversed);
    static constexpr std::size_t g = channelPosition(Kind == PixelKind::argb ? 2 : 1, channels, Reversed);
    static constexpr std::size_t b = channelPosition(Kind == PixelKind::argb ? 3 : 2, channels, Reversed);
    static constexpr std::size_t a = channelPosition(Kind == PixelKind::argb ? 0 : 3, channels, Reversed);
};

template <bool Inverted>
using BitLayout = PixelLayout<PixelKind::bit, std::uint8_t, Inverted>;
template <class Sample>
using GreyLayout = PixelLayout<PixelKind::grey, Sample>;
template <class Sample, bool Reversed>
using RgbLayout = PixelLayout<PixelKind::rgb, Sample, Reversed>;
template <class Sample, bool Reversed>
using ArgbLayout = PixelLayout<PixelKind::argb, Sample, Reversed>;
template <class Sample, bool Reversed>
using RgbaLayout = PixelLayout<PixelKind::rgba, Sample, Reversed>;

template <class... Layout>
struct LayoutList {
    static constexpr std::size_t size = sizeof...(Layout);
};

/// Every layout that converts: fourteen codes, the eight colour codes in both orders.
using Layouts =
    LayoutList<BitLayout<false>, BitLayout<true>, GreyLayout<std::uint8_t>, GreyLayout<std::uint16_t>,
               GreyLayout<float>, GreyLayout<double>, RgbLayout<std::uint8_t, false>, RgbLayout<std::uint8_t, true>,
               RgbLayout<std::uint16_t, false>, RgbLayout<std::uint16_t, true>, ArgbLayout<std::uint8_t, false>,
               ArgbLayout<std::uint8_t, true>, ArgbLayout<std::uint16_t, false>, ArgbLayout<std::uint16_t, true>,
               ArgbLayout<float, false>, ArgbLayout<float, true>, ArgbLayout<double, false>, ArgbLayout<double, true>,
               RgbaLayout<std::uint8_t, false>, RgbaLayout<std::uint8_t, true>, RgbaLayout<std::uint16_t, false>,
               RgbaLayout<std::uint16_t, true>>;

inline constexpr std::size_t kNoLayout = Layouts::size;

namespace detail {

template <class Wanted, class... Layout>
constexpr std::size_t indexIn(LayoutList<Layout...>) noexcept {
    constexpr bool same[] = {std::is_same_v<Wanted, Layout>...};
    std::size_t index = 0;
    while (index < sizeof...(Layout) && !same[index])
        ++index;
    return index;
}

} // namespace detail

/// The place of a layout in `Layouts`.
template <class Layout>
inline constexpr std::size_t kIndexOf = detail::indexIn<Layout>(Layouts{});

namespace detail {

/// The place in `Layouts` of each code with the order flag clear.
inline constexpr auto kFirstLayoutOfCode = [] {
    constexpr unsigned char codes[] = {CM_BW1,      CM_BW1INV,   CM_GREY8, CM_GREY16, CM_GREYFP32,
                                       CM_GREYFP64, CM_RGB8,     CM_RGB16, CM_ARGB8,  CM_ARGB16,
                                       CM_ARGBFP32, CM_ARGBFP64, CM_RGBA8, CM_RGBA16};
    std::array<std::uint8_t, 256> first{};
    first.fill(std::uint8_t{kNoLayout});
    std::uint8_t next = 0;
    for (const unsigned char code : codes) {
        first[code] = next;
        next = static_cast<std::uint8_t>(next + (code >= CM_RGB8 ? 2 : 1));
    }
    return first;
}();

} // namespace detail

/// The place in `Layouts` of a code with an order flag; kNoLayout for a code that does not convert.
[[nodiscard]] constexpr std::size_t layoutIndex(std::uint8_t code, bool order) noexcept {
    const std::size_t first = detail::kFirstLayoutOfCode[code];
    return first != kNoLayout && code >= CM_RGB8 && order ? first + 1 : first;
}

} // namespace rastrel
