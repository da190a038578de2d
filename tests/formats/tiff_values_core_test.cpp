#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "formats/rational.h"
#include "formats/tag_values.h"
#include "formats/tiff_directory.h"

namespace {

using rastrel::CTiff;
using rastrel::Rational;
using rastrel::toRational;

/// The definition with the whole sequence of convergents, for values that 32 bits hold.
Rational naiveRational(double value) {
    using Wide = std::uint64_t;
    double x = std::fabs(value);
    Wide h[2] = {0, 1};
    Wide k[2] = {1, 0};
    for (;;) {
        const auto a = static_cast<std::uint64_t>(x);
        const Wide hNew = a * h[1] + h[0];
        const Wide kNew = a * k[1] + k[0];
        h[0] = h[1], h[1] = hNew;
        k[0] = k[1], k[1] = kNew;
        if (x == static_cast<double>(a)) break;
        x = 1.0 / (x - static_cast<double>(a));
        if (x > 2147483647.0) break;
        if (k[1] * static_cast<std::uint64_t>(x) + k[0] >= 65537) break;
    }
    const auto numerator = static_cast<std::uint32_t>(h[1]);
    return {value < 0 ? 0U - numerator : numerator, static_cast<std::uint32_t>(k[1])};
}

TEST(Rational, GivesTheQuotientsThatPeopleWrite) {
    const struct {
        double value;
        std::uint32_t numerator, denominator;
    } cases[] = {{72, 72, 1},
                 {300, 300, 1},
                 {0.3, 3, 10},
                 {0, 0, 1},
                 {-0.3, 0U - 3, 10},
                 {-72, 0U - 72, 1},
                 {72.6, 363, 5},
                 {0.5, 1, 2},
                 {1.0 / 3, 1, 3},
                 {118.11, 11811, 100},
                 {1e-12, 0, 1},
                 {65535.5, 131071, 2},
                 {254.0, 254, 1},
                 {100 * 2.54, 254, 1},
                 {4294967295.0, 4294967295U, 1}};
    for (const auto& c : cases) {
        const Rational quotient = toRational(c.value);
        EXPECT_EQ(quotient.numerator, c.numerator) << c.value;
        EXPECT_EQ(quotient.denominator, c.denominator) << c.value;
    }
}

TEST(Rational, StaysInsideThirtyTwoBits) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {1e10, 4294967296.0, 1e300, infinity}) {
        EXPECT_EQ(toRational(value).numerator, 0xFFFFFFFFU) << value;
        EXPECT_EQ(toRational(value).denominator, 1U) << value;
        EXPECT_EQ(toRational(-value).numerator, 0x80000000U) << value;
    }
    EXPECT_EQ(toRational(std::nan("")).numerator, 0U);
    EXPECT_EQ(toRational(std::nan("")).denominator, 1U);
    const Rational large = toRational(1000000.1234);
    EXPECT_NEAR(static_cast<double>(large.numerator) / large.denominator, 1000000.1234, 1e-3);
}

TEST(Rational, FollowsTheDefinition) {
    std::uint64_t seed = 5;
    for (int i = 0; i < 20000; ++i) {
        seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
        const double unit = static_cast<double>(seed >> 11) / 9007199254740992.0;
        const double value = (i % 2 == 0 ? 1 : -1) * unit * std::pow(10.0, i % 7 - 3); // below 10000: all fit
        const Rational expected = naiveRational(value);
        const Rational quotient = toRational(value);
        ASSERT_EQ(quotient.numerator, expected.numerator) << value;
        ASSERT_EQ(quotient.denominator, expected.denominator) << value;
        ASSERT_LE(quotient.denominator, 65536U);
    }
}

TEST(TagValues, IntegersOfEveryTypeComeBack) {
    for (std::uint16_t type = 1; type <= 12; ++type) {
        _tiff_ifd_tag record(300, type, 3);
        const bool text = type == 2;
        for (std::uint32_t i = 0; i < 3; ++i)
            EXPECT_TRUE(CTiff::setValue(record, i, 100 + static_cast<int>(i))) << type;
        for (std::uint32_t i = 0; i < 3; ++i) {
            const auto number = rastrel::numberAt(record, i);
            ASSERT_EQ(number.has_value(), !text) << type;
            EXPECT_EQ(number.value_or(100 + i), 100 + i) << type;
        }
        EXPECT_FALSE(CTiff::setValue(record, 3, 1)) << type;
        EXPECT_FALSE(CTiff::setValue(record, 3, 1.0)) << type;
        EXPECT_FALSE(CTiff::setValue(record, 3, 'x')) << type;
        EXPECT_FALSE(rastrel::numberAt(record, 3)) << type;
        EXPECT_FALSE(rastrel::integerAt(record, 3)) << type;
    }
}

TEST(TagValues, NumbersAreBroughtIntoTheTypesRange) {
    const struct {
        std::uint16_t type;
        double low, high;
    } cases[] = {{1, 0, 255},
                 {3, 0, 65535},
                 {4, 0, 4294967295.0},
                 {5, 0, 4294967295.0},
                 {6, -128, 127},
                 {7, 0, 255},
                 {8, -32768, 32767},
                 {9, -2147483648.0, 2147483647.0},
                 {10, -2147483648.0, 2147483647.0}};
    for (const auto& c : cases) {
        _tiff_ifd_tag record(300, c.type, 1);
        EXPECT_TRUE(CTiff::setValue(record, 0, std::int64_t{-1} << 40));
        EXPECT_EQ(rastrel::numberAt(record, 0), c.low) << c.type;
        EXPECT_TRUE(CTiff::setValue(record, 0, std::int64_t{1} << 40));
        EXPECT_EQ(rastrel::numberAt(record, 0), c.high) << c.type;
        if (c.type == 5 || c.type == 10) continue;
        EXPECT_TRUE(CTiff::setValue(record, 0, -1e300));
        EXPECT_EQ(rastrel::numberAt(record, 0), c.low) << c.type;
        EXPECT_TRUE(CTiff::setValue(record, 0, 1e300));
        EXPECT_EQ(rastrel::numberAt(record, 0), c.high) << c.type;
        EXPECT_TRUE(CTiff::setValue(record, 0, std::nan("")));
        EXPECT_EQ(rastrel::numberAt(record, 0), 0) << c.type;
        EXPECT_TRUE(CTiff::setValue(record, 0, 100.9));
        EXPECT_EQ(rastrel::numberAt(record, 0), 100) << c.type;
    }
}

TEST(TagValues, FractionsGoIntoQuotientsAndFloats) {
    for (const std::uint16_t type : std::initializer_list<std::uint16_t>{5, 10, 11, 12}) {
        _tiff_ifd_tag record(300, type, 2);
        EXPECT_TRUE(CTiff::setValue(record, 1, 0.375));
        EXPECT_EQ(rastrel::numberAt(record, 1), 0.375) << type;
        EXPECT_EQ(rastrel::integerAt(record, 1), std::nullopt) << type;
    }
    _tiff_ifd_tag negative(300, 10, 1);
    EXPECT_TRUE(CTiff::setValue(negative, 0, -0.3));
    EXPECT_EQ(rastrel::numberAt(negative, 0), -0.3);
}

TEST(TagValues, CharactersFitOneByteTypes) {
    for (std::uint16_t type = 1; type <= 12; ++type) {
        _tiff_ifd_tag record(300, type, 1);
        const bool fits = type == 1 || type == 2 || type == 6 || type == 7;
        EXPECT_EQ(CTiff::setValue(record, 0, 'R'), fits) << type;
        EXPECT_EQ(record.data[0], fits ? 'R' : 0);
    }
}

TEST(TagValues, AquotientByZeroIsNoNumber) {
    for (const std::uint16_t type : std::initializer_list<std::uint16_t>{5, 10}) {
        _tiff_ifd_tag record(300, type, 1);
        record.data[0] = 1;
        EXPECT_EQ(rastrel::numberAt(record, 0), std::nullopt);
    }
}

TEST(TagValues, TextEndsAtItsTerminatorTheRecordsEndOr255Bytes) {
    const auto record = [](std::uint16_t type, const std::string& bytes) {
        _tiff_ifd_tag made(270, type, static_cast<std::uint32_t>(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), made.data);
        return made;
    };
    EXPECT_EQ(rastrel::textOf(record(2, std::string("abc\0def", 7))), "abc");
    EXPECT_EQ(rastrel::textOf(record(2, "abc")), "abc");
    EXPECT_EQ(rastrel::textOf(record(7, "\xFF\x01")), "\xFF\x01");
    EXPECT_EQ(rastrel::textOf(record(2, "")), "");
    EXPECT_EQ(rastrel::textOf(record(2, std::string(400, 'x'))), std::string(255, 'x'));
    EXPECT_EQ(rastrel::textOf(_tiff_ifd_tag(270, 3, 4)), "");
    EXPECT_EQ(rastrel::textOf(_tiff_ifd_tag()), "");
}

TEST(TagValues, ArecordWithoutDataTakesAndGivesNothing) {
    _tiff_ifd_tag record;
    record.count = 5;
    EXPECT_FALSE(CTiff::setValue(record, 0, 1));
    EXPECT_FALSE(CTiff::setValue(record, 0, 1.0));
    EXPECT_FALSE(CTiff::setValue(record, 0, 'x'));
    EXPECT_EQ(rastrel::integerAt(record, 0), std::nullopt);
    EXPECT_EQ(rastrel::numberAt(record, 0), std::nullopt);
}

} // namespace
