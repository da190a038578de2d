// Starting, suspending, ending and ranking threads, as hosts on both systems see it.
#include <gtest/gtest.h>

#include "support/platform_support.h"

namespace {

using rastrel_test::eventually;
using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::kShort;
using rastrel_test::TestThread;

/// A worker that counts until it is told to stop.
struct Counter {
    void run() {
        while (!stop.load()) {
            ++count;
            if (yields) Sleep(0);
        }
    }
    /// Whether the count moves on within a bounded time.
    [[nodiscard]] bool runs() {
        const auto before = count.load();
        return eventually([&] { return count.load() > before + 1; });
    }
    [[nodiscard]] bool rests() {
        const auto before = count.load();
        Sleep(kShort);
        return count.load() == before;
    }
    std::atomic<std::uint64_t> count{0};
    std::atomic<bool> stop{false};
    bool yields = true;
};

TEST(Threads, RunTheirEntryWithTheArgument) {
    static std::atomic<void*> seen{nullptr};
    const Handle done(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const HANDLE event = done.get();
    struct Entry {
        static void __cdecl run(void* argument) {
            seen = argument;
            SetEvent(argument);
        }
    };
    ASSERT_NE(_beginthread(&Entry::run, 0, event), ~std::uintptr_t{0});
    EXPECT_EQ(WaitForSingleObject(event, kLong), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(seen.load(), event);
}

TEST(Threads, TakeAStackSize) {
    std::atomic<bool> ran{false};
    struct Entry {
        static void __cdecl run(void* argument) {
            volatile char room[100'000];
            room[0] = 1;
            *static_cast<std::atomic<bool>*>(argument) = room[0] == 1;
        }
    };
    ASSERT_NE(_beginthread(&Entry::run, 1 << 20, &ran), ~std::uintptr_t{0});
    EXPECT_TRUE(eventually([&] { return ran.load(); }));
}

TEST(Threads, HaveTheirOwnIds) {
    std::atomic<DWORD> first{0}, second{0};
    const Handle hold(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const TestThread a([&] {
        first = GetCurrentThreadId();
        WaitForSingleObject(hold.get(), kLong);
    });
    const TestThread b([&] {
        second = GetCurrentThreadId();
        WaitForSingleObject(hold.get(), kLong);
    });
    EXPECT_TRUE(eventually([&] { return first.load() != 0 && second.load() != 0; }));
    EXPECT_NE(first.load(), second.load());
    EXPECT_NE(first.load(), GetCurrentThreadId());
    EXPECT_EQ(GetCurrentThreadId(), GetCurrentThreadId());
    SetEvent(hold.get());
}

TEST(Threads, AreSignalledWhenTheyEnd) {
    const Handle go(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const TestThread thread([&] { WaitForSingleObject(go.get(), kLong); });
    EXPECT_EQ(WaitForSingleObject(thread.handle(), 0), DWORD{WAIT_TIMEOUT});
    SetEvent(go.get());
    EXPECT_EQ(WaitForSingleObject(thread.handle(), kLong), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(thread.handle(), 0), DWORD{WAIT_OBJECT_0});
}

TEST(Threads, SuspendedRestUntilResumedAsOftenAsTheyWereSuspended) {
    for (const bool yields : {true, false}) {
        Counter counter;
        counter.yields = yields;
        const TestThread thread([&] { counter.run(); });
        ASSERT_TRUE(counter.runs());
        EXPECT_EQ(SuspendThread(thread.handle()), 0U);
        EXPECT_EQ(SuspendThread(thread.handle()), 1U);
        EXPECT_TRUE(counter.rests());
        EXPECT_EQ(ResumeThread(thread.handle()), 2U);
        EXPECT_TRUE(counter.rests());
        EXPECT_EQ(ResumeThread(thread.handle()), 1U);
        EXPECT_TRUE(counter.runs());
        EXPECT_EQ(ResumeThread(thread.handle()), 0U); // nothing to undo
        counter.stop = true;
    }
}

TEST(Threads, SuspendManyTimesInARow) {
    Counter counter;
    const TestThread thread([&] { counter.run(); });
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(SuspendThread(thread.handle()), 0U);
        const auto before = counter.count.load();
        Sleep(0);
        EXPECT_EQ(counter.count.load(), before);
        ASSERT_EQ(ResumeThread(thread.handle()), 1U);
    }
    EXPECT_TRUE(counter.runs());
    counter.stop = true;
}

TEST(Threads, SuspendCountHasALimit) {
    Counter counter;
    const TestThread thread([&] { counter.run(); });
    for (DWORD i = 0; i < MAXIMUM_SUSPEND_COUNT; ++i)
        ASSERT_EQ(SuspendThread(thread.handle()), i);
    EXPECT_EQ(SuspendThread(thread.handle()), ~DWORD{0});
    for (DWORD i = MAXIMUM_SUSPEND_COUNT; i > 0; --i)
        ASSERT_EQ(ResumeThread(thread.handle()), i);
    EXPECT_TRUE(counter.runs());
    counter.stop = true;
}

TEST(Threads, SuspendThemselves) {
    std::atomic<int> step{0};
    const TestThread thread([&] {
        step = 1;
        SuspendThread(GetCurrentThread());
        step = 2;
    });
    ASSERT_TRUE(eventually([&] { return step.load() == 1; }));
    Sleep(kShort);
    EXPECT_EQ(step.load(), 1);
    EXPECT_TRUE(eventually([&] { return ResumeThread(thread.handle()) == 1; }));
    EXPECT_TRUE(eventually([&] { return step.load() == 2; }));
}

TEST(Threads, SuspendedInAWaitSeeTheirSignalLater) {
    const Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<bool> through{false};
    const TestThread thread([&] { through = WaitForSingleObject(event.get(), kLong) == WAIT_OBJECT_0; });
    Sleep(kShort);
    EXPECT_EQ(SuspendThread(thread.handle()), 0U);
    SetEvent(event.get());
    Sleep(kShort);
    EXPECT_FALSE(through.load());
    EXPECT_EQ(ResumeThread(thread.handle()), 1U);
    EXPECT_TRUE(eventually([&] { return through.load(); }));
}

TEST(Threads, EndedOnesCannotBeSuspended) {
    const TestThread thread([] {});
    ASSERT_EQ(WaitForSingleObject(thread.handle(), kLong), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(SuspendThread(thread.handle()), ~DWORD{0});
}

TEST(Threads, TerminatedStopWhereTheyAre) {
    enum class Doing { kComputing, kYielding, kSleeping, kWaiting, kSuspended };
    for (const Doing doing :
         {Doing::kComputing, Doing::kYielding, Doing::kSleeping, Doing::kWaiting, Doing::kSuspended}) {
        SCOPED_TRACE(static_cast<int>(doing));
        const Handle never(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        Counter counter;
        counter.yields = doing != Doing::kComputing;
        std::atomic<bool> cameBack{false};
        const TestThread thread([&] {
            ++counter.count;
            if (doing == Doing::kSleeping) Sleep(INFINITE);
            if (doing == Doing::kWaiting) WaitForSingleObject(never.get(), INFINITE);
            counter.run();
            cameBack = true;
        });
        ASSERT_TRUE(eventually([&] { return counter.count.load() > 0; }));
        Sleep(5);
        if (doing == Doing::kSuspended) {
            EXPECT_EQ(SuspendThread(thread.handle()), 0U);
        }
        EXPECT_TRUE(TerminateThread(thread.handle(), 0));
        EXPECT_EQ(WaitForSingleObject(thread.handle(), kLong), DWORD{WAIT_OBJECT_0});
        EXPECT_TRUE(counter.rests());
        counter.stop = true;
        SetEvent(never.get());
        Sleep(1);
        EXPECT_FALSE(cameBack.load());
    }
}

TEST(Threads, TerminateThemselves) {
    std::atomic<int> step{0};
    const TestThread thread([&] {
        step = 1;
        TerminateThread(GetCurrentThread(), 0);
        step = 2;
    });
    EXPECT_EQ(WaitForSingleObject(thread.handle(), kLong), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(step.load(), 1);
}

TEST(Threads, TerminateManyInARow) {
    for (int i = 0; i < 50; ++i) {
        std::atomic<bool> running{false};
        const TestThread thread([&] {
            running = true;
            for (;;)
                Sleep(0);
        });
        ASSERT_TRUE(eventually([&] { return running.load(); }));
        ASSERT_TRUE(TerminateThread(thread.handle(), 0));
    }
}

TEST(Threads, PrioritiesAreKeptAsTheyWereSet) {
    const Handle hold(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const TestThread thread([&] { WaitForSingleObject(hold.get(), kLong); });
    EXPECT_EQ(GetThreadPriority(thread.handle()), THREAD_PRIORITY_NORMAL);
    for (const int level : {THREAD_PRIORITY_IDLE, THREAD_PRIORITY_TIME_CRITICAL, -2, -1, 0, 1, 2}) {
        EXPECT_TRUE(SetThreadPriority(thread.handle(), level));
        EXPECT_EQ(GetThreadPriority(thread.handle()), level);
    }
    for (const int level : {-14, -3, 3, 14, 16, 100}) {
        EXPECT_FALSE(SetThreadPriority(thread.handle(), level)) << level;
        EXPECT_EQ(GetThreadPriority(thread.handle()), 2);
    }
    SetEvent(hold.get());
}

TEST(Threads, ThePseudoHandleMeansTheCaller) {
    const TestThread thread([] {
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), 0);
        EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), 1));
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), 1);
        EXPECT_TRUE(CloseHandle(GetCurrentThread())); // nothing to close
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), 1);
    });
    WaitForSingleObject(thread.handle(), kLong);
    EXPECT_EQ(GetThreadPriority(GetCurrentThread()), 0);
    EXPECT_EQ(GetThreadPriority(thread.handle()), 1);
}

TEST(Threads, SleepLastsAsLongAsAsked) {
    const auto start = std::chrono::steady_clock::now();
    Sleep(40);
    const auto spent = std::chrono::steady_clock::now() - start;
    EXPECT_GE(spent, std::chrono::milliseconds(35));
    EXPECT_LT(spent, std::chrono::seconds(10));
    Sleep(0);
}

TEST(Threads, OtherThreadsOfTheHostAreThreadsToo) {
    std::atomic<HANDLE> handle{nullptr};
    Counter counter;
    std::thread foreign([&] {
        handle = Handle::duplicate(GetCurrentThread());
        counter.run();
    });
    ASSERT_TRUE(eventually([&] { return handle.load() != nullptr; }));
    const Handle thread(handle.load());
    ASSERT_TRUE(counter.runs());
    EXPECT_EQ(SuspendThread(thread.get()), 0U);
    EXPECT_TRUE(counter.rests());
    EXPECT_EQ(ResumeThread(thread.get()), 1U);
    EXPECT_TRUE(counter.runs());
    counter.stop = true;
    foreign.join();
    EXPECT_EQ(WaitForSingleObject(thread.get(), kLong), DWORD{WAIT_OBJECT_0});
}

} // namespace
