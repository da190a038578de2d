/// Cropping against a form that moves one pixel at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;

struct Ends {
    long low, high;
};

Ends sorted(long a, long b) { return a < b ? Ends{a, b} : Ends{b, a}; }

void mirror(Ends& ends, std::uint32_t extent) {
    const long last = static_cast<long>(extent) - 1;
    ends = sorted(last - ends.low, last - ends.high);
}

void clamp(Ends& ends, unsigned long extent) {
    const long last = static_cast<long>(extent) - 1;
    ends = {std::clamp(ends.low, 0L, last), std::clamp(ends.high, 0L, last)};
}

/// Pixel by pixel through the protected operations.
bool naiveCrop(OpenImage& image, long x1, long x2, long y1, long y2) {
    Ends columns = image.transposed != 0 ? sorted(y1, y2) : sorted(x1, x2);
    Ends rows = image.transposed != 0 ? sorted(x1, x2) : sorted(y1, y2);
    if (image.mirrorX != 0) {
        if (image.transposed != 0)
            mirror(rows, image.height);
        else
            mirror(columns, image.width);
    }
    if (image.mirrorY != 0) {
        if (image.transposed != 0)
            mirror(columns, image.width);
        else
            mirror(rows, image.height);
    }
    clamp(columns, image.GetWidth());
    clamp(rows, image.GetHeight());
    const long newWidth = columns.high - columns.low + 1;
    const long newHeight = rows.high - rows.low + 1;
    const long oldWidth = static_cast<long>(image.width);
    for (long y = rows.low; y <= rows.high; ++y) {
        for (long x = columns.low; x <= columns.high; ++x) {
            const long target = (y - rows.low) * newWidth + (x - columns.low);
            if (target % oldWidth == x && target / oldWidth == y) continue;
            pixel_argb8 pixel{};
            image.ReadPixel(pixel, x, y, true);
            image.WritePixel(pixel, target % oldWidth, target / oldWidth, true);
        }
    }
    image.width = static_cast<std::uint32_t>(newWidth);
    image.height = static_cast<std::uint32_t>(newHeight);
    image.pixels.ReSize(image.GetBitmapSize(image.width, image.height, image.colormodel));
    return true;
}

void expectSameImage(const Rastrel& a, const Rastrel& b) {
    ASSERT_EQ(a.width, b.width);
    ASSERT_EQ(a.height, b.height);
    ASSERT_EQ(bytesOf(a), bytesOf(b));
}

TEST(Crop, EqualsMovingOnePixelAtATime) {
    Dice dice(31);
    for (const unsigned char model : testing_support::kAllModels) {
        for (int round = 0; round < 150; ++round) {
            Rastrel plain;
            OpenImage naive, derived;
            plain.Create(1 + dice.below(40), 1 + dice.below(30), model);
            fillWithNoise(plain, dice.below(1000000));
            plain.componentOrder = static_cast<unsigned char>(dice.below(2));
            if (round % 2 != 0) {
                plain.transposed = static_cast<unsigned char>(dice.below(2));
                plain.mirrorX = static_cast<unsigned char>(dice.below(2));
                plain.mirrorY = static_cast<unsigned char>(dice.below(2));
            }
            plain.PointerDuplicate(&naive);
            plain.PointerDuplicate(&derived);
            if (round % 5 == 0 && plain.pixels.GetSize() != 0) {
                ASSERT_TRUE(plain.pixels.Swap(0));
            }
            const auto coordinate = [&] { return static_cast<long>(dice.between(-12, 52)); };
            const long x1 = coordinate(), x2 = coordinate(), y1 = coordinate(), y2 = coordinate();
            SCOPED_TRACE(testing::Message()
                         << "model " << int{model} << " round " << round << " of " << plain.width << 'x' << plain.height
                         << ": " << x1 << ' ' << x2 << ' ' << y1 << ' ' << y2);
            if (plain.pixels.GetSize() == 0) continue; // a few 1-bit pixels take no bytes at all
            ASSERT_TRUE(naiveCrop(naive, x1, x2, y1, y2));
            ASSERT_TRUE(plain.Crop(x1, x2, y1, y2));
            ASSERT_TRUE(derived.Crop(x1, x2, y1, y2));
            expectSameImage(plain, naive);
            expectSameImage(derived, naive);
            ASSERT_EQ(plain.progress, 1000U);
            ASSERT_EQ(plain.busyCount, 0U);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Crop, MovesLongRowsLikeShortOnes) {
    for (const unsigned char model : {CM_BW1, CM_RGB8, CM_GREY16, CM_ARGBFP32, CM_RGBA16}) {
        for (const bool swapped : {false, true}) {
            Rastrel plain;
            OpenImage naive;
            plain.Create(5003, 5, model);
            fillWithNoise(plain, model);
            plain.PointerDuplicate(&naive);
            if (swapped) {
                ASSERT_TRUE(plain.pixels.Swap(0));
            }
            ASSERT_TRUE(plain.Crop(3, 4990, 1, 3));
            naiveCrop(naive, 3, 4990, 1, 3);
            expectSameImage(plain, naive);
        }
    }
}

TEST(Crop, KeepsTheRowsOfEitherOrderOfEnds) {
    Rastrel image;
    image.Create(8, 3, CM_GREY8);
    for (long x = 0; x < 8; ++x)
        image.SetPixel(x, 0, static_cast<unsigned char>(10 * x));
    EXPECT_TRUE(image.Crop(5, 2, 0, 0));
    EXPECT_EQ(image.GetWidth(), 4U);
    EXPECT_EQ(image.GetHeight(), 1U);
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{20, 30, 40, 50}));
}

TEST(Crop, ClampsEndsToTheEdges) {
    constexpr long kMost = std::numeric_limits<long>::max();
    constexpr long kLeast = std::numeric_limits<long>::min();
    for (const auto& [low, high] : {std::pair{-5L, 100L}, {kLeast, kMost}, {kMost, kLeast}}) {
        for (unsigned flags = 0; flags < 8; ++flags) {
            Rastrel image;
            image.Create(6, 6, CM_RGB8);
            fillWithNoise(image, 1);
            const auto before = bytesOf(image);
            image.transposed = flags & 1;
            image.mirrorX = (flags >> 1) & 1;
            image.mirrorY = (flags >> 2) & 1;
            EXPECT_TRUE(image.Crop(low, high, low, high));
            EXPECT_EQ(image.GetWidth(), 6U);
            EXPECT_EQ(image.GetHeight(), 6U);
            EXPECT_EQ(bytesOf(image), before);
        }
    }
    Rastrel image;
    image.Create(6, 4, CM_GREY8);
    fillWithNoise(image, 2);
    const unsigned char corner = image.GetPixelGREY8(5L, 3L);
    EXPECT_TRUE(image.Crop(kMost, kMost, kMost, kMost));
    EXPECT_EQ(bytesOf(image), std::vector<unsigned char>{corner});
}

TEST(Crop, OfAnEmptyImageFails) {
    Rastrel image;
    EXPECT_FALSE(image.Crop(0, 3, 0, 3));
    EXPECT_EQ(image.busyCount, 0U);
    image.Create(0, 5, CM_GREY8);
    EXPECT_FALSE(image.Crop(0, 3, 0, 3));
}

TEST(Crop, DeepPixelsLoseWhatEightBitsDoNotHoldUnlessTheyStay) {
    Rastrel image;
    image.Create(4, 2, CM_GREY16);
    const unsigned short row[] = {0x1234, 0x5678, 0x9ABC, 0xDEF0};
    image.pixels.Write(0, row, sizeof row);
    image.pixels.Write(sizeof row, row, sizeof row);
    ASSERT_TRUE(image.Crop(0, 2, 0, 1));
    unsigned short kept[6];
    ASSERT_EQ(image.pixels.GetSize(), sizeof kept);
    image.pixels.Read(0, kept, sizeof kept);
    // The first row stays where it is; the second moves.
    const unsigned short expected[] = {0x1234, 0x5678, 0x9ABC, 0x1212, 0x5656, 0x9A9A};
    EXPECT_TRUE(std::equal(std::begin(kept), std::end(kept), std::begin(expected)));
}

TEST(Crop, OpaqueModelsKeepTheFrontOfTheirBlock) {
    for (const unsigned char model : {CM_COLOR8, CM_COLOR16, CM_RGGB12}) {
        Rastrel image;
        image.Create(6, 4, model);
        fillWithNoise(image, 4);
        auto front = bytesOf(image);
        ASSERT_TRUE(image.Crop(2, 4, 1, 2));
        front.resize(front.size() / 4);
        EXPECT_EQ(bytesOf(image), front) << int{model};
    }
}

TEST(Crop, LeavesNoOldRowInTheLineCache) {
    Rastrel image;
    image.Create(10, 10, CM_GREY8);
    fillWithNoise(image, 6);
    Rastrel uncached;
    image.PointerDuplicate(&uncached);
    image.EnableCache(true);
    unsigned char row[10];
    for (long y = 0; y < 10; ++y)
        image.GetHLine(row, 0, 3, y);
    image.Crop(4, 7, 5, 9);
    uncached.Crop(4, 7, 5, 9);
    for (long y = 0; y < 5; ++y) {
        unsigned char expected[4];
        image.GetHLine(row, 0, 3, y);
        uncached.GetHLine(expected, 0, 3, y);
        EXPECT_TRUE(std::equal(expected, expected + 4, row)) << y;
    }
}

TEST(Crop, StopsBeforeTheNextRowWhenCancelledAndStillShrinks) {
    Rastrel image;
    image.Create(8, 8, CM_GREY8);
    fillWithNoise(image, 7);
    auto before = bytesOf(image);
    image.cancelRequested = 1;
    EXPECT_TRUE(image.Crop(1, 4, 2, 5));
    EXPECT_EQ(image.GetWidth(), 4U);
    EXPECT_EQ(image.GetHeight(), 4U);
    before.resize(16);
    EXPECT_EQ(bytesOf(image), before);
    EXPECT_EQ(image.progress, 1000U);
    EXPECT_EQ(image.busyCount, 0U);
}

/// Watches the pixels that are written, and cancels after some of them.
struct Watched : OpenImage {
    using OpenImage::operator=;
    using OpenImage::WritePixel;
    bool WritePixel(pixel_argb8& pixel, long x, long y, bool order) override {
        EXPECT_TRUE(order);
        progressSeen.push_back(progress);
        busySeen = std::max(busySeen, busyCount);
        if (++writes == cancelAfter) cancelRequested = 1;
        return OpenImage::WritePixel(pixel, x, y, order);
    }
    int writes = 0;
    int cancelAfter = -1;
    std::uint32_t busySeen = 0;
    std::vector<std::uint32_t> progressSeen;
};

TEST(Crop, ReportsProgressRowByRowThroughOverriddenOperations) {
    Watched image;
    image.Create(6, 6, CM_GREY8);
    EXPECT_TRUE(image.Crop(1, 2, 1, 4));
    EXPECT_EQ(image.writes, 8);
    EXPECT_EQ(image.busySeen, 1U);
    EXPECT_EQ(image.progressSeen, (std::vector<std::uint32_t>{0, 0, 250, 250, 500, 500, 750, 750}));
    EXPECT_EQ(image.progress, 1000U);
}

TEST(Crop, FinishesTheRowUnderWayWhenCancelled) {
    Watched image;
    image.Create(6, 6, CM_GREY8);
    image.cancelAfter = 3;
    EXPECT_TRUE(image.Crop(1, 2, 1, 4));
    EXPECT_EQ(image.writes, 4);
    EXPECT_EQ(image.GetHeight(), 4U);
}

/// Its file holds other pixels by the time they are touched.
struct Reloading : Rastrel {
    using Rastrel::operator=;
    unsigned __int64 Reload() override {
        Create(reloadedWidth, 4, CM_GREY8);
        fillWithNoise(*this, 8);
        return 0;
    }
    unsigned long reloadedWidth = 5;
};

TEST(Crop, LoadsAnUnloadedImageFirst) {
    Reloading image;
    image.width = 9;
    image.height = 9;
    image.colormodel = CM_GREY8;
    image.name = _wcsdup(L"elsewhere");
    EXPECT_TRUE(image.Crop(0, 20, 0, 20));
    EXPECT_EQ(image.GetWidth(), 5U);
    EXPECT_EQ(image.GetHeight(), 4U);
    Rastrel whole;
    whole.Create(5, 4, CM_GREY8);
    fillWithNoise(whole, 8);
    EXPECT_EQ(bytesOf(image), bytesOf(whole));
    image.name = _wcsdup(L"elsewhere");
    image.pixels.Delete();
    image.reloadedWidth = 0;
    EXPECT_FALSE(image.Crop(0, 2, 0, 2));
}

TEST(Crop, ToleratesABlockShorterThanTheImage) {
    for (const unsigned char model : testing_support::kAllModels) {
        Rastrel plain;
        OpenImage naive;
        plain.Create(9, 9, model);
        fillWithNoise(plain, 9);
        plain.pixels.ReSize(plain.pixels.GetSize() / 2 + 1);
        plain.PointerDuplicate(&naive);
        ASSERT_TRUE(plain.Crop(1, 6, 2, 8));
        naiveCrop(naive, 1, 6, 2, 8);
        expectSameImage(plain, naive);
    }
}

} // namespace
