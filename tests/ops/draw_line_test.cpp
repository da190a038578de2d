/// Lines against a walk over every step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

using Points = std::vector<std::pair<long, long>>;

/// Notes the pixels that are set, in order, and sets them.
struct Canvas : OpenImage {
    using OpenImage::operator=;
    using OpenImage::WritePixel;
    bool WritePixel(pixel_argb8& pixel, long x, long y, bool order) override {
        EXPECT_TRUE(order);
        points.emplace_back(x, y);
        colour = pixel;
        return OpenImage::WritePixel(pixel, x, y, order);
    }
    Points points;
    pixel_argb8 colour{};
};

/// Every step of the line, those inside kept.
Points naiveLine(const Rastrel& image, std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2) {
    const std::int64_t width = image.width;
    const std::int64_t height = image.height;
    for (auto [x, y] : {std::pair{&x1, &y1}, {&x2, &y2}}) {
        if (image.transposed != 0) std::swap(*x, *y);
        if (image.mirrorX != 0)
            (image.transposed != 0 ? *y : *x) = image.transposed != 0 ? height - 1 - *y : width - 1 - *x;
        if (image.mirrorY != 0)
            (image.transposed != 0 ? *x : *y) = image.transposed != 0 ? width - 1 - *x : height - 1 - *y;
    }
    const std::int64_t xmin = std::min(x1, x2), ymin = std::min(y1, y2);
    const std::int64_t dx = std::max(x1, x2) - xmin, dy = std::max(y1, y2) - ymin;
    Points points;
    for (std::int64_t k = 0; k <= std::max(dx, dy); ++k) {
        std::int64_t x = xmin + k, y = ymin + k;
        if (dx < dy) x = xmin + k * dx / dy;
        if (dx > dy) y = ymin + k * dy / dx;
        if (x >= 0 && x < width && y >= 0 && y < height)
            points.emplace_back(static_cast<long>(x), static_cast<long>(y));
    }
    return points;
}

Points drawn(Canvas& canvas, long x1, long y1, long x2, long y2) {
    canvas.points.clear();
    canvas.DrawLine(x1, y1, x2, y2, 255, 1, 2, 3);
    return canvas.points;
}

TEST(DrawLine, EqualsAWalkOverEveryStep) {
    Dice dice(41);
    for (int round = 0; round < 6000; ++round) {
        Canvas canvas;
        canvas.Create(1 + dice.below(30), 1 + dice.below(30), CM_ARGB8);
        canvas.transposed = static_cast<unsigned char>(dice.below(2));
        canvas.mirrorX = static_cast<unsigned char>(dice.below(2));
        canvas.mirrorY = static_cast<unsigned char>(dice.below(2));
        const int reach = dice.below(3) == 0 ? 400 : 40;
        const auto coordinate = [&] { return static_cast<long>(dice.between(-reach, reach)); };
        const long x1 = coordinate(), y1 = coordinate(), x2 = coordinate(), y2 = coordinate();
        ASSERT_EQ(drawn(canvas, x1, y1, x2, y2), naiveLine(canvas, x1, y1, x2, y2))
            << canvas.width << 'x' << canvas.height << ": " << x1 << ' ' << y1 << ' ' << x2 << ' ' << y2;
    }
}

TEST(DrawLine, TruncatesWithoutRounding) {
    Canvas canvas;
    canvas.Create(4, 4, CM_ARGB8);
    EXPECT_EQ(drawn(canvas, 0, 0, 3, 1), (Points{{0, 0}, {1, 0}, {2, 0}, {3, 1}}));
    EXPECT_EQ(drawn(canvas, 0, 0, 1, 3), (Points{{0, 0}, {0, 1}, {0, 2}, {1, 3}}));
}

TEST(DrawLine, DrawsAFallingLineAsTheRisingOneOfItsBox) {
    Canvas canvas;
    canvas.Create(4, 4, CM_ARGB8);
    const Points diagonal{{0, 0}, {1, 1}, {2, 2}, {3, 3}};
    EXPECT_EQ(drawn(canvas, 0, 3, 3, 0), diagonal);
    EXPECT_EQ(drawn(canvas, 0, 0, 3, 3), diagonal);
    EXPECT_EQ(drawn(canvas, 3, 0, 0, 3), diagonal);
}

TEST(DrawLine, ASinglePointIsOnePixel) {
    Canvas canvas;
    canvas.Create(4, 4, CM_ARGB8);
    EXPECT_EQ(drawn(canvas, 2, 1, 2, 1), (Points{{2, 1}}));
    EXPECT_EQ(drawn(canvas, 4, 1, 4, 1), Points{});
}

TEST(DrawLine, MeetsThePixelThatSetPixelSetsInEveryOrientation) {
    for (unsigned flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        Rastrel drawn, set;
        for (Rastrel* image : {&drawn, &set}) {
            image->Create(7, 4, CM_ARGB8);
            image->transposed = flags & 1;
            image->mirrorX = (flags >> 1) & 1;
            image->mirrorY = (flags >> 2) & 1;
        }
        for (long y = 0; y < static_cast<long>(set.GetHeight()); ++y) {
            for (long x = 0; x < static_cast<long>(set.GetWidth()); ++x) {
                const auto grey = static_cast<unsigned char>(1 + x + 10 * y);
                drawn.DrawLine(x, y, x, y, 255, grey, grey, 3);
                set.SetPixel(x, y, static_cast<unsigned char>(255), grey, grey, static_cast<unsigned char>(3));
                ASSERT_EQ(testing_support::bytesOf(drawn), testing_support::bytesOf(set)) << x << ' ' << y;
            }
        }
    }
}

TEST(DrawLine, SetsTheColourInItsComponents) {
    Canvas canvas;
    canvas.Create(2, 1, CM_ARGB8);
    canvas.DrawLine(0, 0, 0, 0, 10, 20, 30, 40);
    EXPECT_EQ(canvas.colour.a, 10);
    EXPECT_EQ(canvas.colour.r, 20);
    EXPECT_EQ(canvas.colour.g, 30);
    EXPECT_EQ(canvas.colour.b, 40);
    EXPECT_EQ(testing_support::bytesOf(canvas), (std::vector<unsigned char>{40, 30, 20, 10, 0, 0, 0, 0}));
}

TEST(DrawLine, LeavesNoMarkOfPointsOutside) {
    Rastrel image;
    image.Create(6, 6, CM_GREY8);
    image.DrawLine(-3, 2, -1, 2, 255, 255, 255, 255);
    image.DrawLine(6, 0, 9, 5, 255, 255, 255, 255);
    image.DrawLine(0, -4, 5, -1, 255, 255, 255, 255);
    image.DrawLine(0, 6, 5, 6, 255, 255, 255, 255);
    EXPECT_EQ(testing_support::bytesOf(image), std::vector<unsigned char>(36));
    image.DrawLine(-3, 2, 2, 2, 255, 255, 255, 255);
    std::vector<unsigned char> expected(36);
    std::fill_n(expected.begin() + 12, 3, static_cast<unsigned char>(255));
    EXPECT_EQ(testing_support::bytesOf(image), expected);
}

TEST(DrawLine, WorksInEveryModel) {
    for (const unsigned char model : testing_support::kAllModels) {
        Rastrel image;
        image.Create(8, 8, model);
        image.DrawLine(1, 1, 6, 3, 255, 255, 255, 255);
        const bool converts = model != CM_COLOR8 && model != CM_COLOR16 && model != CM_RGGB12;
        EXPECT_EQ(image.GetPixelGREY8(1L, 1L), converts ? 255 : 0) << int{model};
        EXPECT_EQ(image.GetPixelGREY8(6L, 3L), converts ? 255 : 0);
    }
}

TEST(DrawLine, WalksOnlyThePartInsideHoweverFarTheEndsAre) {
    constexpr long kMost = std::numeric_limits<long>::max();
    constexpr long kLeast = std::numeric_limits<long>::min();
    Canvas canvas;
    canvas.Create(50, 40, CM_GREY8);
    const long ends[] = {kLeast, kLeast + 1,  -2147483647L - 1, -1000000007L, -1,   0,
                         17,     1000000007L, 2147483647L,      kMost - 1,    kMost};
    for (unsigned flags = 0; flags < 8; ++flags) {
        canvas.transposed = flags & 1;
        canvas.mirrorX = (flags >> 1) & 1;
        canvas.mirrorY = (flags >> 2) & 1;
        for (const long x1 : ends) {
            for (const long y1 : ends) {
                for (const long x2 : ends) {
                    for (const long y2 : ends) {
                        for (const auto& [x, y] : drawn(canvas, x1, y1, x2, y2))
                            ASSERT_TRUE(x >= 0 && x < 50 && y >= 0 && y < 40);
                        ASSERT_LE(canvas.points.size(), 50U);
                    }
                }
            }
        }
    }
    canvas.transposed = canvas.mirrorX = canvas.mirrorY = 0;
    // The diagonal of the whole range passes through the origin one step off the corner.
    const Points diagonal = drawn(canvas, -1000000000L, -1000000000L, 1000000000L, 1000000000L);
    ASSERT_EQ(diagonal.size(), 40U);
    EXPECT_EQ(diagonal.front(), (std::pair{0L, 0L}));
    // Slope 1/2 through products beyond 2^60.
    const Points half = drawn(canvas, -2000000000L, -1000000000L, 2000000000L, 1000000000L);
    ASSERT_EQ(half.size(), 50U);
    for (long k = 0; k < 50; ++k)
        EXPECT_EQ(half[static_cast<std::size_t>(k)], std::pair(k, k / 2));
}

TEST(DrawLine, LoadsAnUnloadedImageBeforeItDecidesWhatIsInside) {
    struct Reloading : Canvas {
        using Canvas::operator=;
        unsigned __int64 Reload() override { return Create(3, 2, CM_GREY8); }
    };
    Reloading image;
    image.width = 20;
    image.height = 20;
    image.colormodel = CM_GREY8;
    image.name = _wcsdup(L"elsewhere");
    EXPECT_EQ(drawn(image, 0, 1, 19, 1), (Points{{0, 1}, {1, 1}, {2, 1}}));
}

TEST(DrawLine, OnAnEmptyImageDoesNothing) {
    Canvas canvas;
    EXPECT_EQ(drawn(canvas, 0, 0, 5, 5), Points{});
    EXPECT_EQ(drawn(canvas, 0, 0, 0, 0), Points{});
}

} // namespace
