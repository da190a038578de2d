/// The view transform: matrices, and coordinates through them in both directions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>

#include "support/open_image.h"
#include "support/sample_noise.h"

namespace {

/// The nearest doubles to cosine and sine.
struct Angle {
    double angle, cosine, sine;
};

constexpr Angle kAngles[] = {
    {0.0, 1.0, 0.0},
    {0x1.999999999999ap-4, 0x1.fd712f9a817c1p-1, 0x1.98eaecb8bcb2cp-4},
    {0x1.0000000000000p-1, 0x1.c1528065b7d50p-1, 0x1.eaee8744b05f0p-2},
    {0x1.0000000000000p+0, 0x1.14a280fb5068cp-1, 0x1.aed548f090ceep-1},
    {0x1.0c152382d7365p-1, 0x1.bb67ae8584cabp-1, 0x1.fffffffffffffp-2},
    {0x1.921fb54442d18p-1, 0x1.6a09e667f3bcdp-1, 0x1.6a09e667f3bccp-1},
    {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, 0x1.0000000000000p+0},
    {0x1.921fb54442d18p+1, -0x1.0000000000000p+0, 0x1.1a62633145c07p-53},
    {-0x1.921fb54442d18p-1, 0x1.6a09e667f3bcdp-1, -0x1.6a09e667f3bccp-1},
    {0x1.4000000000000p+1, -0x1.9a2f7ef858b7dp-1, 0x1.326af0dcfcab1p-1},
    {0x1.9000000000000p+6, 0x1.b981dbf665fdfp-1, -0x1.03425b78c4db8p-1},
    {0x1.e848000000000p+19, 0x1.df9df9906d32cp-1, -0x1.6664b2568d867p-2},
    {-0x1.81cd6c8b43958p+13, 0x1.6b94c3bbe24b8p-1, 0x1.687d5890974a5p-1},
    {0x1.d1a94a2000000p+39, 0x1.9538731dff223p-1, -0x1.38f4477984352p-1},
};

void setRandomParameters(Rastrel& image, Dice& dice) {
    const auto scale = [&] { return dice.below(4) == 0 ? 1.0 : 0.25 + dice.fraction() * 4.0; };
    const auto around0 = [&](double size) { return dice.below(4) == 0 ? 0.0 : (dice.fraction() - 0.5) * size; };
    image.preScaleX = scale();
    image.preScaleY = scale();
    image.postScaleX = scale();
    image.postScaleY = scale();
    image.bilinearX = around0(0.01);
    image.bilinearY = around0(0.01);
    image.angle = kAngles[dice.below(std::size(kAngles))].angle;
    image.offsetX = around0(40.0);
    image.offsetY = around0(40.0);
}

TEST(TransformSetup, DefaultsGiveTheIdentityAndAnInactiveTransform) {
    OpenImage image;
    const double forward[] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0};
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(image.forwardMatrix[i], forward[i]) << i;
            EXPECT_EQ(image.inverseMatrix[i], forward[i]) << i;
        }
        EXPECT_EQ(image.transformActive, 0);
        EXPECT_TRUE(image.TransformSetup());
    }
}

TEST(TransformSetup, RoundsCosineAndSineCorrectlyOnEverySystem) {
    for (const Angle& a : kAngles) {
        SCOPED_TRACE(a.angle);
        OpenImage image;
        image.angle = a.angle;
        image.TransformSetup();
        EXPECT_EQ(image.forwardMatrix[0], a.cosine);
        EXPECT_EQ(image.forwardMatrix[1], -a.sine);
        EXPECT_EQ(image.forwardMatrix[3], a.sine);
        EXPECT_EQ(image.forwardMatrix[4], a.cosine);
    }
}

TEST(TransformSetup, DividesInTheOrderTold) {
    Dice dice(11);
    for (int round = 0; round < 2000; ++round) {
        OpenImage image;
        setRandomParameters(image, dice);
        const Angle& a = kAngles[dice.below(std::size(kAngles))];
        image.angle = a.angle;
        ASSERT_TRUE(image.TransformSetup());
        const double m00 = a.cosine / image.preScaleX / image.postScaleX;
        const double m01 = -(a.sine / image.preScaleY / image.postScaleX);
        const double m10 = a.sine / image.preScaleX / image.postScaleY;
        const double m11 = a.cosine / image.preScaleY / image.postScaleY;
        const double det = m11 * m00 - m10 * m01;
        const double forward[] = {m00, m01, image.offsetX, m10, m11, image.offsetY};
        const double inverse[] = {m11 / det, -m01 / det, -image.offsetX, -m10 / det, m00 / det, -image.offsetY};
        for (int i = 0; i < 6; ++i) {
            ASSERT_EQ(image.forwardMatrix[i], forward[i]) << i;
            ASSERT_EQ(image.inverseMatrix[i], inverse[i]) << i;
        }
    }
}

TEST(TransformSetup, IsActiveForEveryParameterButTheOffsets) {
    struct Case {
        const char* name;
        double Rastrel::*parameter;
        bool active;
    };
    constexpr Case kCases[] = {
        {"preScaleX", &Rastrel::preScaleX, true},   {"preScaleY", &Rastrel::preScaleY, true},
        {"postScaleX", &Rastrel::postScaleX, true}, {"postScaleY", &Rastrel::postScaleY, true},
        {"bilinearX", &Rastrel::bilinearX, true},   {"bilinearY", &Rastrel::bilinearY, true},
        {"angle", &Rastrel::angle, true},           {"offsetX", &Rastrel::offsetX, false},
        {"offsetY", &Rastrel::offsetY, false},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        OpenImage image;
        const double before = image.*c.parameter;
        image.*c.parameter = 0.75;
        image.TransformSetup();
        EXPECT_EQ(image.transformActive != 0, c.active);
        image.*c.parameter = before;
        image.TransformSetup();
        EXPECT_EQ(image.transformActive, 0);
    }
}

TEST(TransformSetup, TakesSingularAndInfiniteParametersWithoutComplaint) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double bad : {0.0, kInfinity, -kInfinity, std::nan(""), 1e308, 5e-324}) {
        for (double Rastrel::*parameter : {&Rastrel::preScaleX, &Rastrel::postScaleY, &Rastrel::angle}) {
            OpenImage image;
            image.*parameter = bad;
            EXPECT_TRUE(image.TransformSetup());
            double x = 1.0, y = 2.0;
            image.CoordToPixel(x, y);
            image.PixelToCoord(x, y);
        }
    }
}

TEST(CoordToPixel, AddsOnlyTheOffsetsWhileInactive) {
    OpenImage image;
    double x = 3.25, y = -7.5;
    image.CoordToPixel(x, y);
    EXPECT_EQ(x, 3.25);
    EXPECT_EQ(y, -7.5);
    image.offsetX = 5.0;
    image.TransformSetup();
    EXPECT_EQ(image.transformActive, 0);
    image.CoordToPixel(x, y);
    EXPECT_EQ(x, 8.25);
    EXPECT_EQ(y, -7.5);
}

TEST(CoordToPixel, TurnsAQuarter) {
    OpenImage image;
    image.angle = std::numbers::pi / 2;
    image.TransformSetup();
    double x = 1.0, y = 0.0;
    image.CoordToPixel(x, y);
    EXPECT_NEAR(x, 0.0, 1e-15);
    EXPECT_NEAR(y, 1.0, 1e-15);
}

TEST(CoordToPixel, AppliesTheSecondOrderTermsInTheOrderTold) {
    Dice dice(12);
    for (int round = 0; round < 2000; ++round) {
        OpenImage image;
        setRandomParameters(image, dice);
        image.TransformSetup();
        const double x = (dice.fraction() - 0.5) * 300.0;
        const double y = (dice.fraction() - 0.5) * 300.0;
        double px = x, py = y;
        image.CoordToPixel(px, py);
        const double* m = image.forwardMatrix;
        if (image.transformActive == 0) {
            ASSERT_EQ(px, x + image.offsetX);
            ASSERT_EQ(py, y + image.offsetY);
            continue;
        }
        const double u = m[0] * x + m[1] * y;
        const double v = m[3] * x + m[4] * y;
        ASSERT_EQ(px, (v * image.bilinearX + 1.0) * u + image.offsetX);
        ASSERT_EQ(py, (u * image.bilinearY + 1.0) * v + image.offsetY);
    }
}

TEST(PixelToCoord, SubtractsTheXOffsetFromYInItsSecondRow) {
    Dice dice(13);
    for (int round = 0; round < 2000; ++round) {
        OpenImage image;
        setRandomParameters(image, dice);
        image.TransformSetup();
        const double x = (dice.fraction() - 0.5) * 300.0;
        const double y = (dice.fraction() - 0.5) * 300.0;
        double cx = x, cy = y;
        image.PixelToCoord(cx, cy);
        const double* i = image.inverseMatrix;
        ASSERT_EQ(cx, (x - image.offsetX) * i[0] + (y - image.offsetY) * i[1]);
        ASSERT_EQ(cy, (y - image.offsetX) * i[3] + (y - image.offsetY) * i[4]);
    }
}

TEST(PixelToCoord, IgnoresWhetherTheTransformIsActive) {
    OpenImage image;
    image.offsetX = 3.0;
    image.offsetY = 10.0;
    image.TransformSetup();
    ASSERT_EQ(image.transformActive, 0);
    double x = 4.0, y = 12.0;
    image.PixelToCoord(x, y);
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(y, 2.0); // the identity's first term is 0, its second takes y - offsetY
    image.angle = std::numbers::pi / 2;
    image.TransformSetup();
    x = 4.0;
    y = 12.0;
    image.PixelToCoord(x, y);
    EXPECT_NEAR(y, -(12.0 - 3.0), 1e-12); // the turned second row takes y - offsetX
}

} // namespace
