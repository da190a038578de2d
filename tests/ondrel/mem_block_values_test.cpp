// Typed values in memory blocks: the stored bytes are the same on every system.
#include "ondrel/mem_block.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes contents(const MemBlockDesc& block) {
    Bytes bytes(block.GetSize());
    EXPECT_TRUE(block.Read(0, bytes.data(), bytes.size()));
    return bytes;
}

MemBlockDesc blockOf(const Bytes& bytes) {
    MemBlockDesc block;
    EXPECT_TRUE(block.Create(bytes.size(), true));
    EXPECT_TRUE(block.Write(0, bytes.data(), bytes.size()));
    return block;
}

class EveryPlaceValues : public testing::TestWithParam<bool> {
protected:
    [[nodiscard]] static MemBlockDesc newBlock() {
        MemBlockDesc block;
        if (GetParam()) {
            EXPECT_TRUE(block.Swap(0));
        }
        return block;
    }
};

INSTANTIATE_TEST_SUITE_P(Ondrel, EveryPlaceValues, testing::Bool(),
                         [](const auto& instance) { return std::string(instance.param ? "file" : "memory"); });

/// A record with one value of each type, as the bytes that every system stores.
const Bytes kRecord = {0x12,                                                       // 8 bits
                       0x56, 0x34,                                                 // 16 bits
                       0xEF, 0xCD, 0xAB, 0x89,                                     // 32 bits
                       0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,             // 64 bits
                       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0xC0,             // -2.5
                       0x05, 0x00, 0x00, 0x00,                                     // five units:
                       0x61, 0x00, 0xE9, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x42, 0x65, // a, e acute, U+1F600, U+6542
                       0xFF};

TEST_P(EveryPlaceValues, WriteTheBytesThatEverySystemReads) {
    MemBlockDesc block = newBlock();
    EXPECT_TRUE(block.Add(static_cast<unsigned char>(0x12)));
    EXPECT_TRUE(block.Add(static_cast<unsigned short>(0x3456)));
    EXPECT_TRUE(block.Add(0x89ABCDEFU));
    EXPECT_TRUE(block.Add(static_cast<unsigned __int64>(0x0123456789ABCDEFULL)));
    EXPECT_TRUE(block.Add(-2.5));
    EXPECT_TRUE(block.Add(L"a\u00E9\U0001F600\u6542"));
    EXPECT_TRUE(block.Add(static_cast<unsigned char>(0xFF)));
    EXPECT_EQ(contents(block), kRecord);
}

TEST_P(EveryPlaceValues, ReadTheBytesThatEverySystemWrites) {
    MemBlockDesc block = newBlock();
    ASSERT_TRUE(block.AddPart(blockOf(kRecord)));
    unsigned __int64 position = 0;
    EXPECT_EQ(block.Read(position, static_cast<unsigned char>(0)), 0x12);
    EXPECT_EQ(block.Read(position, static_cast<unsigned short>(0)), 0x3456);
    EXPECT_EQ(block.Read(position, 0U), 0x89ABCDEFU);
    EXPECT_EQ(block.Read(position, static_cast<unsigned __int64>(0)), 0x0123456789ABCDEFULL);
    EXPECT_EQ(block.Read(position, 0.0), -2.5);
    std::array<wchar_t, 16> text{};
    EXPECT_TRUE(block.Read(position, text.data(), static_cast<unsigned long>(text.size())));
    EXPECT_STREQ(text.data(), L"a\u00E9\U0001F600\u6542");
    EXPECT_EQ(position, kRecord.size() - 1);
    EXPECT_EQ(block.Read(position, static_cast<unsigned char>(0)), 0xFF);
    EXPECT_EQ(position, kRecord.size());
}

TEST_P(EveryPlaceValues, PastTheEndGivesTheFallbackAndStays) {
    MemBlockDesc block = newBlock();
    for (const unsigned __int64 size : {0U, 1U, 3U, 7U}) {
        ASSERT_TRUE(block.Create(size, true));
        for (const unsigned __int64 start : {size, size + 1, std::numeric_limits<unsigned __int64>::max()}) {
            unsigned __int64 position = start;
            EXPECT_EQ(block.Read(position, static_cast<unsigned char>(200)), 200);
            EXPECT_EQ(position, start);
        }
        unsigned __int64 position = size == 0 ? 0 : size - 1;
        const unsigned __int64 start = position;
        EXPECT_EQ(block.Read(position, static_cast<unsigned short>(60000)), 60000);
        EXPECT_EQ(block.Read(position, 4000000000U), 4000000000U);
        EXPECT_EQ(block.Read(position, std::numeric_limits<unsigned __int64>::max()),
                  std::numeric_limits<unsigned __int64>::max());
        EXPECT_EQ(block.Read(position, 0.1), 0.1);
        EXPECT_EQ(position, start);
    }
}

TEST(BlockValues, DoublesKeepEveryBit) {
    MemBlockDesc block;
    const std::array<double, 6> values = {0.0,
                                          -0.0,
                                          std::numeric_limits<double>::denorm_min(),
                                          std::numeric_limits<double>::infinity(),
                                          std::numeric_limits<double>::quiet_NaN(),
                                          1.0 / 3.0};
    for (const double value : values)
        ASSERT_TRUE(block.Add(value));
    unsigned __int64 position = 0;
    for (const double value : values) {
        const double read = block.Read(position, 7.0);
        EXPECT_EQ(std::memcmp(&read, &value, sizeof value), 0) << value;
    }
}

TEST_P(EveryPlaceValues, StringsAreCutToTheBufferAndPassedWhole) {
    MemBlockDesc block = newBlock();
    ASSERT_TRUE(block.Add(L"abcdef"));
    ASSERT_TRUE(block.Add(static_cast<unsigned char>(9)));
    const std::wstring whole = L"abcdef";
    for (unsigned long capacity = 1; capacity < 10; ++capacity) {
        std::array<wchar_t, 12> text;
        text.fill(L'#');
        unsigned __int64 position = 0;
        ASSERT_TRUE(block.Read(position, text.data(), capacity));
        EXPECT_EQ(std::wstring(text.data()), whole.substr(0, capacity - 1));
        EXPECT_EQ(text[std::min<std::size_t>(capacity, 7)], L'#') << "nothing behind the terminator";
        EXPECT_EQ(position, 16U);
        EXPECT_EQ(block.Read(position, static_cast<unsigned char>(0)), 9);
    }
}

TEST(BlockValues, StringsAreNotCutThroughAPair) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Add(L"x\U0001F600\U0001F601y"));
    for (unsigned long capacity = 1; capacity < 9; ++capacity) {
        std::array<wchar_t, 12> text{};
        unsigned __int64 position = 0;
        ASSERT_TRUE(block.Read(position, text.data(), capacity));
        EXPECT_EQ(position, 4U + 2 * 6);
        // The characters of the text one by one, as many as fit whole.
        std::wstring expected;
        for (const wchar_t* const character : {L"x", L"\U0001F600", L"\U0001F601", L"y"}) {
            if (expected.size() + std::wcslen(character) > capacity - 1) break;
            expected += character;
        }
        EXPECT_EQ(std::wstring(text.data()), expected) << capacity;
    }
}

TEST(BlockValues, UnpairedUnitsPassThrough) {
    const std::vector<Bytes> records = {
        {1, 0, 0, 0, 0x3D, 0xD8},                                     // a first half alone
        {1, 0, 0, 0, 0x00, 0xDE},                                     // a second half alone
        {2, 0, 0, 0, 0x00, 0xDE, 0x3D, 0xD8},                         // in the wrong order
        {4, 0, 0, 0, 0x3D, 0xD8, 0x3D, 0xD8, 0x00, 0xDE, 0x61, 0x00}, // a first half before a pair
        {3, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xDE},             // a second half behind a pair
    };
    for (const Bytes& record : records) {
        const MemBlockDesc block = blockOf(record);
        for (unsigned long capacity = 1; capacity < 7; ++capacity) {
            std::array<wchar_t, 8> text{};
            unsigned __int64 position = 0;
            ASSERT_TRUE(block.Read(position, text.data(), capacity));
            EXPECT_LT(std::wcslen(text.data()), capacity);
            EXPECT_EQ(position, record.size());
            MemBlockDesc again;
            ASSERT_TRUE(again.Add(text.data()));
            if (capacity == 6) {
                EXPECT_EQ(contents(again), record);
            }
        }
    }
}

TEST(BlockValues, CharactersBeyondUnicodeAreReplaced) {
    if constexpr (sizeof(wchar_t) == 4) {
        MemBlockDesc block;
        const std::array<wchar_t, 4> text = {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-5),
                                             static_cast<wchar_t>(0x10FFFF), L'\0'};
        ASSERT_TRUE(block.Add(text.data()));
        EXPECT_EQ(contents(block), (Bytes{4, 0, 0, 0, 0xFD, 0xFF, 0xFD, 0xFF, 0xFF, 0xDB, 0xFF, 0xDF}));
    } else {
        MemBlockDesc block;
        const std::array<wchar_t, 3> text = {wchar_t{0xDBFF}, wchar_t{0xDFFF}, L'\0'};
        ASSERT_TRUE(block.Add(text.data()));
        EXPECT_EQ(contents(block), (Bytes{2, 0, 0, 0, 0xFF, 0xDB, 0xFF, 0xDF}));
    }
}

TEST_P(EveryPlaceValues, StringsThatLieAboutTheirLengthAreRefused) {
    for (const Bytes& record : std::vector<Bytes>{{},
                                                  {1, 0, 0},
                                                  {1, 0, 0, 0},
                                                  {1, 0, 0, 0, 0x61},
                                                  {2, 0, 0, 0, 0x61, 0, 0x62},
                                                  {0xFF, 0xFF, 0xFF, 0xFF, 0x61, 0},
                                                  {0, 0, 0, 0x80, 0x61, 0}}) {
        MemBlockDesc block = newBlock();
        ASSERT_TRUE(block.AddPart(blockOf(record)));
        std::array<wchar_t, 4> text = {L'#', L'#', L'#', L'#'};
        unsigned __int64 position = 0;
        EXPECT_FALSE(block.Read(position, text.data(), 4UL));
        EXPECT_EQ(position, 0U);
        EXPECT_EQ(text[0], L'#');
    }
}

TEST(BlockValues, StringsNeedRoomForTheTerminator) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Add(L"a"));
    wchar_t character = L'#';
    unsigned __int64 position = 0;
    EXPECT_FALSE(block.Read(position, &character, 0UL));
    EXPECT_EQ(character, L'#');
    EXPECT_FALSE(block.Read(position, static_cast<wchar_t*>(nullptr), 5UL));
    EXPECT_EQ(position, 0U);
}

TEST_P(EveryPlaceValues, LongAndEmptyStrings) {
    MemBlockDesc block = newBlock();
    std::wstring text;
    for (unsigned i = 0; i < 5000; ++i)
        text += i % 3 == 0 ? L"\U0001F4F7" : L"\u30AB";
    ASSERT_TRUE(block.Add(L""));
    ASSERT_TRUE(block.Add(text.c_str()));
    ASSERT_TRUE(block.Add(static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(block.GetSize(), 4U + (4U + 2 * (5000 + 1667)) + 4U);
    std::vector<wchar_t> read(20000, L'#');
    unsigned __int64 position = 0;
    ASSERT_TRUE(block.Read(position, read.data(), 20000UL));
    EXPECT_STREQ(read.data(), L"");
    ASSERT_TRUE(block.Read(position, read.data(), 20000UL));
    EXPECT_EQ(std::wstring(read.data()), text);
    ASSERT_TRUE(block.Read(position, read.data(), 20000UL));
    EXPECT_STREQ(read.data(), L"") << "no text is stored as an empty one";
    EXPECT_EQ(position, block.GetSize());
}

TEST_P(EveryPlaceValues, ManyValuesAreAppendedInAmortisedTime) {
    MemBlockDesc block = newBlock();
    const unsigned count = GetParam() ? 5000 : 2000000;
    for (unsigned i = 0; i < count; ++i)
        ASSERT_TRUE(block.Add(i));
    ASSERT_EQ(block.GetSize(), 4ULL * count);
    unsigned __int64 position = 0;
    for (unsigned i = 0; i < count; ++i)
        ASSERT_EQ(block.Read(position, 0U), i);
}

} // namespace
