#include "formats/psb_planes.h"

#include <gtest/gtest.h>

#include "support/images.h"

namespace {

using namespace testing_support;
using Bytes = std::vector<unsigned char>;

TEST(PsbPlanes, EverySetMovesTheSameBytes) {
    Noise noise(3);
    ASSERT_FALSE(rastrel::availablePlaneKernels().empty());
    EXPECT_EQ(&rastrel::planeKernels(), rastrel::availablePlaneKernels().front());
    for (const rastrel::PlaneKernelSet* set : rastrel::availablePlaneKernels()) {
        SCOPED_TRACE(set->name);
        for (const std::size_t channels : {1U, 3U, 4U}) {
            for (const std::size_t size : {1U, 2U}) {
                for (std::size_t count = 0; count < 70; ++count) {
                    Bytes pixels(count * channels * size);
                    for (unsigned char& byte : pixels)
                        byte = noise.byte();
                    const rastrel::PlaneKernels& kernels = set->of(channels, size);
                    std::vector<Bytes> planes(channels, Bytes(count * size + 1, 0xA5));
                    const unsigned char* sources[4] = {};
                    for (std::size_t c = 0; c < channels; ++c) {
                        kernels.gather(pixels.data(), channels - 1 - c, count, planes[c].data());
                        for (std::size_t i = 0; i < count; ++i)
                            for (std::size_t b = 0; b < size; ++b)
                                ASSERT_EQ(planes[c][i * size + b],
                                          pixels[(i * channels + channels - 1 - c) * size + size - 1 - b]);
                        ASSERT_EQ(planes[c].back(), 0xA5);
                        sources[c] = planes[c].data();
                    }
                    Bytes merged(pixels.size() + 1, 0xA5);
                    kernels.merge(sources, count, merged.data());
                    ASSERT_EQ(merged.back(), 0xA5);
                    merged.pop_back();
                    ASSERT_EQ(merged, pixels);
                }
            }
        }
    }
}

} // namespace
