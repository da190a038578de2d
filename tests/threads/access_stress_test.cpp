// Sixteen threads under one reader/writer lock: three seconds, or as many as RASTREL_STRESS_SECONDS says.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "ondrel/process_limits.h"
#include "rastrel/access_control.h"
#include "support/platform_support.h"

namespace {

using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::TestThread;
using Clock = std::chrono::steady_clock;

constexpr unsigned kThreads = 16;
constexpr std::size_t kMostNodes = kThreads * 2; // no thread holds more than two accesses of a kind
constexpr std::uint64_t kMostGrowth = 64ULL << 20;

std::chrono::seconds duration() {
    const char* const seconds = std::getenv("RASTREL_STRESS_SECONDS");
    return std::chrono::seconds(seconds == nullptr ? 3 : std::clamp(std::atoi(seconds), 1, 3600));
}

std::size_t length(const AccessNode* node) {
    std::size_t count = 0;
    for (; node != nullptr; node = node->next)
        ++count;
    return count;
}

/// What the threads share, and what they find wrong.
class Stress {
public:
    /// One thread's work, until the lock closes.
    void work(std::uint32_t seed) {
        const Handle abort(CreateEventW(nullptr, TRUE, TRUE, nullptr)); // set: a request that would wait fails
        for (std::uint32_t random = seed * 2654435761U; !closed_.load(); ++rounds_) {
            random = random * 1664525U + 1013904223U;
            const auto start = Clock::now();
            switch (random >> 29) {
            case 0:
                writeDeep();
                break;
            case 1:
                upgrade();
                break;
            case 2:
                tryToWrite(abort.get());
                break;
            case 3:
                write();
                break;
            default:
                read();
            }
            note(Clock::now() - start);
            if ((random & 0x700) == 0) Sleep(0);
        }
    }

    /// Looks at the lock from outside.
    void inspect() {
        EnterCriticalSection(control_.lock);
        if (length(control_.readers) != control_.readerCount || length(control_.writers) != control_.writerCount)
            ++wrong_;
        if (control_.readerCount > kMostNodes || control_.writerCount > kMostNodes) ++wrong_;
        LeaveCriticalSection(control_.lock);
    }

    void close() {
        control_.PreDestruct();
        closed_ = true;
    }

    AccessControl& control() { return control_; }
    [[nodiscard]] int wrong() const { return wrong_.load(); }
    [[nodiscard]] std::uint64_t rounds() const { return rounds_.load(); }
    [[nodiscard]] std::int64_t longest() const { return longest_.load(); }
    [[nodiscard]] bool allWritesCounted() const { return guarded_ == written_.load(); }

private:
    void whileReading() {
        ++reading_;
        if (writing_.load() != 0) ++wrong_;
        stay();
        if (writing_.load() != 0) ++wrong_;
        --reading_;
    }
    void whileWriting() {
        if (++writing_ != 1 || reading_.load() != 0) ++wrong_;
        const std::uint64_t before = guarded_; // plain: two writers at once would lose some
        stay();
        guarded_ = before + 1;
        ++written_;
        if (writing_.load() != 1 || reading_.load() != 0) ++wrong_;
        --writing_;
    }
    /// Every now and then others come to run while an access is held.
    void stay() {
        if (++stays_ % 4 == 0) Sleep(0);
    }
    void read() {
        const FuncAccess access(&control_, true);
        if (access.control != nullptr) whileReading();
    }
    void write() {
        const FuncAccess access(&control_, false);
        if (access.control != nullptr) whileWriting();
    }
    void writeDeep() {
        const FuncAccess outer(&control_, false);
        const FuncAccess within(&control_, true);
        const FuncAccess again(&control_, false);
        if (outer.control != nullptr) whileWriting();
    }
    void upgrade() {
        if (!control_.EnterReadAccess(nullptr)) return;
        whileReading();
        if (!control_.SwitchReadToWriteAccess(nullptr)) return;
        whileWriting();
        if (control_.SwitchWriteToReadAccess(nullptr)) {
            whileReading();
            control_.LeaveReadAccess();
        } else {
            control_.LeaveWriteAccess();
        }
    }
    void tryToWrite(HANDLE abort) {
        if (!control_.EnterWriteAccess(abort)) return;
        whileWriting();
        control_.LeaveWriteAccess();
    }
    void note(Clock::duration spent) {
        const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(spent).count();
        auto before = longest_.load();
        while (before < milliseconds && !longest_.compare_exchange_weak(before, milliseconds)) {
        }
    }

    AccessControl control_;
    std::uint64_t guarded_ = 0;
    std::atomic<std::uint64_t> written_{0};
    std::atomic<std::uint64_t> stays_{0};
    std::atomic<std::uint64_t> rounds_{0};
    std::atomic<std::int64_t> longest_{0}; // ms
    std::atomic<int> reading_{0};
    std::atomic<int> writing_{0};
    std::atomic<int> wrong_{0};
    std::atomic<bool> closed_{false};
};

TEST(AccessControlStress, ReadersAreNeverBesideAWriterAndEverybodyGetsIn) {
    Stress stress;
    std::uint64_t before = 0;
    const auto begin = Clock::now();
    {
        std::vector<std::unique_ptr<TestThread>> threads;
        for (unsigned i = 1; i <= kThreads; ++i)
            threads.push_back(std::make_unique<TestThread>([&stress, i] { stress.work(i); }));
        while (Clock::now() - begin < duration()) {
            Sleep(10);
            stress.inspect();
            if (before == 0 && Clock::now() - begin > duration() / 3) before = test::memoryTaken();
        }
        const std::uint64_t after = test::memoryTaken();
        EXPECT_LT(after, before + kMostGrowth);
        stress.close(); // also the end of all who wait
    }
    EXPECT_EQ(stress.wrong(), 0);
    EXPECT_TRUE(stress.allWritesCounted());
    EXPECT_LT(stress.longest(), std::int64_t{kLong});
    EXPECT_EQ(stress.control().readerCount, 0U);
    EXPECT_EQ(stress.control().readers, nullptr);
    EXPECT_EQ(stress.control().writerCount, 1U); // the closer's
    RecordProperty("rounds", std::to_string(stress.rounds()));
    RecordProperty("longest_wait_ms", std::to_string(stress.longest()));
}

} // namespace
