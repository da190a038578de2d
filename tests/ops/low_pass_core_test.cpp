#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "rastrel/rastrel.h"
#include "support/naive_images.h"
#include "support/random_images.h"

namespace {

constexpr unsigned char kFilters[] = {0, 1, 2, 3, 4, 5, 6, 7, 99};

unsigned char anyModel(Dice& dice) {
    if (dice.below(3) == 0) return dice.below(2) == 0 ? CM_GREY8 : CM_ARGB8;
    return kConvertibleModels[dice.below(std::size(kConvertibleModels))];
}

TEST(LowPass, EqualsTheNaiveOneOverRandomCases) {
    for (unsigned seed = 0; seed < 1200; ++seed) {
        Dice dice(seed);
        Rastrel image;
        makeNoise(image, dice, 1 + dice.below(70), 1 + dice.below(70), anyModel(dice));
        const auto anyWidth = [&dice] {
            const unsigned kind = dice.below(20);
            return 0.2 + dice.fraction() * (kind == 0 ? 90 : kind % 2 == 0 ? 2 : 9);
        };
        const double widthX = anyWidth();
        const double widthY = anyWidth();
        const unsigned char filter = kFilters[dice.below(std::size(kFilters))];
        const double lobes = 0.5 + dice.fraction() * 4;
        if (dice.below(8) == 0) image.EnableCache(true);
        if (dice.below(16) == 0) {
            ASSERT_TRUE(image.pixels.Swap(0));
        }
        Rastrel expected;
        copyImage(expected, image);
        naive::smooth(expected, widthX, widthY, filter, lobes);
        const std::array flags = {image.transposed, image.mirrorX, image.mirrorY};
        ASSERT_TRUE(image.LowPass(widthX, widthY, filter, lobes));
        ASSERT_EQ(blockOf(image), blockOf(expected))
            << "seed " << seed << " model " << int{image.colormodel} << " " << image.width << "x" << image.height
            << " filter " << int{filter} << " widths " << widthX << " " << widthY << " lobes " << lobes;
        ASSERT_EQ(flags, (std::array{image.transposed, image.mirrorX, image.mirrorY}));
        ASSERT_EQ(image.progress, 1000U);
        ASSERT_EQ(image.busyCount, 0U);
    }
}

TEST(LowPass, ConstantImagesStayConstant) {
    for (unsigned char filter = 1; filter < 7; ++filter) {
        Rastrel image;
        image.Create(9, 7, CM_ARGB8);
        for (long i = 0; i < 63; ++i)
            image.SetPixel(i % 9, i / 9, static_cast<unsigned char>(240), static_cast<unsigned char>(128),
                           static_cast<unsigned char>(1), static_cast<unsigned char>(0));
        const auto before = blockOf(image);
        ASSERT_TRUE(image.LowPass(3.0, 2.0, filter, 0.0));
        EXPECT_EQ(blockOf(image), before) << int{filter};
    }
}

TEST(LowPass, DoesNotRunWithoutAKernelOrAWidthAboveOne) {
    Dice dice(5);
    Rastrel image;
    makeNoise(image, dice, 20, 20, CM_ARGB8);
    const auto before = blockOf(image);
    EXPECT_TRUE(image.LowPass(1.0, 1.0, 2, 0.0));
    EXPECT_TRUE(image.LowPass(1.0, 0.5, 3, 0.0));
    EXPECT_TRUE(image.LowPass(5.0, 5.0, 0, 0.0));
    EXPECT_EQ(blockOf(image), before);
    EXPECT_EQ(image.progress, 1000U);
}

TEST(LowPass, WidthsActInDisplayedOrientation) {
    Rastrel image;
    image.Create(9, 9, CM_GREY8);
    image.SetPixel(4, 4, static_cast<unsigned char>(255));
    image.transposed = 1;
    ASSERT_TRUE(image.LowPass(3.0, 1.0, 1, 0.0)); // along displayed rows, which are stored columns
    image.transposed = 0;
    EXPECT_EQ(image.GetPixelGREY8(4L, 3L), 85);
    EXPECT_EQ(image.GetPixelGREY8(4L, 5L), 85);
    EXPECT_EQ(image.GetPixelGREY8(3L, 4L), 0);
}

TEST(LowPass, AWidthOfOneOrLessAcrossKeepsTheRowsApart) {
    Rastrel image;
    image.Create(3, 3, CM_GREY8);
    image.SetPixel(1, 1, static_cast<unsigned char>(90));
    ASSERT_TRUE(image.LowPass(3.0, 0.5, 1, 0.0));
    for (long x = 0; x < 3; ++x) {
        EXPECT_EQ(image.GetPixelGREY8(x, 1L), x == 1 ? 30 : 60);
        EXPECT_EQ(image.GetPixelGREY8(x, 0L), 0);
    }
}

TEST(LowPass, TheBottomRowIsRepeatedAndTheTopRowIsNot) {
    Rastrel image;
    image.Create(1, 4, CM_GREY8);
    const unsigned char values[] = {0, 90, 30, 60};
    for (long y = 0; y < 4; ++y)
        image.SetPixel(0, y, values[y]);
    ASSERT_TRUE(image.LowPass(1.0, 3.0, 1, 0.0));
    // Weights of a third are 21845 of 65536, and 2048 is added.
    EXPECT_EQ(image.GetPixelGREY8(0L, 0L), (180 * 21845 + 2048) >> 16);
    EXPECT_EQ(image.GetPixelGREY8(0L, 3L), (150 * 21845 + 2048) >> 16);
}

TEST(LowPass, IsRefusedWhenCancelledBefore) {
    Dice dice(6);
    Rastrel image;
    makeNoise(image, dice, 20, 20, CM_ARGB8);
    const auto before = blockOf(image);
    image.progress = 77;
    image.cancelRequested = 1;
    EXPECT_FALSE(image.LowPass(5.0, 5.0, 3, 0.0));
    EXPECT_EQ(blockOf(image), before);
    EXPECT_EQ(image.progress, 77U);
    EXPECT_EQ(image.busyCount, 0U);
}

/// Cancels once a number of rows is written.
class Canceller : public Rastrel {
public:
    bool SetHLine(pixel_argb8* buffer, long x1, long x2, long y) override {
        progressSeen.push_back(progress);
        flagsSeen = flagsSeen || transposed != 0 || mirrorX != 0 || mirrorY != 0;
        if (progressSeen.size() == cancelAfter) cancelRequested = 1;
        return Rastrel::SetHLine(buffer, x1, x2, y);
    }
    using Rastrel::SetHLine;
    using Rastrel::operator=;
    std::size_t cancelAfter = 0;
    bool flagsSeen = false;
    std::vector<std::uint32_t> progressSeen;
};

TEST(LowPass, CancelledInTheMiddleLeavesTheRestAndTheFlags) {
    Dice dice(7);
    Canceller image;
    makeNoise(image, dice, 10, 20, CM_ARGB8);
    image.transposed = image.mirrorX = image.mirrorY = 1;
    image.componentOrder = 1;
    Rastrel whole;
    copyImage(whole, image);
    const auto before = blockOf(image);
    whole.LowPass(3.0, 3.0, 3, 0.0);
    const auto smoothed = blockOf(whole);
    image.cancelAfter = 6;
    EXPECT_TRUE(image.LowPass(3.0, 3.0, 3, 0.0));
    EXPECT_EQ(image.progressSeen, (std::vector<std::uint32_t>{0, 50, 100, 150, 200, 250}));
    EXPECT_FALSE(image.flagsSeen);
    EXPECT_EQ(image.transposed, 1);
    EXPECT_EQ(image.mirrorX, 1);
    EXPECT_EQ(image.mirrorY, 1);
    EXPECT_EQ(image.progress, 1000U);
    EXPECT_EQ(image.busyCount, 0U);
    const auto after = blockOf(image);
    for (std::size_t i = 0; i < after.size(); ++i)
        ASSERT_EQ(after[i], i < 6 * 40 ? smoothed[i] : before[i]) << i;
}

TEST(LowPass, WorksAtEightBitsAChannel) {
    Rastrel image;
    image.Create(4, 4, CM_GREY16);
    for (long i = 0; i < 16; ++i) {
        const double grey = 0x1280 / 65535.0;
        image.SetPixel(i % 4, i / 4, grey);
    }
    ASSERT_TRUE(image.LowPass(3.0, 3.0, 2, 0.0));
    unsigned short row[4];
    ASSERT_TRUE(image.GetHLine(row, 0, 3, 2));
    EXPECT_EQ(row[1] % 257, 0);
}

TEST(LowPass, KernelsFarWiderThanTheImageTakeAMomentOnly) {
    Rastrel image;
    image.Create(3, 2, CM_ARGB8);
    for (long x = 0; x < 3; ++x)
        image.SetPixel(x, 0, static_cast<unsigned char>(255));
    EXPECT_TRUE(image.LowPass(1e5, 1e5, 2, 0.0));
    EXPECT_TRUE(image.LowPass(2.0, 1e5, 3, 0.0));
    // Weights below 1 / 65536 are truncated to nothing.
    EXPECT_EQ(image.GetPixelGREY8(1L, 1L), 0);
}

TEST(LowPass, StrangeWidthsAndLobesEndCleanly) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kStrange[] = {-kInfinity, -5.0, -0.0, 0.0, 0.3, 1.0, 40.0, 900.0, 1e300, kInfinity};
    Dice dice(8);
    for (const unsigned char filter : kFilters) {
        for (const double widthX : kStrange) {
            for (const double widthY : kStrange) {
                Rastrel image;
                makeNoise(image, dice, 3, 2, CM_ARGB8);
                EXPECT_TRUE(image.LowPass(widthX, widthY, filter, 3.0));
                EXPECT_EQ(image.busyCount, 0U);
            }
        }
    }
    for (const double lobes : kStrange) {
        Rastrel image;
        makeNoise(image, dice, 3, 2, CM_GREY8);
        EXPECT_TRUE(image.LowPass(2.0, 2.0, 7, lobes));
    }
    Rastrel image;
    makeNoise(image, dice, 3, 2, CM_ARGB8);
    const auto before = blockOf(image);
    EXPECT_TRUE(image.LowPass(std::nan(""), 3.0, 3, 0.0));
    EXPECT_TRUE(image.LowPass(3.0, 3.0, 7, std::nan("")));
    EXPECT_EQ(blockOf(image), before);
    Rastrel none;
    EXPECT_TRUE(none.LowPass(3.0, 3.0, 3, 0.0));
}

} // namespace
