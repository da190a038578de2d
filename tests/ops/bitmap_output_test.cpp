/// Bitmaps for display: their bytes, size and refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "rastrel/platform.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;

struct DeleteBitmap {
    void operator()(HBITMAP bitmap) const { DeleteObject(bitmap); }
};
using OwnedBitmap = std::unique_ptr<std::remove_pointer_t<HBITMAP>, DeleteBitmap>;

OwnedBitmap bitmapOf(Rastrel& image, unsigned long width, unsigned long height, bool smooth) {
    return OwnedBitmap(image.GetWindowsBitmap(width, height, smooth));
}

/// The pixels, after a look at the bitmap's own description.
std::vector<unsigned char> bitsOf(const OwnedBitmap& bitmap, int width, int height) {
    BITMAP description{};
    if (bitmap == nullptr || GetObject(bitmap.get(), sizeof description, &description) == 0) return {};
    EXPECT_EQ(description.bmWidth, width);
    EXPECT_EQ(description.bmHeight, height);
    EXPECT_EQ(description.bmWidthBytes, 4 * width);
    EXPECT_EQ(description.bmPlanes, 1);
    EXPECT_EQ(description.bmBitsPixel, 32);
    std::vector<unsigned char> bits(std::size_t{4} * static_cast<std::size_t>(width * height));
    EXPECT_EQ(GetBitmapBits(bitmap.get(), static_cast<LONG>(bits.size()), bits.data()), static_cast<LONG>(bits.size()));
    return bits;
}

/// Displayed rows from the top, blue, green, red, alpha.
std::vector<unsigned char> displayedPixels(Rastrel& image) {
    std::vector<unsigned char> bytes;
    for (long y = 0; y < static_cast<long>(image.GetHeight()); ++y) {
        std::vector<pixel_argb8> row(image.GetWidth());
        image.GetHLine(row.data(), 0, static_cast<long>(row.size()) - 1, y);
        for (const pixel_argb8& p : row)
            bytes.insert(bytes.end(), {p.b, p.g, p.r, p.a});
    }
    return bytes;
}

TEST(GetWindowsBitmap, OfTheSameSizeIsACopyInEveryModelAndOrientation) {
    Dice dice(81);
    for (const unsigned char model : testing_support::kAllModels) {
        for (unsigned flags = 0; flags < 16; ++flags) {
            SCOPED_TRACE(testing::Message() << int{model} << " flags " << flags);
            Rastrel image;
            image.Create(3 + dice.below(20), 3 + dice.below(20), model);
            fillWithNoise(image, flags);
            image.transposed = flags & 1;
            image.mirrorX = (flags >> 1) & 1;
            image.mirrorY = (flags >> 2) & 1;
            image.componentOrder = (flags >> 3) & 1;
            const auto width = static_cast<int>(image.GetWidth());
            const auto height = static_cast<int>(image.GetHeight());
            const OwnedBitmap bitmap = bitmapOf(image, image.GetWidth(), image.GetHeight(), false);
            ASSERT_NE(bitmap, nullptr);
            const bool converts = model != CM_COLOR8 && model != CM_COLOR16 && model != CM_RGGB12;
            const auto bits = bitsOf(bitmap, width, height);
            if (converts) {
                ASSERT_EQ(bits, displayedPixels(image));
            }
            ASSERT_EQ(image.busyCount, 0U);
            ASSERT_EQ(image.mirrorX, (flags >> 1) & 1);
        }
    }
}

TEST(GetWindowsBitmap, ScalesWithTheTriangleOrToTheNearest) {
    Dice dice(82);
    for (int round = 0; round < 60; ++round) {
        Rastrel image;
        image.Create(1 + dice.below(40), 1 + dice.below(40), round % 2 == 0 ? CM_ARGB8 : CM_RGB16);
        fillWithNoise(image, static_cast<std::uint64_t>(round));
        image.mirrorY = round % 3 == 0;
        image.transposed = round % 5 == 0;
        const unsigned long width = 1 + dice.below(50);
        const unsigned long height = 1 + dice.below(50);
        const bool smooth = dice.below(2) == 0;
        const auto shownWidth = static_cast<long>(image.GetWidth());
        const auto shownHeight = static_cast<long>(image.GetHeight());
        const bool whole = dice.below(2) == 0;
        const long x1 = whole ? 0 : dice.between(0, static_cast<int>(shownWidth) - 1);
        const long x2 = whole ? shownWidth - 1 : dice.between(static_cast<int>(x1), static_cast<int>(shownWidth) - 1);
        const long y1 = whole ? 0 : dice.between(0, static_cast<int>(shownHeight) - 1);
        const long y2 = whole ? shownHeight - 1 : dice.between(static_cast<int>(y1), static_cast<int>(shownHeight) - 1);

        Rastrel expected;
        expected.Create(width, height, CM_ARGB8);
        image.StretchBlt(expected, 0, static_cast<long>(width) - 1, static_cast<long>(height) - 1, 0, x1, x2, y2, y1,
                         smooth ? 2 : 0, 0.0);
        const OwnedBitmap bitmap = whole ? bitmapOf(image, width, height, smooth)
                                         : OwnedBitmap(image.GetWindowsBitmap(x1, y1, x2, y2, width, height, smooth));
        ASSERT_EQ(bitsOf(bitmap, static_cast<int>(width), static_cast<int>(height)), bytesOf(expected)) << round;
        ASSERT_EQ(image.progress, 1000U);
    }
}

TEST(GetWindowsBitmap, ShowsTheTopRowFirst) {
    Rastrel image;
    image.Create(2, 2, CM_RGB8);
    image.SetPixel(0, 0, static_cast<unsigned char>(255), 10, 20, 30);
    image.SetPixel(1, 1, static_cast<unsigned char>(255), 40, 50, 60);
    EXPECT_EQ(bitsOf(bitmapOf(image, 2, 2, true), 2, 2),
              (std::vector<unsigned char>{30, 20, 10, 255, 0, 0, 0, 255, 0, 0, 0, 255, 60, 50, 40, 255}));
    const OwnedBitmap row(image.GetWindowsBitmap(0, 1, 1, 1, 2, 1, false));
    EXPECT_EQ(bitsOf(row, 2, 1), (std::vector<unsigned char>{0, 0, 0, 255, 60, 50, 40, 255}));
    const OwnedBitmap column(image.GetWindowsBitmap(1, 0, 1, 1, 1, 2, false));
    EXPECT_EQ(bitsOf(column, 1, 2), (std::vector<unsigned char>{0, 0, 0, 255, 60, 50, 40, 255}));
}

TEST(GetWindowsBitmap, NeedsPixelsSizesAndEndsInOrder) {
    Rastrel image;
    EXPECT_EQ(bitmapOf(image, 4, 4, true), nullptr);
    image.Create(4, 4, CM_GREY8);
    EXPECT_NE(bitmapOf(image, 4, 4, true), nullptr);
    EXPECT_EQ(image.GetWindowsBitmap(2, 0, 1, 3, 4, 4, true), nullptr);
    EXPECT_EQ(image.GetWindowsBitmap(0, 3, 3, 2, 4, 4, true), nullptr);
    EXPECT_EQ(bitmapOf(image, 0, 4, true), nullptr);
    EXPECT_EQ(bitmapOf(image, 4, 0, true), nullptr);
    image.colormodel = 77;
    EXPECT_EQ(bitmapOf(image, 4, 4, true), nullptr);
    image.colormodel = CM_GREY8;
    image.width = 0;
    EXPECT_EQ(bitmapOf(image, 4, 4, true), nullptr);
    image.width = 4;
    image.pixels.Delete();
    EXPECT_EQ(bitmapOf(image, 4, 4, true), nullptr);
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(GetWindowsBitmap, DoesNotLoadAnUnloadedImage) {
    struct Unloaded : OpenImage {
        using OpenImage::operator=;
        unsigned __int64 Reload() override {
            ++loads;
            return 0;
        }
        int loads = 0;
    };
    Unloaded image;
    image.width = image.height = 4;
    image.colormodel = CM_GREY8;
    image.name = _wcsdup(L"elsewhere");
    EXPECT_EQ(bitmapOf(image, 4, 4, true), nullptr);
    EXPECT_EQ(image.GetWindowsBitmap(0, 0, 1, 1, 4, 4, false), nullptr);
    EXPECT_EQ(image.loads, 0);
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(GetWindowsBitmap, WorksOnASwappedImage) {
    Rastrel image;
    image.Create(5, 4, CM_ARGB8);
    fillWithNoise(image, 3);
    const auto pixels = bytesOf(image);
    ASSERT_TRUE(image.pixels.Swap(0));
    EXPECT_EQ(bitsOf(bitmapOf(image, 5, 4, false), 5, 4), pixels);
}

TEST(GetWindowsBitmap, RefusesSizesThatCannotBe) {
    Rastrel image;
    image.Create(4, 4, CM_GREY8);
    constexpr unsigned long kMost = std::numeric_limits<unsigned long>::max();
    for (const unsigned long huge : {kMost, 0x80000000UL, 0x7FFFFFFFUL}) {
        EXPECT_EQ(bitmapOf(image, huge, huge, false), nullptr);
        EXPECT_EQ(image.busyCount, 0U);
    }
}

TEST(GetWindowsBitmap, OfACancelledImageIsNull) {
    Rastrel image;
    image.Create(4, 4, CM_GREY8);
    image.cancelRequested = 1;
    EXPECT_EQ(bitmapOf(image, 4, 4, false), nullptr);
    EXPECT_EQ(image.GetWindowsBitmap(0, 0, 3, 3, 4, 4, false), nullptr);
    EXPECT_EQ(image.busyCount, 0U);
}

/// Asks for the end after some rows.
struct Cancelling : OpenImage {
    using OpenImage::GetHLine;
    using OpenImage::operator=;
    bool GetHLine(unsigned char* buffer, long x1, long x2, long y) override {
        busySeen = busyCount;
        if (++rows == 3) cancelRequested = 1;
        return OpenImage::GetHLine(buffer, x1, x2, y);
    }
    int rows = 0;
    std::uint32_t busySeen = 0;
};

TEST(GetWindowsBitmap, StopsAtACancelRequestOnTheWay) {
    Cancelling image;
    image.Create(8, 8, CM_GREY8);
    EXPECT_EQ(bitmapOf(image, 8, 8, false), nullptr);
    EXPECT_EQ(image.rows, 3);
    EXPECT_EQ(image.busySeen, 2U); // this operation and the scaling within it
    EXPECT_EQ(image.busyCount, 0U);
}

} // namespace
