/// @file color_model.h
/// What each colour-model code stands for.
#pragma once

#include <cstdint>

#include "rastrel/pixel.h"

namespace rastrel {

/// One row of the colour-model table. Unknown codes have `code` 0.
struct ColorModel {
    std::uint8_t code;
    std::uint8_t channels;       ///< samples a pixel
    std::uint8_t bytesPerSample; ///< 0 for the 1-bit codes
    std::uint8_t bytesPerPixel;  ///< 0 for the 1-bit codes
    std::uint16_t depth;         ///< bits a pixel as reported to hosts
    bool colored;
    bool floating;
};

/// The table row of a code.
[[nodiscard]] const ColorModel& colorModel(std::uint8_t code) noexcept;

[[nodiscard]] constexpr bool isOneBit(std::uint8_t code) noexcept { return code == CM_BW1 || code == CM_BW1INV; }

/// Whether the conversion kernels know a code: all but the two opaque colour codes and the Bayer code.
[[nodiscard]] bool isConvertible(std::uint8_t code) noexcept;

/// Bytes of a packed bitmap; 0 for an unknown code and for a product beyond 64 bits. The 1-bit codes give n / 8, plus 1
/// when n is not a multiple of 4: every 1-bit storage size is made with this rounding.
[[nodiscard]] std::uint64_t bitmapSize(std::uint64_t width, std::uint64_t height, std::uint8_t code) noexcept;

} // namespace rastrel
