// Blocks in memory: aligned pages, reuse of released memory and its bound.
#include "ondrel/mem_block.h"

#include <array>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ondrel/process_limits.h"

namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

TEST(MemoryBlock, LargeBlocksAreAlignedForLargePages) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(8 * kMiB, true));
#if defined(_WIN32)
    constexpr std::uintptr_t kAlignment = 65536;
#else
    constexpr std::uintptr_t kAlignment = 2 * kMiB;
#endif
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.GetData()) % kAlignment, 0U);
}

TEST(MemoryBlock, CreatingTheSameSizeStaysInPlace) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(300 * kMiB, true)) << "more than is ever kept of released memory";
    unsigned char* const data = block.GetData();
    data[0] = data[300 * kMiB - 1] = 9;
    ASSERT_TRUE(block.Create(300 * kMiB, true));
    EXPECT_EQ(block.GetData(), data);
    EXPECT_EQ(data[0], 0);
    EXPECT_EQ(data[300 * kMiB - 1], 0);
}

TEST(MemoryBlock, ReleasedMemoryServesTheNextBlock) {
    const unsigned char* before = nullptr;
    {
        MemBlockDesc block;
        ASSERT_TRUE(block.Create(24 * kMiB, true));
        before = block.GetData();
    }
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(24 * kMiB, true));
    EXPECT_EQ(block.GetData(), before);
}

TEST(MemoryBlock, ManyThreadsReleaseAndTake) {
    std::vector<std::thread> threads;
    std::vector<char> right(6, 0);
    for (std::size_t t = 0; t < right.size(); ++t) {
        threads.emplace_back([&right, t] {
            bool ok = true;
            for (unsigned round = 0; round < 40; ++round) {
                MemBlockDesc block;
                const unsigned __int64 size = (2 + (t + round) % 5) * kMiB + 100;
                ok = block.Create(size, true) && ok;
                unsigned char* const data = block.GetData();
                for (unsigned __int64 at = 0; at < size; at += 4096) {
                    ok = ok && data[at] == 0;
                    data[at] = 0xCC;
                }
            }
            right[t] = ok ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const char ok : right)
        EXPECT_EQ(ok, 1);
}

TEST(MemoryBlock, ReleasedMemoryIsKeptWithinABound) {
    const std::uint64_t before = test::memoryTaken();
    {
        std::array<MemBlockDesc, 12> blocks;
        for (MemBlockDesc& block : blocks)
            ASSERT_TRUE(block.Create(50 * kMiB, true));
        ASSERT_GE(test::memoryTaken(), before + 300 * kMiB);
    }
    EXPECT_LE(test::memoryTaken(), before + 260 * kMiB);
}

TEST(MemoryBlock, ShrinkingInMemoryGivesTheRestBack) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(300 * kMiB, true));
    block.GetData()[3 * kMiB - 1] = 5;
    const std::uint64_t before = test::memoryTaken();
    ASSERT_TRUE(block.ReSize(3 * kMiB));
    EXPECT_LE(test::memoryTaken(), before - 290 * kMiB);
    EXPECT_EQ(block.GetData()[3 * kMiB - 1], 5);
    ASSERT_TRUE(block.ReSize(10));
    ASSERT_TRUE(block.ReSize(4 * kMiB));
    EXPECT_EQ(block.GetData()[3 * kMiB - 1], 0);
}

void useUpTheMemory() {
    const bool limited = test::limitMemory(400 * kMiB);
    {
        std::array<MemBlockDesc, 5> blocks;
        for (MemBlockDesc& block : blocks)
            REQUIRE_IN_CHILD(block.Create(40 * kMiB, true));
    }
    MemBlockDesc large;
    REQUIRE_IN_CHILD(large.Create(320 * kMiB, true));
    MemBlockDesc copy(large);
    REQUIRE_IN_CHILD(copy.GetSize() == (limited ? 0 : large.GetSize()));
    REQUIRE_IN_CHILD((copy.GetData() == nullptr) == limited);
}

TEST(MemoryBlockDeathTest, KeptMemoryIsGivenUpBeforeABlockIsRefused) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(test::inChild(useUpTheMemory), testing::ExitedWithCode(0), "");
}

} // namespace
