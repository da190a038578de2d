/// @file interchange.h
/// The eight types in which callers exchange pixels with an image.
#pragma once

#include <cstdint>

#include "rastrel/pixel.h"

namespace rastrel {

/// What differs between the interchange types: the colour-model code of the same layout, and whether a component order
/// goes with it.
template <class T>
struct Interchange;

template <std::uint8_t Code, bool Ordered>
struct InterchangeOf {
    static constexpr std::uint8_t kCode = Code;
    static constexpr bool kOrdered = Ordered;
};

template <>
struct Interchange<pixel_argbfp64> : InterchangeOf<CM_ARGBFP64, true> {};
template <>
struct Interchange<pixel_argbfp32> : InterchangeOf<CM_ARGBFP32, true> {};
template <>
struct Interchange<pixel_rggb12> : InterchangeOf<CM_RGGB12, true> {};
template <>
struct Interchange<pixel_argb16> : InterchangeOf<CM_ARGB16, true> {};
template <>
struct Interchange<pixel_argb8> : InterchangeOf<CM_ARGB8, true> {};
template <>
struct Interchange<double> : InterchangeOf<CM_GREYFP64, false> {};
template <>
struct Interchange<unsigned short> : InterchangeOf<CM_GREY16, false> {};
template <>
struct Interchange<unsigned char> : InterchangeOf<CM_GREY8, false> {};

} // namespace rastrel
