/// Exposure by hand, and measured from the image's brightness.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

using testing_support::fillWithNoise;

TEST(SetExposure, OfTwoPointsPutsTheMidPointHalfWay) {
    Rastrel image;
    EXPECT_TRUE(image.SetExposure(0.25, 0.75));
    const LookUpTable& table = image.lookUpTable;
    EXPECT_EQ(table.mode, 1);
    EXPECT_EQ(table.black, 0.25);
    EXPECT_EQ(table.mid, 0.5);
    EXPECT_EQ(table.white, 0.75);
    EXPECT_EQ(table.amount, 1.0);
    EXPECT_TRUE(table.active);
    for (unsigned i = 0; i < 256; ++i) {
        if (i <= 64) {
            EXPECT_EQ(table.tables[0][i], 0) << i;
        }
        if (i >= 192) {
            EXPECT_EQ(table.tables[0][i], 255) << i;
        }
    }
    EXPECT_EQ(table.tables[0][128], 128);
}

TEST(SetExposure, OfThreePointsTakesThemAll) {
    Rastrel image;
    image.lookUpTable.Init(2);
    EXPECT_TRUE(image.SetExposure(0.2, 0.5, 0.8));
    EXPECT_EQ(image.lookUpTable.mode, 1);
    EXPECT_EQ(image.lookUpTable.black, 0.2);
    EXPECT_EQ(image.lookUpTable.mid, 0.5);
    EXPECT_EQ(image.lookUpTable.white, 0.8);
    EXPECT_EQ(image.lookUpTable.amount, 1.0);
}

TEST(SetExposure, OfAStrengthKeepsModeAndPoints) {
    Rastrel image;
    image.SetExposure(0.2, 0.5, 0.8);
    EXPECT_TRUE(image.SetExposure(0.5));
    EXPECT_EQ(image.lookUpTable.amount, 0.5);
    EXPECT_EQ(image.lookUpTable.black, 0.2);
    // Half way: the curve through 0.1, 0.5 and 0.9.
    Rastrel half;
    half.SetExposure(0.1, 0.5, 0.9);
    for (unsigned i = 0; i < 256; ++i)
        EXPECT_NEAR(image.lookUpTable.tables[0][i], half.lookUpTable.tables[0][i], 1) << i;
    EXPECT_TRUE(image.SetExposure(0.0));
    EXPECT_FALSE(image.lookUpTable.active);
    Rastrel without;
    EXPECT_TRUE(without.SetExposure(0.7)); // there is no table to refresh, which is no failure
    EXPECT_EQ(without.lookUpTable.mode, 0);
    EXPECT_EQ(without.lookUpTable.amount, 0.7);
    EXPECT_FALSE(without.lookUpTable.active);
}

struct Points {
    bool set;
    double black, mid, white;
};

/// The measurement, step by step over single pixels.
Points naivePoints(OpenImage& image) {
    std::vector<std::uint32_t> bins(2551);
    std::uint64_t counted = 0;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            pixel_argb8 pixel{};
            image.ReadPixel(pixel, static_cast<long>(x), static_cast<long>(y), true);
            if (pixel.a == 0) continue;
            ++bins[3U * pixel.r + 6U * pixel.g + pixel.b];
            ++counted;
        }
    }
    const auto upwards = [&](std::uint64_t share) {
        std::uint64_t sum = 0;
        for (unsigned i = 0; i <= 2549; ++i) {
            sum += bins[i];
            if (sum >= share) return i;
        }
        return 2550U;
    };
    const std::uint64_t share = counted / 255;
    unsigned high = 0;
    std::uint64_t sum = 0;
    for (unsigned i = 2550; i >= 1; --i) {
        sum += bins[i];
        if (sum >= share) {
            high = i;
            break;
        }
    }
    const unsigned low = upwards(share);
    return {low < high, low / 2550.0, upwards(counted / 2) / 2550.0, high / 2550.0};
}

void expectPoints(const Rastrel& image, const Points& expected) {
    const LookUpTable& table = image.lookUpTable;
    ASSERT_EQ(table.mode, expected.set ? 1 : 0);
    ASSERT_FALSE(table.active);
    ASSERT_EQ(table.amount, 0.0);
    ASSERT_EQ(table.black, expected.set ? expected.black : 0.0);
    ASSERT_EQ(table.mid, expected.set ? expected.mid : 0.5);
    ASSERT_EQ(table.white, expected.set ? expected.white : 1.0);
}

/// Turns some pixels transparent, all pixels, or none, and narrows the range of the others.
void shape(Rastrel& image, Dice& dice) {
    const unsigned transparent = dice.below(4);
    const unsigned base = dice.below(200);
    const unsigned range = 1 + dice.below(56);
    for (long y = 0; y < static_cast<long>(image.height); ++y) {
        for (long x = 0; x < static_cast<long>(image.width); ++x) {
            pixel_argb8 p = image.GetPixelARGB8(x, y);
            if (transparent == 0 || (transparent == 1 && dice.below(2) == 0)) p.a = 0;
            for (unsigned char* c : {&p.b, &p.g, &p.r})
                *c = static_cast<unsigned char>(base + *c % range);
            image.SetPixel(x, y, p);
        }
    }
}

TEST(AutoExposure, EqualsItsDefinitionForEveryModelAndOrder) {
    Dice dice(61);
    for (const unsigned char model : testing_support::kAllModels) {
        for (int round = 0; round < 40; ++round) {
            SCOPED_TRACE(testing::Message() << "model " << int{model} << " round " << round);
            Rastrel plain;
            OpenImage open;
            plain.Create(1 + dice.below(70), 1 + dice.below(40), model);
            fillWithNoise(plain, dice.below(1000000));
            plain.componentOrder = static_cast<unsigned char>(dice.below(2));
            if (round % 2 == 0) shape(plain, dice);
            plain.PointerDuplicate(&open);
            if (round % 4 == 0) {
                ASSERT_TRUE(plain.pixels.Swap(0));
            }
            if (round % 7 == 0 && plain.pixels.GetSize() > 3) {
                plain.pixels.ReSize(plain.pixels.GetSize() - 3);
                open.pixels.ReSize(open.pixels.GetSize() - 3);
            }
            if (plain.pixels.GetSize() == 0) continue; // a few 1-bit pixels take no bytes at all
            const Points expected = naivePoints(open);
            EXPECT_TRUE(plain.AutoExposure());
            EXPECT_TRUE(open.AutoExposure());
            expectPoints(plain, expected);
            expectPoints(open, expected);
            EXPECT_EQ(plain.progress, (plain.height - 1) * 1000 / plain.height);
            EXPECT_EQ(plain.busyCount, 0U);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(AutoExposure, CountsRowsLongerThanOnePiece) {
    for (const unsigned char model : {CM_BW1, CM_BW1INV, CM_GREY8, CM_RGB16, CM_ARGB8, CM_ARGBFP64}) {
        Rastrel plain;
        OpenImage open;
        plain.Create(4999, 3, model);
        fillWithNoise(plain, model);
        plain.PointerDuplicate(&open);
        plain.AutoExposure();
        expectPoints(plain, naivePoints(open));
    }
}

TEST(AutoExposure, OfTransparentPixelsSpansTheWholeRangeAroundBlack) {
    Rastrel image;
    image.Create(40, 40, CM_ARGB8);
    EXPECT_TRUE(image.AutoExposure());
    expectPoints(image, {true, 0.0, 0.0, 1.0});
}

TEST(AutoExposure, OfAUniformImageDropsTheTable) {
    for (const unsigned long count : {255UL, 254UL}) {
        Rastrel image;
        image.SetExposure(0.1, 0.9);
        image.Create(count, 1, CM_GREY8);
        for (long x = 0; x < static_cast<long>(count); ++x)
            image.SetPixel(x, 0, static_cast<unsigned char>(128));
        EXPECT_TRUE(image.AutoExposure());
        if (count == 255)
            expectPoints(image, {false, 0, 0, 0});
        else
            expectPoints(image, {true, 0.0, 1280 / 2550.0, 1.0});
    }
}

TEST(AutoExposure, OfAnEmptyImageCountsNothing) {
    Rastrel image;
    EXPECT_TRUE(image.AutoExposure());
    expectPoints(image, {true, 0.0, 0.0, 1.0});
}

TEST(AutoExposure, StopsAtOnceWhenCancelled) {
    Rastrel image;
    image.Create(10, 10, CM_ARGB8);
    image.SetExposure(0.2, 0.8);
    image.progress = 77;
    image.cancelRequested = 1;
    EXPECT_FALSE(image.AutoExposure());
    EXPECT_EQ(image.lookUpTable.black, 0.2);
    EXPECT_EQ(image.progress, 0U);
    EXPECT_EQ(image.busyCount, 0U);
}

/// Reads its own pixels, and cancels after some of them.
struct Watched : OpenImage {
    using OpenImage::operator=;
    using OpenImage::ReadPixel;
    bool ReadPixel(pixel_argb8& pixel, long x, long y, bool order) override {
        EXPECT_TRUE(order);
        if (x == 0) progressSeen.push_back(progress);
        if (++reads == cancelAfter) cancelRequested = 1;
        pixel = {static_cast<unsigned char>(x), 0, static_cast<unsigned char>(y), 255};
        return true;
    }
    int reads = 0;
    int cancelAfter = -1;
    std::vector<std::uint32_t> progressSeen;
};

TEST(AutoExposure, ReadsThroughOverriddenOperationsRowByRow) {
    Watched image;
    image.Create(5, 4, CM_GREY8);
    EXPECT_TRUE(image.AutoExposure());
    EXPECT_EQ(image.reads, 20);
    EXPECT_EQ(image.progressSeen, (std::vector<std::uint32_t>{0, 0, 250, 500}));
    EXPECT_EQ(image.progress, 750U);
    // Bins 3 y + x: the tenth of twenty pixels, from below, lies in bin 6.
    EXPECT_EQ(image.lookUpTable.mid, 6 / 2550.0);
    Watched cancelled;
    cancelled.Create(5, 4, CM_GREY8);
    cancelled.cancelAfter = 7;
    EXPECT_FALSE(cancelled.AutoExposure());
    EXPECT_EQ(cancelled.reads, 10);
}

TEST(AutoExposure, LoadsAnUnloadedImageFirst) {
    struct Reloading : Rastrel {
        using Rastrel::operator=;
        unsigned __int64 Reload() override {
            Create(30, 30, CM_GREY8);
            fillWithNoise(*this, 8);
            return 0;
        }
    };
    Reloading image;
    image.width = 4;
    image.height = 4;
    image.colormodel = CM_GREY8;
    image.name = _wcsdup(L"elsewhere");
    OpenImage loaded;
    loaded.Create(30, 30, CM_GREY8);
    fillWithNoise(loaded, 8);
    EXPECT_TRUE(image.AutoExposure());
    expectPoints(image, naivePoints(loaded));
}

} // namespace
