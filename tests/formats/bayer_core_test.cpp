/// The mosaic interpolation: every instruction set against the definition bit for bit, and what it makes of edges.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

#include "formats/bayer.h"
#include "support/guarded_buffer.h"
#include "support/naive_bayer.h"
#include "support/sample_noise.h"

namespace {

using rastrel::BayerKernels;
using rastrel::BayerRows;
using Samples = std::vector<std::uint16_t>;

/// A whole mosaic through one implementation.
Samples interpolate(const Samples& mosaic, std::uint32_t width, std::uint32_t height, const BayerKernels& kernels) {
    BayerRows rows(
        width, height,
        [&](std::uint32_t y, std::uint16_t* even, std::uint16_t* odd) {
            ASSERT_LT(y, height);
            const std::uint16_t* const row = mosaic.data() + std::size_t{y} * width;
            for (std::uint32_t x = 0; x < width; x += 2)
                even[x / 2] = row[x];
            for (std::uint32_t x = 1; x < width; x += 2)
                odd[x / 2] = row[x];
        },
        kernels);
    Samples all;
    for (std::uint32_t y = 0; y < height; ++y) {
        GuardedBuffer<std::uint16_t> row(std::size_t{width} * 3);
        rows.next(row.data());
        EXPECT_TRUE(row.intact());
        const Samples contents = row.contents();
        all.insert(all.end(), contents.begin(), contents.end());
    }
    return all;
}

void expectAsDefined(const Samples& mosaic, std::uint32_t width, std::uint32_t height) {
    const Samples expected =
        testing_support::NaiveBayer(mosaic, static_cast<int>(width), static_cast<int>(height)).colors();
    for (const BayerKernels* kernels : rastrel::availableBayerKernels()) {
        ASSERT_EQ(interpolate(mosaic, width, height, *kernels), expected)
            << kernels->name << ", " << width << " x " << height;
    }
}

TEST(Bayer, EverySizeBitForBit) {
    Dice dice(1);
    for (std::uint32_t width = 1; width <= 40; ++width) {
        for (const std::uint32_t height : {1U, 2U, 3U, 4U, 5U, 8U}) {
            Samples mosaic(std::size_t{width} * height);
            const unsigned bound = width % 3 == 0 ? 65536 : 3000;
            for (std::uint16_t& value : mosaic)
                value = static_cast<std::uint16_t>(dice.below(bound));
            expectAsDefined(mosaic, width, height);
        }
    }
    for (std::uint32_t height = 6; height <= 21; ++height) {
        const Samples mosaic = sampleLine<std::uint16_t>(dice, std::size_t{9} * height);
        expectAsDefined(mosaic, 9, height);
    }
}

TEST(Bayer, EveryCharacterBitForBit) {
    Dice dice(2);
    for (const std::uint32_t width : {63U, 64U, 65U, 66U, 131U}) {
        for (int round = 0; round < 12; ++round)
            expectAsDefined(sampleLine<std::uint16_t>(dice, std::size_t{width} * 11), width, 11);
    }
    // More sites a row than one block of the last step holds.
    expectAsDefined(sampleLine<std::uint16_t>(dice, std::size_t{2051} * 3), 2051, 3);
}

/// Where the mosaic has a sample, the picture has it unchanged.
TEST(Bayer, SitesKeepTheirSamples) {
    Dice dice(3);
    const std::uint32_t width = 33;
    const std::uint32_t height = 17;
    Samples mosaic(std::size_t{width} * height);
    for (std::uint16_t& value : mosaic)
        value = static_cast<std::uint16_t>(dice.below(65536));
    const Samples rgb = interpolate(mosaic, width, height, rastrel::bayerKernels());
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            EXPECT_EQ(rgb[(std::size_t{y} * width + x) * 3 + x % 2 + y % 2], mosaic[std::size_t{y} * width + x]);
}

struct Scene {
    std::uint32_t width, height;
    Samples truth; ///< red, green, blue
    [[nodiscard]] Samples mosaic() const {
        Samples samples(std::size_t{width} * height);
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < width; ++x) {
                const std::size_t pixel = std::size_t{y} * width + x;
                samples[pixel] = truth[pixel * 3 + x % 2 + y % 2];
            }
        return samples;
    }
};

template <class Color>
Scene scene(std::uint32_t width, std::uint32_t height, Color color) {
    Scene made{width, height, {}};
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            for (int channel = 0; channel < 3; ++channel)
                made.truth.push_back(static_cast<std::uint16_t>(
                    std::lround(color(static_cast<double>(x), static_cast<double>(y), channel))));
    return made;
}

Samples shown(const Scene& of) { return interpolate(of.mosaic(), of.width, of.height, rastrel::bayerKernels()); }

TEST(Bayer, FlatColoursComeOutExactly) {
    for (const auto& color : {std::array{40001, 20000, 333}, std::array{0, 65535, 0}, std::array{65535, 1, 65534}}) {
        const Scene flat =
            scene(23, 14, [&](double, double, int channel) { return color[static_cast<std::size_t>(channel)]; });
        EXPECT_EQ(shown(flat), flat.truth);
    }
}

TEST(Bayer, StraightEdgesAlongTheAxesComeOutExactly) {
    for (const double at : {9.5, 10.5, 11.5, 12.5}) {
        const Scene upright = scene(24, 20, [&](double x, double, int) { return x < at ? 8000.0 : 48000.0; });
        EXPECT_EQ(shown(upright), upright.truth) << at;
        const Scene lying = scene(20, 24, [&](double, double y, int) { return y < at ? 8000.0 : 48000.0; });
        EXPECT_EQ(shown(lying), lying.truth) << at;
    }
}

/// The largest steps between neighbours along lines of equal brightness, which run to the next row and `dx` columns
/// sideways: what a zipper would be.
struct Steps {
    int inside = 0;
    int atBorder = 0; ///< where one of the pixels lies in the outermost three rows or columns
};

Steps stepsAlong(const Samples& rgb, std::int64_t width, std::int64_t height, std::int64_t dx) {
    Steps steps;
    for (std::int64_t y = 0; y + 1 < height; ++y) {
        for (std::int64_t x = std::max<std::int64_t>(0, -dx); x < width && x + dx < width; ++x) {
            const std::int64_t nearest = std::min({x, x + dx, width - 1 - x, width - 1 - x - dx, y, height - 2 - y});
            int& largest = nearest < 3 ? steps.atBorder : steps.inside;
            for (std::int64_t channel = 0; channel < 3; ++channel) {
                const int here = rgb[static_cast<std::size_t>((y * width + x) * 3 + channel)];
                const int there = rgb[static_cast<std::size_t>(((y + 1) * width + x + dx) * 3 + channel)];
                largest = std::max(largest, std::abs(here - there));
            }
        }
    }
    return steps;
}

TEST(Bayer, AdiagonalEdgeHasNoZipper) {
    constexpr double kContrast = 40000.0;
    for (const int dx : {-1, 1}) {
        for (const int shift : {-5, -2, -1, 0, 1, 2, 3, 6}) {
            for (const double softness : {0.001, 2.0, 4.0, 9.0}) {
                const Scene edge = scene(40, 40, [&](double x, double y, int) {
                    const double across = dx < 0 ? x + y - 39.0 - shift : x - y - shift;
                    return 8000.0 + kContrast * std::clamp(across / softness + 0.5, 0.0, 1.0);
                });
                const Steps steps = stepsAlong(shown(edge), 40, 40, dx);
                EXPECT_EQ(steps.inside, 0) << dx << " " << shift << " " << softness;
                EXPECT_LE(steps.atBorder, 0.2 * kContrast) << dx << " " << shift << " " << softness;
            }
        }
    }
}

double meanSquare(const Samples& a, const Samples& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += (double{1} * a[i] - b[i]) * (double{1} * a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

/// Every channel as the mean of its nearest samples: what the interpolation is to be better than.
Samples meansOf(const Scene& from) {
    const Samples mosaic = from.mosaic();
    Samples rgb;
    for (std::int64_t y = 0; y < from.height; ++y)
        for (std::int64_t x = 0; x < from.width; ++x)
            for (std::int64_t channel = 0; channel < 3; ++channel) {
                int sum = 0;
                int count = 0;
                const bool own = x % 2 + y % 2 == channel;
                for (std::int64_t yy = y - 1; yy <= y + 1; ++yy)
                    for (std::int64_t xx = x - 1; xx <= x + 1; ++xx) {
                        if (xx < 0 || yy < 0 || xx >= from.width || yy >= from.height) continue;
                        if (xx % 2 + yy % 2 != channel || (own && (xx != x || yy != y))) continue;
                        sum += mosaic[static_cast<std::size_t>(yy * from.width + xx)];
                        ++count;
                    }
                rgb.push_back(static_cast<std::uint16_t>(sum / count));
            }
    return rgb;
}

TEST(Bayer, FinePatternsComeOutFarBetterThanFromMeans) {
    const Scene rings = scene(160, 120, [](double x, double y, int channel) {
        const double brightness = 0.5 + 0.4 * std::cos((x * x + y * y) / 200.0);
        return 2000.0 * channel + brightness * (channel == 0 ? 52000.0 : channel == 1 ? 60000.0 : 45000.0);
    });
    EXPECT_LT(8.0 * meanSquare(shown(rings), rings.truth), meanSquare(meansOf(rings), rings.truth));
}

} // namespace
