#include "ops/filter_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/exact_math.h"
#include "ops/line_kernels.h"
#include "support/naive_lines.h"
#include "support/sample_noise.h"

namespace {

using rastrel::selectFilterKernel;

struct Selection {
    unsigned char code;
    double reach;
    bool known;
};

TEST(SelectFilterKernel, GivesSupportAndResultOfEveryCode) {
    for (unsigned code = 1; code < 256; ++code) {
        const auto filter = static_cast<unsigned char>(code);
        Selection expected{filter, 2.0, false};
        for (const Selection& listed : {Selection{1, 0.5, true},
                                        {2, 1.0, true},
                                        {3, 2.0, true},
                                        {5, 2.0, true},
                                        {6, 3.0, true},
                                        {7, 4.5, true}}) {
            if (listed.code == filter) expected = listed;
        }
        double lo = 99.0;
        double hi = 99.0;
        const auto selection = selectFilterKernel(filter, lo, hi, 4.5);
        EXPECT_EQ(bool{selection}, expected.known) << code;
        EXPECT_TRUE(selection.hasKernel());
        EXPECT_EQ(lo, -expected.reach) << code;
        EXPECT_EQ(hi, expected.reach) << code;
    }
}

TEST(SelectFilterKernel, CodeZeroHasNoKernelAndLeavesTheSupport) {
    double lo = 11.0;
    double hi = 12.0;
    const auto selection = selectFilterKernel(0, lo, hi, 3.0);
    EXPECT_TRUE(selection);
    EXPECT_FALSE(selection.hasKernel());
    EXPECT_EQ(lo, 11.0);
    EXPECT_EQ(hi, 12.0);
}

TEST(SelectFilterKernel, KernelsEqualTheirFormulasAndEndInclusively) {
    double lo = 0.0;
    double hi = 0.0;
    for (unsigned char filter = 1; filter <= 7; ++filter) {
        const auto selection = selectFilterKernel(filter, lo, hi, 2.75);
        for (double x = -4.0; x <= 4.0; x += 1.0 / 64) {
            EXPECT_EQ(selection(x), naive::kernel(filter, x, 2.75)) << int{filter} << " at " << x;
            EXPECT_EQ(selection(-x), selection(x));
        }
        EXPECT_EQ(selection(0.0), 1.0);
    }
    EXPECT_GT(selectFilterKernel(3, lo, hi, 0)(2.0), 0.0);
    EXPECT_EQ(selectFilterKernel(3, lo, hi, 0)(2.0000001), 0.0);
    EXPECT_EQ(selectFilterKernel(1, lo, hi, 0)(17.0), 1.0);
    EXPECT_EQ(selectFilterKernel(2, lo, hi, 0)(-0.25), 0.75);
}

TEST(SelectFilterKernel, CodeFourIsCodeThree) {
    double lo = 0.0;
    double hi = 0.0;
    const auto four = selectFilterKernel(4, lo, hi, 0.0);
    const auto three = selectFilterKernel(3, lo, hi, 0.0);
    for (double x = -3.0; x <= 3.0; x += 0.01)
        EXPECT_EQ(four(x), three(x));
}

std::uint64_t bitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// The digests were taken from results that all equal those of a 113-bit computation rounded once.
TEST(ExactMath, GivesTheSameBitsOnEverySystem) {
    Dice dice(77);
    std::uint64_t sines = 0;
    std::uint64_t exponentials = 0;
    for (int i = 0; i < 200000; ++i) {
        const double scale = std::ldexp(1.0, dice.between(-30, 40));
        const double x = (dice.fraction() - 0.5) * scale;
        sines = sines * 1099511628211ULL + bitsOf(rastrel::exactSine(x));
        exponentials = exponentials * 1099511628211ULL + bitsOf(rastrel::exactExponential(-dice.fraction() * 6.0));
    }
    EXPECT_EQ(sines, 3795645746252501327ULL);
    EXPECT_EQ(exponentials, 11168047432979419443ULL);
}

TEST(ExactMath, IsWithinTheLastBitOfTheSystemsOwn) {
    Dice dice(78);
    for (int i = 0; i < 100000; ++i) {
        // Not relative, and not further: some libraries lose bits next to the multiples of pi.
        const double scale = std::ldexp(1.0, dice.between(-20, 8));
        const double x = (dice.fraction() - 0.5) * scale;
        EXPECT_NEAR(rastrel::exactSine(x), std::sin(x), 0x1p-52);
        const double y = (dice.fraction() - 0.5) * 128.0;
        EXPECT_NEAR(rastrel::exactExponential(y), std::exp(y), std::exp(y) * 0x1p-52);
    }
    EXPECT_EQ(rastrel::exactSine(0.0), 0.0);
    EXPECT_EQ(rastrel::exactExponential(0.0), 1.0);
}

TEST(ExactMath, GivesZeroWhereItHasNoValue) {
    for (const double x : {1e300, -1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
        EXPECT_EQ(rastrel::exactSine(x), 0.0);
        EXPECT_EQ(rastrel::exactExponential(x), 0.0);
    }
}

} // namespace
