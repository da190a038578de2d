// The worker thread's states, status codes, priorities, event and end.
#include "rastrel/thread.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>

#include "support/platform_support.h"

namespace {

using rastrel_test::eventually;
using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::kShort;
using rastrel_test::TestThread;

template <class T>
T peek(T& field) {
    return std::atomic_ref(field).load();
}

/// A worker that runs until it is stopped, and notes what was called on it, by whom.
class Looper : public Thread {
public:
    ~Looper() override { ExitAsyncProceedLoop(false, true); }
    __int64 ProceedLoop(bool argument) override {
        argumentSeen = argument ? 1 : 0;
        workerId = stGetThreadID();
        while (!stop.load()) {
            ++rounds;
            Sleep(0);
        }
        return value;
    }
    void StopProceedLoop() override {
        note("stop");
        if (obeys) stop = true;
    }
    void Halt() override { note("halt"); }
    void RaiseEvent() override {
        note("raise");
        Thread::RaiseEvent();
    }
    void note(const char* what) {
        const std::lock_guard guard(lock);
        calls += calls.empty() ? what : std::string(" ") + what;
    }
    [[nodiscard]] bool runs() {
        const auto before = rounds.load();
        return eventually([&] { return rounds.load() > before + 1; });
    }
    [[nodiscard]] bool rests() {
        const auto before = rounds.load();
        ::Sleep(kShort);
        return rounds.load() == before;
    }
    [[nodiscard]] bool idle() { return peek(threadHandle) == nullptr && peek(threadId) == 0; }

    std::mutex lock;
    std::string calls;
    std::atomic<bool> stop{false};
    std::atomic<bool> obeys{true};
    std::atomic<int> argumentSeen{-1};
    std::atomic<std::uint32_t> workerId{0};
    std::atomic<std::uint64_t> rounds{0};
    __int64 value = 0x123456789ABCDEF0;
};

TEST(Thread, StartsIdle) {
    Thread thread;
    EXPECT_EQ(thread.result, 0U);
    EXPECT_EQ(thread.threadHandle, nullptr);
    EXPECT_EQ(thread.threadId, 0U);
    EXPECT_EQ(thread.loopArgument, 0);
    EXPECT_NE(thread.event, nullptr);
    EXPECT_EQ(thread.waitEvent, nullptr);
    EXPECT_EQ(thread.suspended, 0U);
    EXPECT_EQ(thread.priorityLevel, 0U);
    EXPECT_EQ(WaitForSingleObject(thread.event, 0), DWORD{WAIT_TIMEOUT});
    SetEvent(thread.event);
    EXPECT_EQ(WaitForSingleObject(thread.event, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(thread.event, 0), DWORD{WAIT_TIMEOUT}); // resets by itself
    EXPECT_EQ(thread.ProceedLoop(true), 0);
}

TEST(Thread, HasItsVersion) {
    EXPECT_STREQ(Thread::GetVersion(), "1.00 prerelease");
    EXPECT_EQ(Thread::stGetThreadID(), GetCurrentThreadId());
}

TEST(Thread, RunsTheLoopWithTheArgumentAndKeepsItsValue) {
    for (const bool argument : {true, false}) {
        Looper thread;
        thread.priorityLevel = 7;
        ASSERT_EQ(thread.BeginAsyncProceedLoop(argument), 0U);
        EXPECT_EQ(thread.priorityLevel, 0U);
        EXPECT_EQ(thread.loopArgument, argument ? 1 : 0);
        EXPECT_NE(peek(thread.threadHandle), nullptr);
        ASSERT_TRUE(thread.runs());
        EXPECT_EQ(peek(thread.threadId), thread.workerId.load());
        EXPECT_NE(thread.workerId.load(), GetCurrentThreadId());
        EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0x9ABCDEF0U); // the low 32 bits
        EXPECT_EQ(thread.result, 0x123456789ABCDEF0U);
        EXPECT_EQ(thread.argumentSeen.load(), argument ? 1 : 0);
        EXPECT_TRUE(thread.idle());
    }
}

TEST(Thread, TheBaseLoopEndsByItself) {
    Thread thread;
    thread.result = 5;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(true), 0U);
    EXPECT_TRUE(eventually([&] { return peek(thread.threadHandle) == nullptr; }));
    EXPECT_EQ(peek(thread.threadId), 0U);
    EXPECT_EQ(peek(thread.result), 0U);
}

TEST(Thread, RefusesASecondWorker) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    EXPECT_EQ(thread.BeginAsyncProceedLoop(true), 0xF0000001U);
    EXPECT_EQ(thread.loopArgument, 0);
    thread.ExitAsyncProceedLoop(false, false);

    Looper marked; // either mark is enough
    marked.threadId = 1;
    EXPECT_EQ(marked.BeginAsyncProceedLoop(false), 0xF0000001U);
    marked.threadId = 0;
}

TEST(Thread, RunsAgainAfterItsEnd) {
    Looper thread;
    for (int i = 0; i < 3; ++i) {
        thread.stop = false;
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(thread.runs());
        EXPECT_EQ(thread.ExitAsyncProceedLoop(true, false), 0x9ABCDEF0U);
    }
}

TEST(Thread, AWorkerThatEndsAtOnceLeavesNoHandle) {
    Thread thread;
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(eventually([&] { return peek(thread.threadHandle) == nullptr; }));
    }
}

TEST(Thread, MayBeDestroyedAsSoonAsTheHandleIsGone) {
    for (int i = 0; i < 200; ++i) {
        auto thread = std::make_unique<Thread>();
        ASSERT_EQ(thread->BeginAsyncProceedLoop(false), 0U);
        while (peek(thread->threadHandle) != nullptr)
            Thread::TakeNext();
        thread.reset();
    }
}

TEST(ThreadExit, OfAnIdleThreadCallsNothing) {
    Looper thread;
    for (const bool skipHalt : {false, true})
        for (const bool force : {false, true})
            EXPECT_EQ(thread.ExitAsyncProceedLoop(skipHalt, force), 0U);
    EXPECT_EQ(thread.calls, "");
}

TEST(ThreadExit, CallsInOrder) {
    struct Case {
        bool skipHalt, force;
        const char* calls;
    };
    for (const Case& c : {Case{false, false, "halt stop raise"}, Case{true, false, "stop raise"},
                          Case{true, true, "halt stop raise"}, Case{false, true, "halt halt stop raise"}}) {
        Looper thread;
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(thread.runs());
        EXPECT_EQ(thread.ExitAsyncProceedLoop(c.skipHalt, c.force), c.force ? 0U : 0x9ABCDEF0U);
        EXPECT_EQ(thread.calls, c.calls);
        EXPECT_TRUE(thread.idle());
    }
}

TEST(ThreadExit, RaisesTheBasesEvent) {
    class Waiting : public Thread {
    public:
        ~Waiting() override { ExitAsyncProceedLoop(false, true); }
        __int64 ProceedLoop(bool) override {
            WaitForEvent(kLong);
            return 77;
        }
    };
    Waiting thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    Sleep(5);
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 77U);
}

TEST(ThreadExit, ForcedTerminatesAWorkerThatDoesNotLeave) {
    Looper thread;
    thread.obeys = false;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    thread.result = 5;
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, true), 0U);
    EXPECT_TRUE(thread.idle());
    EXPECT_TRUE(thread.rests());
    EXPECT_EQ(thread.result, 5U); // the loop never returned
    thread.obeys = true;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U); // a new worker
    EXPECT_TRUE(thread.runs());
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0x9ABCDEF0U);
}

TEST(ThreadExit, ForcedLetsAWorkerLeaveThatHasSeenItsRequest) {
    Looper thread;
    for (int i = 0; i < 50; ++i) {
        thread.stop = false;
        thread.result = 0;
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(thread.runs());
        EXPECT_EQ(thread.ExitAsyncProceedLoop(false, true), 0U);
        EXPECT_EQ(thread.result, 0x123456789ABCDEF0U); // it came to its end
        EXPECT_TRUE(thread.idle());
    }
}

TEST(ThreadExit, OfASuspendedWorkerIsForced) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    ASSERT_EQ(thread.Suspend(), 0U);
    const auto rounds = thread.rounds.load();
    EXPECT_EQ(thread.ExitAsyncProceedLoop(true, false), 0U);
    EXPECT_EQ(thread.calls, "halt stop raise"); // the forced call of Halt, although it was to be skipped
    EXPECT_TRUE(thread.idle());
    EXPECT_EQ(thread.rounds.load(), rounds);
    thread.stop = false;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    EXPECT_TRUE(thread.runs()); // the new worker is not suspended
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0x9ABCDEF0U);
}

TEST(ThreadExit, TellsWhenTheWorkerWasTakenAway) {
    class Losing : public Looper {
    public:
        ~Losing() override { ExitAsyncProceedLoop(false, true); }
        void Halt() override { lost = std::atomic_ref(threadHandle).exchange(nullptr); }
        HANDLE lost = nullptr;
    };
    Losing thread;
    thread.obeys = false;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    EXPECT_EQ(thread.ExitAsyncProceedLoop(true, true), 0xF0000002U);
    std::atomic_ref(thread.threadHandle).store(thread.lost);
    thread.stop = true;
    EXPECT_EQ(thread.ExitAsyncProceedLoop(true, false), 0x9ABCDEF0U);
}

TEST(ThreadExit, TellsWhenTheWorkerCannotBeTerminated) {
    const Handle noThread(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    Looper thread;
    thread.threadHandle = noThread.get();
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, true), 0xF0000003U);
    EXPECT_EQ(thread.threadHandle, noThread.get());
    thread.threadHandle = nullptr;
}

TEST(ThreadExit, SeesAWorkerThatOthersEnded) {
    Looper thread;
    thread.obeys = false;
    thread.value = 3;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    EXPECT_TRUE(TerminateThread(thread.threadHandle, 0));
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
    EXPECT_TRUE(thread.idle());
}

TEST(ThreadDestructor, ShutsTheWorkerDownWithTheOverridesInForce) {
    struct Watched : Looper {
        explicit Watched(std::string& calledOnIt) : log(calledOnIt) {}
        ~Watched() override {
            ExitAsyncProceedLoop(false, true);
            log = calls;
        }
        std::string& log;
    };
    std::string log;
    {
        Watched thread(log);
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(thread.runs());
    }
    EXPECT_EQ(log, "halt halt stop raise");
}

TEST(ThreadDestructor, TerminatesWhatStillRuns) {
    static std::atomic<bool> running;
    struct Endless : Thread {
        __int64 ProceedLoop(bool) override {
            running = true;
            ::Sleep(INFINITE);
            running = false;
            return 0;
        }
    };
    {
        Endless thread;
        ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
        ASSERT_TRUE(eventually([] { return running.load(); }));
    }
    EXPECT_TRUE(running.load());
}

TEST(ThreadDestructor, ClosesTheEvent) {
    HANDLE event = nullptr;
    {
        const Thread thread;
        event = thread.event;
        EXPECT_TRUE(SetEvent(event));
    }
    EXPECT_FALSE(SetEvent(event));
}

TEST(ThreadDestructor, WakesWhoWaitsForTheThread) {
    auto thread = std::make_unique<Thread>();
    Thread* raw = thread.get();
    const TestThread waiter([raw] { raw->WaitForThread(kLong); });
    ASSERT_TRUE(eventually([&] { return peek(raw->waitEvent) != nullptr; }));
    thread.reset();
    EXPECT_EQ(WaitForSingleObject(waiter.handle(), kLong), DWORD{WAIT_OBJECT_0});
}

TEST(ThreadSuspension, StopsAndGoesOn) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    EXPECT_EQ(thread.Resume(), 0U); // not suspended: nothing to do
    EXPECT_EQ(thread.Suspend(), 0U);
    EXPECT_EQ(thread.suspended, 1U);
    EXPECT_TRUE(thread.rests());
    EXPECT_EQ(thread.Suspend(), 0U); // is suspended: not once more
    EXPECT_EQ(thread.Resume(), 0U);
    EXPECT_EQ(thread.suspended, 0U);
    EXPECT_TRUE(thread.runs());
    thread.ExitAsyncProceedLoop(false, false);
}

TEST(ThreadSuspension, OfTheCallerItself) {
    std::atomic<std::uint32_t> status{1};
    std::atomic<int> step{0};
    const TestThread thread([&] {
        EXPECT_EQ(Thread::stResume(), 0U); // not suspended, no failure
        step = 1;
        status = Thread::stSuspend();
        step = 2;
    });
    ASSERT_TRUE(eventually([&] { return step.load() == 1; }));
    EXPECT_TRUE(eventually([&] { return ResumeThread(thread.handle()) == 1; }));
    EXPECT_TRUE(eventually([&] { return step.load() == 2; }));
    EXPECT_EQ(status.load(), 0U);
}

TEST(ThreadFailures, WithoutAWorker) {
    Thread thread;
    EXPECT_EQ(thread.PushPriority(), 0xF0000004U);
    EXPECT_EQ(thread.PopPriority(), 0xF0000004U);
    EXPECT_EQ(thread.GoIdle(), 0xF0000004U);
    EXPECT_EQ(thread.GoNormal(), 0xF0000004U); // although the level is 0
    EXPECT_EQ(thread.GoFast(), 0xF0000004U);
    EXPECT_EQ(thread.TimeCritical(), 0xF0000004U);
    EXPECT_EQ(thread.Suspend(), 0xF0000004U);
    EXPECT_EQ(thread.Resume(), 0xF0000004U);
    EXPECT_EQ(thread.priorityLevel, 0U);
}

// The optimiser must not see that it is null, nor the sanitizer complain: that it is answered is the point.
#define RASTREL_TEST_NULL_CALLS __attribute__((no_sanitize("undefined"), noinline))

RASTREL_TEST_NULL_CALLS void callOnNull(Thread* thread) {
    EXPECT_EQ(thread->BeginAsyncProceedLoop(true), 0xF0000004U);
    EXPECT_EQ(thread->ExitAsyncProceedLoop(false, true), 0xF0000004U);
    EXPECT_EQ(thread->PushPriority(), 0xF0000004U);
    EXPECT_EQ(thread->PopPriority(), 0xF0000004U);
    EXPECT_EQ(thread->GoIdle(), 0xF0000004U);
    EXPECT_EQ(thread->GoNormal(), 0xF0000004U);
    EXPECT_EQ(thread->GoFast(), 0xF0000004U);
    EXPECT_EQ(thread->TimeCritical(), 0xF0000004U);
    EXPECT_EQ(thread->Suspend(), 0xF0000004U);
    EXPECT_EQ(thread->Resume(), 0xF0000004U);
}

TEST(ThreadFailures, OnANullObject) {
    Thread* volatile none = nullptr;
    callOnNull(none);
}

TEST(ThreadFailures, WhenTheSystemRefuses) {
    const Handle noThread(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    Thread thread;
    thread.threadHandle = noThread.get();
    EXPECT_EQ(thread.PushPriority(), 0xF0000004U);
    EXPECT_EQ(thread.PopPriority(), 0xF0000004U);
    EXPECT_EQ(thread.GoIdle(), 0xF0000004U);
    EXPECT_EQ(thread.GoFast(), 0xF0000004U);
    EXPECT_EQ(thread.TimeCritical(), 0xF0000004U);
    EXPECT_EQ(thread.GoNormal(), 0U); // the level is 0: the system is not asked
    thread.priorityLevel = 15;
    EXPECT_EQ(thread.GoNormal(), 0xF0000004U);
    EXPECT_EQ(thread.Suspend(), 0xF0000004U);
    EXPECT_EQ(thread.suspended, 0U);
    thread.suspended = 1;
    EXPECT_EQ(thread.Resume(), 0xF0000004U);
    thread.suspended = 0;
    thread.threadHandle = nullptr;
}

TEST(ThreadPriority, StepsWithinItsLimits) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    const auto priority = [&] { return GetThreadPriority(thread.threadHandle); };
    EXPECT_EQ(priority(), 0);
    EXPECT_EQ(thread.PushPriority(), 0U);
    EXPECT_EQ(priority(), 1);
    EXPECT_EQ(thread.PushPriority(), 0xF0000004U); // only from 0 or below
    EXPECT_EQ(priority(), 1);
    EXPECT_EQ(thread.PopPriority(), 0U);
    EXPECT_EQ(priority(), 0);
    EXPECT_EQ(thread.PopPriority(), 0U);
    EXPECT_EQ(priority(), -1);
    EXPECT_EQ(thread.PopPriority(), 0xF0000004U); // only from 0 or above
    EXPECT_EQ(thread.PushPriority(), 0U);
    EXPECT_EQ(priority(), 0);
    EXPECT_EQ(thread.GoIdle(), 0U);
    EXPECT_EQ(thread.PushPriority(), 0xF0000004U); // -14 is no priority
    EXPECT_EQ(priority(), -15);
    thread.ExitAsyncProceedLoop(false, false);
}

TEST(ThreadPriority, LevelsAreKeptAndNotSetTwice) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    const auto priority = [&] { return GetThreadPriority(thread.threadHandle); };
    EXPECT_EQ(thread.GoFast(), 0U);
    EXPECT_EQ(thread.priorityLevel, 1U);
    EXPECT_EQ(priority(), 1);
    EXPECT_EQ(thread.TimeCritical(), 0U);
    EXPECT_EQ(thread.priorityLevel, 15U);
    EXPECT_EQ(priority(), 15);
    SetThreadPriority(thread.threadHandle, -2);
    EXPECT_EQ(thread.TimeCritical(), 0U); // the level is there already: nothing is done
    EXPECT_EQ(priority(), -2);
    EXPECT_EQ(thread.GoNormal(), 0U);
    EXPECT_EQ(thread.priorityLevel, 0U);
    EXPECT_EQ(priority(), 0);
    SetThreadPriority(thread.threadHandle, -2);
    EXPECT_EQ(thread.GoNormal(), 0U);
    EXPECT_EQ(priority(), -2);
    EXPECT_EQ(thread.GoFast(), 0U);
    SetThreadPriority(thread.threadHandle, -2);
    EXPECT_EQ(thread.GoFast(), 0U);
    EXPECT_EQ(priority(), -2);
    thread.ExitAsyncProceedLoop(false, false);
}

TEST(ThreadPriority, GoNormalAfterGoIdleLeavesTheWorkerIdle) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    EXPECT_EQ(thread.GoIdle(), 0U);
    EXPECT_EQ(thread.priorityLevel, 0U);
    EXPECT_EQ(thread.GoNormal(), 0U);
    EXPECT_EQ(GetThreadPriority(thread.threadHandle), -15);
    EXPECT_EQ(thread.GoFast(), 0U);
    EXPECT_EQ(thread.GoIdle(), 0U);
    EXPECT_EQ(thread.priorityLevel, 1U); // left as it was
    EXPECT_EQ(thread.GoNormal(), 0U);
    EXPECT_EQ(GetThreadPriority(thread.threadHandle), 0);
    thread.ExitAsyncProceedLoop(false, false);
}

TEST(ThreadPriority, OfTheCaller) {
    const TestThread thread([] {
        const auto priority = [] { return GetThreadPriority(GetCurrentThread()); };
        EXPECT_EQ(Thread::stPushPriority(), 0U);
        EXPECT_EQ(priority(), 1);
        EXPECT_EQ(Thread::stPushPriority(), 0U); // allowed below 2
        EXPECT_EQ(priority(), 2);
        EXPECT_EQ(Thread::stPushPriority(), 0xF0000004U);
        for (const int expected : {1, 0, -1, -2}) {
            EXPECT_EQ(Thread::stPopPriority(), 0U);
            EXPECT_EQ(priority(), expected);
        }
        EXPECT_EQ(Thread::stPopPriority(), 0xF0000004U); // allowed from -1
        EXPECT_EQ(priority(), -2);
        EXPECT_EQ(Thread::stGoIdle(), 0U);
        EXPECT_EQ(priority(), -15);
        EXPECT_EQ(Thread::stPushPriority(), 0xF0000004U); // -14 is no priority
        EXPECT_EQ(Thread::stTimeCritical(), 0U);
        EXPECT_EQ(priority(), 15);
        EXPECT_EQ(Thread::stPopPriority(), 0xF0000004U); // nor is 14
        EXPECT_EQ(Thread::stGoNormal(), 0U);
        EXPECT_EQ(priority(), 0);
    });
    EXPECT_EQ(WaitForSingleObject(thread.handle(), kLong), DWORD{WAIT_OBJECT_0});
}

/// A worker that waits for its event as often as it is let.
class EventWaiter : public Thread {
public:
    ~EventWaiter() override { ExitAsyncProceedLoop(false, true); }
    __int64 ProceedLoop(bool) override {
        WaitForEvent(timeout);
        ++woken;
        return 0;
    }
    unsigned long timeout = kLong;
    std::atomic<int> woken{0};
};

TEST(ThreadEvent, RaisedEndsTheWorkersWait) {
    EventWaiter thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    Sleep(5);
    EXPECT_EQ(thread.woken.load(), 0);
    const HANDLE event = thread.event;
    thread.RaiseEvent();
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
    EXPECT_EQ(thread.woken.load(), 1);
    EXPECT_EQ(thread.event, event); // the value stays, closed
    EXPECT_FALSE(SetEvent(event));
}

TEST(ThreadEvent, WaitEndsByTime) {
    EventWaiter thread;
    thread.timeout = 1;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    EXPECT_TRUE(eventually([&] { return thread.woken.load() == 1; }));
}

TEST(ThreadEvent, IsOneShot) {
    EventWaiter thread;
    thread.RaiseEvent();
    thread.RaiseEvent();
    const auto start = std::chrono::steady_clock::now();
    thread.WaitForEvent(kLong); // cannot wait any more
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kLong / 2));
}

TEST(ThreadEvent, AClosedValueIsNotTouchedAgain) {
    std::vector<HANDLE> others;
    {
        Thread thread;
        thread.RaiseEvent();
        // The system may give the value to another handle: that one must come to no harm.
        for (int i = 0; i < 64; ++i)
            others.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
        thread.RaiseEvent();
        for (const HANDLE other : others)
            EXPECT_EQ(WaitForSingleObject(other, 0), DWORD{WAIT_TIMEOUT});
        thread.WaitForEvent(0);
    }
    for (const HANDLE other : others)
        EXPECT_TRUE(CloseHandle(other));
}

TEST(ThreadEvent, WaitForThreadIsWokenByTheWorkersWait) {
    EventWaiter thread;
    const TestThread waiter([&] { thread.WaitForThread(kLong); });
    ASSERT_TRUE(eventually([&] { return peek(thread.waitEvent) != nullptr; }));
    EXPECT_FALSE(waiter.ended());
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    thread.RaiseEvent();
    EXPECT_EQ(WaitForSingleObject(waiter.handle(), kLong), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(peek(thread.waitEvent), nullptr);
}

TEST(ThreadEvent, WaitForThreadEndsByTime) {
    Thread thread;
    thread.WaitForThread(1);
    EXPECT_EQ(thread.waitEvent, nullptr);
    thread.WaitForThread(0);
    EXPECT_EQ(thread.waitEvent, nullptr);
}

TEST(ThreadEvent, OnlyOneWaitsForTheThread) {
    Thread thread;
    const Handle others(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    thread.waitEvent = others.get();
    thread.WaitForThread(INFINITE); // does not wait: somebody does
    EXPECT_EQ(thread.waitEvent, others.get());
    thread.WaitForEvent(0);
    EXPECT_EQ(WaitForSingleObject(others.get(), 0), DWORD{WAIT_OBJECT_0}); // woken
    thread.waitEvent = nullptr;

    const HANDLE event = thread.event;
    thread.event = nullptr;
    thread.WaitForThread(INFINITE); // no event: does not wait
    thread.event = event;
}

TEST(ThreadEvent, HandShakesManyTimes) {
    class Repeating : public Thread {
    public:
        ~Repeating() override { ExitAsyncProceedLoop(false, true); }
        __int64 ProceedLoop(bool) override {
            while (!stop.load())
                WaitForEvent(1);
            return 0;
        }
        void StopProceedLoop() override { stop = true; }
        std::atomic<bool> stop{false};
    };
    Repeating thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    for (int i = 0; i < 100; ++i)
        thread.WaitForThread(i % 3 == 0 ? 1 : kLong);
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
}

TEST(ThreadCopy, HasTheSameFields) {
    Thread thread;
    thread.result = 1;
    thread.loopArgument = 1;
    thread.suspended = 1;
    thread.priorityLevel = 15;
    Thread copy(thread);
    Thread assigned;
    CloseHandle(assigned.event);
    assigned = thread;
    for (Thread* other : {&copy, &assigned}) {
        EXPECT_EQ(other->result, 1U);
        EXPECT_EQ(other->threadHandle, nullptr);
        EXPECT_EQ(other->threadId, 0U);
        EXPECT_EQ(other->loopArgument, 1);
        EXPECT_EQ(other->event, thread.event);
        EXPECT_EQ(other->waitEvent, nullptr);
        EXPECT_EQ(other->suspended, 1U);
        EXPECT_EQ(other->priorityLevel, 15U);
        other->event = nullptr; // one of them closes it
    }
}

TEST(ThreadCopy, ControlsTheSameWorker) {
    Looper thread;
    ASSERT_EQ(thread.BeginAsyncProceedLoop(false), 0U);
    ASSERT_TRUE(thread.runs());
    {
        Thread copy(thread);
        EXPECT_EQ(copy.GoFast(), 0U);
        EXPECT_EQ(GetThreadPriority(thread.threadHandle), 1);
        EXPECT_EQ(copy.Suspend(), 0U);
        EXPECT_TRUE(thread.rests());
        EXPECT_EQ(copy.Resume(), 0U);
        EXPECT_TRUE(thread.runs());
        copy.threadHandle = nullptr; // or its destructor would end the worker
        copy.event = nullptr;
    }
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0x9ABCDEF0U);
}

TEST(ThreadStatics, SleepAndGiveWay) {
    const auto start = std::chrono::steady_clock::now();
    Thread::Sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(25));
    Thread::TakeNext();
}

/// The operations' places in the table are part of the interface.
TEST(ThreadSlots, ComeInTheirOrder) {
    class Slots : public Thread {
    public:
        __int64 ProceedLoop(bool) override { return called = 1; }
        void StopProceedLoop() override { called = 2; }
        void Halt() override { called = 3; }
        void WaitForThread(unsigned long) override { called = 4; }
        void WaitForEvent(unsigned long) override { called = 5; }
        void RaiseEvent() override { called = 6; }
        int called = 0;
    };
    // A pointer to a virtual member holds 1 + the byte offset of its entry; the destructor takes the first two.
    const auto slot = [](auto member) {
        std::uintptr_t bits;
        static_assert(sizeof member >= sizeof bits);
        std::memcpy(&bits, &member, sizeof bits);
        return (bits - 1) / sizeof(void*) - 1;
    };
    EXPECT_EQ(slot(&Thread::ProceedLoop), 1U);
    EXPECT_EQ(slot(&Thread::StopProceedLoop), 2U);
    EXPECT_EQ(slot(&Thread::Halt), 3U);
    EXPECT_EQ(slot(&Thread::WaitForThread), 4U);
    EXPECT_EQ(slot(&Thread::WaitForEvent), 5U);
    EXPECT_EQ(slot(&Thread::RaiseEvent), 6U);
}

} // namespace
