/// Interpolated samples and area means against plain forms written over the integer getters.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <type_traits>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

using testing_support::fillWithNoise;

pixel_argb8 integerPixel(Rastrel& image, long x, long y, pixel_argb8) { return image.GetPixelARGB8(x, y); }
pixel_argb16 integerPixel(Rastrel& image, long x, long y, pixel_argb16) { return image.GetPixelARGB16(x, y); }
pixel_argbfp64 integerPixel(Rastrel& image, long x, long y, pixel_argbfp64) { return image.GetPixelARGBFP64(x, y); }

pixel_argb8 sampled(Rastrel& image, double x, double y, pixel_argb8) { return image.GetPixelARGB8(x, y); }
pixel_argb16 sampled(Rastrel& image, double x, double y, pixel_argb16) { return image.GetPixelARGB16(x, y); }
pixel_argbfp64 sampled(Rastrel& image, double x, double y, pixel_argbfp64) { return image.GetPixelARGBFP64(x, y); }

double weightOf(double position, long index, unsigned long extent) {
    if (index < 0) return 0.0;
    if (static_cast<unsigned long>(index) >= extent - 1) return 1.0;
    return 1.0 - (position - static_cast<double>(index));
}

/// One sample, step by step. Positions stay within 31 bits.
template <class Pixel>
Pixel naiveSample(OpenImage& image, double x, double y) {
    image.CoordToPixel(x, y);
    const unsigned long width = image.GetWidth();
    const unsigned long height = image.GetHeight();
    x = x - 0.5;
    y = static_cast<double>(height) - y - 1.0 - 0.5;
    const long ix = static_cast<long>(x);
    const long iy = static_cast<long>(y);
    const double wx = weightOf(x, ix, width);
    const double wy = weightOf(y, iy, height);
    const Pixel p00 = integerPixel(image, ix, iy, Pixel{});
    const Pixel p10 = integerPixel(image, ix + 1, iy, Pixel{});
    const Pixel p01 = integerPixel(image, ix, iy + 1, Pixel{});
    const Pixel p11 = integerPixel(image, ix + 1, iy + 1, Pixel{});
    if (std::is_same_v<Pixel, pixel_argb8> && p00.a == 0 && p10.a == 0 && p01.a == 0 && p11.a == 0) return Pixel{};
    Pixel result;
    using Sample = decltype(Pixel::b);
    for (Sample Pixel::*channel : {&Pixel::b, &Pixel::g, &Pixel::r, &Pixel::a}) {
        const double c = ((1 - wx) * p11.*channel + wx * p01.*channel) * (1 - wy) +
                         ((1 - wx) * p10.*channel + wx * p00.*channel) * wy;
        if constexpr (std::is_same_v<Sample, double>)
            result.*channel = c;
        else
            result.*channel = static_cast<Sample>(static_cast<int>(c));
    }
    return result;
}

template <class Pixel>
bool same(const Pixel& a, const Pixel& b) {
    return std::memcmp(&a, &b, sizeof(Pixel)) == 0;
}

void setRandomView(Rastrel& image, Dice& dice) {
    if (dice.below(2) == 0) {
        image.angle = (dice.fraction() - 0.5) * 7.0;
        image.preScaleX = 0.5 + dice.fraction();
        image.postScaleY = 0.5 + dice.fraction();
        image.bilinearX = (dice.fraction() - 0.5) * 0.01;
    }
    if (dice.below(2) == 0) {
        image.offsetX = (dice.fraction() - 0.5) * 10.0;
        image.offsetY = (dice.fraction() - 0.5) * 10.0;
    }
    image.TransformSetup();
}

/// Pixels, flags and transform of an image, in one of the class itself and one of a derived class.
struct Twins {
    Rastrel plain;
    OpenImage open;

    Twins(unsigned char model, Dice& dice) {
        const auto side = [&] { return 1 + dice.below(dice.below(8) == 0 ? 70 : 24); };
        plain.Create(side(), side(), model);
        fillWithNoise(plain, dice.below(1000000));
        if (dice.below(5) == 0) clearAlphaHere_(dice);
        plain.componentOrder = static_cast<unsigned char>(dice.below(3) != 0);
        if (dice.below(3) == 0) {
            plain.transposed = static_cast<unsigned char>(dice.below(2));
            plain.mirrorX = static_cast<unsigned char>(dice.below(2));
            plain.mirrorY = static_cast<unsigned char>(dice.below(2));
        }
        setRandomView(plain, dice);
        plain.PointerDuplicate(&open);
        if (dice.below(8) == 0) plain.pixels.Swap(0);
    }

private:
    void clearAlphaHere_(Dice& dice) {
        for (int i = 0; i < 300; ++i) {
            pixel_argb8 clear{9, 8, 7, 0};
            plain.SetPixel(static_cast<long>(dice.below(24)), static_cast<long>(dice.below(24)), clear);
        }
    }
};

template <class Pixel>
void expectNaiveSamples(Twins& twins, Dice& dice) {
    for (int i = 0; i < 40; ++i) {
        double x = (dice.fraction() * 1.6 - 0.3) * static_cast<double>(twins.plain.GetWidth());
        double y = (dice.fraction() * 1.6 - 0.3) * static_cast<double>(twins.plain.GetHeight());
        if (dice.below(4) == 0) x = std::floor(x) + 0.5;
        if (dice.below(4) == 0) y = std::floor(y) + 0.5;
        const Pixel expected = naiveSample<Pixel>(twins.open, x, y);
        ASSERT_TRUE(same(sampled(twins.plain, x, y, Pixel{}), expected)) << x << ' ' << y;
        ASSERT_TRUE(same(sampled(twins.open, x, y, Pixel{}), expected)) << x << ' ' << y;
    }
}

TEST(Sampling, EqualsItsDefinitionForEveryModelAndOrientation) {
    Dice dice(21);
    for (const unsigned char model : testing_support::kAllModels) {
        for (int round = 0; round < 40; ++round) {
            SCOPED_TRACE(testing::Message() << "model " << int{model} << " round " << round);
            Twins twins(model, dice);
            expectNaiveSamples<pixel_argb8>(twins, dice);
            expectNaiveSamples<pixel_argb16>(twins, dice);
            expectNaiveSamples<pixel_argbfp64>(twins, dice);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Sampling, ReturnsPixelsExactlyAtTheirCentres) {
    Rastrel image;
    image.Create(9, 7, CM_ARGB8);
    fillWithNoise(image, 3);
    for (long j = 0; j <= 5; ++j) {
        for (long i = 0; i < 8; ++i) {
            pixel_argb8 expected = image.GetPixelARGB8(i, j);
            expected.a = 255;
            image.SetPixel(i, j, expected);
        }
    }
    for (long j = 0; j <= 5; ++j) {
        for (long i = 0; i < 8; ++i)
            EXPECT_TRUE(same(image.GetPixelARGB8(static_cast<double>(i) + 0.5, 7.0 - static_cast<double>(j) - 1.5),
                             image.GetPixelARGB8(i, j)));
    }
}

TEST(Sampling, ExtrapolatesLeftOfTheFirstCentre) {
    Rastrel image;
    image.Create(3, 3, CM_ARGBFP64);
    for (long y = 0; y < 3; ++y) {
        for (long x = 0; x < 3; ++x)
            image.SetPixel(x, y, 1.0, static_cast<double>(x), 0.0, 0.0);
    }
    // At x = 0.25 the weight of column 0 is 1.25, that of column 1 -0.25.
    EXPECT_EQ(image.GetPixelARGBFP64(0.25, 0.5).r, -0.25);
    EXPECT_EQ(image.GetPixelARGBFP64(-0.25, 0.5).r, -0.75);
    // Left of that the lower neighbour has a negative index and no weight.
    EXPECT_EQ(image.GetPixelARGBFP64(-0.75, 0.5).r, 0.0);
}

TEST(Sampling, TruncatesExtrapolatedChannelsToTheirLowBits) {
    Rastrel image;
    image.Create(2, 2, CM_ARGB8);
    for (long y = 0; y < 2; ++y) {
        image.SetPixel(0, y, static_cast<unsigned char>(255), 200, 10, 0);
        image.SetPixel(1, y, static_cast<unsigned char>(255), 0, 110, 100);
    }
    const pixel_argb8 sample = image.GetPixelARGB8(0.0, 0.5); // weights 1.5 and -0.5
    EXPECT_EQ(sample.r, 300 - 256);
    EXPECT_EQ(sample.g, 256 - 40);
    EXPECT_EQ(sample.b, 256 - 50);
    EXPECT_EQ(sample.a, 255);
}

TEST(Sampling, GivesNothingBetweenFourTransparentPixels) {
    Rastrel image;
    image.Create(4, 4, CM_ARGB8);
    for (long y = 0; y < 4; ++y) {
        for (long x = 0; x < 4; ++x)
            image.SetPixel(x, y, static_cast<unsigned char>(x == 3 && y == 3 ? 200 : 0), 100, 100, 100);
    }
    EXPECT_TRUE(same(image.GetPixelARGB8(1.0, 2.0), pixel_argb8{0, 0, 0, 0}));
    // One pixel that is not transparent, of however little weight, brings the colours back.
    const pixel_argb8 mixed = image.GetPixelARGB8(2.75, 0.25);
    EXPECT_EQ(mixed.r, 100);
    EXPECT_LT(mixed.a, 200);
    // The 16-bit form has no such exception.
    EXPECT_EQ(image.GetPixelARGB16(1.0, 2.0).r, 100 * 257);
}

TEST(Sampling, UniformAreasGiveTheirColour) {
    Rastrel image;
    image.Create(8, 8, CM_ARGB8);
    for (long y = 0; y < 8; ++y) {
        for (long x = 0; x < 8; ++x)
            image.SetPixel(x, y, static_cast<unsigned char>(255), 40, 80, 120);
    }
    EXPECT_TRUE(same(image.GetPixelARGB8(3.5, 3.5), pixel_argb8{120, 80, 40, 255}));
    const pixel_argb8 area = image.GetPixelARGB8(1.0, 1.0, 4.0, 4.0);
    EXPECT_TRUE(same(area, pixel_argb8{120, 80, 40, 255}));
}

TEST(Sampling, SurvivesEveryPosition) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kPositions[] = {std::numeric_limits<double>::quiet_NaN(),
                                     kInfinity,
                                     -kInfinity,
                                     1e300,
                                     -1e300,
                                     9.3e18,
                                     -9.3e18,
                                     4.7e18,
                                     4294967296.5,
                                     2147483648.5,
                                     -2147483649.5,
                                     2147483647.0,
                                     1e10,
                                     -0.0,
                                     5e-324,
                                     3.0};
    Dice dice(22);
    for (const unsigned char model : testing_support::kAllModels) {
        Twins twins(model, dice);
        for (const double x : kPositions) {
            for (const double y : kPositions) {
                ASSERT_TRUE(same(twins.plain.GetPixelARGB8(x, y), twins.open.GetPixelARGB8(x, y))) << x << ' ' << y;
                ASSERT_TRUE(same(twins.plain.GetPixelARGB16(x, y), twins.open.GetPixelARGB16(x, y)));
                twins.plain.GetPixelARGBFP64(x, y);
                ASSERT_TRUE(same(twins.plain.GetPixelARGB8(x, y, 2.0, 3.0), twins.open.GetPixelARGB8(x, y, 2.0, 3.0)));
                twins.plain.GetPixelARGB8(1.0, x, y, 3.0);
            }
        }
    }
    Rastrel empty;
    for (const double x : kPositions) {
        EXPECT_TRUE(same(empty.GetPixelARGB8(x, 1.0), pixel_argb8{}));
        EXPECT_TRUE(same(empty.GetPixelARGB16(1.0, x), pixel_argb16{}));
        EXPECT_EQ(empty.GetPixelARGBFP64(x, x).a, 0.0);
        EXPECT_TRUE(same(empty.GetPixelARGB8(x, 1.0, 2.0, x), pixel_argb8{}));
    }
}

TEST(Sampling, PositionsBeyond32BitsReflectLikeAllOthers) {
    Rastrel image;
    image.Create(5, 4, CM_ARGB8);
    fillWithNoise(image, 9);
    for (long i = 0; i < 20; i += 4) {
        for (long j = 0; j < 4; ++j) {
            pixel_argb8 opaque = image.GetPixelARGB8(i / 4, j);
            opaque.a = 255;
            image.SetPixel(i / 4, j, opaque);
        }
    }
    const double period = 8.0 * 4294967296.0; // a multiple of the period of five columns
    for (long i = 0; i < 5; ++i)
        EXPECT_TRUE(same(image.GetPixelARGB8(period + static_cast<double>(i) + 0.5, 1.5), image.GetPixelARGB8(i, 1)));
}

TEST(Sampling, ShortBlocksReadAsZeroWhereTheyEnd) {
    OpenImage open;
    Rastrel plain;
    for (Rastrel* image : {static_cast<Rastrel*>(&open), &plain}) {
        image->Create(6, 6, CM_ARGB8);
        fillWithNoise(*image, 5);
        image->pixels.ReSize(6 * 3 * 4 + 2);
    }
    for (double y = 0.0; y < 6.0; y += 0.25)
        EXPECT_TRUE(same(plain.GetPixelARGB8(2.25, y), naiveSample<pixel_argb8>(open, 2.25, y))) << y;
}

/// A class whose own pixels and coordinates count.
struct Pattern : Rastrel {
    using Rastrel::operator=;
    using Rastrel::GetPixelARGB8;
    pixel_argb8 GetPixelARGB8(long x, long y) override {
        ++reads;
        return {static_cast<unsigned char>(x), static_cast<unsigned char>(y), 1, 255};
    }
    void CoordToPixel(double& x, double&) override { x += 2.0; }
    int reads = 0;
};

TEST(Sampling, GoesThroughOverriddenOperations) {
    Pattern pattern;
    pattern.Create(20, 20, CM_ARGB8);
    const pixel_argb8 sample = pattern.GetPixelARGB8(3.5, 20.0 - 4.0 - 1.5);
    EXPECT_TRUE(same(sample, pixel_argb8{5, 4, 1, 255}));
    EXPECT_EQ(pattern.reads, 4);
    EXPECT_EQ(pattern.GetPixelARGB8(3.0, 3.0, 4.0, 4.0).r, 1);
    EXPECT_EQ(pattern.reads, 8);
}

/// A class that shows more than it stores.
struct Extended : Rastrel {
    using Rastrel::operator=;
    unsigned long GetWidth() override { return width + 4UL; }
    unsigned long GetHeight() override { return height + 3UL; }
};

TEST(Sampling, TakesTheSizeFromTheImagesOwnQueries) {
    Extended extended;
    extended.Create(5, 5, CM_ARGB8);
    for (long y = 0; y < 5; ++y) {
        for (long x = 0; x < 5; ++x)
            extended.SetPixel(x, y, static_cast<unsigned char>(255), static_cast<unsigned char>(10 * x),
                              static_cast<unsigned char>(10 * y), 0);
    }
    // Row 1 of eight, counted from the bottom; column 6 of nine reads as column 2, reflected.
    EXPECT_TRUE(same(extended.GetPixelARGB8(6.5, 8.0 - 1.0 - 1.5), extended.GetPixelARGB8(2L, 1L)));
    EXPECT_EQ(extended.GetPixelARGB8(6.5, 8.0 - 1.0 - 1.5).r, 20);
    // Nor does a mean end at the last stored column: columns 6 and 7 count, as 2 and 1, and of column 8 nothing.
    EXPECT_EQ(extended.GetPixelARGB8(6.0, 1.0, 8.5, 1.0).r, 15);
}

pixel_argb8 naiveArea(Rastrel& image, double x1, double y1, double x2, double y2) {
    if (x1 > x2) std::swap(x1, x2);
    if (y1 > y2) std::swap(y1, y2);
    x1 = std::max(x1, 0.0);
    y1 = std::max(y1, 0.0);
    x2 = std::min(x2, static_cast<double>(image.GetWidth()) - 1.0);
    y2 = std::min(y2, static_cast<double>(image.GetHeight()) - 1.0);
    if (x2 - x1 < 1.0) x2 = x1 + 1.0;
    if (y2 - y1 < 1.0) y2 = y1 + 1.0;
    const auto weight = [](double at, double first, double last) {
        if (at == std::floor(first)) return std::ceil(first) - first == 0.0 ? 1.0 : std::ceil(first) - first;
        return at == std::floor(last) ? last - std::floor(last) : 1.0;
    };
    double b = 0.0, g = 0.0, r = 0.0, a = 0.0, sum = 0.0;
    for (double x = std::floor(x1); x <= std::floor(x2); x += 1.0) {
        for (double y = std::floor(y1); y <= std::floor(y2); y += 1.0) {
            const pixel_argb8 p = image.GetPixelARGB8(static_cast<long>(x), static_cast<long>(y));
            const double wx = weight(x, x1, x2);
            const double wy = weight(y, y1, y2);
            b += p.b * wx * wy;
            g += p.g * wx * wy;
            r += p.r * wx * wy;
            a += p.a * wx * wy;
            sum += wx * wy;
        }
    }
    const auto channel = [sum](double v) { return static_cast<unsigned char>(static_cast<int>(v / sum)); };
    return {channel(b), channel(g), channel(r), channel(a)};
}

TEST(AreaMean, EqualsItsDefinition) {
    Dice dice(23);
    for (const unsigned char model : testing_support::kAllModels) {
        for (int round = 0; round < 30; ++round) {
            Twins twins(model, dice);
            const auto coordinate = [&](unsigned long extent) {
                const double c = (dice.fraction() * 2.0 - 0.5) * static_cast<double>(extent);
                return dice.below(3) == 0 ? std::floor(c) : c;
            };
            for (int i = 0; i < 10; ++i) {
                const double x1 = coordinate(twins.plain.GetWidth());
                const double x2 = coordinate(twins.plain.GetWidth());
                const double y1 = coordinate(twins.plain.GetHeight());
                const double y2 = coordinate(twins.plain.GetHeight());
                ASSERT_TRUE(same(twins.plain.GetPixelARGB8(x1, y1, x2, y2), naiveArea(twins.plain, x1, y1, x2, y2)))
                    << int{model} << ": " << x1 << ' ' << y1 << ' ' << x2 << ' ' << y2;
            }
        }
    }
}

TEST(AreaMean, WeightsTheLastColumnByItsCoverage) {
    Rastrel image;
    image.Create(6, 4, CM_ARGB8);
    for (long y = 0; y < 4; ++y) {
        for (long x = 0; x < 6; ++x)
            image.SetPixel(x, y, static_cast<unsigned char>(255), static_cast<unsigned char>(x == 2 ? 250 : 0), 0, 0);
    }
    EXPECT_EQ(image.GetPixelARGB8(0.0, 1.0, 2.5, 2.0).r, 50);   // 250 * 0.5 / 2.5
    EXPECT_EQ(image.GetPixelARGB8(2.5, 2.0, 0.0, 1.0).r, 50);   // either order
    EXPECT_EQ(image.GetPixelARGB8(2.75, 1.0, 3.75, 2.0).r, 62); // 250 * 0.25 / (0.25 + 0.75) truncated
}

} // namespace
