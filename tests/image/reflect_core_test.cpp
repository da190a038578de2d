#include "image/reflect.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "support/naive_lines_store.h"

namespace {

TEST(Reflect, AgreesWithWalkingThere) {
    for (std::uint32_t n = 1; n <= 9; ++n) {
        for (std::int64_t c = -40; c <= 40; ++c)
            ASSERT_EQ(rastrel::reflect(c, n), testing_support::walked(c, n)) << c << " on " << n;
    }
}

TEST(Reflect, TakesTheLargestAxesAndCoordinates) {
    EXPECT_EQ(rastrel::reflect(0xFFFFFFFFLL, 0xFFFFFFFFu), 0xFFFFFFFDu);
    EXPECT_EQ(rastrel::reflect(-0xFFFFFFFELL, 0xFFFFFFFFu), 0xFFFFFFFEu);
    EXPECT_LT(rastrel::reflect(INT64_MIN, 0xFFFFFFFFu), 0xFFFFFFFFu);
    EXPECT_LT(rastrel::reflect(INT64_MAX, 2), 2u);
    EXPECT_EQ(rastrel::reflect(INT64_MIN, 1), 0u);
}

TEST(Reflect, RunsCoverARequestPixelByPixel) {
    for (std::uint32_t n = 1; n <= 7; ++n) {
        for (std::int64_t start = -20; start <= 20; ++start) {
            for (std::uint64_t count = 0; count <= 25; ++count) {
                std::vector<std::int64_t> got;
                rastrel::forEachRun(start, count, n, [&](const rastrel::Run& run) {
                    ASSERT_GT(run.count, 0u);
                    ASSERT_LE(run.first + run.count, n);
                    for (std::uint32_t i = 0; i < run.count; ++i)
                        got.push_back(run.reversed ? run.first + run.count - 1 - i : run.first + i);
                });
                ASSERT_EQ(got.size(), count);
                for (std::uint64_t i = 0; i < count; ++i)
                    ASSERT_EQ(got[i], testing_support::walked(start + static_cast<std::int64_t>(i), n));
            }
        }
    }
}

} // namespace
