/// Rectangles of JPEG files.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/jpeg_files.h"
#include "support/open_image.h"

namespace {

using namespace testing_support;

/// Columns left .. right - 1 of rows top .. bottom - 1.
Bytes part(const DecodedJpeg& decoded, unsigned left, unsigned top, unsigned right, unsigned bottom) {
    Bytes bytes;
    const auto pixel = static_cast<unsigned>(decoded.components);
    for (unsigned y = top; y < bottom; ++y) {
        const auto row = decoded.pixels.begin() + static_cast<std::ptrdiff_t>(std::size_t{y} * decoded.width * pixel);
        bytes.insert(bytes.end(), row + left * pixel, row + right * pixel);
    }
    return bytes;
}

TEST(JpegRect, ARectangleIsCutOutOfTheWholePicture) {
    Noise noise(7);
    for (const JpegRecipe& recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        if (recipe.width < 2 || recipe.height < 2) continue;
        const Bytes file = makeJpeg(recipe);
        const DecodedJpeg decoded = decodeJpeg(file);
        const ScratchStream stream(file);
        for (int round = 0; round < 60; ++round) {
            const unsigned left = noise.below(recipe.width - 1);
            const unsigned top = noise.below(recipe.height - 1);
            const unsigned right = left + 1 + noise.below(recipe.width - 1 - left);
            const unsigned bottom = top + 1 + noise.below(recipe.height - 1 - top);
            OpenImage image;
            image.componentOrder = 1;
            ASSERT_TRUE(image.ReadRectJPEG(stream, left, top, right, bottom));
            EXPECT_EQ(image.width, right - left);
            EXPECT_EQ(image.height, bottom - top);
            EXPECT_EQ(image.colormodel, recipe.components == 1 ? CM_GREY8 : CM_RGB8);
            EXPECT_EQ(image.componentOrder, 0);
            EXPECT_EQ(image.progress, 1000U);
            EXPECT_EQ(image.busyCount, 0U);
            ASSERT_EQ(bytesOf(image), part(decoded, left, top, right, bottom))
                << left << ' ' << top << ' ' << right << ' ' << bottom;
        }
    }
}

/// Reads a rectangle and compares it with the whole picture.
void expectPart(FILE* stream, const DecodedJpeg& decoded, unsigned left, unsigned top, unsigned right,
                unsigned bottom) {
    OpenImage image;
    ASSERT_TRUE(image.ReadRectJPEG(stream, left, top, right, bottom));
    ASSERT_EQ(bytesOf(image), part(decoded, left, top, right, bottom))
        << left << ' ' << top << ' ' << right << ' ' << bottom;
}

TEST(JpegRect, WhatIsNotDecodedIsNotMissed) {
    for (JpegRecipe recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        if (recipe.width < 20 || recipe.height < 20) continue;
        recipe.width += 40; // groups of up to 32 columns to pass over on both sides
        recipe.height += 30;
        const Bytes file = makeJpeg(recipe);
        const DecodedJpeg decoded = decodeJpeg(file);
        const ScratchStream stream(file);
        for (unsigned left = 0; left < recipe.width - 1; ++left)
            for (const unsigned columns : {1U, 10U, recipe.width})
                expectPart(stream, decoded, left, 21, std::min(left + columns, recipe.width - 1), 40);
        for (unsigned top = 0; top < recipe.height - 1; ++top)
            for (const unsigned rows : {1U, 18U, recipe.height})
                expectPart(stream, decoded, 37, top, 58, std::min(top + rows, recipe.height - 1));
    }
}

TEST(JpegRect, ManyRowsArePassedOver) {
    for (const int down : {1, 2}) {
        JpegRecipe recipe;
        recipe.height = 1400;
        recipe.down = down;
        const Bytes file = makeJpeg(recipe);
        const DecodedJpeg decoded = decodeJpeg(file);
        const ScratchStream stream(file);
        for (const unsigned top : {510U, 511U, 512U, 513U, 527U, 1023U, 1024U, 1025U, 1041U, 1300U, 1390U})
            expectPart(stream, decoded, 3, top, 55, top + 9);
    }
}

TEST(JpegRect, DamageAboveTheRectangleGivesTheSamePixels) {
    Noise noise(11);
    for (JpegRecipe recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        if (recipe.width < 20 || recipe.height < 20 || recipe.progressive) continue;
        recipe.width += 40;
        recipe.height += 40;
        const Bytes whole = makeJpeg(recipe);
        const std::size_t scan = markerPlace(whole, 0xDA) + 14;
        int compared = 0;
        for (int round = 0; round < 40; ++round) {
            Bytes file = whole;
            for (int change = 0; change < 3; ++change) {
                unsigned char& byte = file[scan + noise.below(static_cast<unsigned>(file.size() - scan - 2))];
                byte = static_cast<unsigned char>(byte ^ (1 + noise.below(254)));
            }
            if (round % 4 == 0)
                file.erase(file.end() - noise.below(static_cast<unsigned>(file.size() - scan)), file.end());
            const ScratchStream stream(file);
            OpenImage image;
            if (!image.ReadRectJPEG(stream, 30, 30, 71, 60)) continue; // a marker came up
            ASSERT_EQ(bytesOf(image), part(decodeJpeg(file, 60), 30, 30, 71, 60));
            ++compared;
        }
        EXPECT_GT(compared, 10);
    }
}

TEST(JpegRect, MissingScansAreSmoothedOver) {
    JpegRecipe recipe;
    recipe.progressive = true;
    recipe.width = 200;
    recipe.height = 150;
    const Bytes whole = makeJpeg(recipe);
    for (const std::size_t parts : {2U, 3U, 5U}) {
        const Bytes file(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(whole.size() / parts));
        const ScratchStream stream(file);
        OpenImage image;
        ASSERT_TRUE(image.ReadRectJPEG(stream, 50, 40, 151, 120));
        EXPECT_EQ(bytesOf(image), part(decodeJpeg(file), 50, 40, 151, 120));
    }
}

TEST(JpegRect, EdgesAreBroughtIntoThePicture) {
    const Bytes file = makeJpeg({});
    const DecodedJpeg decoded = decodeJpeg(file);
    const ScratchStream stream(file);
    OpenImage image;
    // The last column and row are never part of it.
    ASSERT_TRUE(image.ReadRectJPEG(stream, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(image.width, 60U);
    EXPECT_EQ(image.height, 42U);
    EXPECT_EQ(bytesOf(image), part(decoded, 0, 0, 60, 42));
    ASSERT_TRUE(image.ReadRectJPEG(stream, 59, 41, 61, 43));
    EXPECT_EQ(bytesOf(image), part(decoded, 59, 41, 60, 42));
}

TEST(JpegRect, EmptyRectanglesAreDeclined) {
    const ScratchStream stream(makeJpeg({}));
    constexpr unsigned long kRects[][4] = {{5, 5, 5, 9},     {5, 5, 9, 5},   {9, 5, 5, 9},   {5, 9, 9, 5},
                                           {60, 0, 100, 10}, {0, 42, 9, 99}, {70, 0, 80, 9}, {0, 0, 0, 0}};
    for (const auto& rect : kRects) {
        OpenImage image;
        EXPECT_FALSE(image.ReadRectJPEG(stream, rect[0], rect[1], rect[2], rect[3]));
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_EQ(image.width, 0U);
        EXPECT_EQ(image.Read(stream, rect[0], rect[1], rect[2], rect[3]), Rastrel::kNotAccepted);
    }
    JpegRecipe column;
    column.width = 1;
    const ScratchStream narrow(makeJpeg(column));
    OpenImage image;
    EXPECT_FALSE(image.ReadRectJPEG(narrow, 0, 0, 1, 10));
}

TEST(JpegRect, SwappedBlocksHoldTheSame) {
    const Bytes file = makeJpeg({});
    const ScratchStream stream(file);
    OpenImage image;
    image.swapThreshold = 20 * 20 * 3 - 1;
    ASSERT_TRUE(image.ReadRectJPEG(stream, 10, 10, 30, 30));
    EXPECT_TRUE(image.pixels.IsSwapped());
    EXPECT_EQ(bytesOf(image), part(decodeJpeg(file), 10, 10, 30, 30));
    image.swapThreshold = 20 * 20 * 3;
    ASSERT_TRUE(image.ReadRectJPEG(stream, 10, 10, 30, 30));
    EXPECT_FALSE(image.pixels.IsSwapped());
}

TEST(JpegRect, TheRecordIsFilled) {
    const ScratchStream stream(withExif(makeJpeg({}), exifStructure("part")));
    OpenImage image;
    ASSERT_EQ(image.Read(stream, 1, 1, 20, 20), 0U);
    EXPECT_STREQ(image.exif.description, "part");
    EXPECT_EQ(image.exif.yResolution, 200.0);
}

TEST(JpegRect, AnUnknownTableEndsTheReadAndNotTheProcess) {
    Bytes file = makeJpeg({});
    file[markerPlace(file, 0xC0) + 4 + 8] = 3; // a quantisation table that is not there
    const ScratchStream stream(file);
    OpenImage image;
    EXPECT_FALSE(image.ReadRectJPEG(stream, 1, 1, 20, 20));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.Read(stream, 1, 1, 20, 20), Rastrel::kNotAccepted);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
}

} // namespace
