/// @file orf_curve.h
/// From the 12-bit values of a raw file to 16 bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace rastrel {

/// Entry i is 16 i - 32, computed in unsigned 32 bits, times 1.001, cut to 0 .. 65535. Entries 0 and 1 wrap round and
/// are therefore 65535; hosts know them so. One curve serves all three channels.
[[nodiscard]] constexpr std::array<std::uint16_t, 4096> makeOrfCurve() noexcept {
    std::array<std::uint16_t, 4096> curve{};
    for (std::uint32_t i = 0; i < curve.size(); ++i) {
        const double value = static_cast<double>(16U * i - 32U) * 1.001;
        curve[i] = static_cast<std::uint16_t>(value < 65535.0 ? value : 65535.0);
    }
    return curve;
}

/// The largest values of the even and of the odd columns.
struct SitePair {
    std::uint16_t even, odd;
};

/// Maps the low twelve bits of `count` samples of a row through the curve, even columns to `even`, odd ones to `odd`.
/// Returns the largest values before the curve.
SitePair applyOrfCurve(const std::uint16_t* row, std::size_t count, std::uint16_t* even, std::uint16_t* odd) noexcept;

} // namespace rastrel
