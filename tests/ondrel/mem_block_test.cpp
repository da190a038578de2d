// Memory blocks: contents, copies, growth and failure, the same in memory and swapped out.
#include "ondrel/mem_block.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned __int64 kAbsurd = static_cast<unsigned __int64>(1) << 63;
constexpr unsigned __int64 kMiB = 1 << 20;

Bytes noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random() >> 24);
    return bytes;
}

Bytes contents(const MemBlockDesc& block) {
    Bytes bytes(block.GetSize());
    EXPECT_TRUE(block.Read(0, bytes.data(), bytes.size()));
    return bytes;
}

bool fill(MemBlockDesc& block, const Bytes& bytes) {
    return block.Create(bytes.size(), false) && block.Write(0, bytes.data(), bytes.size());
}

bool isZero(const Bytes& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
}

/// Where a block lives: in memory, in a file, or in a file of which a front is resident.
struct Place {
    const char* name;
    bool swapped;
    unsigned __int64 resident;
};

class EveryPlace : public testing::TestWithParam<Place> {
protected:
    [[nodiscard]] static MemBlockDesc newBlock() {
        MemBlockDesc block;
        if (GetParam().swapped) {
            EXPECT_TRUE(block.Swap(GetParam().resident));
        }
        return block;
    }
};

INSTANTIATE_TEST_SUITE_P(Ondrel, EveryPlace,
                         testing::Values(Place{"memory", false, 0}, Place{"file", true, 0},
                                         Place{"fileWithResidentFront", true, 5000},
                                         Place{"residentFile", true, 64 * kMiB}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(EveryPlace, StartsEmpty) {
    MemBlockDesc block = newBlock();
    EXPECT_EQ(block.GetSize(), 0U);
    EXPECT_EQ(block.IsSwapped(), GetParam().swapped);
    EXPECT_EQ(block.GetData(), nullptr);
    unsigned char byte = 7;
    EXPECT_FALSE(block.Read(0, &byte, 1));
    EXPECT_FALSE(block.Write(0, &byte, 1));
    EXPECT_TRUE(block.Read(0, nullptr, 0));
    EXPECT_TRUE(block.Create(0, true));
    block.Flush();
    block.Delete();
    EXPECT_EQ(block.IsSwapped(), GetParam().swapped);
}

TEST_P(EveryPlace, CreatedBytesAreZeroWhateverWasThereBefore) {
    MemBlockDesc block = newBlock();
    for (const std::size_t size : {1U, 100U, 4096U, 70001U, 3000000U, 5000000U, 5000000U, 4900000U, 2097152U, 64U}) {
        ASSERT_TRUE(block.Create(size, true));
        ASSERT_EQ(block.GetSize(), size);
        ASSERT_TRUE(isZero(contents(block))) << size;
        const Bytes dirt(size, 0xA5);
        ASSERT_TRUE(block.Write(0, dirt.data(), dirt.size()));
        ASSERT_EQ(contents(block), dirt);
    }
}

TEST_P(EveryPlace, ReleasedMemoryComesBackZeroInTheNextBlock) {
    for (int round = 0; round < 3; ++round) {
        MemBlockDesc block = newBlock();
        ASSERT_TRUE(block.Create(5 * kMiB, true));
        ASSERT_TRUE(isZero(contents(block)));
        std::memset(block.GetData(), 0xFF, 5 * kMiB);
    }
}

TEST_P(EveryPlace, ReadAndWriteMoveWholeRangesOrNothing) {
    MemBlockDesc block = newBlock();
    const Bytes bytes = noise(10000, 1);
    ASSERT_TRUE(fill(block, bytes));
    for (const std::size_t position : {0U, 1U, 4999U, 5000U, 5001U, 9999U, 10000U}) {
        for (const std::size_t size : {0U, 1U, 2U, 4999U, 5000U, 10000U}) {
            Bytes buffer(size + 2, 0xEE);
            const bool fits = position + size <= bytes.size();
            ASSERT_EQ(block.Read(position, buffer.data() + 1, size), fits) << position << ' ' << size;
            if (fits && size != 0) {
                ASSERT_EQ(std::memcmp(buffer.data() + 1, bytes.data() + position, size), 0);
            }
            EXPECT_EQ(buffer.front(), 0xEE);
            EXPECT_EQ(buffer.back(), 0xEE);
        }
    }
    const Bytes other = noise(6000, 2);
    EXPECT_FALSE(block.Write(4001, other.data(), 6000));
    EXPECT_EQ(contents(block), bytes);
    EXPECT_TRUE(block.Write(4000, other.data(), 6000));
    Bytes expected = bytes;
    std::copy(other.begin(), other.end(), expected.begin() + 4000);
    EXPECT_EQ(contents(block), expected);
}

TEST_P(EveryPlace, RangesThatWrapAreRefused) {
    MemBlockDesc block = newBlock();
    ASSERT_TRUE(block.Create(16, true));
    const unsigned __int64 all = std::numeric_limits<unsigned __int64>::max();
    unsigned char byte = 3;
    EXPECT_FALSE(block.Read(all, &byte, 1));
    EXPECT_FALSE(block.Read(1, &byte, all));
    EXPECT_FALSE(block.Write(all - 7, &byte, 16));
    EXPECT_FALSE(block.Read(0, nullptr, 1));
    EXPECT_FALSE(block.Write(0, nullptr, 1));
    EXPECT_EQ(byte, 3);
}

TEST_P(EveryPlace, AbsurdSizesFailCleanly) {
    MemBlockDesc block = newBlock();
    ASSERT_TRUE(fill(block, noise(100, 3)));
    for (const unsigned __int64 size : {kAbsurd, kAbsurd - 1, ~kAbsurd, ~(kAbsurd & 0), kAbsurd >> 8}) {
        EXPECT_FALSE(block.ReSize(size));
        EXPECT_EQ(contents(block), noise(100, 3));
    }
    for (const unsigned __int64 size : {kAbsurd, kAbsurd - 1, ~(kAbsurd & 0), kAbsurd >> 8}) {
        ASSERT_TRUE(block.Create(100, true));
        EXPECT_FALSE(block.Create(size, true));
        EXPECT_EQ(block.GetSize(), 0U);
        EXPECT_EQ(block.GetData(), nullptr);
        EXPECT_EQ(block.IsSwapped(), GetParam().swapped);
    }
    EXPECT_TRUE(block.Create(100, true));
}

TEST_P(EveryPlace, ResizingKeepsTheFrontAndGrowsWithZeros) {
    MemBlockDesc block = newBlock();
    Bytes expected = noise(300, 4);
    ASSERT_TRUE(fill(block, expected));
    for (const std::size_t size : {100U, 250U, 9000U, 8000U, 8999U, 3000000U, 2999000U, 2999999U, 9000000U, 2500000U,
                                   2600000U, 5U, 4000U, 0U, 17U}) {
        ASSERT_TRUE(block.ReSize(size));
        expected.resize(size, 0);
        ASSERT_EQ(block.GetSize(), size);
        ASSERT_TRUE(contents(block) == expected) << size;
        // Whatever is cut off later must not come back.
        if (size != 0) {
            expected.back() = 0x77;
            ASSERT_TRUE(block.Write(size - 1, &expected.back(), 1));
        }
    }
}

TEST_P(EveryPlace, ResizingAfterAppendingGrowsWithZeros) {
    MemBlockDesc block = newBlock();
    for (unsigned i = 0; i < 1000; ++i)
        ASSERT_TRUE(block.Add(static_cast<unsigned char>(0xFF)));
    ASSERT_TRUE(block.ReSize(500));
    ASSERT_TRUE(block.Add(static_cast<unsigned char>(1)));
    ASSERT_TRUE(block.ReSize(1100));
    Bytes expected(500, 0xFF);
    expected.push_back(1);
    expected.resize(1100, 0);
    EXPECT_EQ(contents(block), expected);
}

TEST_P(EveryPlace, CopiesAreIndependent) {
    MemBlockDesc source = newBlock();
    const Bytes bytes = noise(200000, 5);
    ASSERT_TRUE(fill(source, bytes));
    MemBlockDesc copy(source);
    EXPECT_EQ(copy.IsSwapped(), GetParam().swapped);
    EXPECT_EQ(contents(copy), bytes);
    const unsigned char changed = static_cast<unsigned char>(~bytes[0]);
    ASSERT_TRUE(copy.Write(0, &changed, 1));
    EXPECT_EQ(contents(source), bytes);
    source.GetData()[1] ^= 0xFF;
    Bytes expected = bytes;
    expected[0] = changed;
    EXPECT_EQ(contents(copy), expected);
    source.Delete();
    EXPECT_EQ(contents(copy), expected);
}

TEST_P(EveryPlace, AssignmentReplacesContentsAndPlace) {
    MemBlockDesc source = newBlock();
    const Bytes bytes = noise(5000, 6);
    ASSERT_TRUE(fill(source, bytes));
    for (const bool targetSwapped : {false, true}) {
        MemBlockDesc target;
        if (targetSwapped) {
            ASSERT_TRUE(target.Swap(0));
        }
        ASSERT_TRUE(fill(target, noise(7000, 7)));
        target = source;
        EXPECT_EQ(contents(target), bytes);
        EXPECT_EQ(target.IsSwapped(), GetParam().swapped);
        const MemBlockDesc& alias = target;
        target = alias;
        EXPECT_EQ(contents(target), bytes);
        target = MemBlockDesc();
        EXPECT_EQ(target.GetSize(), 0U);
        EXPECT_FALSE(target.IsSwapped());
    }
    const MemBlockDesc empty = newBlock();
    source = empty;
    EXPECT_EQ(source.GetSize(), 0U);
    EXPECT_EQ(source.IsSwapped(), GetParam().swapped);
}

TEST_P(EveryPlace, SwappingMovesTheContents) {
    MemBlockDesc block = newBlock();
    const Bytes bytes = noise(3000000, 8);
    ASSERT_TRUE(fill(block, bytes));
    for (const unsigned __int64 resident : {0U, 10000U, 1U << 30}) {
        ASSERT_TRUE(block.Swap(resident));
        EXPECT_TRUE(block.IsSwapped());
        EXPECT_TRUE(contents(block) == bytes);
        ASSERT_TRUE(block.UnSwap());
        EXPECT_FALSE(block.IsSwapped());
        EXPECT_TRUE(contents(block) == bytes);
    }
    EXPECT_TRUE(block.UnSwap());
    ASSERT_TRUE(block.Swap(0));
    ASSERT_TRUE(block.Swap(123)) << "a new limit for a block that swaps already";
    EXPECT_TRUE(contents(block) == bytes);
    block.Delete();
    EXPECT_TRUE(block.IsSwapped());
}

TEST_P(EveryPlace, DataIsTheBlockInPlace) {
    MemBlockDesc block = newBlock();
    const Bytes bytes = noise(100000, 9);
    ASSERT_TRUE(fill(block, bytes));
    unsigned char* const data = block.GetData();
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(block.GetData(), data);
    EXPECT_EQ(std::memcmp(data, bytes.data(), bytes.size()), 0);
    data[70000] = 0x5A;
    unsigned char byte = 0;
    ASSERT_TRUE(block.Read(70000, &byte, 1));
    EXPECT_EQ(byte, 0x5A);
    byte = 0xA5;
    ASSERT_TRUE(block.Write(70001, &byte, 1));
    EXPECT_EQ(data[70001], 0xA5);
    block.Flush();
    EXPECT_EQ(data[70001], 0xA5);
    ASSERT_TRUE(block.ReSize(200000));
    ASSERT_TRUE(block.Read(70000, &byte, 1));
    EXPECT_EQ(byte, 0x5A) << "what was written in place survives growing";
    ASSERT_NE(block.GetData(), nullptr);
    EXPECT_EQ(block.GetData()[70001], 0xA5);
    EXPECT_EQ(block.GetData()[199999], 0);
}

/// The view of a block in memory after each operation that may move, resize or swap it.
TEST_P(EveryPlace, TheViewInMemoryFollowsEveryChange) {
    const auto expectCurrent = [](MemBlockDesc& block, unsigned __int64 size) {
        EXPECT_EQ(block.GetSize(), size);
        EXPECT_EQ(block.GetSizeInMemory(), block.IsSwapped() ? 0U : size);
        EXPECT_EQ(block.GetDataInMemory(), block.IsSwapped() ? nullptr : block.GetData());
    };
    MemBlockDesc block = newBlock();
    const MemBlockDesc part = [] {
        MemBlockDesc created;
        created.Create(3 * kMiB, true);
        return created;
    }();
    expectCurrent(block, 0);
    ASSERT_TRUE(block.Create(100, true));
    expectCurrent(block, 100);
    ASSERT_TRUE(block.Add(1.5));
    expectCurrent(block, 108);
    ASSERT_TRUE(block.AddPart(part));
    expectCurrent(block, 108 + 3 * kMiB);
    ASSERT_TRUE(block.ReSize(5 * kMiB));
    expectCurrent(block, 5 * kMiB);
    ASSERT_TRUE(block.ReSize(10));
    expectCurrent(block, 10);
    EXPECT_FALSE(block.ReSize(kAbsurd));
    expectCurrent(block, 10);
    MemBlockDesc copy(block);
    expectCurrent(copy, 10);
    copy = part;
    expectCurrent(copy, 3 * kMiB);
    ASSERT_TRUE(block.Swap(0));
    expectCurrent(block, 10);
    copy = block;
    expectCurrent(copy, 10);
    ASSERT_TRUE(block.UnSwap());
    expectCurrent(block, 10);
    EXPECT_FALSE(block.Create(kAbsurd, false));
    expectCurrent(block, 0);
    ASSERT_TRUE(block.ReSize(77));
    expectCurrent(block, 77);
    block.Delete();
    expectCurrent(block, 0);
    ASSERT_TRUE(copy.Create(0, true));
    expectCurrent(copy, 0);
}

TEST_P(EveryPlace, ReadsIntoTheFrontOfAnotherBlock) {
    MemBlockDesc source = newBlock();
    const Bytes bytes = noise(150000, 10);
    ASSERT_TRUE(fill(source, bytes));
    for (const bool targetSwapped : {false, true}) {
        MemBlockDesc target;
        if (targetSwapped) {
            ASSERT_TRUE(target.Swap(0));
        }
        ASSERT_TRUE(target.Create(100000, true));
        EXPECT_FALSE(source.Read(0, target, 100001)) << "the target is too small";
        EXPECT_FALSE(source.Read(60000, target, 90001)) << "the source ends";
        EXPECT_TRUE(isZero(contents(target)));
        ASSERT_TRUE(source.Read(50000, target, 99999));
        Bytes expected(bytes.begin() + 50000, bytes.begin() + 149999);
        expected.push_back(0);
        EXPECT_TRUE(contents(target) == expected);
    }
    ASSERT_TRUE(source.Read(10, source, 149990)) << "towards its own front";
    Bytes expected = bytes;
    std::copy(bytes.begin() + 10, bytes.end(), expected.begin());
    EXPECT_TRUE(contents(source) == expected);
}

TEST_P(EveryPlace, AppendsOtherBlocks) {
    MemBlockDesc block = newBlock();
    Bytes expected;
    for (unsigned i = 0; i < 40; ++i) {
        const Bytes bytes = noise(i * i * 40, i);
        MemBlockDesc part;
        if (i % 2 == 1) {
            ASSERT_TRUE(part.Swap(0));
        }
        ASSERT_TRUE(fill(part, bytes));
        ASSERT_TRUE(block.AddPart(part));
        expected.insert(expected.end(), bytes.begin(), bytes.end());
        ASSERT_EQ(block.GetSize(), expected.size());
    }
    EXPECT_TRUE(contents(block) == expected);
    ASSERT_TRUE(block.AddPart(block)) << "to itself";
    const Bytes once = expected;
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_TRUE(contents(block) == expected);
    ASSERT_TRUE(block.AddPart(MemBlockDesc()));
    EXPECT_EQ(block.GetSize(), expected.size());
}

TEST_P(EveryPlace, ThreadsWorkOnDifferentRanges) {
    MemBlockDesc block = newBlock();
    constexpr std::size_t kThreads = 8;
    constexpr std::size_t kShare = 12345;
    ASSERT_TRUE(block.Create(kThreads * kShare, true));
    std::vector<std::thread> threads;
    std::vector<char> right(kThreads, 0);
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            bool ok = true;
            for (unsigned round = 0; round < 20; ++round) {
                const Bytes bytes = noise(kShare, static_cast<unsigned>(t) * 100 + round);
                Bytes back(kShare);
                ok = block.Write(t * kShare, bytes.data(), kShare) && ok;
                // One of them brings the block into the address space meanwhile.
                if (t == 3 && round == 10) ok = block.GetData() != nullptr && ok;
                ok = block.Read(t * kShare, back.data(), kShare) && back == bytes && ok;
            }
            right[t] = ok ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t t = 0; t < kThreads; ++t)
        EXPECT_EQ(right[t], 1) << t;
}

TEST_P(EveryPlace, ThreadsAskForTheDataTogether) {
    MemBlockDesc block = newBlock();
    ASSERT_TRUE(fill(block, noise(50000, 11)));
    std::vector<unsigned char*> addresses(6);
    std::vector<std::thread> threads;
    for (unsigned char*& address : addresses)
        threads.emplace_back([&block, &address] { address = block.GetData(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const unsigned char* const address : addresses)
        EXPECT_EQ(address, block.GetData());
}

} // namespace
