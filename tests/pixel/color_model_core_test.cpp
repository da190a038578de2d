// The table of colour-model codes and the sizes of packed bitmaps.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "pixel/color_model.h"

namespace {

using rastrel::bitmapSize;
using rastrel::colorModel;

struct ModelCase {
    unsigned char code;
    int depth;
    int channels, bytesPerSample, bytesPerPixel;
    bool colored, floating;
};

constexpr ModelCase kModelCases[] = {
    {16, 1, 1, 0, 0, false, false},   {32, 1, 1, 0, 0, false, false},   {49, 8, 1, 1, 1, false, false},
    {50, 16, 1, 2, 2, false, false},  {52, 32, 1, 4, 4, false, true},   {56, 64, 1, 8, 8, false, true},
    {65, 8, 1, 1, 1, true, false},    {66, 16, 1, 2, 2, true, false},   {81, 24, 3, 1, 3, true, false},
    {82, 48, 3, 2, 6, true, false},   {97, 32, 4, 1, 4, true, false},   {98, 64, 4, 2, 8, true, false},
    {100, 128, 4, 4, 16, true, true}, {104, 256, 4, 8, 32, true, true}, {113, 32, 4, 1, 4, true, false},
    {114, 64, 4, 2, 8, true, false},
};

TEST(ColorModel, TableOfCodes) {
    for (const ModelCase& expected : kModelCases) {
        const rastrel::ColorModel& model = colorModel(expected.code);
        EXPECT_EQ(model.code, expected.code);
        EXPECT_EQ(model.depth, expected.depth) << int{expected.code};
        EXPECT_EQ(model.channels, expected.channels) << int{expected.code};
        EXPECT_EQ(model.bytesPerSample, expected.bytesPerSample) << int{expected.code};
        EXPECT_EQ(model.bytesPerPixel, expected.bytesPerPixel) << int{expected.code};
        EXPECT_EQ(model.colored, expected.colored) << int{expected.code};
        EXPECT_EQ(model.floating, expected.floating) << int{expected.code};
        if (model.bytesPerPixel != 0) {
            EXPECT_EQ(bitmapSize(7, 5, model.code), 35U * model.bytesPerPixel);
        }
    }
}

TEST(ColorModel, LowNibbleIsTheBytesOfASample) {
    for (const ModelCase& expected : kModelCases)
        EXPECT_EQ(expected.code & 15, colorModel(expected.code).bytesPerSample);
}

TEST(ColorModel, NamesHaveTheirNumbers) {
    const unsigned char names[] = {CM_BW1,      CM_BW1INV,   CM_GREY8, CM_GREY16, CM_GREYFP32, CM_GREYFP64,
                                   CM_COLOR8,   CM_COLOR16,  CM_RGB8,  CM_RGB16,  CM_ARGB8,    CM_ARGB16,
                                   CM_ARGBFP32, CM_ARGBFP64, CM_RGBA8, CM_RGBA16};
    for (std::size_t i = 0; i < std::size(names); ++i)
        EXPECT_EQ(names[i], kModelCases[i].code);
    EXPECT_EQ(CM_RGGB12, 129);
}

TEST(ColorModel, RawBayerElementsHaveSixBytesAndNoDepth) {
    EXPECT_EQ(bitmapSize(10, 7, CM_RGGB12), 420U);
    EXPECT_EQ(colorModel(CM_RGGB12).depth, 0);
    EXPECT_TRUE(colorModel(CM_RGGB12).colored);
}

TEST(ColorModel, OtherCodesHaveNoSizeAndCountAsColour) {
    int known = 0;
    for (int code = 0; code < 256; ++code) {
        const rastrel::ColorModel& model = colorModel(static_cast<unsigned char>(code));
        if (model.code == code && code != 0) {
            ++known;
            continue;
        }
        EXPECT_EQ(model.code, 0) << code;
        EXPECT_EQ(model.depth, 0) << code;
        EXPECT_TRUE(model.colored) << code;
        EXPECT_EQ(bitmapSize(1, 1, static_cast<unsigned char>(code)), 0U) << code;
        EXPECT_EQ(bitmapSize(1000, 1000, static_cast<unsigned char>(code)), 0U) << code;
    }
    EXPECT_EQ(known, 17);
}

struct BitSizeCase {
    unsigned width, height, bytes;
};

TEST(ColorModel, OneBitSizesRoundOnTheTwoLowestBits) {
    constexpr BitSizeCase cases[] = {{0, 0, 0}, {1, 1, 1}, {3, 1, 1},  {4, 1, 0},    {5, 1, 1},        {7, 1, 1},
                                     {8, 1, 1}, {9, 1, 2}, {12, 1, 1}, {14, 1, 2},   {16, 1, 2},       {20, 1, 2},
                                     {3, 4, 1}, {5, 5, 4}, {2, 2, 0},  {10, 10, 12}, {640, 480, 38400}};
    for (const BitSizeCase& size : cases) {
        EXPECT_EQ(bitmapSize(size.width, size.height, 16), size.bytes) << size.width << " x " << size.height;
        EXPECT_EQ(bitmapSize(size.width, size.height, 32), size.bytes) << size.width << " x " << size.height;
    }
}

TEST(ColorModel, SizesAreComputedInSixtyFourBits) {
    EXPECT_EQ(bitmapSize(0xFFFFFFFFU, 0xFFFFFFFFU, CM_GREY8), 0xFFFFFFFE00000001U);
    EXPECT_EQ(bitmapSize(0xFFFFFFFFU, 0xFFFFFFFFU, CM_BW1), 0xFFFFFFFE00000001U / 8 + 1);
    EXPECT_EQ(bitmapSize(0xFFFFFFFFU, 0xFFFFFFFFU, CM_GREY16), 0U) << "beyond 64 bits";
    EXPECT_EQ(bitmapSize(0x80000000U, 0x10000000U, CM_ARGBFP64), 0U) << "2^64 exactly";
    EXPECT_EQ(bitmapSize(0x7FFFFFFFU, 0x10000000U, CM_ARGBFP64), std::uint64_t{0x7FFFFFFFU} << 33);
    EXPECT_EQ(bitmapSize(0x100000000U, 0x100000000U, CM_GREY8), 0U);
    EXPECT_EQ(bitmapSize(70000, 70000, CM_ARGB8), 19600000000U);
}

} // namespace
