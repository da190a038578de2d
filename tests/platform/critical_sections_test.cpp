// The system's recursive lock and its stand-in.
#include <gtest/gtest.h>

#include "support/platform_support.h"

namespace {

using rastrel_test::TestThread;

bool othersMayEnter(CRITICAL_SECTION& section) {
    bool entered = false;
    std::thread([&] {
        entered = TryEnterCriticalSection(&section) != FALSE;
        if (entered) LeaveCriticalSection(&section);
    }).join();
    return entered;
}

TEST(CriticalSections, AreRecursive) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EXPECT_TRUE(othersMayEnter(section));
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    EXPECT_FALSE(othersMayEnter(section));
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
    EXPECT_FALSE(othersMayEnter(section));
    LeaveCriticalSection(&section);
    EXPECT_TRUE(othersMayEnter(section));
    DeleteCriticalSection(&section);
}

TEST(CriticalSections, ExcludeEachOther) {
    CRITICAL_SECTION section;
    EXPECT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 4000));
    constexpr int kThreads = 4, kRounds = 5000;
    int count = 0;
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.push_back(std::make_unique<TestThread>([&] {
                for (int round = 0; round < kRounds; ++round) {
                    EnterCriticalSection(&section);
                    ++count;
                    LeaveCriticalSection(&section);
                }
            }));
    }
    EXPECT_EQ(count, kThreads * kRounds);
    DeleteCriticalSection(&section);
}

} // namespace
