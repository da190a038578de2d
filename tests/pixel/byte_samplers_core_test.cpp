/// The samplers of every instruction set against the general way, which asks the image for each pixel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "pixel/sampling.h"
#include "support/images.h"
#include "support/sample_noise.h"

namespace {

/// Reaches the samplers.
struct Samplers : Rastrel {
    using Rastrel::operator=;
    static std::span<const rastrel::ByteSampler> all() { return LineLayer::byteSamplers(); }
    static auto inUse() { return LineLayer::byteSampler; }
};

void expectOneSample(Rastrel& image, double x, double y) {
    const pixel_argb8 expected = Samplers::all().front().sample(image, x, y);
    for (const rastrel::ByteSampler& sampler : Samplers::all()) {
        const pixel_argb8 sample = sampler.sample(image, x, y);
        ASSERT_EQ(std::memcmp(&sample, &expected, sizeof sample), 0) << sampler.name << ' ' << x << ' ' << y;
    }
}

void makeNoise(Rastrel& image, Dice& dice) {
    image.Create(1 + dice.below(9), 1 + dice.below(9), CM_ARGB8);
    unsigned char* const bytes = image.pixels.GetData();
    for (std::size_t i = 0; i < image.pixels.GetSize(); ++i)
        bytes[i] = static_cast<unsigned char>(dice.below(4) == 0 ? dice.below(2) * 255 : dice.below(256));
    for (std::size_t i = 3; i < image.pixels.GetSize(); i += 4) {
        if (dice.below(3) != 0) bytes[i] = static_cast<unsigned char>(dice.below(3) == 0 ? 1 : 0);
    }
}

/// Everywhere within two pixels of the image; often on centres, edges and just beside them.
double coordinate(Dice& dice, std::uint32_t extent) {
    const double anywhere = dice.fraction() * (extent + 4.0) - 2.0;
    if (dice.below(2) == 0) return anywhere;
    const double half = std::floor(anywhere * 2.0) * 0.5;
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    return dice.below(3) == 0 ? std::nextafter(half, dice.below(2) == 0 ? -kInfinity : kInfinity) : half;
}

TEST(ByteSamplers, AllGiveTheSameBytes) {
    Dice dice(91);
    for (int round = 0; round < 4000; ++round) {
        Rastrel image;
        makeNoise(image, dice);
        if (dice.below(3) == 0) {
            image.angle = dice.fraction() - 0.5;
            image.bilinearY = dice.fraction() * 0.01;
        }
        if (dice.below(2) == 0) image.offsetX = dice.fraction() - 0.5;
        image.TransformSetup();
        for (int i = 0; i < 25; ++i)
            expectOneSample(image, coordinate(dice, image.width), coordinate(dice, image.height));
        if (HasFatalFailure()) return;
    }
}

/// What the host may set while the pixels stay as they are.
TEST(ByteSamplers, SeeEveryChangeOfTheImage) {
    struct Change {
        const char* name;
        void (*apply)(Rastrel& image);
    };
    constexpr Change kChanges[] = {
        {"none", [](Rastrel&) {}},
        {"order 255", [](Rastrel& image) { image.componentOrder = 255; }},
        {"order 0", [](Rastrel& image) { image.componentOrder = 0; }},
        {"transposed", [](Rastrel& image) { image.transposed = 1; }},
        {"mirrored in x", [](Rastrel& image) { image.mirrorX = 2; }},
        {"mirrored in y", [](Rastrel& image) { image.mirrorY = 255; }},
        {"another model", [](Rastrel& image) { image.colormodel = CM_RGBA8; }},
        {"no width", [](Rastrel& image) { image.width = 0; }},
        {"no height", [](Rastrel& image) { image.height = 0; }},
        {"narrower", [](Rastrel& image) { image.width = 3; }},
        {"wider", [](Rastrel& image) { image.width = 7; }},
        {"lower", [](Rastrel& image) { image.height = 2; }},
        {"higher", [](Rastrel& image) { image.height = 9; }},
        {"as large as can be", [](Rastrel& image) { image.width = image.height = 0xFFFFFFFF; }},
        {"swapped out", [](Rastrel& image) { image.pixels.Swap(0); }},
        {"cut", [](Rastrel& image) { image.pixels.ReSize(50); }},
        {"grown", [](Rastrel& image) { image.pixels.ReSize(200); }},
        {"without pixels", [](Rastrel& image) { image.pixels.Delete(); }},
        {"created anew", [](Rastrel& image) { image.pixels.Create(120, true); }},
        {"assigned", [](Rastrel& image) { image.pixels = MemBlockDesc(); }},
    };
    Dice dice(92);
    for (const Change& change : kChanges) {
        SCOPED_TRACE(change.name);
        for (int round = 0; round < 20; ++round) {
            Rastrel image;
            image.Create(6, 5, CM_ARGB8);
            testing_support::fillWithNoise(image, dice.below(1000));
            expectOneSample(image, 2.0, 2.0);
            change.apply(image);
            for (int i = 0; i < 40; ++i)
                expectOneSample(image, coordinate(dice, 6), coordinate(dice, 5));
            expectOneSample(image, 1e10, -3.0);
            expectOneSample(image, 2.0, -1e10);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(ByteSamplers, StartWithTheGeneralOneAndUseTheLast) {
    ASSERT_FALSE(Samplers::all().empty());
    EXPECT_EQ(Samplers::all().front().name, "general");
    EXPECT_EQ(Samplers::inUse(), Samplers::all().back().sample);
}

} // namespace
