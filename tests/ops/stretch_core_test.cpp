#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>
#include <vector>

#include "rastrel/rastrel.h"
#include "support/naive_images.h"
#include "support/random_images.h"

namespace {

using naive::Rectangle;

bool blit(Rastrel& source, Rastrel& destination, const Rectangle& d, const Rectangle& s, unsigned char filter,
          double parameter = 3.0) {
    return source.StretchBlt(destination, d.x1, d.x2, d.y1, d.y2, s.x1, s.x2, s.y1, s.y2, filter, parameter);
}

/// Ends in either direction, at times over the edge.
std::pair<long, long> ends(Dice& dice, unsigned long extent) {
    const int last = static_cast<int>(extent) - 1;
    if (dice.below(4) == 0) return dice.below(2) == 0 ? std::pair<long, long>{0, last} : std::pair<long, long>{last, 0};
    const int margin = dice.below(5) == 0 ? 6 : 0;
    const int first = dice.between(-margin, last + margin);
    const int second = dice.between(-margin, last + margin);
    return {first, second};
}

Rectangle rectangle(Dice& dice, Rastrel& image) {
    const auto [x1, x2] = ends(dice, image.GetWidth());
    const auto [y1, y2] = ends(dice, image.GetHeight());
    return {x1, x2, y1, y2};
}

unsigned char anyModel(Dice& dice) {
    // Grey and colour bytes meet the short ways most.
    if (dice.below(3) == 0) return dice.below(2) == 0 ? CM_GREY8 : CM_ARGB8;
    return kConvertibleModels[dice.below(std::size(kConvertibleModels))];
}

constexpr unsigned char kFilters[] = {0, 1, 2, 3, 4, 5, 6, 7, 99};

testing::AssertionResult sameAsNaive(Dice& dice) {
    Rastrel source;
    Rastrel destination;
    makeNoise(source, dice, 1 + dice.below(70), 1 + dice.below(70), anyModel(dice));
    makeNoise(destination, dice, 1 + dice.below(70), 1 + dice.below(70), anyModel(dice));
    const Rectangle d = rectangle(dice, destination);
    const Rectangle s = rectangle(dice, source);
    const unsigned char filter = kFilters[dice.below(std::size(kFilters))];
    const double lobes = 0.5 + dice.fraction() * 4;
    if (dice.below(8) == 0) source.EnableCache(true);
    if (dice.below(8) == 0) destination.EnableCache(true);
    if (dice.below(16) == 0) {
        EXPECT_TRUE(source.pixels.Swap(0));
        EXPECT_TRUE(destination.pixels.Swap(0));
    }
    Rastrel expected;
    copyImage(expected, destination);
    naive::stretch(source, expected, d, s, filter, lobes);
    const std::array flags = {source.mirrorX, source.mirrorY};
    const auto before = blockOf(source);
    const bool result = blit(source, destination, d, s, filter, lobes);
    if (result && blockOf(destination) == blockOf(expected) && blockOf(source) == before && source.progress == 1000 &&
        source.busyCount == 0 && flags == std::array{source.mirrorX, source.mirrorY})
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "filter " << int{filter} << " lobes " << lobes << " models "
                                       << int{source.colormodel} << " to " << int{destination.colormodel} << " source "
                                       << source.width << "x" << source.height << " flags " << int{source.transposed}
                                       << int{source.mirrorX} << int{source.mirrorY} << " (" << s.x1 << "," << s.x2
                                       << "," << s.y1 << "," << s.y2 << ") destination " << destination.width << "x"
                                       << destination.height << " flags " << int{destination.transposed}
                                       << int{destination.mirrorX} << int{destination.mirrorY} << " (" << d.x1 << ","
                                       << d.x2 << "," << d.y1 << "," << d.y2 << ")";
}

TEST(StretchBlt, EqualsTheNaiveOneOverRandomCases) {
    for (unsigned seed = 0; seed < 2500; ++seed) {
        Dice dice(seed);
        ASSERT_TRUE(sameAsNaive(dice)) << "seed " << seed;
    }
}

TEST(StretchBlt, WithinOneImageReadsEachRowWhenItIsFirstNeeded) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        Dice dice(seed + 100000);
        Rastrel image;
        makeNoise(image, dice, 1 + dice.below(40), 1 + dice.below(40), anyModel(dice));
        const Rectangle d = rectangle(dice, image);
        const Rectangle s = rectangle(dice, image);
        const unsigned char filter = kFilters[dice.below(std::size(kFilters))];
        Rastrel expected;
        copyImage(expected, image);
        naive::stretch(expected, expected, d, s, filter, 3.0);
        ASSERT_TRUE(blit(image, image, d, s, filter));
        ASSERT_EQ(blockOf(image), blockOf(expected)) << "seed " << seed;
    }
}

/// An image whose overrides see every row pass.
class Watcher : public Rastrel {
public:
    bool GetHLine(pixel_argb8* buffer, long x1, long x2, long y) override {
        rows.push_back(y);
        if (rows.size() == cancelAfter) cancelRequested = 1;
        return Rastrel::GetHLine(buffer, x1, x2, y);
    }
    bool SetHLine(pixel_argb8* buffer, long x1, long x2, long y) override {
        written.push_back(y);
        progressAtWrite.push_back(watched->progress);
        busyAtWrite.push_back(watched->busyCount);
        return Rastrel::SetHLine(buffer, x1, x2, y);
    }
    using Rastrel::GetHLine;
    using Rastrel::SetHLine;
    using Rastrel::operator=;

    Rastrel* watched = this;
    std::size_t cancelAfter = 0;
    std::vector<long> rows, written;
    std::vector<std::uint32_t> progressAtWrite, busyAtWrite;
};

TEST(StretchBlt, DerivedImagesSeeEveryRowAndGetTheSameResult) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        Dice dice(seed + 200000);
        Watcher source;
        Watcher destination;
        makeNoise(source, dice, 1 + dice.below(40), 1 + dice.below(40), CM_ARGB8);
        makeNoise(destination, dice, 1 + dice.below(40), 1 + dice.below(40), CM_ARGB8);
        const Rectangle d = rectangle(dice, destination);
        const Rectangle s = rectangle(dice, source);
        Rastrel expected;
        copyImage(expected, destination);
        naive::stretch(source, expected, d, s, 6, 0.0);
        source.rows.clear();
        ASSERT_TRUE(blit(source, destination, d, s, 6));
        ASSERT_EQ(blockOf(destination), blockOf(expected)) << "seed " << seed;
    }
    Watcher source;
    Watcher destination;
    source.Create(10, 10, CM_ARGB8);
    destination.Create(5, 5, CM_ARGB8);
    blit(source, destination, {0, 4, 0, 4}, {0, 9, 0, 9}, 1);
    EXPECT_EQ(source.rows, (std::vector<long>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(destination.written, (std::vector<long>{0, 1, 2, 3, 4}));
}

TEST(StretchBlt, EqualSizesMirrorAndLeaveTheFlags) {
    Dice dice(1);
    Rastrel source;
    Rastrel destination;
    source.Create(10, 10, CM_ARGB8);
    fillWithNoise(source, dice);
    destination.Create(10, 10, CM_ARGB8);
    ASSERT_TRUE(blit(source, destination, {9, 0, 0, 9}, {0, 9, 0, 9}, 2));
    EXPECT_EQ(source.mirrorX, 0);
    EXPECT_EQ(source.mirrorY, 0);
    for (long y = 0; y < 10; ++y) {
        for (long x = 0; x < 10; ++x) {
            EXPECT_EQ(destination.GetPixelARGB8(x, y).r, source.GetPixelARGB8(9 - x, y).r);
        }
    }
}

TEST(StretchBlt, EqualEndsRiseForColumnsAndFallForRows) {
    Rastrel source;
    source.Create(4, 4, CM_GREY8);
    for (long i = 0; i < 16; ++i)
        source.SetPixel(i % 4, i / 4, static_cast<unsigned char>(i));
    const auto pixelAt = [&](const Rectangle& d, const Rectangle& s) {
        Rastrel destination;
        destination.Create(4, 4, CM_GREY8);
        EXPECT_TRUE(blit(source, destination, d, s, 0));
        return int{destination.GetPixelGREY8(1L, 1L)};
    };
    // A single column counts as rising on both sides: not mirrored, so column 1 comes from column 2 as it is.
    EXPECT_EQ(pixelAt({1, 1, 1, 1}, {2, 2, 2, 2}), 10);
    // A single source row falls, the destination rows rise: mirrored, and the row is H - 1 - 2 of the mirrored image.
    EXPECT_EQ(pixelAt({1, 1, 1, 3}, {2, 2, 2, 2}), 10);
    // Rising source rows into a single one: mirrored, so the first row of the mirrored range, the lower one, is taken.
    EXPECT_EQ(pixelAt({1, 1, 1, 1}, {2, 2, 1, 2}), 10);
    EXPECT_EQ(pixelAt({1, 1, 1, 1}, {2, 2, 2, 1}), 6);
    // Rising source columns into a single one: not mirrored, the first of them is taken.
    EXPECT_EQ(pixelAt({1, 1, 1, 1}, {1, 2, 2, 2}), 9);
    EXPECT_EQ(pixelAt({1, 1, 1, 1}, {2, 1, 2, 2}), 10);
}

TEST(StretchBlt, WorksAtEightBitsAChannel) {
    Rastrel source;
    Rastrel destination;
    source.Create(3, 1, CM_ARGB16);
    destination.Create(3, 1, CM_ARGB16);
    for (long x = 0; x < 3; ++x)
        source.SetPixel(x, 0L, static_cast<unsigned short>(0xFFFF), static_cast<unsigned short>(0x1234 + x * 0x1111),
                        static_cast<unsigned short>(0x80FF), static_cast<unsigned short>(0x0080));
    ASSERT_TRUE(blit(source, destination, {0, 2, 0, 0}, {0, 2, 0, 0}, 3));
    for (long x = 0; x < 3; ++x) {
        const pixel_argb8 eight = source.GetPixelARGB8(x, 0L);
        destination.GetPixelARGB8(x, 0L);
        Rastrel wide;
        wide.Create(1, 1, CM_ARGB16);
        wide.SetPixel(0L, 0L, eight.a, eight.r, eight.g, eight.b);
        EXPECT_EQ(destination.GetPixelARGB16(x, 0L).r, wide.GetPixelARGB16(0L, 0L).r);
        EXPECT_EQ(destination.GetPixelARGB16(x, 0L).g, wide.GetPixelARGB16(0L, 0L).g);
    }
}

TEST(StretchBlt, WithoutAFilterPicksRows) {
    Rastrel source;
    source.Create(1, 20, CM_GREY8);
    for (long y = 0; y < 20; ++y)
        source.SetPixel(0, y, static_cast<unsigned char>(y));
    for (long rows = 1; rows <= 40; ++rows) {
        Rastrel destination;
        destination.Create(1, static_cast<unsigned long>(rows), CM_GREY8);
        ASSERT_TRUE(blit(source, destination, {0, 0, 0, rows - 1}, {0, 0, 4, 16}, 0));
        if (rows == 1) continue; // falls: mirrored
        for (long k = 0; k < rows; ++k)
            EXPECT_EQ(destination.GetPixelGREY8(0L, k), k * 13 / rows + 4);
    }
}

TEST(StretchBlt, TakesRowsBeyondTheRectangleUpToTheImagesEdge) {
    Rastrel source;
    Rastrel destination;
    source.Create(1, 8, CM_GREY8);
    for (long y = 0; y < 8; ++y)
        source.SetPixel(0, y, static_cast<unsigned char>(y < 4 ? 0 : 200));
    destination.Create(1, 8, CM_GREY8);
    ASSERT_TRUE(blit(source, destination, {0, 0, 0, 7}, {0, 0, 4, 7}, 2));
    EXPECT_EQ(destination.GetPixelGREY8(0L, 0L), 150); // a quarter of row 3
    EXPECT_EQ(destination.GetPixelGREY8(0L, 1L), 200);
}

/// An image that is known by name only until it is touched.
class Unloaded : public Rastrel {
public:
    unsigned __int64 Reload() override {
        ++loads;
        Create(4, 4, CM_ARGB8);
        for (long x = 0; x < 4; ++x) {
            for (long y = 0; y < 4; ++y)
                SetPixel(x, y, static_cast<unsigned char>(255), static_cast<unsigned char>(10 * x + y),
                         static_cast<unsigned char>(0), static_cast<unsigned char>(0));
        }
        mirrorX = 0; // as a reader does
        return 0;
    }
    using Rastrel::operator=;
    int loads = 0;
};

TEST(StretchBlt, LoadsUnloadedImagesBeforeItTurnsThem) {
    Unloaded source;
    Unloaded destination;
    // Names lie on the C heap and go with what loading replaces.
    source.name = static_cast<wchar_t*>(std::calloc(2, sizeof(wchar_t)));
    source.width = source.height = 4;
    source.colormodel = CM_ARGB8;
    destination.name = static_cast<wchar_t*>(std::calloc(2, sizeof(wchar_t)));
    destination.width = destination.height = 4;
    destination.colormodel = CM_ARGB8;
    ASSERT_TRUE(blit(source, destination, {3, 0, 0, 3}, {0, 3, 0, 3}, 0));
    EXPECT_EQ(source.loads, 1);
    EXPECT_EQ(destination.loads, 1);
    for (long x = 0; x < 4; ++x)
        EXPECT_EQ(destination.GetPixelARGB8(x, 2L).r, 10 * (3 - x) + 2);
}

TEST(StretchBlt, StopsAtACancelRequestOnlyWhereRowsArePicked) {
    Watcher source;
    Rastrel destination;
    source.Create(8, 8, CM_ARGB8);
    destination.Create(8, 16, CM_ARGB8);
    source.cancelAfter = 3;
    ASSERT_TRUE(blit(source, destination, {0, 7, 0, 15}, {0, 7, 0, 7}, 0));
    EXPECT_EQ(source.rows.size(), 3U);
    EXPECT_EQ(source.progress, 1000U);
    EXPECT_EQ(source.busyCount, 0U);
    source.rows.clear();
    source.cancelRequested = 1;
    ASSERT_TRUE(blit(source, destination, {0, 7, 0, 7}, {0, 7, 0, 7}, 2));
    EXPECT_TRUE(source.rows.empty());
    ASSERT_TRUE(blit(source, destination, {0, 7, 0, 15}, {0, 7, 0, 7}, 2));
    EXPECT_EQ(source.rows.size(), 8U);
}

TEST(StretchBlt, ReportsProgressAndIsBusyWhileItRuns) {
    Watcher destination;
    Rastrel source;
    source.Create(4, 4, CM_ARGB8);
    destination.Create(4, 8, CM_ARGB8);
    destination.watched = &source;
    source.busyCount = 5;
    blit(source, destination, {0, 3, 0, 7}, {0, 3, 0, 3}, 2);
    EXPECT_EQ(destination.progressAtWrite, (std::vector<std::uint32_t>{0, 0, 125, 250, 375, 500, 625, 750}));
    EXPECT_EQ(destination.busyAtWrite, std::vector<std::uint32_t>(8, 6));
    destination.progressAtWrite.clear();
    blit(source, destination, {0, 3, 0, 7}, {0, 3, 0, 3}, 0);
    EXPECT_EQ(destination.progressAtWrite, (std::vector<std::uint32_t>{0, 125, 250, 375, 500, 625, 750, 875}));
    EXPECT_EQ(source.busyCount, 5U);
    EXPECT_EQ(source.progress, 1000U);
    EXPECT_EQ(destination.busyCount, 0U);
}

TEST(StretchBlt, StrangeRectanglesAndLobesEndCleanly) {
    constexpr long kFar[] = {std::numeric_limits<long>::min(), -1000000, -1, 0, 5, 1000000,
                             std::numeric_limits<long>::max()};
    Dice dice(3);
    for (unsigned round = 0; round < 300; ++round) {
        Rastrel source;
        Rastrel destination;
        makeNoise(source, dice, 6, 5, anyModel(dice));
        makeNoise(destination, dice, 7, 4, anyModel(dice));
        const auto remote = [&] { return kFar[dice.below(std::size(kFar))]; };
        const Rectangle d = {remote(), remote(), remote(), remote()};
        const Rectangle s = {dice.between(-9, 9), dice.between(-9, 9), remote(), remote()};
        EXPECT_TRUE(blit(source, destination, d, s, kFilters[dice.below(std::size(kFilters))]));
        EXPECT_EQ(source.progress, 1000U);
        EXPECT_EQ(source.busyCount, 0U);
    }
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double lobes : {0.0, -3.0, 1e-9, 1e9, 1e300, kInfinity, -kInfinity, std::nan("")}) {
        Rastrel source;
        Rastrel destination;
        makeNoise(source, dice, 9, 9, CM_ARGB8);
        makeNoise(destination, dice, 9, 9, CM_ARGB8);
        for (const Rectangle& s : {Rectangle{0, 8, 0, 8}, {0, 3, 0, 3}, {0, 3, 0, 8}, {-20, 30, -20, 30}}) {
            EXPECT_TRUE(blit(source, destination, {0, 8, 0, 8}, s, 7, lobes));
            EXPECT_TRUE(blit(source, destination, {0, 3, 0, 4}, s, 7, lobes));
        }
    }
}

TEST(StretchBlt, HugeRectanglesShowTheirPartOfTheDestination) {
    Rastrel source;
    Rastrel destination;
    source.Create(2, 2, CM_GREY8);
    source.SetPixel(1, 0, static_cast<unsigned char>(100));
    source.SetPixel(0, 1, static_cast<unsigned char>(150));
    source.SetPixel(1, 1, static_cast<unsigned char>(250));
    destination.Create(4, 4, CM_GREY8);
    ASSERT_TRUE(blit(source, destination, {-1000000000, 999999999, -1000000000, 999999999}, {0, 1, 0, 1}, 0));
    // The middle of the rectangle lies between columns -1 and 0: all four pixels show the lower right one.
    for (long i = 0; i < 16; ++i)
        EXPECT_EQ(destination.GetPixelGREY8(i % 4, i / 4), 250);
}

TEST(StretchBlt, EmptyImagesStayEmpty) {
    Rastrel none;
    Rastrel image;
    image.Create(3, 3, CM_ARGB8);
    for (const unsigned char filter : {kFilters[0], kFilters[2]}) {
        EXPECT_TRUE(blit(none, image, {0, 2, 0, 2}, {0, 1, 0, 1}, filter));
        EXPECT_TRUE(blit(image, none, {0, 2, 0, 2}, {0, 1, 0, 1}, filter));
        EXPECT_TRUE(blit(none, none, {0, 2, 0, 2}, {0, 1, 0, 1}, filter));
    }
    EXPECT_EQ(none.pixels.GetSize(), 0U);
    EXPECT_EQ(none.busyCount, 0U);
}

} // namespace
