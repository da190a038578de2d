/// One image read by many threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"

namespace {

constexpr long kWidth = 64;
constexpr long kHeight = 40;

/// Reads rows, columns and pixels of a shared image and counts what differs from a copy made beforehand.
void readEverything(OpenImage& image, const std::vector<pixel_argb16>& wanted, std::uint64_t seed,
                    std::atomic<int>& wrong) {
    testing_support::Noise noise(seed);
    std::vector<pixel_argb16> line(kWidth);
    const auto differs = [](const pixel_argb16& a, const pixel_argb16& b) { return std::memcmp(&a, &b, 8) != 0; };
    for (int i = 0; i < 300; ++i) {
        const long x = static_cast<long>(noise.below(kWidth));
        const long y = static_cast<long>(noise.below(kHeight));
        image.ReadHLine(line.data(), 0, kWidth - 1, y, true);
        for (long c = 0; c < kWidth; ++c)
            wrong += differs(line[static_cast<std::size_t>(c)], wanted[static_cast<std::size_t>(y * kWidth + c)]);
        image.ReadHLine(line.data(), x, 0, y, true);
        wrong += differs(line[0], wanted[static_cast<std::size_t>(y * kWidth + x)]);
        image.ReadVLine(line.data(), 0, kHeight - 1, x, true);
        wrong += differs(line[static_cast<std::size_t>(y)], wanted[static_cast<std::size_t>(y * kWidth + x)]);
        wrong += differs(image.GetPixelARGB16(x, y), wanted[static_cast<std::size_t>(y * kWidth + x)]);
    }
}

TEST(SharedReading, EightThreadsSeeTheSamePixels) {
    for (const unsigned char model : {CM_ARGB16, CM_RGB8, CM_GREYFP32, CM_RGBA16}) {
        for (const bool cache : {false, true}) {
            for (const bool swapped : {false, true}) {
                OpenImage image;
                if (swapped) image.swapThreshold = 0;
                image.Create(kWidth, kHeight, model);
                testing_support::fillWithNoise(image, model);
                std::vector<pixel_argb16> wanted(kWidth * kHeight);
                for (long y = 0; y < kHeight; ++y)
                    image.ReadHLine(wanted.data() + y * kWidth, 0, kWidth - 1, y, true);
                image.EnableCache(cache);
                std::atomic<int> wrong{0};
                std::vector<std::thread> threads;
                for (std::uint64_t i = 0; i < 8; ++i)
                    threads.emplace_back([&, i] { readEverything(image, wanted, i, wrong); });
                for (std::thread& thread : threads)
                    thread.join();
                EXPECT_EQ(wrong, 0) << int(model) << " cache " << cache << " swapped " << swapped;
            }
        }
    }
}

} // namespace
