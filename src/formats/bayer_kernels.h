/// @file bayer_kernels.h
/// The steps of the mosaic interpolation on single rows, for every instruction set that this machine may have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace rastrel {

/// Columns of one parity that a row of working data has before its first and behind its last one. Every step needs its
/// neighbours; each is computed one column less far out than what it is made of.
inline constexpr std::ptrdiff_t kBayerMargin = 4;

/// Working data of one row of the mosaic, split by the parity of the columns. Each pointer leads to the first column
/// of its parity; `kBayerMargin` columns lie before it and behind the last one.
///
/// `color` are the red sites of an even row, the blue sites of an odd one; site i lies in column 2 i of an even row and
/// 2 i + 1 of an odd one.
struct BayerRow {
    std::uint16_t* color;
    std::uint16_t* green;            ///< the green sites
    std::uint16_t* greenAlongRow;    ///< green at the colour sites, estimated from the row
    std::uint16_t* greenAlongColumn; ///< the same from the column
    std::uint16_t* rowVariation;     ///< how colour minus green changes to the next site of the row, halved
    std::uint16_t* columnVariation;  ///< how it changes to the same site two rows below, halved
    std::uint16_t* colorGreen;       ///< green at the colour sites, as decided
};

/// One implementation of the steps. `count` is the number of colour sites of a row; `odd` tells an odd row.
struct BayerKernels {
    const char* name;
    /// Estimates both greens of `row`, in the margin too, from itself and two rows on either side.
    void (*estimate)(const BayerRow& above2, const BayerRow& above, const BayerRow& row, const BayerRow& below,
                     const BayerRow& below2, std::ptrdiff_t count, bool odd);
    /// Measures how the estimates vary along `row`, and along the columns from `above2` to `row`.
    void (*vary)(const BayerRow& above2, const BayerRow& row, std::ptrdiff_t count);
    /// Decides the green of `row` from the variations of itself and two rows on either side.
    void (*decide)(const BayerRow& above2, const BayerRow& above, const BayerRow& row, const BayerRow& below,
                   const BayerRow& below2, std::ptrdiff_t count, bool odd);
    /// Writes `width` pixels of red, green, blue.
    void (*emit)(const BayerRow& above, const BayerRow& row, const BayerRow& below, std::uint32_t width, bool odd,
                 std::uint16_t* rgb);
};

/// What the library uses on this machine.
[[nodiscard]] const BayerKernels& bayerKernels() noexcept;
/// All that this machine can run; they give the same bits.
[[nodiscard]] std::span<const BayerKernels* const> availableBayerKernels() noexcept;

} // namespace rastrel
