// The reader/writer lock by thread, its closing, and its scoped guard.
#include "rastrel/access_control.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/platform_support.h"

namespace {

using rastrel_test::eventually;
using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::kShort;
using rastrel_test::TestThread;
using Clock = std::chrono::steady_clock;

/// Another thread that does one thing at a time.
class Other {
public:
    Other()
        : thread_([this] {
              for (;;) {
                  WaitForSingleObject(go_.get(), INFINITE);
                  if (!task_) return;
                  task_();
                  busy_ = false;
              }
          }) {}
    ~Other() {
        EXPECT_TRUE(done());
        start(nullptr);
    }
    void start(std::function<void()> task) {
        task_ = std::move(task);
        busy_ = true;
        SetEvent(go_.get());
    }
    void run(std::function<void()> task) {
        start(std::move(task));
        EXPECT_TRUE(done());
    }
    /// Whether the task ends within a bounded time.
    [[nodiscard]] bool done() {
        return eventually([this] { return !busy_.load(); });
    }
    [[nodiscard]] bool blocked() {
        Sleep(kShort);
        return busy_.load();
    }

private:
    Handle go_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::function<void()> task_;
    std::atomic<bool> busy_{false};
    TestThread thread_;
};

Handle abortEvent(bool set) { return Handle(CreateEventW(nullptr, TRUE, set ? TRUE : FALSE, nullptr)); }

std::size_t length(const AccessNode* node) {
    std::size_t count = 0;
    for (; node != nullptr; node = node->next)
        ++count;
    return count;
}

TEST(AccessControl, StartsOpenAndEmpty) {
    AccessControl control;
    ASSERT_NE(control.lock, nullptr);
    ASSERT_NE(control.changeEvent, nullptr);
    EXPECT_EQ(WaitForSingleObject(*control.changeEvent, 0), DWORD{WAIT_TIMEOUT});
    SetEvent(*control.changeEvent);
    EXPECT_EQ(WaitForSingleObject(*control.changeEvent, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForSingleObject(*control.changeEvent, 0), DWORD{WAIT_TIMEOUT}); // resets by itself
    EXPECT_EQ(control.readerCount, 0U);
    EXPECT_EQ(control.writerCount, 0U);
    EXPECT_EQ(control.closing, 0U);
    EXPECT_EQ(control.readers, nullptr);
    EXPECT_EQ(control.writers, nullptr);
}

TEST(AccessControl, KeepsANodeForEachAccessNewestFirst) {
    AccessControl control;
    Other other;
    std::uint32_t otherId = 0;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    other.run([&] {
        otherId = GetCurrentThreadId();
        EXPECT_TRUE(control.EnterReadAccess(nullptr));
    });
    EXPECT_EQ(control.readerCount, 2U);
    ASSERT_EQ(length(control.readers), 2U);
    EXPECT_EQ(control.readers->threadId, otherId);
    EXPECT_EQ(control.readers->next->threadId, GetCurrentThreadId());
    control.LeaveReadAccess(); // takes the caller's node, not the first
    EXPECT_EQ(control.readerCount, 1U);
    ASSERT_EQ(length(control.readers), 1U);
    EXPECT_EQ(control.readers->threadId, otherId);
    other.run([&] { control.LeaveReadAccess(); });
    EXPECT_EQ(control.readers, nullptr);

    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    EXPECT_EQ(control.writerCount, 1U);
    ASSERT_EQ(length(control.writers), 1U);
    EXPECT_EQ(control.writers->threadId, GetCurrentThreadId());
    control.LeaveWriteAccess();
    EXPECT_EQ(control.writers, nullptr);
    EXPECT_EQ(control.writerCount, 0U);
}

TEST(AccessControl, AWriterEntersWhenAllReadersHaveLeft) {
    AccessControl control;
    Other reader, writer;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    reader.run([&] { EXPECT_TRUE(control.EnterReadAccess(nullptr)); }); // both read at once
    writer.start([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    EXPECT_TRUE(writer.blocked());
    control.LeaveReadAccess();
    EXPECT_TRUE(writer.blocked());
    reader.run([&] { // readers are let in past a waiting writer
        EXPECT_TRUE(control.EnterReadAccess(nullptr));
        control.LeaveReadAccess();
        control.LeaveReadAccess();
    });
    EXPECT_TRUE(writer.done());
    writer.run([&] { control.LeaveWriteAccess(); });
}

TEST(AccessControl, AReaderEntersWhenTheWriterHasLeft) {
    AccessControl control;
    Other reader, writer;
    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    reader.start([&] { EXPECT_TRUE(control.EnterReadAccess(nullptr)); });
    EXPECT_TRUE(reader.blocked());
    control.LeaveWriteAccess();
    EXPECT_TRUE(reader.done());
    writer.start([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    EXPECT_TRUE(writer.blocked());
    reader.run([&] { control.LeaveReadAccess(); });
    EXPECT_TRUE(writer.done());
    writer.run([&] { control.LeaveWriteAccess(); });
}

TEST(AccessControl, AWriterMayEnterAgainAndLeavesEach) {
    AccessControl control;
    Other other;
    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.EnterWriteAccess(nullptr)); // although somebody, the caller, reads
    EXPECT_EQ(control.writerCount, 2U);
    EXPECT_EQ(control.readerCount, 1U);
    control.LeaveWriteAccess();
    control.LeaveReadAccess();
    other.start([&] {
        EXPECT_TRUE(control.EnterReadAccess(nullptr));
        control.LeaveReadAccess();
    });
    EXPECT_TRUE(other.blocked());
    control.LeaveWriteAccess();
    EXPECT_TRUE(other.done());
}

TEST(AccessControl, TheOnlyReaderMayWriteAtOnce) {
    AccessControl control;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    control.LeaveWriteAccess();
    control.LeaveReadAccess();
    control.LeaveReadAccess();
    EXPECT_EQ(control.readerCount, 0U);
    EXPECT_EQ(control.readers, nullptr);
}

TEST(AccessControl, AReaderBesideOthersWaitsToWrite) {
    for (const bool callerIsNewest : {true, false}) {
        AccessControl control;
        Other other, caller;
        const auto enter = [&] { EXPECT_TRUE(control.EnterReadAccess(nullptr)); };
        if (callerIsNewest) {
            other.run(enter);
            caller.run(enter);
        } else {
            caller.run(enter);
            other.run(enter);
        }
        caller.start([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
        EXPECT_TRUE(caller.blocked());
        other.run([&] { control.LeaveReadAccess(); });
        EXPECT_TRUE(caller.done());
        caller.run([&] {
            control.LeaveWriteAccess();
            control.LeaveReadAccess();
        });
    }
}

/// Whether an action ends a wait for the change event. A pulse reaches only who waits already, and on a busy machine
/// the waiter may be late: so more than one attempt.
bool pulses(void (*before)(AccessControl&), void (*action)(AccessControl&), int attempts) {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        AccessControl control;
        before(control);
        Other waiter;
        std::atomic<bool> waiting{false};
        waiter.start([&] {
            waiting = true;
            WaitForSingleObject(*control.changeEvent, kLong);
        });
        EXPECT_TRUE(eventually([&] { return waiting.load(); }));
        Sleep(kShort);
        action(control);
        const bool pulsed = !waiter.blocked();
        SetEvent(*control.changeEvent);
        EXPECT_TRUE(waiter.done());
        if (pulsed) return true;
    }
    return false;
}

TEST(AccessControl, EnteringToReadPulsesAndToWriteDoesNot) {
    constexpr int kOften = 100;
    const auto nothing = [](AccessControl&) {};
    const auto read = [](AccessControl& control) { EXPECT_TRUE(control.EnterReadAccess(nullptr)); };
    const auto write = [](AccessControl& control) { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); };
    EXPECT_TRUE(pulses(nothing, read, kOften));
    EXPECT_FALSE(pulses(nothing, write, 3));
    EXPECT_TRUE(pulses(
        write, [](AccessControl& control) { control.LeaveWriteAccess(); }, kOften));
    EXPECT_TRUE(pulses(
        read, [](AccessControl& control) { control.LeaveReadAccess(); }, kOften));
    EXPECT_TRUE(pulses(
        nothing, [](AccessControl& control) { control.PreDestruct(); }, kOften));
}

TEST(AccessControl, AnAbortEventEndsTheWait) {
    AccessControl control;
    Other writer;
    writer.run([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    const Handle set = abortEvent(true);
    const auto start = Clock::now();
    EXPECT_FALSE(control.EnterReadAccess(set.get()));
    EXPECT_FALSE(control.EnterWriteAccess(set.get()));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));

    const Handle later = abortEvent(false);
    Other reader;
    reader.start([&] { EXPECT_FALSE(control.EnterReadAccess(later.get())); });
    EXPECT_TRUE(reader.blocked());
    SetEvent(later.get());
    EXPECT_TRUE(reader.done());

    // The lock was released, once: everybody can still come and go.
    EXPECT_TRUE(TryEnterCriticalSection(control.lock));
    LeaveCriticalSection(control.lock);
    EXPECT_EQ(control.readerCount, 0U);
    EXPECT_EQ(control.writerCount, 1U);
    writer.run([&] { control.LeaveWriteAccess(); });
    EXPECT_TRUE(control.EnterReadAccess(set.get())); // nothing to wait for: granted, whatever the event says
    control.LeaveReadAccess();
}

TEST(AccessControl, SomethingThatIsNoEventAbortsNothing) {
    AccessControl control;
    Other writer, reader;
    writer.run([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    const HANDLE closed = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    CloseHandle(closed);
    reader.start([&] {
        EXPECT_TRUE(control.EnterReadAccess(closed));
        control.LeaveReadAccess();
    });
    EXPECT_TRUE(reader.blocked());
    writer.run([&] { control.LeaveWriteAccess(); });
    EXPECT_TRUE(reader.done());
}

TEST(AccessControl, SwitchesFromReadingToWriting) {
    AccessControl control;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.SwitchReadToWriteAccess(nullptr));
    EXPECT_EQ(control.readerCount, 0U);
    EXPECT_EQ(control.writerCount, 1U);
    control.LeaveWriteAccess();

    Other reader;
    reader.run([&] { EXPECT_TRUE(control.EnterReadAccess(nullptr)); });
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    const Handle abort = abortEvent(true);
    EXPECT_FALSE(control.SwitchReadToWriteAccess(abort.get()));
    EXPECT_EQ(control.readerCount, 1U); // the caller's read access is gone
    reader.run([&] { control.LeaveReadAccess(); });
}

TEST(AccessControl, SwitchesFromWritingToReading) {
    AccessControl control;
    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    EXPECT_TRUE(control.SwitchWriteToReadAccess(nullptr));
    EXPECT_EQ(control.readerCount, 1U);
    EXPECT_EQ(control.writerCount, 0U);
    control.LeaveReadAccess();

    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
    control.closing = 1;
    EXPECT_FALSE(control.SwitchWriteToReadAccess(nullptr));
    EXPECT_EQ(control.writerCount, 1U); // still writing
    control.LeaveWriteAccess();
}

TEST(AccessControl, LeavesThatDoNotPairLowerTheReadCount) {
    AccessControl control;
    control.LeaveWriteAccess();
    EXPECT_EQ(control.writerCount, 0U);
    control.LeaveReadAccess();
    EXPECT_EQ(control.readerCount, 0xFFFFFFFFU);
    EXPECT_TRUE(control.EnterWriteAccess(nullptr)); // no other thread reads
    control.LeaveWriteAccess();
    control.readerCount = 0;
}

TEST(AccessControl, PreDestructClosesForNewRequests) {
    AccessControl control;
    control.PreDestruct();
    EXPECT_EQ(control.closing, 1U);
    EXPECT_EQ(control.writerCount, 1U);
    ASSERT_NE(control.writers, nullptr);
    EXPECT_EQ(control.writers->threadId, GetCurrentThreadId());
    EXPECT_FALSE(control.EnterReadAccess(nullptr)); // not even for the last writer
    EXPECT_FALSE(control.EnterWriteAccess(nullptr));
    Other other;
    other.run([&] {
        EXPECT_FALSE(control.EnterReadAccess(nullptr));
        EXPECT_FALSE(control.EnterWriteAccess(nullptr));
    });
}

TEST(AccessControl, PreDestructWaitsForHoldersAndFailsWhoWaits) {
    AccessControl control;
    Other writer, waiting, closer;
    writer.run([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    waiting.start([&] { EXPECT_FALSE(control.EnterReadAccess(nullptr)); });
    EXPECT_TRUE(waiting.blocked());
    closer.start([&] { control.PreDestruct(); });
    EXPECT_TRUE(waiting.done());
    EXPECT_TRUE(closer.blocked());
    writer.run([&] { control.LeaveWriteAccess(); }); // holders may still leave
    EXPECT_TRUE(closer.done());
    EXPECT_EQ(control.writerCount, 1U);
}

TEST(AccessControl, PreDestructByAHolderDoesNotWaitForItself) {
    AccessControl control;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    control.PreDestruct();
    EXPECT_EQ(control.writerCount, 1U);
    EXPECT_EQ(control.readerCount, 1U);
}

TEST(AccessControl, IsDestroyedWhenTheHoldersHaveLeft) {
    auto control = std::make_unique<AccessControl>();
    AccessControl* raw = control.get();
    Other reader, destroyer;
    reader.run([&] { EXPECT_TRUE(raw->EnterReadAccess(nullptr)); });
    destroyer.start([&] { control.reset(); });
    EXPECT_TRUE(destroyer.blocked());
    reader.run([&] { raw->LeaveReadAccess(); });
    EXPECT_TRUE(destroyer.done());
}

TEST(AccessControl, IsDestroyedWhileOthersWait) {
    for (const bool closedBefore : {false, true}) {
        auto control = std::make_unique<AccessControl>();
        AccessControl* raw = control.get();
        EXPECT_TRUE(raw->EnterWriteAccess(nullptr)); // the destroyer itself holds the lock
        std::optional<Other> readers[3], writers[3];
        for (auto& reader : readers) {
            reader.emplace();
            reader->start([&] { EXPECT_FALSE(raw->EnterReadAccess(nullptr)); });
        }
        for (auto& writer : writers) {
            writer.emplace();
            writer->start([&] { EXPECT_FALSE(raw->EnterWriteAccess(nullptr)); });
        }
        EXPECT_TRUE(readers[0]->blocked());
        EXPECT_TRUE(writers[0]->blocked());
        if (closedBefore) raw->PreDestruct();
        control.reset();
        for (auto& reader : readers)
            EXPECT_TRUE(reader->done());
        for (auto& writer : writers)
            EXPECT_TRUE(writer->done());
    }
}

TEST(AccessControl, FreesWhatIsStillHeld) { // the leak checker watches
    AccessControl control;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    EXPECT_TRUE(control.EnterWriteAccess(nullptr));
}

TEST(AccessControl, CopiesShareEverything) {
    AccessControl control;
    EXPECT_TRUE(control.EnterReadAccess(nullptr));
    alignas(AccessControl) unsigned char room[sizeof(AccessControl)];
    const auto* copy = new (room) AccessControl(control); // not destroyed: everything is its source's
    EXPECT_EQ(copy->lock, control.lock);
    EXPECT_EQ(copy->changeEvent, control.changeEvent);
    EXPECT_EQ(copy->readerCount, 1U);
    EXPECT_EQ(copy->writerCount, 0U);
    EXPECT_EQ(copy->closing, 0U);
    EXPECT_EQ(copy->readers, control.readers);
    EXPECT_EQ(copy->writers, nullptr);
    control.LeaveReadAccess();
}

TEST(AccessControl, AMissedPulseCostsOneLook) {
    AccessControl control;
    Other reader, writer;
    writer.run([&] { EXPECT_TRUE(control.EnterWriteAccess(nullptr)); });
    reader.start([&] { EXPECT_TRUE(control.EnterReadAccess(nullptr)); });
    EXPECT_TRUE(reader.blocked());
    EnterCriticalSection(control.lock); // as if the writer left with a pulse that nobody was there for
    AccessNode* const held = std::exchange(control.writers, nullptr);
    control.writerCount = 0;
    LeaveCriticalSection(control.lock);
    EXPECT_TRUE(reader.done());
    EnterCriticalSection(control.lock);
    control.writers = held; // freed with the lock
    LeaveCriticalSection(control.lock);
    reader.run([&] { control.LeaveReadAccess(); });
    writer.run([&] { control.LeaveWriteAccess(); });
}

TEST(AccessControl, IsDestroyedThroughItsOneVirtualOperation) {
    struct Derived : AccessControl {
        explicit Derived(bool& flag) : destroyed(flag) {}
        ~Derived() override { destroyed = true; }
        bool& destroyed;
    };
    bool destroyed = false;
    const AccessControl* control = new Derived(destroyed);
    delete control;
    EXPECT_TRUE(destroyed);
}

TEST(AccessControl, ReadersAreNeverBesideAWriter) {
    AccessControl control;
    std::atomic<int> reading{0}, writing{0}, wrong{0};
    std::uint64_t guarded = 0;
    std::atomic<std::uint64_t> written{0};
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for (unsigned seed = 1; seed <= 16; ++seed)
            threads.push_back(std::make_unique<TestThread>([&, seed] {
                std::uint32_t random = seed * 2654435761U;
                for (int round = 0; round < 60; ++round) {
                    random = random * 1664525U + 1013904223U;
                    if (random >> 30 == 0) {
                        const FuncAccess access(&control, false);
                        if (++writing != 1 || reading.load() != 0) ++wrong;
                        ++guarded;
                        ++written;
                        --writing;
                    } else {
                        const FuncAccess access(&control, true);
                        ++reading;
                        if (writing.load() != 0 || guarded > written.load()) ++wrong;
                        --reading;
                    }
                }
            }));
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(guarded, written.load());
    EXPECT_EQ(control.readerCount, 0U);
    EXPECT_EQ(control.writerCount, 0U);
    EXPECT_EQ(control.readers, nullptr);
    EXPECT_EQ(control.writers, nullptr);
}

TEST(FuncAccess, HoldsForItsLifetime) {
    AccessControl control;
    for (const bool read : {true, false}) {
        {
            const FuncAccess access(&control, read);
            EXPECT_EQ(access.control, &control);
            EXPECT_EQ(access.read, read ? 1 : 0);
            EXPECT_EQ(control.readerCount, read ? 1U : 0U);
            EXPECT_EQ(control.writerCount, read ? 0U : 1U);
        }
        EXPECT_EQ(control.readerCount, 0U);
        EXPECT_EQ(control.writerCount, 0U);
    }
}

TEST(FuncAccess, OnAClosingLockHoldsAndLeavesNothing) {
    AccessControl control;
    control.PreDestruct();
    for (const bool read : {true, false}) {
        {
            FuncAccess access(&control, read);
            EXPECT_EQ(access.control, nullptr);
            EXPECT_TRUE(access.SwitchReadToWrite());
            EXPECT_TRUE(access.SwitchWriteToRead());
        }
        EXPECT_EQ(control.readerCount, 0U);
        EXPECT_EQ(control.writerCount, 1U); // the closer's
    }
    FuncAccess nothing(nullptr, true);
    EXPECT_EQ(nothing.control, nullptr);
    EXPECT_TRUE(nothing.SwitchReadToWrite());
}

TEST(FuncAccess, Switches) {
    AccessControl control;
    {
        FuncAccess access(&control, true);
        EXPECT_TRUE(access.SwitchWriteToRead()); // reads already
        EXPECT_EQ(control.readerCount, 1U);
        EXPECT_TRUE(access.SwitchReadToWrite());
        EXPECT_EQ(access.read, 0);
        EXPECT_EQ(control.readerCount, 0U);
        EXPECT_EQ(control.writerCount, 1U);
        EXPECT_TRUE(access.SwitchReadToWrite()); // writes already
        EXPECT_EQ(control.writerCount, 1U);
        EXPECT_TRUE(access.SwitchWriteToRead());
        EXPECT_EQ(access.read, 1);
        EXPECT_EQ(control.readerCount, 1U);
        EXPECT_EQ(control.writerCount, 0U);
    }
    EXPECT_EQ(control.readerCount, 0U);
}

TEST(FuncAccess, AFailedSwitchToWritingLeavesAReadTooMany) {
    AccessControl control;
    {
        FuncAccess access(&control, true);
        control.closing = 1;
        EXPECT_FALSE(access.SwitchReadToWrite());
        EXPECT_EQ(access.control, &control);
        EXPECT_EQ(access.read, 1);
        EXPECT_EQ(control.readerCount, 0U); // holds nothing
    }
    EXPECT_EQ(control.readerCount, 0xFFFFFFFFU); // the destructor left once more
    control.readerCount = 0;
}

TEST(FuncAccess, AFailedSwitchToReadingGoesOnWriting) {
    AccessControl control;
    {
        FuncAccess access(&control, false);
        control.closing = 1;
        EXPECT_FALSE(access.SwitchWriteToRead());
        EXPECT_EQ(access.read, 0);
        EXPECT_EQ(control.writerCount, 1U);
    }
    EXPECT_EQ(control.writerCount, 0U);
}

TEST(FuncAccess, CopiesHoldTheSame) {
    AccessControl control;
    const FuncAccess access(&control, true);
    alignas(FuncAccess) unsigned char room[sizeof(FuncAccess)];
    const auto* copy = new (room) FuncAccess(access); // not destroyed: one access, left once
    EXPECT_EQ(copy->control, &control);
    EXPECT_EQ(copy->read, 1);
}

} // namespace
