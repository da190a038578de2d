/// @file random_images.h
/// Seeded images of every colour model, orientation and component order.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "rastrel/rastrel.h"
#include "support/sample_noise.h"

inline constexpr unsigned char kConvertibleModels[] = {CM_BW1,      CM_BW1INV,   CM_GREY8, CM_GREY16, CM_GREYFP32,
                                                       CM_GREYFP64, CM_RGB8,     CM_RGB16, CM_ARGB8,  CM_ARGB16,
                                                       CM_ARGBFP32, CM_ARGBFP64, CM_RGBA8, CM_RGBA16};

/// Fills an image with noise, levels or ramps through the public rows.
inline void fillWithNoise(Rastrel& image, Dice& dice) {
    const unsigned char flags[] = {image.transposed, image.mirrorX, image.mirrorY};
    image.transposed = image.mirrorX = image.mirrorY = 0;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        auto samples = sampleLine<unsigned short>(dice, std::size_t{image.width} * 4);
        std::vector<pixel_argb16> row(image.width);
        std::memcpy(row.data(), samples.data(), samples.size() * sizeof(unsigned short));
        image.SetHLine(row.data(), 0, static_cast<long>(image.width) - 1, static_cast<long>(y));
    }
    image.transposed = flags[0];
    image.mirrorX = flags[1];
    image.mirrorY = flags[2];
}

inline void makeNoise(Rastrel& image, Dice& dice, unsigned long width, unsigned long height, unsigned char colormodel) {
    image.Create(width, height, colormodel);
    image.componentOrder = static_cast<unsigned char>(dice.below(2));
    fillWithNoise(image, dice);
    if (dice.below(2) == 0) {
        image.transposed = static_cast<unsigned char>(dice.below(2));
        image.mirrorX = static_cast<unsigned char>(dice.below(2));
        image.mirrorY = static_cast<unsigned char>(dice.below(2));
    }
}

/// The bytes of the pixel block.
inline std::vector<unsigned char> blockOf(const Rastrel& image) {
    std::vector<unsigned char> bytes(image.pixels.GetSize());
    if (!bytes.empty()) image.pixels.Read(0, bytes.data(), bytes.size());
    return bytes;
}

/// Pixels, flags and component order of another image.
inline void copyImage(Rastrel& to, Rastrel& from) {
    to.Create(from.width, from.height, from.colormodel);
    const auto bytes = blockOf(from);
    if (!bytes.empty()) to.pixels.Write(0, bytes.data(), bytes.size());
    to.componentOrder = from.componentOrder;
    to.transposed = from.transposed;
    to.mirrorX = from.mirrorX;
    to.mirrorY = from.mirrorY;
}
