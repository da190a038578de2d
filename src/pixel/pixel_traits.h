/// @file pixel_traits.h
/// What the line layer has to know about each interchange type.
#pragma once

#include <cstdint>

#include "rastrel/pixel.h"

namespace rastrel {

/// `model`: the colour-model code whose stored pixels have this type. `Sample`: the type of one channel. `channels`:
/// samples a pixel. `ordered`: whether the component-order flag means anything.
template <class Pixel>
struct PixelTraits;

template <>
struct PixelTraits<unsigned char> {
    using Sample = std::uint8_t;
    static constexpr std::uint8_t model = CM_GREY8;
    static constexpr int channels = 1;
    static constexpr bool ordered = false;
};

template <>
struct PixelTraits<unsigned short> {
    using Sample = std::uint16_t;
    static constexpr std::uint8_t model = CM_GREY16;
    static constexpr int channels = 1;
    static constexpr bool ordered = false;
};

template <>
struct PixelTraits<double> {
    using Sample = double;
    static constexpr std::uint8_t model = CM_GREYFP64;
    static constexpr int channels = 1;
    static constexpr bool ordered = false;
};

template <>
struct PixelTraits<pixel_argb8> {
    using Sample = std::uint8_t;
    static constexpr std::uint8_t model = CM_ARGB8;
    static constexpr int channels = 4;
    static constexpr bool ordered = true;
};

template <>
struct PixelTraits<pixel_argb16> {
    using Sample = std::uint16_t;
    static constexpr std::uint8_t model = CM_ARGB16;
    static constexpr int channels = 4;
    static constexpr bool ordered = true;
};

template <>
struct PixelTraits<pixel_argbfp32> {
    using Sample = float;
    static constexpr std::uint8_t model = CM_ARGBFP32;
    static constexpr int channels = 4;
    static constexpr bool ordered = true;
};

template <>
struct PixelTraits<pixel_argbfp64> {
    using Sample = double;
    static constexpr std::uint8_t model = CM_ARGBFP64;
    static constexpr int channels = 4;
    static constexpr bool ordered = true;
};

/// Six opaque bytes: never converted, never reordered within the element.
template <>
struct PixelTraits<pixel_rggb12> {
    using Sample = std::uint8_t;
    static constexpr std::uint8_t model = CM_RGGB12;
    static constexpr int channels = 6;
    static constexpr bool ordered = false;
};

} // namespace rastrel
