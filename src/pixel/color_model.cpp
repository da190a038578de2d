#include "pixel/color_model.h"

#include <array>
#include <limits>

namespace rastrel {
namespace {

constexpr ColorModel kModels[] = {
    {0, 0, 0, 0, 0, true, false},
    {CM_BW1, 1, 0, 0, 1, false, false},
    {CM_BW1INV, 1, 0, 0, 1, false, false},
    {CM_GREY8, 1, 1, 1, 8, false, false},
    {CM_GREY16, 1, 2, 2, 16, false, false},
    {CM_GREYFP32, 1, 4, 4, 32, false, true},
    {CM_GREYFP64, 1, 8, 8, 64, false, true},
    {CM_COLOR8, 1, 1, 1, 8, true, false},
    {CM_COLOR16, 1, 2, 2, 16, true, false},
    {CM_RGB8, 3, 1, 3, 24, true, false},
    {CM_RGB16, 3, 2, 6, 48, true, false},
    {CM_ARGB8, 4, 1, 4, 32, true, false},
    {CM_ARGB16, 4, 2, 8, 64, true, false},
    {CM_ARGBFP32, 4, 4, 16, 128, true, true},
    {CM_ARGBFP64, 4, 8, 32, 256, true, true},
    {CM_RGBA8, 4, 1, 4, 32, true, false},
    {CM_RGBA16, 4, 2, 8, 64, true, false},
    {CM_RGGB12, 1, 6, 6, 0, true, false},
};

constexpr auto kIndexOfCode = [] {
    std::array<std::uint8_t, 256> index{};
    for (std::size_t i = 0; i < std::size(kModels); ++i)
        index[kModels[i].code] = static_cast<std::uint8_t>(i);
    return index;
}();

/// The product, or 0 when it needs more than 64 bits.
constexpr std::uint64_t productOrZero(std::uint64_t a, std::uint64_t b) noexcept {
    return b != 0 && a > std::numeric_limits<std::uint64_t>::max() / b ? 0 : a * b;
}

} // namespace

const ColorModel& colorModel(std::uint8_t code) noexcept { return kModels[kIndexOfCode[code]]; }

bool isConvertible(std::uint8_t code) noexcept {
    return colorModel(code).code != 0 && code != CM_COLOR8 && code != CM_COLOR16 && code != CM_RGGB12;
}

std::uint64_t bitmapSize(std::uint64_t width, std::uint64_t height, std::uint8_t code) noexcept {
    const std::uint64_t pixels = productOrZero(width, height);
    if (isOneBit(code)) return pixels / 8 + (pixels % 4 != 0 ? 1 : 0);
    return productOrZero(pixels, colorModel(code).bytesPerPixel);
}

} // namespace rastrel
