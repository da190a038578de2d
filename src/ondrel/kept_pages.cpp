#include "ondrel/kept_pages.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <thread>
#include <type_traits>

namespace ondrel {
namespace {

constexpr std::size_t kKeptRuns = 64;

/// Held for some dozens of instructions, never across a system call. Unlike a mutex it needs neither construction nor
/// destruction on any system.
class SpinLock {
public:
    void lock() {
        while (taken_.exchange(true, std::memory_order_acquire))
            std::this_thread::yield();
    }
    void unlock() { taken_.store(false, std::memory_order_release); }

private:
    std::atomic<bool> taken_{false};
};

/// The kept runs, oldest first. Constant-initialised and trivially destructible, so that it works before the first and
/// after the last static object of the process.
struct Keeper {
    SpinLock lock;
    std::array<Pages, kKeptRuns> runs{};
    std::size_t count = 0;
    std::uint64_t bytes = 0;
    bool closed = false;

    Pages removeAt(std::size_t index) {
        const Pages run = runs[index];
        for (std::size_t i = index + 1; i < count; ++i)
            runs[i - 1] = runs[i];
        --count;
        bytes -= run.bytes;
        return run;
    }
};
static_assert(std::is_trivially_destructible_v<Keeper>);

constinit Keeper keeper;

/// Frees what is kept when the library is unloaded; from then on nothing is kept any more.
struct CloseAtExit {
    ~CloseAtExit() {
        {
            const std::lock_guard guard(keeper.lock);
            keeper.closed = true;
        }
        dropKeptPages();
    }
};
const CloseAtExit closeAtExit;

/// The smallest kept run that holds `bytes` and wastes at most a quarter of it.
Pages takeKept(std::uint64_t bytes) {
    const std::lock_guard guard(keeper.lock);
    std::size_t best = keeper.count;
    for (std::size_t i = 0; i < keeper.count; ++i) {
        const std::uint64_t size = keeper.runs[i].bytes;
        if (size < bytes || size - bytes > bytes / 4) continue;
        // Of equal ones the latest: it is the most likely to be in the processor's caches.
        if (best == keeper.count || size <= keeper.runs[best].bytes) best = i;
    }
    return best == keeper.count ? Pages{} : keeper.removeAt(best);
}

} // namespace

TakenPages takePages(std::uint64_t bytes) noexcept {
    if (const Pages kept = takeKept(bytes); kept.address != nullptr) return {kept, false};
    Pages fresh = mapPages(bytes);
    if (fresh.address == nullptr && dropKeptPages()) fresh = mapPages(bytes);
    return {fresh, true};
}

void givePages(Pages pages) noexcept {
    if (pages.address == nullptr) return;
    if (pages.bytes > kKeptBytes) return unmapPages(pages);
    markIdle(pages);
    std::array<Pages, kKeptRuns + 1> surplus;
    std::size_t surplusCount = 0;
    {
        const std::lock_guard guard(keeper.lock);
        if (keeper.closed) {
            surplus[surplusCount++] = pages;
        } else {
            while (keeper.count == kKeptRuns || keeper.bytes + pages.bytes > kKeptBytes)
                surplus[surplusCount++] = keeper.removeAt(0);
            keeper.runs[keeper.count++] = pages;
            keeper.bytes += pages.bytes;
        }
    }
    for (std::size_t i = 0; i < surplusCount; ++i)
        unmapPages(surplus[i]);
}

bool dropKeptPages() noexcept {
    std::array<Pages, kKeptRuns> runs;
    std::size_t count = 0;
    {
        const std::lock_guard guard(keeper.lock);
        runs = keeper.runs;
        count = keeper.count;
        keeper.count = 0;
        keeper.bytes = 0;
    }
    for (std::size_t i = 0; i < count; ++i)
        unmapPages(runs[i]);
    return count != 0;
}

std::uint64_t keptBytes() noexcept {
    const std::lock_guard guard(keeper.lock);
    return keeper.bytes;
}

} // namespace ondrel
