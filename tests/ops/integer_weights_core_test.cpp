// Weights for integer sums: what they hold, and when they refuse.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "ops/byte_quads.h"
#include "ops/byte_weights.h"
#include "ops/resample_plan.h"
#include "ops/word_weights.h"
#include "support/sample_noise.h"

namespace {

using rastrel::appendByteWeights;
using rastrel::ByteQuad;
using rastrel::Filter;
using rastrel::ResamplePlan;
using rastrel::WordRule;
using rastrel::WordWeights;

TEST(ByteWeights, HoldShortBinaryFractions) {
    std::vector<std::int8_t> bytes = {99};
    const double triangle[] = {0.125, 0.375, 0.625, 0.875, 0.875, 0.625, 0.375, 0.125};
    EXPECT_EQ(appendByteWeights(bytes, triangle, 8, 4.0).shift, 5);
    EXPECT_EQ(bytes, (std::vector<std::int8_t>{99, 1, 3, 5, 7, 7, 5, 3, 1}));
    bytes.clear();
    const double whole[] = {0.0, 1.0};
    EXPECT_EQ(appendByteWeights(bytes, whole, 2, 1.0).shift, 0);
    EXPECT_EQ(bytes, (std::vector<std::int8_t>{0, 1}));
    bytes.clear();
    const double negative[] = {-0.25, 1.0, 0.25};
    EXPECT_EQ(appendByteWeights(bytes, negative, 3, 1.0).shift, 2);
    EXPECT_EQ(bytes, (std::vector<std::int8_t>{-1, 4, 1}));
}

TEST(ByteWeights, RefuseWhatIsNotExact) {
    std::vector<std::int8_t> bytes;
    const double third[] = {1.0, 1.0, 1.0};
    EXPECT_FALSE(appendByteWeights(bytes, third, 3, 3.0).usable());
    const double fine[] = {1.0 / 256, 255.0 / 256};
    EXPECT_FALSE(appendByteWeights(bytes, fine, 2, 1.0).usable());
    const double rounded[] = {0.1, 0.9};
    EXPECT_FALSE(appendByteWeights(bytes, rounded, 2, 1.0).usable());
    EXPECT_FALSE(appendByteWeights(bytes, third, 0, 0.0).usable());
    const double infinite[] = {INFINITY};
    EXPECT_FALSE(appendByteWeights(bytes, infinite, 1, INFINITY).usable());
    // 255 samples x 129 parts leave 16 bits.
    const double many[] = {1.0, -1.0, 1.0 / 64, 63.0 / 64, 1.0 / 64, -1.0 / 64};
    EXPECT_FALSE(appendByteWeights(bytes, many, 6, 1.0).usable());
    EXPECT_TRUE(bytes.empty());
}

std::size_t outputsInQuads(std::uint64_t from, std::uint64_t to, unsigned char filter, ByteQuad::Kind kind) {
    ResamplePlan plan;
    plan.build(from, to, Filter(filter, 0.0), 0, to, 1 << 20);
    std::size_t next = 0;
    for (const ByteQuad& quad : plan.quads()) {
        EXPECT_EQ(quad.kind, kind);
        EXPECT_GE(quad.output, next);
        next = quad.output + 4;
    }
    EXPECT_LE(next, to);
    return plan.quads().size() * 4;
}

TEST(ByteQuads, CoverLinesAtRatiosOfTwoAndFour) {
    EXPECT_GE(outputsInQuads(400, 100, 2, ByteQuad::Kind::apart), 92U);
    EXPECT_GE(outputsInQuads(400, 200, 2, ByteQuad::Kind::apart), 188U);
    EXPECT_GE(outputsInQuads(400, 100, 1, ByteQuad::Kind::apart), 96U);
    EXPECT_GE(outputsInQuads(100, 200, 2, ByteQuad::Kind::joint), 184U);
    EXPECT_GE(outputsInQuads(100, 400, 2, ByteQuad::Kind::joint), 380U);
}

TEST(ByteQuads, AreNotMadeOfOtherWeights) {
    EXPECT_EQ(outputsInQuads(400, 100, 6, ByteQuad::Kind::apart), 0U);
    EXPECT_EQ(outputsInQuads(400, 115, 2, ByteQuad::Kind::apart), 0U);
    EXPECT_EQ(outputsInQuads(3, 12, 2, ByteQuad::Kind::joint), 0U); // no four pixels to be read at once
}

double wordOf(std::int32_t pair, bool second) {
    return static_cast<std::int16_t>(static_cast<std::uint32_t>(pair) >> (second ? 16 : 0));
}

TEST(WordWeights, HoldThirtyOneBitsInTwoWords) {
    Dice dice(5);
    for (int round = 0; round < 300; ++round) {
        std::vector<double> weights;
        double sum = 0.0;
        const unsigned count = 1 + dice.below(60);
        for (unsigned i = 0; i < count; ++i) {
            weights.push_back(dice.fraction() * (dice.below(6) == 0 ? -0.1 : 1.0) + 1e-3);
            sum += weights.back();
        }
        for (double& weight : weights)
            weight /= sum;
        const bool second = dice.below(2) == 1;
        WordWeights words;
        const WordRule rule = words.append(weights, second);
        ASSERT_TRUE(rule.usable());
        ASSERT_EQ(rule.fineShift, 15);
        ASSERT_EQ(words.coarse.size(), (count + (second ? 1 : 0) + 1) / 2);
        ASSERT_EQ(words.fine.size(), words.coarse.size());
        for (std::size_t i = 0; i < 2 * words.coarse.size(); ++i) {
            const double held =
                (wordOf(words.coarse[i / 2], i % 2 == 1) + wordOf(words.fine[i / 2], i % 2 == 1) / 32768) /
                std::ldexp(65536.0, rule.shift);
            const std::size_t tap = i - (second ? 1 : 0);
            const double expected = i >= (second ? 1U : 0U) && tap < count ? weights[tap] : 0.0;
            ASSERT_NEAR(held, expected, std::ldexp(1.0, -32 - rule.shift)) << "tap " << tap << " of " << count;
        }
        EXPECT_LT(rule.fineThreshold, 64U);
        EXPECT_LT(rule.coarseThreshold, 4096U);
    }
}

TEST(WordWeights, HoldFewerBitsOfHundredsOfTaps) {
    Dice dice(6);
    const std::pair<std::size_t, int> kinds[] = {{499, 15}, {500, 15}, {501, 14}, {1000, 14}, {1001, 13}, {5000, 11}};
    for (const auto& [count, bits] : kinds) {
        std::vector<double> weights(count);
        for (double& weight : weights)
            weight = (0.5 + dice.fraction()) / static_cast<double>(count) * 0.999;
        WordWeights words;
        const WordRule rule = words.append(weights, false);
        ASSERT_TRUE(rule.usable()) << count;
        EXPECT_EQ(rule.fineShift, bits) << count;
        std::int64_t coarse = 0;
        std::int64_t fine = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto coarseWord = static_cast<int>(wordOf(words.coarse[i / 2], i % 2 == 1));
            const auto fineWord = static_cast<int>(wordOf(words.fine[i / 2], i % 2 == 1));
            const double held = (coarseWord + std::ldexp(fineWord, -rule.fineShift)) / std::ldexp(65536.0, rule.shift);
            ASSERT_NEAR(held, weights[i], std::ldexp(1.0, -17 - rule.fineShift - rule.shift)) << i << " of " << count;
            coarse += std::abs(coarseWord);
            fine += std::abs(fineWord);
        }
        EXPECT_LT(255 * coarse + rule.coarseBias, std::int64_t{1} << 31) << count;
        EXPECT_LT(255 * fine, std::int64_t{1} << 31) << count;
    }
}

TEST(WordWeights, RefuseWhatDoesNotFit) {
    WordWeights words;
    EXPECT_FALSE(words.append({}, false).usable());
    EXPECT_FALSE(words.append(std::vector<double>{1.6, -0.6}, false).usable());
    EXPECT_FALSE(words.append(std::vector<double>(16001, 1.0 / 16001), true).usable());
    EXPECT_FALSE(words.append(std::vector<double>{0.5, std::nan("")}, true).usable());
    EXPECT_TRUE(words.coarse.empty());
    EXPECT_TRUE(words.fine.empty());
    EXPECT_TRUE(words.append(std::vector<double>{1.0}, false).usable());
    EXPECT_TRUE(words.append(std::vector<double>{1.25, -0.25}, false).usable());
}

} // namespace
