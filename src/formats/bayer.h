/// @file bayer.h
/// Full colour from a mosaic of red, green / green, blue sites.
///
/// Green is interpolated at red and blue sites along the row and along the column, each with the curvature of the
/// site's own colour; the direction is taken in whose neighbourhood the difference between colour and green varies
/// least. Red and blue follow as differences from green, at sites of the other colour along the smoother diagonal. The
/// borders mirror the picture without repeating its edge, which keeps every site's colour; an estimate made across the
/// border is taken only where it is clearly the better one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "formats/bayer_kernels.h"

namespace rastrel {

/// Interpolates row after row. Holds eight rows of working data, not the picture.
class BayerRows {
public:
    /// Fetches one row of the mosaic: samples of the even columns to `even`, of the odd ones to `odd`. Rows are asked
    /// for in ascending order, the last few and the first few a second time.
    using Load = std::function<void(std::uint32_t y, std::uint16_t* even, std::uint16_t* odd)>;

    /// A mosaic of `width` x `height` samples, neither 0. Throws `std::bad_alloc`.
    BayerRows(std::uint32_t width, std::uint32_t height, Load load, const BayerKernels& kernels = bayerKernels());

    /// Writes the next row, 3 x `width` samples in the order red, green, blue. To be called `height` times at most.
    void next(std::uint16_t* rgb);

private:
    static constexpr std::int64_t kRing = 8;

    [[nodiscard]] BayerRow& at(std::int64_t y) noexcept { return rows_[static_cast<std::size_t>(y & (kRing - 1))]; }
    /// Takes in row `y`, mirrored where it lies outside, and does for the rows above it what it makes possible.
    void fetch(std::int64_t y);
    /// Decides again where an estimate rests on mirrored samples: it must be clearly the better one there.
    void decideBorder(std::int64_t y);
    void decideAtBorder(std::int64_t y, std::ptrdiff_t i, bool mirroredRows);

    std::uint32_t width_, height_;
    Load load_;
    const BayerKernels& kernels_;
    std::vector<std::uint16_t> storage_;
    std::array<BayerRow, kRing> rows_{};
    std::int64_t y_ = 0;
};

} // namespace rastrel
