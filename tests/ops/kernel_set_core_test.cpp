// All kernel sets of this machine against the plain one.
#include "ops/kernel_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ops/filter_kernels.h"
#include "ops/kernel_sets.h"
#include "platform/cpu.h"
#include "support/guarded_buffer.h"
#include "support/sample_noise.h"

namespace {

using rastrel::CombineJob;
using rastrel::Filter;
using rastrel::KernelSet;
using rastrel::LowPassWeights;
using rastrel::RememberingKernel;
using rastrel::ResamplePlan;
using rastrel::RowWeights;

using Line = std::vector<unsigned char>;

TEST(KernelSets, ThePlainOneComesFirstAndTheBestIsUsed) {
    const auto sets = rastrel::availableKernels();
    ASSERT_FALSE(sets.empty());
    EXPECT_STREQ(sets.front()->name, "baseline");
    EXPECT_EQ(&rastrel::kernels(), sets.back());
    const bool wide = rastrel::cpuFeatures().avx2 && rastrel::cpuFeatures().fma;
    EXPECT_EQ(sets.size() > 1, wide);
    for (const KernelSet* set : sets) {
        EXPECT_EQ(std::count_if(sets.begin(), sets.end(),
                                [set](const KernelSet* other) { return std::string_view(set->name) == other->name; }),
                  1);
    }
}

std::vector<Line> lines(Dice& dice, std::size_t count, std::size_t samples) {
    std::vector<Line> made;
    for (std::size_t i = 0; i < count; ++i)
        made.push_back(sampleLine<unsigned char>(dice, samples));
    return made;
}

std::vector<const unsigned char*> pointersTo(const std::vector<Line>& made) {
    std::vector<const unsigned char*> pointers;
    for (const Line& line : made)
        pointers.push_back(line.data());
    return pointers;
}

/// As many lines with guard bytes round each of them.
struct Outputs {
    Outputs(std::size_t count, std::size_t samples) {
        for (std::size_t i = 0; i < count; ++i)
            buffers.emplace_back(samples);
        for (auto& buffer : buffers)
            pointers.push_back(buffer.data());
    }
    [[nodiscard]] std::vector<Line> contents() const {
        std::vector<Line> all;
        for (const auto& buffer : buffers) {
            EXPECT_TRUE(buffer.intact());
            all.push_back(buffer.contents());
        }
        return all;
    }
    std::vector<GuardedBuffer<unsigned char>> buffers;
    std::vector<unsigned char*> pointers;
};

/// Ratios that repeat, ratios that do not, and short binary weights.
std::pair<std::size_t, std::size_t> lengths(Dice& dice) {
    switch (dice.below(5)) {
    case 0:
        return {4 * (1 + dice.below(90)), 1 + dice.below(90)};
    case 1: {
        const std::size_t small = 1 + dice.below(80);
        const std::size_t factor = std::size_t{1} << (1 + dice.below(4));
        return dice.below(2) == 0 ? std::pair{small, small * factor} : std::pair{small * factor, small};
    }
    case 2: {
        const std::size_t small = 1 + dice.below(60);
        const std::size_t factor = 2 + dice.below(8);
        return dice.below(2) == 0 ? std::pair{small, small * factor} : std::pair{small * factor, small};
    }
    case 3:
        return {1 + dice.below(900), 1 + dice.below(12)};
    default:
        return {1 + dice.below(300), 1 + dice.below(300)};
    }
}

TEST(KernelSets, ResampleRowsAlike) {
    constexpr unsigned kChannels[] = {1, 3, 4};
    for (unsigned seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        const auto [from, to] = lengths(dice);
        if (from == to) continue;
        const unsigned channels = kChannels[dice.below(3)];
        const auto filter = static_cast<unsigned char>(1 + dice.below(7));
        const double lobes = 0.4 + dice.fraction() * 7;
        const std::size_t rows = 1 + dice.below(18);
        ResamplePlan plan;
        const std::uint64_t first = dice.below(3) == 0 ? dice.below(static_cast<unsigned>(to)) : 0;
        plan.build(from, to, Filter(filter, lobes), first, to, dice.below(4) == 0 ? 50 : 1 << 20);
        const auto sources = lines(dice, rows, from * channels);
        const auto pointers = pointersTo(sources);
        const std::size_t samples = plan.windows().size() * channels;
        Outputs expected(rows, samples);
        rastrel::kBaselineKernels.resampleRows8(expected.pointers.data(), pointers.data(), rows, channels, plan);
        for (const KernelSet* set : rastrel::availableKernels()) {
            Outputs outputs(rows, samples);
            set->resampleRows8(outputs.pointers.data(), pointers.data(), rows, channels, plan);
            ASSERT_EQ(outputs.contents(), expected.contents())
                << set->name << " seed " << seed << " filter " << int{filter} << " channels " << channels << " " << from
                << " to " << to;
        }
    }
}

TEST(KernelSets, CombineRowsAlike) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        const auto [from, to] = lengths(dice);
        const auto height = static_cast<std::int64_t>(std::min<std::size_t>(from, 300));
        const double ratio = dice.below(4) == 0 ? static_cast<double>(1 + dice.below(8)) / 4
                                                : static_cast<double>(from) / static_cast<double>(to);
        RememberingKernel kernel(Filter(static_cast<unsigned char>(1 + dice.below(7)), 0.4 + dice.fraction() * 7));
        const std::size_t samples = 1 + dice.below(700);
        const auto sources = lines(dice, static_cast<std::size_t>(height), samples);
        const auto pointers = pointersTo(sources);
        std::vector<RowWeights> windows;
        double centre = dice.fraction() * 3 - 1;
        for (unsigned i = 0; i < 1 + dice.below(20); ++i, centre += ratio) {
            RowWeights window;
            if (window.build(0, height - 1, centre, ratio, kernel)) windows.push_back(window);
        }
        Outputs expected(windows.size(), samples);
        const auto jobs = [&](Outputs& outputs) {
            std::vector<CombineJob> made;
            for (std::size_t i = 0; i < windows.size(); ++i)
                made.push_back({outputs.pointers[i], static_cast<std::size_t>(windows[i].top), &windows[i]});
            return made;
        };
        rastrel::kBaselineKernels.combineRows8(jobs(expected), pointers.data(), pointers.size(), samples);
        for (const KernelSet* set : rastrel::availableKernels()) {
            Outputs outputs(windows.size(), samples);
            set->combineRows8(jobs(outputs), pointers.data(), pointers.size(), samples);
            ASSERT_EQ(outputs.contents(), expected.contents()) << set->name << " seed " << seed;
        }
    }
}

TEST(KernelSets, StreamedLinesAreTheSame) {
    constexpr std::size_t kSamples = 320 + 17;
    constexpr std::size_t kPitch = 384; // lines start aligned, as streaming needs it
    constexpr std::size_t kLines = 12;
    Dice dice(9);
    for (const unsigned char filter : {static_cast<unsigned char>(2), static_cast<unsigned char>(6)}) {
        const auto sources = lines(dice, 40, kSamples);
        const auto pointers = pointersTo(sources);
        RememberingKernel kernel(Filter(filter, 0.0));
        std::vector<RowWeights> windows(kLines);
        for (std::size_t i = 0; i < kLines; ++i)
            ASSERT_TRUE(windows[i].build(0, 39, 10.125 + 0.25 * static_cast<double>(i), 0.25, kernel));
        const auto made = [&](const KernelSet& set, bool stream) {
            std::vector<unsigned char> room(kLines * kPitch + 32, 77);
            auto* const start = room.data() + (32 - reinterpret_cast<std::uintptr_t>(room.data()) % 32) % 32;
            std::vector<CombineJob> jobs;
            for (std::size_t i = 0; i < kLines; ++i)
                jobs.push_back({start + i * kPitch, static_cast<std::size_t>(windows[i].top), &windows[i], stream});
            set.combineRows8(jobs, pointers.data(), pointers.size(), kSamples);
            return std::vector<unsigned char>(start, start + kLines * kPitch);
        };
        const auto expected = made(rastrel::kBaselineKernels, false);
        for (const KernelSet* set : rastrel::availableKernels())
            EXPECT_EQ(made(*set, true), expected) << set->name << " filter " << int{filter};
    }
}

double smoothingWidth(Dice& dice) {
    return dice.below(3) == 0 ? 1 + dice.below(9) : 0.3 + dice.fraction() * (dice.below(5) == 0 ? 700 : 12);
}

TEST(KernelSets, SmoothRowsAlike) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        constexpr unsigned kChannels[] = {1, 3, 4};
        const unsigned channels = kChannels[dice.below(3)];
        LowPassWeights weights;
        const double width = smoothingWidth(dice);
        if (!weights.build(width, static_cast<unsigned char>(1 + dice.below(7)), 0.6 + dice.fraction() * 5)) continue;
        const std::size_t pixels = 1 + dice.below(600);
        const auto padded = sampleLine<unsigned char>(dice, (pixels + weights.weights.size() - 1) * channels);
        GuardedBuffer<unsigned char> expected(pixels * channels);
        rastrel::kBaselineKernels.smoothRow8(expected.data(), padded.data(), pixels, channels, weights);
        for (const KernelSet* set : rastrel::availableKernels()) {
            GuardedBuffer<unsigned char> line(pixels * channels);
            set->smoothRow8(line.data(), padded.data(), pixels, channels, weights);
            ASSERT_TRUE(line.intact());
            ASSERT_EQ(line.contents(), expected.contents()) << set->name << " seed " << seed << " width " << width;
        }
    }
}

TEST(KernelSets, SmoothColumnsAlike) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        LowPassWeights kernel;
        if (!kernel.build(smoothingWidth(dice), static_cast<unsigned char>(1 + dice.below(7)),
                          0.6 + dice.fraction() * 5))
            continue;
        auto weights = rastrel::fixedPointWeights(kernel.weights);
        if (dice.below(10) == 0) weights[0] = dice.between(-200000, 200000);
        const std::size_t samples = 1 + dice.below(700);
        const std::size_t count = 1 + dice.below(9);
        const auto sources = lines(dice, weights.size() + count - 1, samples);
        const auto pointers = pointersTo(sources);
        Outputs expected(count, samples);
        rastrel::kBaselineKernels.smoothColumns8(expected.pointers, pointers.data(), samples, weights);
        for (const KernelSet* set : rastrel::availableKernels()) {
            Outputs outputs(count, samples);
            set->smoothColumns8(outputs.pointers, pointers.data(), samples, weights);
            ASSERT_EQ(outputs.contents(), expected.contents()) << set->name << " seed " << seed;
        }
    }
}

TEST(QuickWeights, CoverTheUsualWindowsAndDoubtFewOfTheirSamples) {
    for (const unsigned char filter : {static_cast<unsigned char>(1), static_cast<unsigned char>(2),
                                       static_cast<unsigned char>(3), static_cast<unsigned char>(6)}) {
        for (const std::uint64_t outputs : {15U, 17U, 60U, 233U, 240U}) {
            ResamplePlan plan;
            plan.build(60 + 1, outputs, Filter(filter, 0.0), 0, outputs, 1 << 20);
            for (const auto& window : plan.windows())
                EXPECT_LT(window.rule.threshold, 200U) << int{filter};
        }
        LowPassWeights smoothing;
        ASSERT_TRUE(smoothing.build(8.0, filter, 0.0));
        EXPECT_LT(smoothing.rule.threshold, 200U);
        RowWeights rows;
        RememberingKernel kernel(Filter(filter, 0.0));
        ASSERT_TRUE(rows.build(0, 99, 50.3, 3.7, kernel));
        EXPECT_LT(rows.rule.threshold, 200U);
    }
}

TEST(QuickWeights, ShortBinaryFractionsAreNeverInDoubt) {
    for (const std::uint64_t outputs : {100U, 200U, 800U, 1600U}) {
        ResamplePlan plan;
        plan.build(400, outputs, Filter(2, 0.0), 0, outputs, 1 << 20);
        for (std::size_t i = 8; i + 8 < plan.windows().size(); ++i)
            EXPECT_EQ(plan.windows()[i].rule.threshold, 0U);
        RowWeights rows;
        RememberingKernel kernel(Filter(2, 0.0));
        ASSERT_TRUE(rows.build(0, 399, 200.125, 400.0 / static_cast<double>(outputs), kernel));
        EXPECT_EQ(rows.rule.threshold, outputs < 400 ? rows.rule.threshold : 0U);
    }
}

TEST(QuickWeights, SumsThatNearlyCancelAreComputedAsDefined) {
    std::vector<float> quick;
    const double cancelling[] = {1.0, -0.9};
    EXPECT_FALSE(rastrel::appendQuickWeights(quick, cancelling, 2, 0.1).usable());
    const double nothing[] = {0.0};
    EXPECT_FALSE(rastrel::appendQuickWeights(quick, nothing, 1, 0.0).usable());
    const double infinite[] = {1.0, INFINITY};
    EXPECT_FALSE(rastrel::appendQuickWeights(quick, infinite, 2, INFINITY).usable());
    EXPECT_EQ(quick.size(), 5U);
}

/// Images made to lie on rounding boundaries: pairs of values whose mean is a half.
TEST(KernelSets, ExactHalvesRoundAlike) {
    for (const unsigned char filter :
         {static_cast<unsigned char>(1), static_cast<unsigned char>(2), static_cast<unsigned char>(6)}) {
        for (std::size_t factor = 2; factor <= 12; ++factor) {
            const std::size_t to = 40;
            Line source(to * factor * 4);
            for (std::size_t i = 0; i < source.size(); ++i)
                source[i] = static_cast<unsigned char>(i / 4 % 2 == 0 ? 10 + i / 64 : 11 + i / 64);
            const unsigned char* pointer = source.data();
            ResamplePlan plan;
            plan.build(to * factor, to, Filter(filter, 0.0), 0, to, 1 << 20);
            Outputs expected(1, to * 4);
            rastrel::kBaselineKernels.resampleRows8(expected.pointers.data(), &pointer, 1, 4, plan);
            for (const KernelSet* set : rastrel::availableKernels()) {
                Outputs outputs(1, to * 4);
                set->resampleRows8(outputs.pointers.data(), &pointer, 1, 4, plan);
                ASSERT_EQ(outputs.contents(), expected.contents()) << set->name << " factor " << factor;
            }
        }
    }
}

} // namespace
