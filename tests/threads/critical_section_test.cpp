// The recursive lock whose state several objects may share.
#include "rastrel/critical_section.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/platform_support.h"

namespace {

using rastrel_test::eventually;
using rastrel_test::kShort;
using rastrel_test::TestThread;

/// Whether another thread gets in within a short time. It is let in, at last, when the lock is free.
class Contender {
public:
    explicit Contender(CriticalSection& section)
        : thread_([this, &section] {
              section.Enter();
              entered_ = true;
              section.Leave();
          }) {}
    [[nodiscard]] bool waits() {
        Sleep(kShort);
        return !entered_.load();
    }
    [[nodiscard]] bool enters() {
        return eventually([this] { return entered_.load(); });
    }

private:
    std::atomic<bool> entered_{false};
    TestThread thread_;
};

TEST(CriticalSection, IsFreeAfterAsManyLeavesAsEnters) {
    CriticalSection section;
    for (int i = 0; i < 3; ++i)
        section.Enter();
    section.Leave();
    section.Leave();
    Contender other(section);
    EXPECT_TRUE(other.waits());
    section.Leave();
    EXPECT_TRUE(other.enters());
}

TEST(CriticalSection, LeaveByAnotherThreadDoesNothing) {
    CriticalSection section;
    section.Leave(); // nor by one that never entered
    for (int i = 0; i < 3; ++i)
        section.Enter();
    for (int i = 0; i < 3; ++i) {
        {
            const TestThread other([&] { section.Leave(); });
        }
        Contender contender(section);
        EXPECT_TRUE(contender.waits());
        for (int k = 0; k < 3; ++k)
            section.Leave();
        EXPECT_TRUE(contender.enters());
        for (int k = 0; k < 3; ++k)
            section.Enter();
    }
    for (int i = 0; i < 3; ++i)
        section.Leave();
    section.Leave(); // one too many
    section.Enter();
    Contender contender(section);
    EXPECT_TRUE(contender.waits());
    section.Leave();
    EXPECT_TRUE(contender.enters());
}

TEST(CriticalSection, ExcludesAndCounts) {
    CriticalSection section;
    constexpr int kThreads = 4, kRounds = 3000;
    int count = 0;
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.push_back(std::make_unique<TestThread>([&] {
                for (int round = 0; round < kRounds; ++round) {
                    section.Enter();
                    section.Enter();
                    ++count;
                    section.Leave();
                    section.Leave();
                }
            }));
    }
    EXPECT_EQ(count, kThreads * kRounds);
}

TEST(CriticalSection, CloneKeepsTheLockAfterTheFirstOwnersEnd) {
    std::optional<CriticalSection> first(std::in_place);
    CriticalSection clone;
    clone.Clone(*first);
    first->Enter();
    {
        Contender other(clone); // one lock
        EXPECT_TRUE(other.waits());
        first->Leave();
        EXPECT_TRUE(other.enters());
    }
    first.reset();
    clone.Enter();
    Contender other(clone);
    EXPECT_TRUE(other.waits());
    clone.Leave();
    EXPECT_TRUE(other.enters());
}

TEST(CriticalSection, CloneOfItselfAndOfItsCloneChangesNothing) {
    CriticalSection first, second;
    second.Clone(first);
    first.Clone(first);
    first.Clone(second);
    second.Clone(first);
    first.Enter();
    Contender other(second);
    EXPECT_TRUE(other.waits());
    first.Leave();
    EXPECT_TRUE(other.enters());
}

TEST(CriticalSection, ReconstructGivesALockOfItsOwn) {
    CriticalSection first, second;
    second.Clone(first);
    second.Reconstruct();
    first.Enter();
    Contender other(second);
    EXPECT_TRUE(other.enters()); // not held up
    first.Leave();
    second.Enter();
    Contender another(second);
    EXPECT_TRUE(another.waits());
    second.Leave();
    EXPECT_TRUE(another.enters());
}

TEST(CriticalSection, CopiesShareWithoutCounting) {
    alignas(CriticalSection) unsigned char room[sizeof(CriticalSection)];
    CriticalSection first;
    auto* copy = new (room) CriticalSection(first); // not destroyed: the state is its source's
    first.Enter();
    {
        Contender other(*copy);
        EXPECT_TRUE(other.waits());
        first.Leave();
        EXPECT_TRUE(other.enters());
    }
    CriticalSection replaced;
    alignas(CriticalSection) unsigned char second[sizeof(CriticalSection)];
    auto* assigned = new (second) CriticalSection(replaced);
    *assigned = first;
    assigned->Enter();
    Contender other(first);
    EXPECT_TRUE(other.waits());
    assigned->Leave();
    EXPECT_TRUE(other.enters());
}

TEST(CriticalSection, ManyAreMadeSharedAndDroppedAtOnce) {
    CriticalSection shared;
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for (int i = 0; i < 4; ++i)
            threads.push_back(std::make_unique<TestThread>([&] {
                for (int round = 0; round < 500; ++round) {
                    CriticalSection own;
                    own.Clone(shared);
                    own.Enter();
                    own.Leave();
                    own.Reconstruct();
                }
            }));
    }
    shared.Enter();
    shared.Leave();
}

__attribute__((no_sanitize("undefined"), noinline)) void useNull(CriticalSection* section) {
    section->Enter();
    section->Leave();
}

TEST(CriticalSection, OfANullObjectDoesNothing) {
    CriticalSection* volatile none = nullptr;
    useNull(none);
}

TEST(CriticalSection, WithoutAStateDoesNothing) {
    alignas(CriticalSection) unsigned char room[sizeof(CriticalSection)]{};
    auto* empty = reinterpret_cast<CriticalSection*>(room);
    empty->Enter();
    empty->Leave();
    CriticalSection section;
    section.Clone(*empty); // keeps its own
    section.Enter();
    Contender other(section);
    EXPECT_TRUE(other.waits());
    section.Leave();
    EXPECT_TRUE(other.enters());
}

} // namespace
