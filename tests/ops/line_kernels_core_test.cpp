#include "ops/line_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

#include "rastrel/pixel.h"
#include "support/guarded_buffer.h"
#include "support/naive_lines.h"
#include "support/sample_noise.h"

namespace {

struct LineModel {
    unsigned char code;
    unsigned channels;
    unsigned bytes;
};

constexpr LineModel kModels[] = {{CM_GREY8, 1, 1},  {CM_COLOR8, 1, 1}, {CM_RGB8, 3, 1},    {CM_ARGB8, 4, 1},
                                 {CM_RGBA8, 4, 1},  {CM_GREY16, 1, 2}, {CM_COLOR16, 1, 2}, {CM_RGB16, 3, 2},
                                 {CM_ARGB16, 4, 2}, {CM_RGBA16, 4, 2}};

constexpr unsigned char kFilters[] = {0, 1, 2, 3, 4, 5, 6, 7, 200};

/// Calls the overload of the other width with the same buffers.
template <class Sample>
auto other(Sample* line) {
    if constexpr (sizeof(Sample) == 1) {
        return reinterpret_cast<unsigned short*>(line);
    } else {
        return reinterpret_cast<unsigned char*>(line);
    }
}

template <class Sample>
void resampleLikeTheNaiveOne(Dice& dice, const LineModel& model, unsigned char filter) {
    const std::size_t from = 1 + dice.below(70);
    const std::size_t to = 1 + dice.below(70);
    const double lobes = 0.3 + dice.fraction() * 5;
    SCOPED_TRACE(testing::Message() << "model " << int{model.code} << " filter " << int{filter} << " " << from << " to "
                                    << to << " lobes " << lobes);
    auto source = sampleLine<Sample>(dice, from * model.channels);
    GuardedBuffer<Sample> line(to * model.channels);
    const auto code = static_cast<char>(model.code);
    if (dice.below(2) == 0) {
        ASSERT_TRUE(rastrel::resample(line.data(), to, source.data(), from, code, filter, lobes));
    } else {
        ASSERT_TRUE(rastrel::resample(other(line.data()), to, other(source.data()), from, code, filter, lobes));
    }
    EXPECT_TRUE(line.intact());
    EXPECT_EQ(line.contents(), naive::resample(source, to, model.channels, filter, lobes));
}

TEST(Resample, EqualsTheNaiveOneForEveryModelAndFilter) {
    Dice dice(1);
    for (int round = 0; round < 30; ++round) {
        for (const LineModel& model : kModels) {
            for (const unsigned char filter : kFilters) {
                if (model.bytes == 1) {
                    resampleLikeTheNaiveOne<unsigned char>(dice, model, filter);
                } else {
                    resampleLikeTheNaiveOne<unsigned short>(dice, model, filter);
                }
                if (testing::Test::HasFailure()) return;
            }
        }
    }
}

template <class Sample>
void smoothLikeTheNaiveOne(Dice& dice, const LineModel& model, unsigned char filter) {
    const std::size_t count = 1 + dice.below(70);
    const double width = dice.below(8) == 0 ? 1 + dice.below(4) : 0.05 + dice.fraction() * 30;
    const double lobes = 0.5 + dice.fraction() * 5;
    SCOPED_TRACE(testing::Message() << "model " << int{model.code} << " filter " << int{filter} << " count " << count
                                    << " width " << width << " lobes " << lobes);
    auto source = sampleLine<Sample>(dice, count * model.channels);
    GuardedBuffer<Sample> line(count * model.channels);
    const auto type = static_cast<char>(filter);
    if (dice.below(2) == 0) {
        ASSERT_TRUE(rastrel::lowpass(line.data(), source.data(), count, width, type, model.code, lobes));
    } else {
        ASSERT_TRUE(rastrel::lowpass(other(line.data()), other(source.data()), count, width, type, model.code, lobes));
    }
    EXPECT_TRUE(line.intact());
    EXPECT_EQ(line.contents(), naive::lowpass(source, model.channels, width, filter, lobes));
}

TEST(Lowpass, EqualsTheNaiveOneForEveryModelAndFilter) {
    Dice dice(2);
    for (int round = 0; round < 30; ++round) {
        for (const LineModel& model : kModels) {
            for (const unsigned char filter : kFilters) {
                if (filter == 0) continue;
                if (model.bytes == 1) {
                    smoothLikeTheNaiveOne<unsigned char>(dice, model, filter);
                } else {
                    smoothLikeTheNaiveOne<unsigned short>(dice, model, filter);
                }
                if (testing::Test::HasFailure()) return;
            }
        }
    }
}

bool vertical(unsigned char* to, const unsigned char* const* rows, std::uint64_t samples, std::int64_t first,
              std::int64_t last, double centre, double scale, unsigned char filter, double parameter) {
    return rastrel::resampleVertical8(to, rows, samples, first, last, centre, scale, filter, parameter);
}
bool vertical(unsigned short* to, const unsigned short* const* rows, std::uint64_t samples, std::int64_t first,
              std::int64_t last, double centre, double scale, unsigned char filter, double parameter) {
    return rastrel::resampleVertical16(to, rows, samples, first, last, centre, scale, filter, parameter);
}

/// Random rows, and pointers to those from `top` on.
template <class Sample>
struct Rows {
    Rows(Dice& dice, std::size_t rowCount, std::size_t samples) {
        for (std::size_t row = 0; row < rowCount; ++row)
            lines.push_back(sampleLine<Sample>(dice, samples));
        for (const auto& line : lines)
            pointers.push_back(line.data());
    }
    std::vector<std::vector<Sample>> lines;
    std::vector<const Sample*> pointers;
};

template <class Sample>
void combineLikeTheNaiveOne(Dice& dice, unsigned char filter) {
    const std::int64_t height = dice.between(1, 40);
    const std::size_t samples = 1 + dice.below(300);
    const double scale = dice.below(2) == 0 ? 0.02 + dice.fraction() : 1 + dice.fraction() * 7;
    const double centre = dice.fraction() * static_cast<double>(height - 1);
    const double lobes = 1 + dice.fraction() * 4;
    const naive::Support support = naive::supportOf(filter, lobes);
    const double widening = scale > 1.0 ? scale : 1.0;
    const auto top = std::max<std::int64_t>(0, static_cast<std::int64_t>(std::ceil(support.lo * widening + centre)));
    const auto bottom = std::min(height - 1, static_cast<std::int64_t>(std::floor(support.hi * widening + centre)));
    SCOPED_TRACE(testing::Message() << "filter " << int{filter} << " height " << height << " scale " << scale
                                    << " centre " << centre << " lobes " << lobes);
    const Rows<Sample> rows(dice, static_cast<std::size_t>(height), samples);
    GuardedBuffer<Sample> line(samples);
    ASSERT_TRUE(
        vertical(line.data(), rows.pointers.data() + top, samples, top, height - 1, centre, scale, filter, lobes));
    EXPECT_TRUE(line.intact());
    const std::vector<std::vector<Sample>> window(rows.lines.begin() + top, rows.lines.begin() + bottom + 1);
    EXPECT_EQ(line.contents(), naive::resampleRows(window, top, centre, scale, filter, lobes));
}

TEST(ResampleVertical, EqualsTheNaiveOneForEveryFilter) {
    Dice dice(3);
    for (int round = 0; round < 60; ++round) {
        for (const unsigned char filter : kFilters) {
            if (filter == 0) continue;
            combineLikeTheNaiveOne<unsigned char>(dice, filter);
            combineLikeTheNaiveOne<unsigned short>(dice, filter);
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(ResampleVertical, CopiesTheRowAtTheCentreWithoutAKernelAndAtScaleOne) {
    Dice dice(4);
    const Rows<unsigned char> rows(dice, 4, 9);
    for (const auto& [filter, scale] : {std::pair<unsigned char, double>{0, 3.0}, {3, 1.0}, {6, 1.0}}) {
        GuardedBuffer<unsigned char> line(9);
        ASSERT_TRUE(vertical(line.data(), rows.pointers.data(), 9, 10, 13, 12.9, scale, filter, 0.0));
        EXPECT_TRUE(line.intact());
        EXPECT_EQ(line.contents(), rows.lines[2]);
        for (const double outside : {9.9, 14.0, -1.0, 1e300, std::nan("")}) {
            GuardedBuffer<unsigned char> kept(9);
            EXPECT_FALSE(vertical(kept.data(), rows.pointers.data(), 9, 10, 13, outside, scale, filter, 0.0))
                << outside;
            EXPECT_TRUE(kept.untouched());
        }
    }
}

TEST(ResampleVertical, TakesTheRowsOfTheWindowFromTheStartOfTheArray) {
    Dice dice(5);
    const Rows<unsigned char> rows(dice, 3, 5);
    GuardedBuffer<unsigned char> line(5);
    // Window rows 7, 8 of rows 0..20 with the triangle around 7.5: the first two pointers, half and half.
    ASSERT_TRUE(vertical(line.data(), rows.pointers.data(), 5, 0, 20, 7.5, 0.5, 2, 0.0));
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(line.contents()[i], (rows.lines[0][i] + rows.lines[1][i] + 1) / 2);
}

TEST(ResampleVertical, DeclinesWindowsOutsideTheRowsAndMissingBuffers) {
    Dice dice(6);
    const Rows<unsigned char> rows(dice, 4, 5);
    GuardedBuffer<unsigned char> line(5);
    const auto* given = rows.pointers.data();
    EXPECT_FALSE(vertical(line.data(), given, 5, 10, 13, 8.5, 0.5, 2, 0.0));
    EXPECT_FALSE(vertical(line.data(), given, 5, 10, 13, 14.5, 0.5, 2, 0.0));
    EXPECT_FALSE(vertical(line.data(), given, 5, 13, 10, 12.0, 0.5, 2, 0.0));
    EXPECT_FALSE(vertical(line.data(), given, 0, 10, 13, 12.0, 0.5, 2, 0.0));
    EXPECT_FALSE(
        vertical(line.data(), static_cast<const unsigned char* const*>(nullptr), 5, 10, 13, 12.0, 0.5, 2, 0.0));
    EXPECT_FALSE(vertical(static_cast<unsigned char*>(nullptr), given, 5, 10, 13, 12.0, 0.5, 2, 0.0));
    const unsigned char* missing[] = {nullptr, nullptr, nullptr, nullptr};
    EXPECT_FALSE(vertical(line.data(), missing, 5, 10, 13, 12.0, 0.5, 2, 0.0));
    EXPECT_FALSE(vertical(line.data(), missing, 5, 10, 13, 12.0, 1.0, 2, 0.0));
    EXPECT_TRUE(line.untouched());
}

TEST(LowpassVertical, EightBitsEqualTheNaiveOne) {
    Dice dice(7);
    for (int round = 0; round < 60; ++round) {
        for (const unsigned char filter : kFilters) {
            if (filter == 0) continue;
            const double width = 0.3 + dice.fraction() * 12;
            const double lobes = 0.5 + dice.fraction() * 5;
            const std::size_t samples = 1 + dice.below(300);
            SCOPED_TRACE(testing::Message() << "filter " << int{filter} << " width " << width << " lobes " << lobes);
            const naive::Taps taps = naive::tapsOf(width, filter, lobes);
            const Rows<unsigned char> rows(dice, taps.weights.size() + dice.below(2), samples);
            GuardedBuffer<unsigned char> line(samples);
            auto expected = line.contents();
            for (std::size_t i = 0; i < samples; ++i) {
                std::vector<unsigned char> column;
                for (std::size_t m = 0; m < taps.weights.size(); ++m)
                    column.push_back(rows.lines[m][i]);
                expected[i] = naive::smoothColumn8(column, taps.weights, expected[i]);
            }
            ASSERT_TRUE(rastrel::lowpassVertical8(line.data(), rows.pointers.data(), samples, rows.lines.size(), width,
                                                  filter, lobes));
            ASSERT_TRUE(line.intact());
            ASSERT_EQ(line.contents(), expected);
        }
    }
}

TEST(LowpassVertical, SixteenBitsEqualTheNaiveOne) {
    Dice dice(8);
    for (int round = 0; round < 30; ++round) {
        for (const unsigned char filter : kFilters) {
            if (filter == 0) continue;
            const double width = 0.3 + dice.fraction() * 12;
            const double lobes = 0.5 + dice.fraction() * 5;
            const naive::Taps taps = naive::tapsOf(width, filter, lobes);
            const Rows<unsigned short> rows(dice, taps.weights.size(), 70);
            GuardedBuffer<unsigned short> line(70);
            std::vector<unsigned short> expected;
            for (std::size_t i = 0; i < 70; ++i) {
                double sum = 0.0;
                for (std::size_t m = 0; m < taps.weights.size(); ++m)
                    sum += taps.weights[m] * rows.lines[m][i];
                expected.push_back(naive::toSmoothedSample<unsigned short>(sum));
            }
            ASSERT_TRUE(rastrel::lowpassVertical16(line.data(), rows.pointers.data(), 70, rows.lines.size(), width,
                                                   filter, lobes));
            ASSERT_TRUE(line.intact());
            ASSERT_EQ(line.contents(), expected) << "filter " << int{filter} << " width " << width;
        }
    }
}

TEST(LowpassVertical, DeclinesTooFewLinesNoKernelAndMissingBuffers) {
    const std::vector<unsigned char> flat(6, 9);
    const std::vector<const unsigned char*> rows(8, flat.data());
    GuardedBuffer<unsigned char> line(6);
    EXPECT_FALSE(rastrel::lowpassVertical8(line.data(), rows.data(), 6, 8, 2.0, 3, 0.0)); // nine taps
    EXPECT_FALSE(rastrel::lowpassVertical8(line.data(), rows.data(), 6, 8, 2.0, 0, 0.0));
    EXPECT_FALSE(rastrel::lowpassVertical8(line.data(), rows.data(), 0, 8, 1.5, 3, 0.0));
    EXPECT_FALSE(rastrel::lowpassVertical8(line.data(), nullptr, 6, 8, 1.5, 3, 0.0));
    EXPECT_FALSE(rastrel::lowpassVertical8(nullptr, rows.data(), 6, 8, 1.5, 3, 0.0));
    EXPECT_TRUE(line.untouched());
    EXPECT_TRUE(rastrel::lowpassVertical8(line.data(), rows.data(), 6, 8, 1.5, 3, 0.0));
}

TEST(LowpassVertical, FlatLinesStayFlatAndAWideGaussianDarkensWhite) {
    for (const auto& [level, filter, width, expected] : {std::array{255.0, 3.0, 2.0, 255.0},
                                                         {1.0, 3.0, 2.0, 1.0},
                                                         {0.0, 6.0, 2.0, 0.0},
                                                         {255.0, 3.0, 8.0, 254.0},
                                                         {7.0, 2.0, 1.0, 7.0},
                                                         {255.0, 3.0, 0.5, 255.0}}) {
        const std::vector<unsigned char> flat(5, static_cast<unsigned char>(level));
        const std::vector<const unsigned char*> rows(99, flat.data());
        std::vector<unsigned char> line(5);
        ASSERT_TRUE(
            rastrel::lowpassVertical8(line.data(), rows.data(), 5, 99, width, static_cast<unsigned char>(filter), 0.0));
        EXPECT_EQ(line, std::vector<unsigned char>(5, static_cast<unsigned char>(expected)))
            << level << " filter " << filter << " width " << width;
    }
}

TEST(Resample, SameLengthCopiesWhateverTheFilter) {
    Dice dice(9);
    const auto source = sampleLine<unsigned char>(dice, 40);
    for (const unsigned char filter : kFilters) {
        std::vector<unsigned char> line(40);
        ASSERT_TRUE(rastrel::resample(line.data(), 10, source.data(), 10, char{CM_ARGB8}, filter, 0.0));
        EXPECT_EQ(line, source);
    }
}

TEST(Resample, WithoutAFilterTakesTheNearestPixelAtOrBefore) {
    std::vector<unsigned char> source(7);
    std::iota(source.begin(), source.end(), static_cast<unsigned char>(0));
    std::vector<unsigned char> line(30);
    for (std::size_t count = 1; count <= line.size(); ++count) {
        ASSERT_TRUE(rastrel::resample(line.data(), count, source.data(), 7, char{CM_GREY8}, 0, 0.0));
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(line[i], i * 7 / count) << i << " of " << count;
    }
}

TEST(Resample, TriangleEnlargesZeroAndWhiteToFour) {
    const unsigned char source[] = {0, 255};
    std::array<unsigned char, 4> line{};
    ASSERT_TRUE(rastrel::resample(line.data(), 4, source, 2, char{CM_GREY8}, 2, 0.0));
    EXPECT_EQ(line, (std::array<unsigned char, 4>{0, 64, 191, 255}));
}

TEST(Resample, DeclinesWhatItCannotDo) {
    unsigned char source[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    GuardedBuffer<unsigned char> line(8);
    unsigned char* const none = nullptr;
    EXPECT_TRUE(rastrel::resample(none, 0, none, 0, char{1}, 2, 0.0));
    EXPECT_TRUE(rastrel::resample(line.data(), 0, source, 2, char{CM_GREY8}, 2, 0.0));
    EXPECT_FALSE(rastrel::resample(line.data(), 2, source, 0, char{CM_GREY8}, 2, 0.0));
    EXPECT_FALSE(rastrel::resample(none, 2, source, 2, char{CM_GREY8}, 2, 0.0));
    EXPECT_FALSE(rastrel::resample(line.data(), 2, none, 2, char{CM_GREY8}, 2, 0.0));
    for (const int code : {0, 16, 32, 52, 56, 100, 104, 129, 255}) {
        EXPECT_FALSE(rastrel::resample(line.data(), 1, source, 2, static_cast<char>(code), 2, 0.0)) << code;
        EXPECT_FALSE(rastrel::lowpass(line.data(), source, 2, 2.0, char{2}, static_cast<unsigned char>(code), 0.0));
    }
    EXPECT_FALSE(rastrel::resample(line.data(), 1, source, 2, char{CM_GREY8}, 7, std::nan("")));
    EXPECT_TRUE(line.untouched());
}

TEST(Lowpass, DeclinesWhatItCannotDo) {
    unsigned char source[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    GuardedBuffer<unsigned char> line(8);
    unsigned char* const none = nullptr;
    EXPECT_TRUE(rastrel::lowpass(none, none, 0, 2.0, char{2}, 1, 0.0));
    EXPECT_FALSE(rastrel::lowpass(none, source, 8, 2.0, char{2}, CM_GREY8, 0.0));
    EXPECT_FALSE(rastrel::lowpass(line.data(), none, 8, 2.0, char{2}, CM_GREY8, 0.0));
    EXPECT_FALSE(rastrel::lowpass(line.data(), source, 8, 2.0, char{0}, CM_GREY8, 0.0));
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double width : {-3.0, std::nan(""), kInfinity, -kInfinity, 1e300, 1e7}) {
        EXPECT_FALSE(rastrel::lowpass(line.data(), source, 8, width, char{3}, CM_GREY8, 0.0)) << width;
    }
    for (const double lobes : {0.0, std::nan(""), kInfinity, -2.0, 1e300}) {
        EXPECT_FALSE(rastrel::lowpass(line.data(), source, 8, 2.0, char{7}, CM_GREY8, lobes)) << lobes;
    }
    EXPECT_TRUE(line.untouched());
}

TEST(Resample, StrangeLobesGiveACleanLine) {
    const unsigned char source[] = {10, 20, 30, 40, 50};
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double lobes : {0.0, -0.0, 1e-300, 0.01, -2.0, 1e9, 1e300, kInfinity, -kInfinity}) {
        for (const std::size_t count : {1, 3, 4, 9, 64}) {
            GuardedBuffer<unsigned char> line(count);
            EXPECT_TRUE(rastrel::resample(line.data(), count, source, 5, char{CM_GREY8}, 7, lobes)) << lobes;
            EXPECT_TRUE(line.intact());
        }
    }
    GuardedBuffer<unsigned char> line(2);
    ASSERT_TRUE(rastrel::resample(line.data(), 2, source, 5, char{CM_GREY8}, 7, -2.0));
    EXPECT_EQ(line.contents(), (std::vector<unsigned char>{0, 0}));
}

TEST(Resample, WindowsThatNoMemoryHoldsAreRefused) {
    const unsigned char source[] = {1, 2, 3};
    GuardedBuffer<unsigned char> line(1);
    EXPECT_FALSE(rastrel::resample(line.data(), 1, source, std::uint64_t{1} << 62, char{CM_GREY8}, 7, 1e300));
    EXPECT_TRUE(line.untouched());
}

TEST(Lowpass, ConstantLinesStayConstant) {
    for (const unsigned char filter : kFilters) {
        if (filter == 0) continue;
        for (const int level : {0, 1, 127, 254, 255}) {
            const std::vector<unsigned char> source(20, static_cast<unsigned char>(level));
            std::vector<unsigned char> line(20);
            ASSERT_TRUE(
                rastrel::lowpass(line.data(), source.data(), 20, 4.3, static_cast<char>(filter), CM_GREY8, 3.0));
            EXPECT_EQ(line, source) << int{filter};
        }
    }
}

TEST(Lowpass, ReflectsWithoutRepeatingTheEdge) {
    // Box of three: the mean of neighbours; before the first pixel stands the second one.
    const unsigned char source[] = {0, 90, 30, 60};
    std::array<unsigned char, 4> line{};
    ASSERT_TRUE(rastrel::lowpass(line.data(), source, 4, 3.0, char{1}, CM_GREY8, 0.0));
    EXPECT_EQ(line, (std::array<unsigned char, 4>{60, 40, 60, 40}));
}

TEST(Lowpass, KernelsWiderThanTheLineReflectUntilInside) {
    for (const std::size_t count : {1, 2, 3, 5}) {
        Dice dice(static_cast<unsigned>(count));
        const auto source = sampleLine<unsigned char>(dice, count * 4);
        GuardedBuffer<unsigned char> line(count * 4);
        ASSERT_TRUE(rastrel::lowpass(line.data(), source.data(), count, 300.5, char{3}, CM_ARGB8, 0.0));
        EXPECT_TRUE(line.intact());
        EXPECT_EQ(line.contents(), naive::lowpass(source, 4, 300.5, 3, 0.0));
    }
}

TEST(Lowpass, WidthZeroKeepsTheLine) {
    Dice dice(10);
    const auto source = sampleLine<unsigned char>(dice, 30);
    for (const double width : {0.0, -0.0, 0.2}) {
        std::vector<unsigned char> line(30);
        ASSERT_TRUE(rastrel::lowpass(line.data(), source.data(), 30, width, char{3}, CM_GREY8, 0.0));
        EXPECT_EQ(line, source) << width;
    }
}

} // namespace
