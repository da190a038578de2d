// Values that the conversion rules give, written down by hand, through the entry that the image uses.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "pixel/convert_pixels.h"
#include "support/naive_convert.h"

namespace {

using rastrel::ConvertPixels;

/// One pixel of `from` as a pixel of `to`, both in the reversed order unless told otherwise.
template <class To, class From>
To convertOne(unsigned char toModel, unsigned char fromModel, const From& from, bool fromFlag = true,
              bool toFlag = true) {
    To to{};
    ConvertPixels(&to, toModel, &from, fromModel, fromFlag, toFlag, 1);
    return to;
}

template <class To, class From>
std::vector<To> convertRun(unsigned char toModel, unsigned char fromModel, const std::vector<From>& from,
                           std::size_t samplesPerPixel = 1) {
    std::vector<To> to(from.size() / samplesPerPixel);
    ConvertPixels(to.data(), toModel, from.data(), fromModel, true, true, to.size());
    return to;
}

using Bytes4 = std::array<unsigned char, 4>;

TEST(ConvertRules, IntegerDepths) {
    EXPECT_EQ((convertOne<std::uint16_t, std::uint8_t>(CM_GREY16, CM_GREY8, 255)), 65535);
    EXPECT_EQ((convertOne<std::uint8_t, std::uint16_t>(CM_GREY8, CM_GREY16, 65535)), 255);
    EXPECT_EQ((convertOne<std::uint8_t, std::uint16_t>(CM_GREY8, CM_GREY16, 256)), 1);
    EXPECT_EQ((convertOne<std::uint8_t, std::uint16_t>(CM_GREY8, CM_GREY16, 255)), 0);
}

template <class Float>
void checkFloatsNearTheEnds(unsigned char model) {
    const Float infinity = std::numeric_limits<Float>::infinity();
    const Float noNumber = std::numeric_limits<Float>::quiet_NaN();
    const std::vector<Float> values = {Float(0.00196), Float(0.0019608), Float(0.99804), Float(1.7),
                                       Float(-3.0),    infinity,         -infinity,      noNumber};
    EXPECT_EQ((convertRun<std::uint8_t>(CM_GREY8, model, values)),
              (std::vector<std::uint8_t>{0, 1, 255, 255, 0, 255, 0, 0}));
    const std::vector<Float> fine = {Float(7.6e-6), Float(7.63e-6), Float(0.999993), infinity, -infinity, noNumber};
    EXPECT_EQ((convertRun<std::uint16_t>(CM_GREY16, model, fine)),
              (std::vector<std::uint16_t>{0, 1, 65535, 65535, 0, 0}));
}

TEST(ConvertRules, SinglesNearTheEnds) { checkFloatsNearTheEnds<float>(CM_GREYFP32); }
TEST(ConvertRules, DoublesNearTheEnds) { checkFloatsNearTheEnds<double>(CM_GREYFP64); }

TEST(ConvertRules, FloatsCopyWithoutClamping) {
    EXPECT_EQ((convertOne<double, float>(CM_GREYFP64, CM_GREYFP32, 1.7F)), double(1.7F));
    EXPECT_EQ((convertOne<float, double>(CM_GREYFP32, CM_GREYFP64, -3.25)), -3.25F);
    EXPECT_EQ((convertOne<float, double>(CM_GREYFP32, CM_GREYFP64, 1e300)), std::numeric_limits<float>::infinity());
    const std::array<float, 4> wild = {1.7F, -3.0F, 1e30F, 2.0F};
    EXPECT_EQ((convertOne<std::array<double, 4>>(CM_ARGBFP64, CM_ARGBFP32, wild)),
              (std::array<double, 4>{1.7F, -3.0F, 1e30F, 2.0F}));
}

TEST(ConvertRules, NotANumberIsBlackAndZero) {
    const std::array<float, 4> pixel = {std::nanf(""), 1.0F, 1.0F, std::nanf("")};
    EXPECT_EQ((convertOne<std::uint8_t>(CM_GREY8, CM_ARGBFP32, pixel)), 0);
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGBFP32, pixel)), 0);
    EXPECT_EQ((convertOne<Bytes4>(CM_ARGB8, CM_ARGBFP32, pixel)), (Bytes4{0, 255, 255, 0}));
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_ARGBFP32, pixel)), 0x00);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1INV, CM_ARGBFP32, pixel)), 0x80);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_GREYFP64, std::nan(""))), 0x00);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1INV, CM_GREYFP32, std::nanf(""))), 0x80);
}

TEST(ConvertRules, InfiniteColourSaturates) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::array<double, 4> bright = {0, infinity, 0, -infinity};
    EXPECT_EQ((convertOne<Bytes4>(CM_ARGB8, CM_ARGBFP64, bright)), (Bytes4{0, 255, 0, 0}));
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGBFP64, bright)), 65535);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_ARGBFP64, bright)), 0x80);
    const std::array<double, 4> against = {-infinity, infinity, 0, 1}; // the sum is not a number
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGBFP64, against)), 0);
}

TEST(ConvertRules, GreyOfEightBitColour) {
    const std::array<unsigned char, 3> white = {255, 255, 255};
    EXPECT_EQ((convertOne<std::uint8_t>(CM_GREY8, CM_RGB8, white)), 255);
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_RGB8, white)), 65535);
    EXPECT_EQ((convertOne<float>(CM_GREYFP32, CM_RGB8, white)), 1.0F);
    EXPECT_EQ((convertOne<double>(CM_GREYFP64, CM_RGB8, white)), 1.0);
    const std::array<unsigned char, 3> green = {0, 255, 0};
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_RGB8, green)), 32767);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_RGB8, green)), 0x00);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1INV, CM_RGB8, green)), 0x80);
    const std::array<unsigned char, 3> above = {1, 255, 0}; // one step of blue more: s is 32672, the grey 32799
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_RGB8, above)), 0x80);
}

TEST(ConvertRules, GreyOfSixteenBitColourHasNoCorrection) {
    const std::array<std::uint16_t, 4> white = {65535, 65535, 65535, 7};
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGB16, white)), 65535);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_GREY8, CM_ARGB16, white)), 255);
    EXPECT_EQ((convertOne<float>(CM_GREYFP32, CM_ARGB16, white)), 1.0F);
    EXPECT_EQ((convertOne<double>(CM_GREYFP64, CM_ARGB16, white)), 1.0);
    const std::array<std::uint16_t, 4> one = {0, 1, 1, 7}; // 7/8 truncated
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGB16, one)), 0);
}

TEST(ConvertRules, GreyFollowsTheSourceOrder) {
    const std::array<unsigned char, 3> pixel = {80, 0, 0}; // blue with the flag set, red with it clear
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_RGB8, pixel, true)), 2560 + 10);
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_RGB8, pixel, false)), 7680 + 30);
    const std::array<float, 4> linear = {1.0F, 0.5F, 0.25F, 0.125F};
    EXPECT_EQ((convertOne<float>(CM_GREYFP32, CM_ARGBFP32, linear, true)), 0.375F * 0.25F + 0.5F * 0.5F + 0.125F);
    EXPECT_EQ((convertOne<float>(CM_GREYFP32, CM_ARGBFP32, linear, false)),
              0.375F * 0.5F + 0.5F * 0.25F + 0.125F * 0.125F);
}

TEST(ConvertRules, FloatColourToIntegerGreyIsRoundedInTheTargetScale) {
    const std::array<float, 4> half = {0.5F, 0.5F, 0.5F, 0.0F};
    EXPECT_EQ((convertOne<std::uint8_t>(CM_GREY8, CM_ARGBFP32, half)), 128);
    EXPECT_EQ((convertOne<std::uint16_t>(CM_GREY16, CM_ARGBFP32, half)), 32768);
    const std::array<double, 4> wild = {-8.0, 2.0, 0.0, 0.0}; // 0.5 x 2 - 0.125 x 8 = 0
    EXPECT_EQ((convertOne<std::uint8_t>(CM_GREY8, CM_ARGBFP64, wild)), 0);
    EXPECT_EQ((convertOne<double>(CM_GREYFP64, CM_ARGBFP64, std::array<double, 4>{0, 4.0, 0, 0})), 2.0);
    EXPECT_EQ((convertOne<float>(CM_GREYFP32, CM_ARGBFP64, std::array<double, 4>{0, 0, -4.0, 0})), -1.5F);
}

TEST(ConvertRules, ThresholdIsHalfScale) {
    const std::vector<std::uint8_t> greys = {127, 128, 255, 0, 128, 127, 129, 1};
    EXPECT_EQ((convertRun<std::uint8_t>(CM_BW1, CM_GREY8, greys)[0]), 0b01101010);
    EXPECT_EQ((convertRun<std::uint8_t>(CM_BW1INV, CM_GREY8, greys)[0]), 0b10010101);
    const std::vector<std::uint16_t> fine = {32767, 32768};
    EXPECT_EQ((convertRun<std::uint8_t>(CM_BW1, CM_GREY16, fine)[0]), 0b01000000);
    const std::vector<float> single = {0.5F, std::nextafter(0.5F, 0.0F), 7.0F, -1.0F};
    EXPECT_EQ((convertRun<std::uint8_t>(CM_BW1, CM_GREYFP32, single)[0]), 0b10100000);
    const std::vector<double> wide = {0.5, std::nextafter(0.5, 0.0), 7.0, -1.0};
    EXPECT_EQ((convertRun<std::uint8_t>(CM_BW1, CM_GREYFP64, wide)[0]), 0b10100000);
    // 32767.25 / 65535 rounds to the 16-bit grey 32767; 32767.5 / 65535 to 32768, though it is below one half.
    const std::array<double, 4> below = {32767.25 / 65535, 32767.25 / 65535, 32767.25 / 65535, 1};
    const std::array<double, 4> above = {32767.75 / 65535, 32767.75 / 65535, 32767.75 / 65535, 1};
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_ARGBFP64, below)), 0x00);
    EXPECT_EQ((convertOne<std::uint8_t>(CM_BW1, CM_ARGBFP64, above)), 0x80);
}

TEST(ConvertRules, BitsBecomeWhiteAndBlackOpaquePixels) {
    const std::uint8_t bits = 0b10000000;
    std::array<Bytes4, 2> pixels{};
    ConvertPixels(pixels.data(), CM_ARGB8, &bits, CM_BW1, false, true, 2);
    EXPECT_EQ(pixels, (std::array<Bytes4, 2>{{{255, 255, 255, 255}, {0, 0, 0, 255}}}));
    ConvertPixels(pixels.data(), CM_ARGB8, &bits, CM_BW1, false, false, 2);
    EXPECT_EQ(pixels, (std::array<Bytes4, 2>{{{255, 255, 255, 255}, {255, 0, 0, 0}}}));
    ConvertPixels(pixels.data(), CM_ARGB8, &bits, CM_BW1INV, false, true, 2);
    EXPECT_EQ(pixels, (std::array<Bytes4, 2>{{{0, 0, 0, 255}, {255, 255, 255, 255}}}));
    EXPECT_EQ((convertOne<std::array<float, 4>>(CM_ARGBFP32, CM_BW1, bits)), (std::array<float, 4>{1, 1, 1, 1}));
    EXPECT_EQ((convertOne<std::array<double, 4>>(CM_ARGBFP64, CM_BW1INV, bits)), (std::array<double, 4>{0, 0, 0, 1}));
}

TEST(ConvertRules, RunIntoBitsKeepsTheBitsBehindIt) {
    for (const unsigned char from : {CM_GREY8, CM_BW1}) {
        const std::vector<std::uint8_t> source(11, 255);
        std::array<std::uint8_t, 3> target = {0x00, 0x0A, 0x33};
        ConvertPixels(target.data(), CM_BW1, source.data(), from, true, true, 11);
        EXPECT_EQ(target, (std::array<std::uint8_t, 3>{0xFF, 0xEA, 0x33})) << int{from};
        target = {0xFF, 0xF5, 0x33};
        ConvertPixels(target.data(), CM_BW1INV, source.data(), from, true, true, 11);
        EXPECT_EQ(target, (std::array<std::uint8_t, 3>{0x00, 0x15, 0x33})) << int{from};
    }
}

TEST(ConvertRules, OnePixelIntoBitsIsTheTopBit) {
    std::uint8_t target = 0x7F;
    const std::uint8_t white = 255;
    ConvertPixels(&target, CM_BW1, &white, CM_GREY8, true, true, 0);
    EXPECT_EQ(target, 0xFF);
}

TEST(ConvertRules, ChannelsMoveByName) {
    const Bytes4 bgra = {1, 2, 3, 4};
    EXPECT_EQ((convertOne<Bytes4>(CM_ARGB8, CM_ARGB8, bgra, true, false)), (Bytes4{4, 3, 2, 1}));
    EXPECT_EQ((convertOne<Bytes4>(CM_RGBA8, CM_ARGB8, bgra, true, false)), (Bytes4{3, 2, 1, 4}));
    EXPECT_EQ((convertOne<Bytes4>(CM_RGBA8, CM_ARGB8, bgra, true, true)), (Bytes4{4, 1, 2, 3}));
    EXPECT_EQ((convertOne<Bytes4>(CM_RGBA8, CM_RGBA8, bgra, false, true)), (Bytes4{4, 3, 2, 1}));
    const std::array<std::uint16_t, 4> wide = {0x0102, 0x0304, 0x0506, 0x0708};
    EXPECT_EQ((convertOne<std::array<std::uint16_t, 4>>(CM_ARGB16, CM_ARGB16, wide, true, false)),
              (std::array<std::uint16_t, 4>{0x0708, 0x0506, 0x0304, 0x0102}));
    EXPECT_EQ((convertOne<Bytes4>(CM_ARGB8, CM_RGBA16, wide, false, true)), (Bytes4{5, 3, 1, 7}));
}

TEST(ConvertRules, MissingAlphaIsFullAndSurplusAlphaIsDropped) {
    const std::array<unsigned char, 3> bgr = {1, 2, 3};
    EXPECT_EQ((convertOne<Bytes4>(CM_ARGB8, CM_RGB8, bgr)), (Bytes4{1, 2, 3, 255}));
    EXPECT_EQ((convertOne<std::array<std::uint16_t, 4>>(CM_RGBA16, CM_RGB8, bgr)),
              (std::array<std::uint16_t, 4>{65535, 257, 514, 771}));
    EXPECT_EQ((convertOne<std::array<float, 4>>(CM_ARGBFP32, CM_GREY8, std::uint8_t{0})),
              (std::array<float, 4>{0, 0, 0, 1}));
    const Bytes4 transparent = {10, 20, 30, 0};
    EXPECT_EQ((convertOne<std::array<unsigned char, 3>>(CM_RGB8, CM_ARGB8, transparent)),
              (std::array<unsigned char, 3>{10, 20, 30}));
}

TEST(ConvertRules, ThreeAndSixBytePixelsAreWrittenExactly) {
    const Bytes4 pixel = {10, 20, 30, 40};
    std::array<unsigned char, 8> target;
    target.fill(0xEE);
    ConvertPixels(target.data(), CM_RGB8, &pixel, CM_ARGB8, true, true, 1);
    EXPECT_EQ(target, (std::array<unsigned char, 8>{10, 20, 30, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    target.fill(0xEE);
    ConvertPixels(target.data(), CM_RGB16, &pixel, CM_ARGB8, true, true, 1);
    EXPECT_EQ(target, (std::array<unsigned char, 8>{10, 10, 20, 20, 30, 30, 0xEE, 0xEE}));
}

/// All greys of a depth to and through the floating models and back: no value moves.
template <class Integer, class Float>
void checkRoundTrip(unsigned char integerModel, unsigned char floatModel) {
    std::vector<Integer> greys(std::size_t{std::numeric_limits<Integer>::max()} + 1);
    for (std::size_t i = 0; i < greys.size(); ++i)
        greys[i] = static_cast<Integer>(i);
    const std::vector<Float> floats = convertRun<Float>(floatModel, integerModel, greys);
    for (std::size_t i = 0; i < greys.size(); ++i)
        ASSERT_EQ(floats[i], static_cast<Float>(i) * (Float(1) / static_cast<Float>(greys.size() - 1))) << i;
    EXPECT_EQ((convertRun<Integer>(integerModel, floatModel, floats)), greys);
}

TEST(ConvertRules, EveryGreySurvivesTheFloatingModels) {
    checkRoundTrip<std::uint8_t, float>(CM_GREY8, CM_GREYFP32);
    checkRoundTrip<std::uint8_t, double>(CM_GREY8, CM_GREYFP64);
    checkRoundTrip<std::uint16_t, float>(CM_GREY16, CM_GREYFP32);
    checkRoundTrip<std::uint16_t, double>(CM_GREY16, CM_GREYFP64);
}

TEST(ConvertRules, EverySixteenBitGreyInEveryModel) {
    std::vector<std::uint16_t> greys(65536);
    for (std::size_t i = 0; i < greys.size(); ++i)
        greys[i] = static_cast<std::uint16_t>(i);
    for (const unsigned char to : rastrel::naive::kCodes) {
        std::vector<unsigned char> expected(rastrel::naive::runBytes(to, greys.size()));
        std::vector<unsigned char> actual(expected.size());
        const auto* source = reinterpret_cast<const unsigned char*>(greys.data());
        for (std::size_t i = 0; i < greys.size(); ++i)
            rastrel::naive::convertPixel(expected.data(), to, false, source, CM_GREY16, true, i);
        ConvertPixels(actual.data(), to, source, CM_GREY16, true, false, greys.size());
        EXPECT_EQ(actual, expected) << int{to};
    }
}

TEST(ConvertRules, EveryWeightedSumOfEightBitColour) {
    // 3R + 4G + B takes every value from 0 to 2040: through a grey part and the rest in blue and red.
    std::vector<Bytes4> pixels;
    for (int t = 0; t <= 2040; ++t) {
        const int green = std::min(t / 4, 255);
        const int red = std::min((t - 4 * green) / 3, 255);
        pixels.push_back({static_cast<unsigned char>(t - 4 * green - 3 * red), static_cast<unsigned char>(green),
                          static_cast<unsigned char>(red), 9});
    }
    std::vector<std::uint8_t> grey8(pixels.size());
    std::vector<std::uint16_t> grey16(pixels.size());
    ConvertPixels(grey8.data(), CM_GREY8, pixels.data(), CM_ARGB8, true, true, pixels.size());
    ConvertPixels(grey16.data(), CM_GREY16, pixels.data(), CM_ARGB8, true, true, pixels.size());
    for (unsigned t = 0; t < pixels.size(); ++t) {
        const unsigned s = 32 * t;
        EXPECT_EQ(grey16[t], s + (s >> 8)) << t;
        EXPECT_EQ(grey8[t], (s + (s >> 8)) >> 8) << t;
    }
}

} // namespace
