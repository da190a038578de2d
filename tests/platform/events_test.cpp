// Events and waits, as hosts on both systems see them.
#include <gtest/gtest.h>

#include "support/platform_support.h"

namespace {

using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::kShort;
using rastrel_test::TestThread;

Handle autoEvent(bool set = false) { return Handle(CreateEventW(nullptr, FALSE, set ? TRUE : FALSE, nullptr)); }
Handle manualEvent(bool set = false) { return Handle(CreateEventW(nullptr, TRUE, set ? TRUE : FALSE, nullptr)); }

TEST(Events, StartAsAsked) {
    EXPECT_EQ(WaitForSingleObject(autoEvent().get(), 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(autoEvent(true).get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(manualEvent().get(), 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(manualEvent(true).get(), 0), DWORD{WAIT_OBJECT_0});
}

TEST(Events, AutomaticResetEndsOneWaitPerSet) {
    const Handle event = autoEvent();
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_TRUE(SetEvent(event.get())); // setting twice is setting once
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(Events, ManualResetStaysUntilReset) {
    const Handle event = manualEvent();
    EXPECT_TRUE(SetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(ResetEvent(event.get()));
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(Events, PulseWithNobodyWaitingLeavesNothing) {
    for (const Handle& event : {autoEvent(), autoEvent(true), manualEvent(), manualEvent(true)}) {
        EXPECT_TRUE(PulseEvent(event.get()));
        EXPECT_EQ(WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT});
    }
}

/// Counts the waits on an event that ended by its signal.
struct Waiters {
    explicit Waiters(HANDLE awaited) : event(awaited) {}
    void start(int count) {
        for (int i = 0; i < count; ++i)
            threads.emplace_back(std::make_unique<TestThread>([this] {
                ++waiting;
                if (WaitForSingleObject(event, kLong) == WAIT_OBJECT_0) ++released;
            }));
    }
    /// Repeats an action until so many waits have ended: a pulse reaches only who already waits.
    template <class Action>
    bool until(int count, Action action) {
        for (int i = 0; i < 1000 && released.load() < count; ++i) {
            action();
            Sleep(1);
        }
        return released.load() >= count;
    }
    HANDLE event;
    std::atomic<int> waiting{0};
    std::atomic<int> released{0};
    std::vector<std::unique_ptr<TestThread>> threads;
};

TEST(Events, SetManualReleasesAllWhoWait) {
    const Handle event = manualEvent();
    Waiters waiters(event.get());
    waiters.start(4);
    SetEvent(event.get());
    waiters.threads.clear();
    EXPECT_EQ(waiters.released.load(), 4);
}

TEST(Events, SetAutomaticReleasesOne) {
    const Handle event = autoEvent();
    Waiters waiters(event.get());
    waiters.start(3);
    for (int expected = 1; expected <= 3; ++expected) {
        SetEvent(event.get());
        ASSERT_TRUE(waiters.until(expected, [] {}));
        Sleep(kShort);
        EXPECT_EQ(waiters.released.load(), expected);
    }
}

TEST(Events, PulseReleasesWhoWaitsAndNoOther) {
    const Handle manual = manualEvent();
    Waiters all(manual.get());
    all.start(3);
    EXPECT_TRUE(all.until(3, [&] { PulseEvent(manual.get()); }));
    EXPECT_EQ(WaitForSingleObject(manual.get(), 0), DWORD{WAIT_TIMEOUT});

    const Handle automatic = autoEvent();
    Waiters one(automatic.get());
    one.start(1);
    EXPECT_TRUE(one.until(1, [&] { PulseEvent(automatic.get()); }));
    EXPECT_EQ(WaitForSingleObject(automatic.get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(Events, TimeOutTakesItsTime) {
    const Handle event = autoEvent();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(event.get(), 60), DWORD{WAIT_TIMEOUT});
    const auto spent = std::chrono::steady_clock::now() - start;
    EXPECT_GE(spent, std::chrono::milliseconds(50)); // timers may be a tick early
    EXPECT_LT(spent, std::chrono::seconds(10));
}

TEST(Waits, OnSeveralReportTheFirstThatIsSignalled) {
    const Handle a = autoEvent(), b = autoEvent(true), c = manualEvent(true);
    const HANDLE all[] = {a.get(), b.get(), c.get()};
    EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 0), DWORD{WAIT_OBJECT_0 + 1}); // takes b's signal
    EXPECT_EQ(WaitForMultipleObjects(3, all, FALSE, 0), DWORD{WAIT_OBJECT_0 + 2});
    EXPECT_EQ(WaitForMultipleObjects(2, all, FALSE, 0), DWORD{WAIT_TIMEOUT});
}

TEST(Waits, OnAllTakeNothingUntilAllAreSignalled) {
    const Handle a = autoEvent(true), b = autoEvent();
    const HANDLE both[] = {a.get(), b.get()};
    EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 20), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(a.get(), 0), DWORD{WAIT_OBJECT_0}); // still there
    SetEvent(a.get());
    SetEvent(b.get());
    EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(a.get(), 0), DWORD{WAIT_TIMEOUT}); // both taken
    EXPECT_EQ(WaitForSingleObject(b.get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(Waits, OnAllEndWhenTheLastIsSignalledByAnotherThread) {
    const Handle a = autoEvent(), b = manualEvent();
    TestThread setter([&] {
        SetEvent(a.get());
        Sleep(kShort);
        SetEvent(b.get());
    });
    const HANDLE both[] = {a.get(), b.get()};
    EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, kLong), DWORD{WAIT_OBJECT_0});
}

TEST(Waits, OnAnyEndBySignalOfAnotherThread) {
    const Handle a = autoEvent(), b = autoEvent();
    TestThread setter([&] { SetEvent(b.get()); });
    const HANDLE both[] = {a.get(), b.get()};
    EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, kLong), DWORD{WAIT_OBJECT_0 + 1});
}

TEST(Waits, RefuseWhatCannotBeWaitedOn) {
    const Handle a = autoEvent(true);
    const HANDLE withNull[] = {a.get(), nullptr};
    EXPECT_EQ(WaitForMultipleObjects(2, withNull, FALSE, 0), DWORD{WAIT_FAILED});
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), DWORD{WAIT_FAILED});
    EXPECT_EQ(WaitForMultipleObjects(0, withNull, FALSE, 0), DWORD{WAIT_FAILED});
    const std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, a.get());
    EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, many.data(), FALSE, 0), DWORD{WAIT_FAILED});
    EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, many.data(), FALSE, 0), DWORD{WAIT_OBJECT_0});
}

TEST(Handles, ClosedTwiceFailTheSecondTime) {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    EXPECT_TRUE(CloseHandle(event));
    EXPECT_FALSE(CloseHandle(event));
    EXPECT_FALSE(CloseHandle(nullptr));
}

TEST(Handles, InvalidOnesFailEverywhere) {
    const HANDLE closed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(closed);
    for (const HANDLE bad : {HANDLE{nullptr}, closed}) {
        EXPECT_FALSE(SetEvent(bad));
        EXPECT_FALSE(ResetEvent(bad));
        EXPECT_FALSE(PulseEvent(bad));
        EXPECT_EQ(WaitForSingleObject(bad, 0), DWORD{WAIT_FAILED});
        HANDLE copy = nullptr;
        EXPECT_FALSE(
            DuplicateHandle(GetCurrentProcess(), bad, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
        EXPECT_EQ(SuspendThread(bad), ~DWORD{0});
        EXPECT_EQ(ResumeThread(bad), ~DWORD{0});
        EXPECT_FALSE(SetThreadPriority(bad, 0));
        EXPECT_EQ(GetThreadPriority(bad), THREAD_PRIORITY_ERROR_RETURN);
        EXPECT_FALSE(TerminateThread(bad, 0));
    }
}

TEST(Handles, DuplicatesReferToTheSameEvent) {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE copy = nullptr;
    ASSERT_TRUE(
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    EXPECT_NE(copy, event);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(CloseHandle(event)); // the event lives as long as any handle
    EXPECT_EQ(WaitForSingleObject(copy, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(CloseHandle(copy));
}

TEST(Handles, DuplicatingCanCloseTheSource) {
    const HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    HANDLE copy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &copy, 0, FALSE,
                                DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
    EXPECT_NE(copy, nullptr);
    EXPECT_EQ(WaitForSingleObject(copy, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(CloseHandle(copy));
}

TEST(Handles, AnEventClosedWhileAwaitedStillEndsTheWait) {
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE copy = nullptr;
    ASSERT_TRUE(
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    Waiters waiters(event);
    waiters.start(1);
    while (waiters.waiting.load() == 0)
        Sleep(0);
    Sleep(kShort);
    CloseHandle(event);
    SetEvent(copy);
    waiters.threads.clear();
    EXPECT_EQ(waiters.released.load(), 1);
    CloseHandle(copy);
}

} // namespace
