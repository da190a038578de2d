/// Which samples a comparison takes; its result is always 0.0.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "support/open_image.h"

namespace {

/// (which image, x, y)
using Samples = std::vector<std::tuple<int, double, double>>;

struct Recorder : OpenImage {
    using OpenImage::operator=;
    using OpenImage::GetPixelARGB8;
    pixel_argb8 GetPixelARGB8(double x, double y) override {
        log->emplace_back(id, x, y);
        return {};
    }
    bool TransformSetup() override {
        ++setups;
        return OpenImage::TransformSetup();
    }
    int id = 0;
    int setups = 0;
    Samples* log = nullptr;
};

struct Compare : testing::Test {
    Compare() {
        first.id = 1;
        second.id = 2;
        first.log = second.log = &log;
        first.Create(4, 4, CM_GREY8);
        second.Create(4, 4, CM_ARGB16);
    }
    Samples log;
    Recorder first, second;
};

TEST_F(Compare, SamplesColumnByColumnThisImageFirst) {
    EXPECT_EQ(first.Compare(second, 0.5, 2.9, 1.75, 0.25), 0.0);
    EXPECT_EQ(log, (Samples{{1, 1.0, 0.25},
                            {2, 1.0, 0.25},
                            {1, 1.0, 1.25},
                            {2, 1.0, 1.25},
                            {1, 2.0, 0.25},
                            {2, 2.0, 0.25},
                            {1, 2.0, 1.25},
                            {2, 2.0, 1.25}}));
    EXPECT_EQ(first.setups, 1);
    EXPECT_EQ(second.setups, 1);
}

TEST_F(Compare, TakesNoSampleOfAnEmptyRectangle) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(first.Compare(second, 2.0, 1.0, 5.0, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, 1.0, 0.0, 5.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.25, 0.75, 5.0, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, kNan, 1.0, 1.0, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, kNan, 1.0, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, 1.0, kNan, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, 1.0, 1.0, kNan), 0.0);
    EXPECT_TRUE(log.empty());
}

TEST_F(Compare, EndsWhereStepsLeadNowhere) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(first.Compare(second, -kInfinity, kInfinity, 0.0, 0.0), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, 0.0, kInfinity, -kInfinity), 0.0);
    EXPECT_EQ(first.Compare(second, 1e17, 1e18, 1e300, 1e299), 0.0);
    EXPECT_EQ(first.Compare(second, 0.0, 1.0, kInfinity, 9007199254740990.0), 0.0);
    EXPECT_LT(log.size(), 40U);
}

TEST_F(Compare, OfPlainImagesIsZeroToo) {
    Rastrel a, b;
    EXPECT_EQ(a.Compare(b, 0.0, 5.0, 5.0, 0.0), 0.0);
    a.Create(5, 5, CM_ARGB8);
    b.Create(3, 9, CM_BW1);
    EXPECT_EQ(a.Compare(b, -1.0, 6.0, 6.0, -1.0), 0.0);
    EXPECT_EQ(a.Compare(a, 0.0, 4.0, 4.0, 0.0), 0.0);
}

} // namespace
