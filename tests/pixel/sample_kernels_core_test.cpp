/// The sample kernels of every instruction set against the plain form.
#include "pixel/sample_kernels.h"

#include <gtest/gtest.h>

#include <cstring>

#include "pixel/bilinear.h"
#include "support/sample_noise.h"

namespace {

using rastrel::SampleKernel;

TEST(SampleKernels, AllGiveTheSameBytes) {
    Dice dice(91);
    for (int round = 0; round < 200000; ++round) {
        rastrel::Neighbours<pixel_argb8> n;
        auto* bytes = reinterpret_cast<unsigned char*>(&n);
        for (std::size_t i = 0; i < sizeof n; ++i)
            bytes[i] = static_cast<unsigned char>(dice.below(4) == 0 ? dice.below(2) * 255 : dice.below(256));
        if (dice.below(8) == 0) n.p00.a = n.p10.a = n.p01.a = 0;
        if (dice.below(16) == 0) n.p00.a = n.p10.a = n.p01.a = n.p11.a = 0;
        // Up to 2: left of the first centre a sample is extrapolated.
        const auto weight = [&] { return dice.below(4) == 0 ? dice.below(9) * 0.25 : dice.fraction() * 2.0; };
        const double wx = weight(), wy = weight();
        const pixel_argb8 expected = rastrel::interpolated(n, wx, wy);
        for (const SampleKernel& kernel : rastrel::availableSampleKernels()) {
            const pixel_argb8 sample = kernel.sample(bytes, bytes + 8, wx, wy);
            ASSERT_EQ(std::memcmp(&sample, &expected, 4), 0) << kernel.name << ' ' << wx << ' ' << wy;
        }
    }
}

TEST(SampleKernels, StartWithThePlainOneAndUseTheLast) {
    const auto kernels = rastrel::availableSampleKernels();
    ASSERT_FALSE(kernels.empty());
    EXPECT_EQ(kernels.front().name, "plain");
    EXPECT_EQ(rastrel::samplePairs, kernels.back().sample);
}

} // namespace
