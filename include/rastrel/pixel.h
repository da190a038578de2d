/// @file pixel.h
/// Pixel structs and colour-model codes.
#pragma once

/// One 8-bit pixel: as a little-endian 32-bit word 0xAARRGGBB. Components 0..255, alpha 255 is opaque.
struct pixel_argb8 {
    unsigned char b, g, r, a;
};

/// One 16-bit pixel, components 0..65535, alpha 65535 is opaque.
struct pixel_argb16 {
    unsigned short b, g, r, a;
};

/// One single-precision pixel, components nominally 0.0..1.0, alpha 1.0 is opaque.
struct pixel_argbfp32 {
    float b, g, r, a;
};

/// One double-precision pixel, components nominally 0.0..1.0, alpha 1.0 is opaque.
struct pixel_argbfp64 {
    double b, g, r, a;
};

/// One raw Bayer element: six opaque bytes that are only ever copied whole.
struct pixel_rggb12 {
    unsigned char bytes[6];
};

static_assert(sizeof(pixel_argb8) == 4 && sizeof(pixel_argb16) == 8 && sizeof(pixel_argbfp32) == 16 &&
                  sizeof(pixel_argbfp64) == 32 && sizeof(pixel_rggb12) == 6,
              "pixel structs are packed");

/// @name Colour-model codes
/// High nibble: kind of layout. Low nibble: bytes of one sample (0 for the 1-bit codes). Pixels are packed, rows
/// follow one another without padding; channel order within a pixel is told by the image's component-order flag.
/// @{
inline constexpr unsigned char CM_BW1 = 16;       ///< 1 bit, set is white, most significant bit first
inline constexpr unsigned char CM_BW1INV = 32;    ///< 1 bit, set is black, most significant bit first
inline constexpr unsigned char CM_GREY8 = 49;     ///< grey, 8 bits
inline constexpr unsigned char CM_GREY16 = 50;    ///< grey, 16 bits
inline constexpr unsigned char CM_GREYFP32 = 52;  ///< grey, 32-bit float 0.0..1.0
inline constexpr unsigned char CM_GREYFP64 = 56;  ///< grey, 64-bit float 0.0..1.0
inline constexpr unsigned char CM_COLOR8 = 65;    ///< one 8-bit sample a pixel; stored and mirrored, never converted
inline constexpr unsigned char CM_COLOR16 = 66;   ///< one 16-bit sample a pixel; stored and mirrored, never converted
inline constexpr unsigned char CM_RGB8 = 81;      ///< R, G, B, 8 bits each
inline constexpr unsigned char CM_RGB16 = 82;     ///< R, G, B, 16 bits each
inline constexpr unsigned char CM_ARGB8 = 97;     ///< A, R, G, B, 8 bits each: pixel_argb8
inline constexpr unsigned char CM_ARGB16 = 98;    ///< A, R, G, B, 16 bits each: pixel_argb16
inline constexpr unsigned char CM_ARGBFP32 = 100; ///< A, R, G, B, 32-bit float: pixel_argbfp32
inline constexpr unsigned char CM_ARGBFP64 = 104; ///< A, R, G, B, 64-bit float: pixel_argbfp64
inline constexpr unsigned char CM_RGBA8 = 113;    ///< R, G, B, A, 8 bits each
inline constexpr unsigned char CM_RGBA16 = 114;   ///< R, G, B, A, 16 bits each
inline constexpr unsigned char CM_RGGB12 = 129;   ///< raw Bayer element: pixel_rggb12
/// @}
