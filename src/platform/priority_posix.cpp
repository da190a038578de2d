// Priorities: the level that was set is what is reported; the scheduler follows as far as it lets this process.
#include <sys/resource.h>

#include "platform/kernel_posix.h"

namespace rastrel {
namespace {

/// The nice value that a level adds to the process's own.
int niceOf(int priority) noexcept {
    switch (priority) {
    case THREAD_PRIORITY_IDLE:
        return 19;
    case THREAD_PRIORITY_LOWEST:
        return 10;
    case THREAD_PRIORITY_BELOW_NORMAL:
        return 5;
    case THREAD_PRIORITY_ABOVE_NORMAL:
        return -5;
    case THREAD_PRIORITY_HIGHEST:
        return -10;
    case THREAD_PRIORITY_TIME_CRITICAL:
        return -15;
    default:
        return 0;
    }
}

bool isLevel(int priority) noexcept {
    return (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST) ||
           priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL;
}

struct Scheduler {
    int base = 0;         ///< nice value of level 0
    bool follows = false; ///< a thread may be given a higher priority again after a lower one
};

/// Found out once, by trying on the calling thread, before any thread's value was changed.
const Scheduler& scheduler() noexcept {
    static const Scheduler found = [] {
        const auto caller = static_cast<id_t>(GetCurrentThreadId());
        Scheduler result;
        result.base = getpriority(PRIO_PROCESS, caller);
        if (setpriority(PRIO_PROCESS, caller, result.base - 1) == 0)
            result.follows = setpriority(PRIO_PROCESS, caller, result.base) == 0;
        return result;
    }();
    return found;
}

} // namespace
} // namespace rastrel

BOOL SetThreadPriority(HANDLE handle, int priority) noexcept {
    if (!rastrel::isLevel(priority)) return FALSE;
    const rastrel::Scheduler& scheduler = rastrel::scheduler();
    const rastrel::Region region;
    rastrel::ThreadObject* thread = rastrel::findThread(region, handle);
    if (thread == nullptr) return FALSE;
    thread->priority = priority;
    // Without the right to go back up, a thread lowered once would stay low for ever: better leave it alone.
    if (scheduler.follows && thread->systemId != 0 && !thread->ended)
        setpriority(PRIO_PROCESS, static_cast<id_t>(thread->systemId), scheduler.base + rastrel::niceOf(priority));
    return TRUE;
}

int GetThreadPriority(HANDLE handle) noexcept {
    const rastrel::Region region;
    const rastrel::ThreadObject* thread = rastrel::findThread(region, handle);
    return thread == nullptr ? THREAD_PRIORITY_ERROR_RETURN : thread->priority;
}
