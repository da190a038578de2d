/// @file peak_memory.h
/// The most memory that a piece of work takes, for tests of what is held at once.
///
/// A process remembers its highest peak for ever, so each piece runs in a process of its own, which repeats the test up
/// to there: whatever comes before it in a test has to be small.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "ondrel/process_limits.h"

#if defined(_WIN32)
#include <psapi.h>
#endif

namespace test {

/// How many times over the sanitizers hold what is touched: in shadow memory, and in freed memory that they keep.
#if defined(__SANITIZE_THREAD__)
inline constexpr std::uint64_t kShadowFactor = 6;
#elif defined(__SANITIZE_ADDRESS__)
inline constexpr std::uint64_t kShadowFactor = 2;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr std::uint64_t kShadowFactor = 6;
#elif __has_feature(address_sanitizer)
inline constexpr std::uint64_t kShadowFactor = 2;
#else
inline constexpr std::uint64_t kShadowFactor = 1;
#endif
#else
inline constexpr std::uint64_t kShadowFactor = 1;
#endif

/// The most bytes of memory proper that the process has held at once so far; 0 where the system does not tell.
inline std::uint64_t peakMemory() {
#if defined(_WIN32)
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) return 0;
    return counters.PeakWorkingSetSize;
#else
    std::uint64_t peak = 0;
    if (FILE* const file = std::fopen("/proc/self/status", "r"); file != nullptr) {
        char line[256];
        unsigned long long kilobytes = 0;
        while (std::fgets(line, sizeof line, file) != nullptr)
            if (std::sscanf(line, "VmHWM: %llu kB", &kilobytes) == 1) peak = std::uint64_t{kilobytes} << 10;
        std::fclose(file);
    }
    return peak;
#endif
}

/// Tests derive from this; the names of their suites end in DeathTest.
class PeakMemoryTest : public testing::Test {
protected:
    PeakMemoryTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// Runs `work` in a process of its own, which has to raise its peak by `least` to `most` bytes. Sanitizers get
    /// their share on top. In `work`, checks are `REQUIRE_IN_CHILD`.
    template <class Work>
    void expectMemoryGrowth(const Work& work, std::uint64_t most, std::uint64_t least = 0) const {
        EXPECT_EXIT(inChild([&] { requireGrowth(work, most, least); }), testing::ExitedWithCode(0), "");
    }

private:
    template <class Work>
    static void requireGrowth(const Work& work, std::uint64_t most, std::uint64_t least) {
        const std::uint64_t before = peakMemory();
        REQUIRE_IN_CHILD(before != 0);
        work();
        const std::uint64_t growth = peakMemory() - before;
        std::cerr << "grew by " << (growth >> 10) << " KiB of at most " << (most >> 10) << " KiB" << std::endl;
        REQUIRE_IN_CHILD(growth <= most * kShadowFactor);
        REQUIRE_IN_CHILD(growth >= least);
    }

    TemporaryDirectory directory_; ///< also of the other processes' files
};

} // namespace test
