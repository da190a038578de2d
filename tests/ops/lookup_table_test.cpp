/// The exposure curve: its points, tables, oddities and record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <vector>

#include "rastrel/lookup_table.h"
#include "rastrel/rastrel.h"
#include "support/block_bytes.h"
#include "support/sample_noise.h"

namespace {

using testing_support::blockOf;
using testing_support::contents;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

unsigned entryOf(const LookUpTable& table, int channel, unsigned index) {
    if (table.mode == 1) return table.tables[channel][index];
    std::uint16_t value;
    std::memcpy(&value, table.tables[channel] + 2 * index, 2);
    return value;
}

/// The tabulated curve, step by step.
unsigned naiveEntry(const LookUpTable& t, unsigned index) {
    const double a = t.amount;
    const double B = a * t.black;
    const double W = (t.white - 1) * a + 1;
    const double M = (t.mid - 0.5) * a + 0.5;
    const double d = M - B;
    const double e = M * M - B * B;
    const double A = ((0.5 / d) * (B - W) + 1) / (e * (B - W) / d + (W * W - B * B));
    const double Bq = (0.5 - e * A) / d;
    const double C = -(A * (B * B)) - Bq * B;
    const double max = t.mode == 1 ? 255.0 : 65535.0;
    const double x = index / max;
    double v = A * (x * x) + Bq * x + C;
    if (std::isnan(v) || v < 0.0) v = 0.0;
    if (v > 1.0) v = 1.0;
    return static_cast<unsigned>(max * v);
}

void expectNaiveTables(const LookUpTable& table) {
    const unsigned count = table.mode == 1 ? 256 : 65536;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned expected = naiveEntry(table, i);
        for (int channel = 0; channel < 4; ++channel)
            ASSERT_EQ(entryOf(table, channel, i), expected) << "entry " << i;
    }
}

TEST(LookUpTable, StartsEmpty) {
    const LookUpTable table;
    for (const unsigned char* t : table.tables)
        EXPECT_EQ(t, nullptr);
    EXPECT_EQ(table.black, 0.0);
    EXPECT_EQ(table.mid, 0.5);
    EXPECT_EQ(table.white, 1.0);
    EXPECT_EQ(table.amount, 0.0);
    EXPECT_EQ(table.mode, 0);
    EXPECT_FALSE(table.active);
}

TEST(LookUpTable, InitGivesTheIdentityInEitherDepth) {
    for (const unsigned char mode : std::initializer_list<unsigned char>{1, 2}) {
        LookUpTable table;
        table.black = 0.3;
        table.amount = 0.7;
        EXPECT_TRUE(table.Init(mode));
        EXPECT_EQ(table.mode, mode);
        EXPECT_EQ(table.black, 0.0);
        EXPECT_EQ(table.amount, 0.0);
        EXPECT_FALSE(table.active);
        for (unsigned i = 0; i < (mode == 1 ? 256U : 65536U); ++i) {
            for (int channel = 0; channel < 4; ++channel)
                ASSERT_EQ(entryOf(table, channel, i), i);
        }
    }
}

TEST(LookUpTable, InitOfAnyOtherModeLeavesItEmpty) {
    for (const unsigned char mode : std::initializer_list<unsigned char>{0, 3, 16, 255}) {
        LookUpTable table;
        ASSERT_TRUE(table.Init(2));
        table.white = 0.5;
        EXPECT_FALSE(table.Init(mode));
        EXPECT_EQ(table.mode, 0);
        EXPECT_EQ(table.white, 1.0);
        EXPECT_EQ(table.tables[0], nullptr);
        EXPECT_EQ(table.tables[3], nullptr);
        EXPECT_FALSE(table.Refresh());
    }
}

TEST(LookUpTable, RefreshNeedsAllTables) {
    LookUpTable table;
    table.mode = 1;
    EXPECT_FALSE(table.Refresh());
    table.Init(1);
    delete[] table.tables[2];
    table.tables[2] = nullptr;
    EXPECT_FALSE(table.Refresh());
    table.Init(1);
    table.mode = 3;
    EXPECT_FALSE(table.Refresh());
    table.mode = 1;
}

TEST(LookUpTable, TabulatesTheCurveForEveryKindOfPoints) {
    Dice dice(51);
    const double special[] = {0.0, -0.0, 0.5, 1.0, -1.0, 2.0, 1e-300, 1e300, kInfinity, -kInfinity, kNan};
    const auto point = [&] {
        return dice.below(6) == 0 ? special[dice.below(std::size(special))] : dice.fraction() * 1.4 - 0.2;
    };
    for (int round = 0; round < 1500; ++round) {
        LookUpTable table;
        ASSERT_TRUE(table.Init(1));
        table.black = point();
        table.mid = point();
        table.white = point();
        table.amount = dice.below(3) == 0 ? 1.0 : point();
        ASSERT_TRUE(table.Refresh());
        expectNaiveTables(table);
        if (HasFatalFailure()) return;
    }
    for (int round = 0; round < 20; ++round) {
        LookUpTable table;
        table.Init(2);
        table.black = point();
        table.mid = point();
        table.white = point();
        table.amount = 1.0;
        ASSERT_TRUE(table.Refresh());
        expectNaiveTables(table);
        if (HasFatalFailure()) return;
    }
}

TEST(LookUpTable, LevelsWithoutAValueAreBlack) {
    LookUpTable table;
    table.Init(1);
    table.black = table.mid = 0.5;
    table.amount = 1.0;
    EXPECT_TRUE(table.Refresh());
    EXPECT_TRUE(table.active);
    for (unsigned i = 0; i < 256; ++i)
        EXPECT_EQ(entryOf(table, 0, i), 0U);
}

TEST(LookUpTable, IsActiveUnlessThePointsAreThoseOfTheIdentity) {
    LookUpTable table;
    table.Init(1);
    table.amount = 1.0;
    table.Refresh();
    EXPECT_FALSE(table.active);
    table.black = 0.25;
    table.Refresh();
    EXPECT_TRUE(table.active);
    table.amount = 0.0;
    table.Refresh();
    EXPECT_FALSE(table.active);
}

TEST(LookUpTable, MapsAllFourComponentsInItsOwnDepth) {
    LookUpTable table;
    table.Init(1);
    table.black = 0.25;
    table.white = 0.75;
    table.amount = 1.0;
    table.Refresh();
    table.tables[1][128] = table.tables[2][128] = table.tables[3][128] = 1; // only the first table counts
    pixel_argb8 pixel{64, 128, 192, 100};
    table.LookUp(pixel);
    EXPECT_EQ(pixel.b, 0);
    EXPECT_EQ(pixel.g, 128);
    EXPECT_EQ(pixel.r, 255);
    EXPECT_EQ(pixel.a, table.tables[0][100]);

    table.Init(2);
    table.mid = 0.4;
    table.amount = 1.0;
    table.Refresh();
    pixel_argb16 deep{1, 1000, 30000, 65535};
    table.LookUp(deep);
    EXPECT_EQ(deep.b, entryOf(table, 0, 1));
    EXPECT_EQ(deep.g, entryOf(table, 0, 1000));
    EXPECT_EQ(deep.r, entryOf(table, 0, 30000));
    EXPECT_EQ(deep.a, entryOf(table, 0, 65535));
}

TEST(LookUpTable, MapsPixelsOfTheOtherDepthInItsOddWay) {
    LookUpTable table;
    table.Init(2);
    table.black = -0.5; // a curve whose first entry is not 0
    table.amount = 1.0;
    table.Refresh();
    ASSERT_TRUE(table.active);
    const unsigned high = entryOf(table, 0, 0) >> 8;
    ASSERT_NE(high, 0U);
    pixel_argb8 pixel{0, 17, 200, 255};
    table.LookUp(pixel);
    EXPECT_EQ(pixel.b, high);
    EXPECT_EQ(pixel.g, high);
    EXPECT_EQ(pixel.r, high);
    EXPECT_EQ(pixel.a, high);

    table.Init(1);
    table.black = -0.5;
    table.amount = 1.0;
    table.Refresh();
    pixel_argb16 deep{0, 1234, 40000, 65535};
    table.LookUp(deep);
    EXPECT_EQ(deep.b, 0);
    EXPECT_EQ(deep.g, 0);
    EXPECT_EQ(deep.r, 0);
    EXPECT_EQ(deep.a, 0);
}

TEST(LookUpTable, LeavesPixelsAloneWhileInactive) {
    LookUpTable table;
    pixel_argb8 pixel{1, 2, 3, 4};
    pixel_argb16 deep{1000, 2000, 3000, 4000};
    for (const unsigned char mode : std::initializer_list<unsigned char>{0, 1, 2}) {
        table.Init(mode);
        table.LookUp(pixel);
        table.LookUp(deep);
    }
    table.Init(0);
    table.active = true; // without tables there is nothing to map through
    table.LookUp(pixel);
    table.LookUp(deep);
    EXPECT_EQ(pixel.a, 4);
    EXPECT_EQ(deep.r, 3000);
}

TEST(LookUpTable, CopiesAreIndependentAndEqual) {
    for (const unsigned char mode : std::initializer_list<unsigned char>{0, 1, 2}) {
        LookUpTable source;
        source.Init(mode);
        source.black = 0.1;
        source.mid = 0.4;
        source.white = 0.8;
        source.amount = 0.5;
        source.Refresh();
        LookUpTable copy(source);
        LookUpTable assigned;
        assigned.Init(1);
        assigned = source;
        for (const LookUpTable* other : {&copy, &assigned}) {
            EXPECT_EQ(other->mode, mode);
            EXPECT_EQ(other->black, 0.1);
            EXPECT_EQ(other->mid, 0.4);
            EXPECT_EQ(other->white, 0.8);
            EXPECT_EQ(other->amount, 0.5);
            EXPECT_EQ(other->active, source.active);
            if (mode == 0) continue;
            EXPECT_NE(other->tables[0], source.tables[0]);
            EXPECT_EQ(std::memcmp(other->tables[3], source.tables[0], mode == 1 ? 256 : 131072), 0);
        }
        const LookUpTable& self = source;
        source = self;
        EXPECT_EQ(source.amount, 0.5);
    }
}

/// A table of a derived class sees its own steps called.
struct Counting : LookUpTable {
    using LookUpTable::operator=;
    bool Init(unsigned char newMode) override {
        ++inits;
        return LookUpTable::Init(newMode);
    }
    bool Refresh() override {
        ++refreshes;
        return LookUpTable::Refresh();
    }
    int inits = 0, refreshes = 0;
};

TEST(LookUpTable, CallsItsOwnStepsThroughTheirSlots) {
    Counting table;
    EXPECT_TRUE(table.Init(1));
    EXPECT_EQ(table.refreshes, 1);
    LookUpTable other;
    other.Init(2);
    table = other;
    EXPECT_EQ(table.inits, 2);
    EXPECT_EQ(table.refreshes, 3);
    MemBlockDesc block;
    other.Save(block);
    unsigned __int64 position = 0;
    table.Restore(block, position);
    EXPECT_EQ(table.inits, 3);
    EXPECT_EQ(table.refreshes, 5);
}

// --- the record ---

TEST(LookUpTableRecord, HoldsLengthModeAndFourDoubles) {
    LookUpTable table;
    table.Init(1);
    table.black = 0.5;
    table.mid = 1.0;
    table.white = 2.0;
    table.amount = -2.0;
    MemBlockDesc block;
    EXPECT_TRUE(table.Save(block));
    const std::vector<unsigned char> expected = {33, 0, 0,    0, 1, 0, 0,    0,    0, 0, 0,   0xE0, 0x3F,
                                                 0,  0, 0,    0, 0, 0, 0xF0, 0x3F, 0, 0, 0,   0,    0,
                                                 0,  0, 0x40, 0, 0, 0, 0,    0,    0, 0, 0xC0};
    EXPECT_EQ(contents(block), expected);
}

TEST(LookUpTableRecord, ComesBackAndMovesThePositionPastItself) {
    for (const unsigned char mode : std::initializer_list<unsigned char>{1, 2}) {
        LookUpTable table;
        table.Init(mode);
        table.black = 0.125;
        table.mid = 0.5;
        table.white = 0.75;
        table.amount = 0.5;
        table.Refresh();
        MemBlockDesc block;
        block.Add(0xDEADBEEFU);
        EXPECT_TRUE(table.Save(block));
        block.Add(1.5);
        LookUpTable other;
        unsigned __int64 position = 4;
        EXPECT_TRUE(other.Restore(block, position));
        EXPECT_EQ(position, 4U + 37U);
        EXPECT_EQ(other.mode, mode);
        EXPECT_EQ(other.black, 0.125);
        EXPECT_EQ(other.white, 0.75);
        EXPECT_EQ(other.amount, 0.5);
        EXPECT_TRUE(other.active);
        expectNaiveTables(other);
    }
}

TEST(LookUpTableRecord, WithoutTablesRestoresItsPointsAndIsFalse) {
    LookUpTable table;
    table.black = 0.25;
    table.amount = 0.75;
    MemBlockDesc block;
    EXPECT_TRUE(table.Save(block));
    LookUpTable other;
    other.Init(2);
    unsigned __int64 position = 0;
    EXPECT_FALSE(other.Restore(block, position));
    EXPECT_EQ(position, 37U);
    EXPECT_EQ(other.mode, 0);
    EXPECT_EQ(other.black, 0.25);
    EXPECT_EQ(other.amount, 0.75);
}

TEST(LookUpTableRecord, CutAtAnyByteIsFalseAndCrashesNothing) {
    LookUpTable table;
    table.Init(1);
    table.mid = 0.25;
    MemBlockDesc block;
    table.Save(block);
    const auto whole = contents(block);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        MemBlockDesc cut = blockOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        LookUpTable other;
        unsigned __int64 position = 0;
        EXPECT_FALSE(other.Restore(cut, position)) << size;
        EXPECT_LE(position, size);
    }
}

TEST(LookUpTableRecord, OfAnotherLengthGivesWhatItHoldsAndSkipsTheRest) {
    LookUpTable table;
    table.Init(1);
    table.black = 0.25;
    table.mid = 0.5;
    table.white = 0.75;
    table.amount = 1.0;
    MemBlockDesc block;
    table.Save(block);
    auto bytes = contents(block);
    bytes.resize(60);
    struct Case {
        unsigned char length;
        double black, mid, white, amount;
    };
    constexpr Case kCases[] = {{1, 0.0, 0.5, 1.0, 0.0},    {8, 0.0, 0.5, 1.0, 0.0},    {9, 0.25, 0.5, 1.0, 0.0},
                               {20, 0.25, 0.5, 1.0, 0.0},  {25, 0.25, 0.5, 0.75, 0.0}, {32, 0.25, 0.5, 0.75, 0.0},
                               {33, 0.25, 0.5, 0.75, 1.0}, {50, 0.25, 0.5, 0.75, 1.0}};
    for (const Case& c : kCases) {
        SCOPED_TRACE(int{c.length});
        bytes[0] = c.length;
        MemBlockDesc changed = blockOf(bytes);
        LookUpTable other;
        unsigned __int64 position = 0;
        EXPECT_TRUE(other.Restore(changed, position));
        EXPECT_EQ(position, 4U + c.length);
        EXPECT_EQ(other.black, c.black);
        EXPECT_EQ(other.mid, c.mid);
        EXPECT_EQ(other.white, c.white);
        EXPECT_EQ(other.amount, c.amount);
    }
    bytes[0] = 0;
    MemBlockDesc none = blockOf(bytes);
    LookUpTable other;
    unsigned __int64 position = 0;
    EXPECT_FALSE(other.Restore(none, position));
    for (int i = 0; i < 4; ++i)
        bytes[static_cast<std::size_t>(i)] = 255;
    MemBlockDesc huge = blockOf(bytes);
    position = 0;
    EXPECT_FALSE(other.Restore(huge, position)); // there is not as much to skip
    EXPECT_LE(position, huge.GetSize());
}

} // namespace
