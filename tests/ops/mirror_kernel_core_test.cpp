#include "ops/mirror_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "rastrel/pixel.h"

namespace {

using rastrel::mirrorLine;

struct PixelSize {
    unsigned char colormodel;
    std::size_t bytes;
};

constexpr PixelSize kPixelSizes[] = {
    {CM_GREY8, 1}, {CM_COLOR8, 1}, {CM_GREY16, 2},    {CM_COLOR16, 2},   {CM_GREYFP32, 4},
    {CM_ARGB8, 4}, {CM_RGBA8, 4},  {CM_GREYFP64, 8},  {CM_ARGB16, 8},    {CM_RGBA16, 8},
    {CM_RGB8, 3},  {CM_RGB16, 6},  {CM_ARGBFP32, 16}, {CM_ARGBFP64, 32},
};

std::vector<unsigned char> noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

bool bitOf(const std::vector<unsigned char>& bytes, std::size_t index) {
    return (bytes[index / 8] & (0x80U >> index % 8)) != 0;
}

TEST(MirrorLine, SwapsWholePixelsOfEverySizeAndTouchesNothingElse) {
    for (const auto& [colormodel, bytes] : kPixelSizes) {
        for (std::size_t width = 0; width <= 40; ++width) {
            SCOPED_TRACE(testing::Message() << "model " << int{colormodel} << " width " << width);
            const auto before = noise(bytes * (width + 2), static_cast<unsigned>(width));
            auto expected = before;
            for (std::size_t p = 0; p < width; ++p) {
                std::copy_n(&before[bytes * (1 + p)], bytes, &expected[bytes * (width - p)]);
            }
            auto line = before;
            ASSERT_TRUE(mirrorLine(line.data() + bytes, width, colormodel));
            EXPECT_EQ(line, expected);
        }
    }
}

TEST(MirrorLine, GreyOneTwoThreeComesOutThreeTwoOne) {
    unsigned char line[] = {1, 2, 3};
    ASSERT_TRUE(mirrorLine(line, 3, CM_GREY8));
    EXPECT_EQ(line[0], 3);
    EXPECT_EQ(line[1], 2);
    EXPECT_EQ(line[2], 1);
}

TEST(MirrorLine, OnePixelStays) {
    unsigned char line[] = {77};
    EXPECT_TRUE(mirrorLine(line, 1, CM_GREY8));
    EXPECT_EQ(line[0], 77);
    EXPECT_TRUE(mirrorLine(line, 1, CM_BW1));
    EXPECT_EQ(line[0], 77);
}

TEST(MirrorLine, DeclinesEveryOtherCode) {
    for (unsigned code = 0; code < 256; ++code) {
        const bool listed = code == CM_BW1 || code == CM_BW1INV ||
                            std::any_of(std::begin(kPixelSizes), std::end(kPixelSizes),
                                        [code](const PixelSize& entry) { return entry.colormodel == code; });
        auto line = noise(8 * 32, code);
        const auto before = line;
        EXPECT_EQ(mirrorLine(line.data(), 8, static_cast<unsigned char>(code)), listed) << code;
        if (!listed) {
            EXPECT_EQ(line, before) << code;
        }
    }
    EXPECT_FALSE(mirrorLine(nullptr, 4, CM_GREY8));
}

TEST(MirrorLine, ReversesTheBitsOfPartialByteWidths) {
    for (const unsigned char colormodel : {CM_BW1, CM_BW1INV}) {
        for (std::size_t width = 2; width < 200; ++width) {
            if (width % 8 == 0) continue;
            SCOPED_TRACE(width);
            const auto before = noise(width / 8 + 3, static_cast<unsigned>(width));
            auto line = before;
            ASSERT_TRUE(mirrorLine(line.data(), width, colormodel));
            for (std::size_t i = 0; i < line.size() * 8; ++i) {
                ASSERT_EQ(bitOf(line, i), bitOf(before, i < width ? width - 1 - i : i)) << "bit " << i;
            }
        }
    }
}

TEST(MirrorLine, WholeByteWidthsReverseSwappedBytesAndKeepAnOddMiddleByte) {
    for (std::size_t bytes = 1; bytes <= 20; ++bytes) {
        SCOPED_TRACE(bytes);
        const auto before = noise(bytes + 3, static_cast<unsigned>(bytes));
        auto line = before;
        ASSERT_TRUE(mirrorLine(line.data(), bytes * 8, CM_BW1));
        for (std::size_t i = 0; i < line.size() * 8; ++i) {
            const bool kept = i >= bytes * 8 || (bytes % 2 == 1 && i / 8 == bytes / 2);
            ASSERT_EQ(bitOf(line, i), bitOf(before, kept ? i : bytes * 8 - 1 - i)) << "bit " << i;
        }
    }
}

} // namespace
