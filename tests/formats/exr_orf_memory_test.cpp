/// What OpenEXR and raw files hold in memory: the pixel block once, unless it is swapped out, a raw file's mosaic
/// beside it, and a buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "support/open_image.h"
#include "support/orf_files.h"
#include "support/peak_memory.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

/// The library's block of 32 rows, several times over. Sanitizers keep what it has freed.
constexpr std::uint64_t kBuffers = std::uint64_t{test::kShadowFactor > 1 ? 72 : 8} << 20;
constexpr std::uint64_t kNeverSwapped = ~std::uint64_t{0};

using ExrMemoryDeathTest = test::PeakMemoryTest;
using OrfMemoryDeathTest = test::PeakMemoryTest;

constexpr std::uint32_t kSide = 1024;
constexpr std::uint64_t kBlock = std::uint64_t{kSide} * kSide * 16;

TEST_F(ExrMemoryDeathTest, AwriteHoldsAbuffer) {
    const ScratchFile file(".exr");
    for (const bool swapped : {false, true}) {
        const auto write = [&] {
            OpenImage image;
            image.swapThreshold = swapped ? 0 : kNeverSwapped;
            image.Create(kSide, kSide, CM_ARGBFP32);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && image.pixels.IsSwapped() == swapped);
            if (!swapped) std::memset(image.pixels.GetData(), 1, kBlock); // takes its memory only now
            REQUIRE_IN_CHILD(image.Write(file.path().c_str(), "exr") == 0);
        };
        expectMemoryGrowth(write, (swapped ? 0 : kBlock) + kBuffers);
    }
}

TEST_F(ExrMemoryDeathTest, AreadHoldsTheBlockOnce) {
    const ScratchFile file(".exr");
    {
        OpenImage image;
        image.swapThreshold = 0;
        image.Create(kSide, kSide, CM_GREY8);
        ASSERT_EQ(image.Write(file.path().c_str(), "exr"), 0U);
    }
    for (const bool swapped : {false, true}) {
        const auto read = [&] {
            OpenImage image;
            image.swapThreshold = swapped ? 0 : kNeverSwapped;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && image.pixels.IsSwapped() == swapped);
        };
        expectMemoryGrowth(read, (swapped ? 0 : kBlock) + kBuffers, swapped ? 0 : kBlock / 2);
    }
}

TEST_F(OrfMemoryDeathTest, AreadHoldsBlockAndMosaic) {
    constexpr std::uint64_t kPixels = std::uint64_t{3000} * 2000;
    constexpr std::uint64_t kStrip = 65536;
    OrfFile made;
    made.width = 3000;
    made.height = 2000;
    made.extra = {longs(273, {kStrip}), longs(279, {kPixels * 2})};
    const ScratchFile file(made.build(), ".orf");
    std::filesystem::resize_file(file.path(), kStrip + kPixels * 2); // samples of zero
    const auto read = [&] {
        OpenImage image;
        image.swapThreshold = 0;
        REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
        REQUIRE_IN_CHILD(image.pixels.GetSize() == kPixels * 6 && !image.pixels.IsSwapped());
        std::uint16_t last = 0;
        REQUIRE_IN_CHILD(image.pixels.Read(kPixels * 6 - 2, &last, 2) && last == 65535);
    };
    expectMemoryGrowth(read, kPixels * (6 + 2) + kBuffers, kPixels * 6);
}

} // namespace
