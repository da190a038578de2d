// Events and waiting. A signal is handed to waiting threads by the thread that gives it, oldest wait first: a pulse
// reaches exactly those that wait at that moment, and an automatic reset takes the signal for exactly one of them.
#include <cerrno>
#include <ctime>
#include <new>

#include "platform/kernel_posix.h"

namespace rastrel {

/// One thread's wait.
struct Waiter {
    static constexpr DWORD kPending = 0xFFFFFFFE;

    KernelObject* const* objects;
    DWORD count;
    bool all;
    ThreadObject* thread;
    DWORD result = kPending;

    /// Takes the signals that end the wait, if they are there.
    bool satisfy() noexcept {
        if (count == 0) return false;
        for (DWORD i = 0; i < count; ++i) {
            if (objects[i]->signalled && !all) {
                take(*objects[i]);
                result = WAIT_OBJECT_0 + i;
                return true;
            }
            if (!objects[i]->signalled && all) return false;
        }
        if (!all) return false;
        for (DWORD i = 0; i < count; ++i)
            take(*objects[i]);
        result = WAIT_OBJECT_0;
        return true;
    }

private:
    static void take(KernelObject& object) noexcept {
        if (object.autoReset) object.signalled = false;
    }
};

namespace {

/// A wait's places in the queues of its objects.
class Queued {
public:
    explicit Queued(Waiter& waiter) noexcept : waiter_(waiter) {
        for (DWORD i = 0; i < waiter_.count; ++i)
            append(*waiter_.objects[i], links_[i]);
    }
    ~Queued() {
        for (DWORD i = 0; i < waiter_.count; ++i)
            remove(*waiter_.objects[i], links_[i]);
    }
    Queued(const Queued&) = delete;
    Queued& operator=(const Queued&) = delete;

private:
    void append(KernelObject& object, WaitLink& link) noexcept {
        link.waiter = &waiter_;
        link.previous = object.lastWaiter;
        (object.lastWaiter == nullptr ? object.firstWaiter : object.lastWaiter->next) = &link;
        object.lastWaiter = &link;
    }
    static void remove(KernelObject& object, WaitLink& link) noexcept {
        (link.previous == nullptr ? object.firstWaiter : link.previous->next) = link.next;
        (link.next == nullptr ? object.lastWaiter : link.next->previous) = link.previous;
    }

    Waiter& waiter_;
    WaitLink links_[MAXIMUM_WAIT_OBJECTS];
};

timespec deadlineAfter(DWORD milliseconds) noexcept {
    constexpr long kSecond = 1'000'000'000;
    timespec when{};
    clock_gettime(CLOCK_MONOTONIC, &when);
    when.tv_sec += static_cast<time_t>(milliseconds / 1000);
    when.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (when.tv_nsec >= kSecond) {
        ++when.tv_sec;
        when.tv_nsec -= kSecond;
    }
    return when;
}

/// Sleeps until the wait is over, the time is, or the thread is to stop; true when the time is over.
bool sleepQueued(Waiter& waiter, const timespec* deadline) noexcept {
    const Queued queued(waiter);
    while (waiter.result == Waiter::kPending && !waiter.thread->stopRequested()) {
        if (deadline == nullptr) {
            pthread_cond_wait(&waiter.thread->wake, regionLock());
        } else if (pthread_cond_timedwait(&waiter.thread->wake, regionLock(), deadline) == ETIMEDOUT) {
            return waiter.result == Waiter::kPending;
        }
    }
    return false;
}

/// The events' common way in: finds the event and works on it.
template <class Action>
BOOL onEvent(HANDLE handle, Action action) noexcept {
    const Region region;
    auto* event = dynamic_cast<EventObject*>(findObject(region, handle));
    if (event == nullptr) return FALSE;
    action(*event);
    return TRUE;
}

} // namespace

void releaseWaiters(KernelObject& object) noexcept {
    for (WaitLink* link = object.firstWaiter; link != nullptr && object.signalled; link = link->next) {
        Waiter& waiter = *link->waiter;
        if (waiter.result == Waiter::kPending && waiter.satisfy()) pthread_cond_signal(&waiter.thread->wake);
    }
}

DWORD waitForObjects(Region& region, KernelObject* const* objects, DWORD count, bool all, DWORD milliseconds) noexcept {
    if (region.self() == nullptr) return WAIT_FAILED;
    Waiter waiter{objects, count, all, region.self()};
    const timespec deadline = deadlineAfter(milliseconds == INFINITE ? 0 : milliseconds);
    for (DWORD i = 0; i < count; ++i)
        ++objects[i]->references;
    bool timeOver = milliseconds == 0;
    while (!waiter.thread->terminated() && !waiter.satisfy()) {
        if (timeOver) {
            waiter.result = WAIT_TIMEOUT;
            break;
        }
        timeOver = sleepQueued(waiter, milliseconds == INFINITE ? nullptr : &deadline);
        if (waiter.result != Waiter::kPending) break;
        if (waiter.thread->stopRequested() && !waiter.thread->terminated()) region.parkUnlocked();
    }
    for (DWORD i = 0; i < count; ++i)
        dropReference(objects[i]);
    return waiter.result == Waiter::kPending ? WAIT_FAILED : waiter.result;
}

} // namespace rastrel

using rastrel::EventObject;
using rastrel::Region;

// Names are not kept: an event that is to be found by name by others cannot be had.
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR name) noexcept {
    if (name != nullptr) return nullptr;
    const Region region;
    auto* event = new (std::nothrow) EventObject;
    if (event == nullptr) return nullptr;
    event->autoReset = manualReset == FALSE;
    event->signalled = initialState != FALSE;
    return rastrel::openHandle(event);
}

BOOL SetEvent(HANDLE event) noexcept {
    return rastrel::onEvent(event, [](EventObject& object) {
        object.signalled = true;
        rastrel::releaseWaiters(object);
    });
}

BOOL ResetEvent(HANDLE event) noexcept {
    return rastrel::onEvent(event, [](EventObject& object) { object.signalled = false; });
}

BOOL PulseEvent(HANDLE event) noexcept {
    return rastrel::onEvent(event, [](EventObject& object) {
        object.signalled = true;
        rastrel::releaseWaiters(object);
        object.signalled = false;
    });
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept {
    return WaitForMultipleObjects(1, &object, FALSE, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD milliseconds) noexcept {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || objects == nullptr) return WAIT_FAILED;
    Region region;
    rastrel::KernelObject* found[MAXIMUM_WAIT_OBJECTS];
    for (DWORD i = 0; i < count; ++i) {
        found[i] = rastrel::findObject(region, objects[i]);
        if (found[i] == nullptr) return WAIT_FAILED;
    }
    return rastrel::waitForObjects(region, found, count, waitAll != FALSE, milliseconds);
}
