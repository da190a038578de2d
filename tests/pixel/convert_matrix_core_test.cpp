// Every cell of the conversion matrix, in every kernel set, against the naive reference: bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "pixel/convert_pixels.h"
#include "support/naive_convert.h"

namespace {

using rastrel::availableConvertKernels;
using rastrel::ConvertKernelSet;
using rastrel::ConvertRun;
namespace naive = rastrel::naive;

using Bytes = std::vector<unsigned char>;
constexpr std::size_t kGuard = 64;
constexpr std::size_t kSlack = 48; // in front of a run: room for misalignment

/// Floating samples around everything that decides: thresholds and their neighbours, halves, ends, what is no number.
template <class Float>
std::vector<Float> edgeValues() {
    using Limits = std::numeric_limits<Float>;
    std::vector<Float> values = {Limits::quiet_NaN(), -Limits::quiet_NaN(),
                                 Limits::infinity(),  -Limits::infinity(),
                                 Limits::max(),       Limits::lowest(),
                                 Limits::min(),       Limits::denorm_min(),
                                 Float(-0.0),         Float(0),
                                 Float(1.7),          Float(-3)};
    for (const double centre : {0.5 / 255, 1.0 / 255, 254.5 / 255, 0.5 / 65535, 65534.5 / 65535, 0.5, 1.0, 127.5 / 255,
                                32767.5 / 65535, 32768.0 / 65535, 1.5 / 255, 1.5 / 65535}) {
        const auto value = static_cast<Float>(centre);
        values.push_back(value);
        values.push_back(std::nextafter(value, Float(-1)));
        values.push_back(std::nextafter(value, Float(2)));
    }
    return values;
}

template <class Float>
Float randomSample(std::mt19937& random) {
    static const std::vector<Float> edges = edgeValues<Float>();
    if (random() % 4 == 0) return edges[random() % edges.size()];
    return static_cast<Float>(static_cast<double>(random()) / 4294967295.0 * 1.2 - 0.1);
}

/// A source run of `code`, all its bytes drawn; floats are mostly in and near 0 to 1.
Bytes randomRun(int code, std::size_t count, std::mt19937& random) {
    Bytes run(naive::runBytes(code, count));
    const auto size = static_cast<std::size_t>(naive::sampleBytes(code));
    for (std::size_t at = 0; at < run.size(); at += size < 4 ? 1 : size) {
        const float single = randomSample<float>(random);
        const double wide = randomSample<double>(random);
        const auto byte = static_cast<unsigned char>(random() % 8 == 0 ? (random() % 2) * 255 : random() >> 8);
        if (size == 4)
            std::memcpy(&run[at], &single, 4);
        else if (size == 8)
            std::memcpy(&run[at], &wide, 8);
        else
            run[at] = byte;
    }
    return run;
}

/// The payload of a result that is not a number is left to the machine: all of them become one.
template <class Float>
void unifyNaNs(Bytes& run, std::size_t begin, std::size_t end) {
    for (std::size_t at = begin; at + sizeof(Float) <= end; at += sizeof(Float)) {
        Float value;
        std::memcpy(&value, &run[at], sizeof value);
        if (std::isnan(value)) std::memset(&run[at], 0xFF, sizeof value);
    }
}

void unifyNaNs(int code, Bytes& buffer, std::size_t begin, std::size_t end) {
    if (naive::sampleBytes(code) == 4) unifyNaNs<float>(buffer, begin, end);
    if (naive::sampleBytes(code) == 8) unifyNaNs<double>(buffer, begin, end);
}

struct CellCase {
    unsigned char to, from;
    bool toFlag, fromFlag;

    std::string name(const ConvertKernelSet& set, std::size_t count) const {
        return std::string(set.name) + ": " + std::to_string(from) + (fromFlag ? " set" : " clear") + " to " +
               std::to_string(to) + (toFlag ? " set" : " clear") + ", " + std::to_string(count) + " pixels";
    }
};

/// Converts one run with every kernel set, from and to odd addresses, and compares it and the bytes around it.
void checkRun(const CellCase& cell, std::size_t count, std::mt19937& random) {
    const Bytes source = randomRun(cell.from, count, random);
    const std::size_t size = naive::runBytes(cell.to, count);
    const std::size_t begin = kGuard + random() % kSlack;
    const auto fill = static_cast<unsigned char>(random());
    Bytes expected(begin + size + kGuard, fill);
    for (std::size_t i = 0; i < count; ++i)
        naive::convertPixel(expected.data() + begin, cell.to, cell.toFlag, source.data(), cell.from, cell.fromFlag, i);
    unifyNaNs(cell.to, expected, begin, begin + size);

    // The source ends where its allocation ends, so that the address sanitizer sees every byte read behind it.
    Bytes shifted(random() % kSlack, 0);
    shifted.insert(shifted.end(), source.begin(), source.end());
    shifted.shrink_to_fit();
    const unsigned char* from = shifted.data() + (shifted.size() - source.size());
    for (const ConvertKernelSet& set : availableConvertKernels()) {
        const ConvertRun run = set.selectConvert(cell.to, cell.from, cell.fromFlag, cell.toFlag);
        ASSERT_NE(run, nullptr) << cell.name(set, count);
        Bytes actual(begin + size + kGuard, fill);
        run(actual.data() + begin, from, count);
        unifyNaNs(cell.to, actual, begin, begin + size);
        ASSERT_EQ(actual, expected) << cell.name(set, count);
    }
}

template <class Check>
void forEveryCell(const Check& check) {
    for (const unsigned char to : naive::kCodes)
        for (const unsigned char from : naive::kCodes)
            for (const bool toFlag : {false, true})
                for (const bool fromFlag : {false, true})
                    check(CellCase{to, from, toFlag, fromFlag});
}

TEST(ConvertMatrix, EqualsTheRulesForEveryShortRun) {
    std::mt19937 random(1);
    forEveryCell([&](const CellCase& cell) {
        for (std::size_t count = 1; count <= 40 && !testing::Test::HasFatalFailure(); ++count)
            checkRun(cell, count, random);
    });
}

TEST(ConvertMatrix, EqualsTheRulesAroundSixtyFourPixels) {
    std::mt19937 random(2);
    forEveryCell([&](const CellCase& cell) {
        for (const std::size_t count : {61, 62, 63, 64, 65, 66, 67, 127, 128, 129, 257})
            if (!testing::Test::HasFatalFailure()) checkRun(cell, count, random);
    });
}

TEST(ConvertMatrix, EntryTakesTheSameRoutes) {
    std::mt19937 random(3);
    forEveryCell([&](const CellCase& cell) {
        const Bytes source = randomRun(cell.from, 19, random);
        Bytes expected(naive::runBytes(cell.to, 19) + 1, 0x5A);
        Bytes actual = expected;
        const ConvertRun run = rastrel::selectConvert(cell.to, cell.from, cell.fromFlag, cell.toFlag);
        ASSERT_EQ(run, availableConvertKernels().back().selectConvert(cell.to, cell.from, cell.fromFlag, cell.toFlag));
        run(expected.data(), source.data(), 19);
        rastrel::ConvertPixels(actual.data(), cell.to, source.data(), cell.from, cell.fromFlag, cell.toFlag, 19);
        EXPECT_EQ(actual, expected);
    });
}

TEST(ConvertMatrix, CountOfZeroConvertsOnePixel) {
    std::mt19937 random(4);
    forEveryCell([&](const CellCase& cell) {
        const Bytes source = randomRun(cell.from, 1, random);
        Bytes one(naive::runBytes(cell.to, 1) + kGuard, 0x3C);
        Bytes zero = one;
        rastrel::ConvertPixels(one.data(), cell.to, source.data(), cell.from, cell.fromFlag, cell.toFlag, 1);
        rastrel::ConvertPixels(zero.data(), cell.to, source.data(), cell.from, cell.fromFlag, cell.toFlag, 0);
        EXPECT_EQ(zero, one);
    });
}

TEST(ConvertMatrix, RunRoutinesTakeTheirCountAsItIs) {
    forEveryCell([&](const CellCase& cell) {
        for (const ConvertKernelSet& set : availableConvertKernels()) {
            const Bytes source(64, 0xA5);
            Bytes target(64, 0x3C);
            set.selectConvert(cell.to, cell.from, cell.fromFlag, cell.toFlag)(target.data(), source.data(), 0);
            EXPECT_EQ(target, Bytes(64, 0x3C)) << cell.name(set, 0);
        }
    });
}

TEST(ConvertMatrix, SameModelAndOrderCopiesEveryBitOfFloats) {
    const std::uint32_t signalling = 0x7F8ABCDEU;
    const std::uint64_t signallingWide = 0x7FF0123456789ABCULL;
    for (const bool flag : {false, true}) {
        for (const bool toFlag : {false, true}) {
            std::uint32_t single[4] = {signalling, 1, 2, 3};
            std::uint32_t copied[4] = {};
            rastrel::ConvertPixels(copied, 100, single, 100, flag, toFlag, 1);
            EXPECT_EQ(copied[flag == toFlag ? 0 : 3], signalling);
            std::uint64_t wide[4] = {signallingWide, 1, 2, 3};
            std::uint64_t copiedWide[4] = {};
            rastrel::ConvertPixels(copiedWide, 104, wide, 104, flag, toFlag, 1);
            EXPECT_EQ(copiedWide[flag == toFlag ? 0 : 3], signallingWide);
        }
    }
}

TEST(ConvertMatrix, CodesThatDoNotConvertWriteNothing) {
    for (int code = 0; code < 256; ++code) {
        const auto model = static_cast<unsigned char>(code);
        const bool known =
            std::find(std::begin(naive::kCodes), std::end(naive::kCodes), model) != std::end(naive::kCodes);
        EXPECT_EQ(rastrel::selectConvert(model, 97, true, true) != nullptr, known) << code;
        EXPECT_EQ(rastrel::selectConvert(97, model, true, true) != nullptr, known) << code;
        EXPECT_EQ(rastrel::selectConvert(model, model, false, false) != nullptr, known) << code;
        if (known) continue;
        const Bytes source(64, 0xA5);
        Bytes target(64, 0x3C);
        for (const bool flag : {false, true}) {
            rastrel::ConvertPixels(target.data(), model, source.data(), 97, flag, !flag, 2);
            rastrel::ConvertPixels(target.data(), 97, source.data(), model, flag, flag, 2);
            rastrel::ConvertPixels(target.data(), model, source.data(), model, flag, flag, 0);
        }
        EXPECT_EQ(target, Bytes(64, 0x3C)) << code;
    }
}

TEST(ConvertMatrix, KernelSetsAreListedFromThePlainOne) {
    ASSERT_FALSE(availableConvertKernels().empty());
    EXPECT_EQ(availableConvertKernels().front().name, "baseline");
}

} // namespace
