// Threads: their start and end, and how one stops another.
//
// A thread that is to stop is woken from its wait, or sent a signal whose handler stops it wherever it is. Stopped
// threads sleep on the word that tells them to. A thread whose end was forced leaves without unwinding: no destructor
// runs, its locks stay locked, its memory stays allocated, as on Windows.
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <new>

#include "platform/kernel_posix.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define RASTREL_SANITIZED
#endif
#elif defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define RASTREL_SANITIZED
#endif

namespace rastrel {
namespace {

#if defined(RASTREL_SANITIZED)
constexpr bool kSanitized = true; // the sanitizers' records of a thread do not stand its silent disappearance
#else
constexpr bool kSanitized = false;
#endif

// How long a thread waits to see another one stopped. A signal takes microseconds; only a thread that blocks the
// signal, or one that sits in an uninterruptible system call, takes longer.
constexpr int kStopPolls = 5000;
constexpr long kStopPollNanoseconds = 200'000;

// Plain data that the signal handler may read at any time.
thread_local ThreadObject* current __attribute__((tls_model("initial-exec"))) = nullptr;

int stopSignal() noexcept { return SIGRTMAX - 5; }

void sleepOn(std::atomic<std::uint32_t>& word, std::uint32_t value) noexcept {
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void wakeFrom(std::atomic<std::uint32_t>& word) noexcept {
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

extern "C" void onStopSignal(int) {
    ThreadObject* self = current;
    if (self == nullptr || self->depth.load() != 0) return; // a region's end looks for itself
    const int before = errno;
    self->obey();
    errno = before;
}

void installStopSignal() noexcept {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = onStopSignal;
        action.sa_flags = SA_RESTART;
        return sigaction(stopSignal(), &action, nullptr) == 0;
    }();
    static_cast<void>(installed);
}

/// Everything that waits for the thread is released. Inside a region.
void markEnded(ThreadObject& thread) noexcept {
    thread.ended = true;
    thread.signalled = true;
    releaseWaiters(thread);
}

/// The calling thread's own end. One whose end is being forced does not come back from the region.
void endCurrent() noexcept {
    ThreadObject* self = current;
    {
        const Region region;
        if (!self->terminated()) {
            if (self->startedHere) pthread_detach(pthread_self());
            markEnded(*self);
            if (self->ownHandle != nullptr) static_cast<void>(closeHandle(self->ownHandle));
        }
    }
    current = nullptr;
    pthread_mutex_lock(regionLock());
    dropReference(self);
    pthread_mutex_unlock(regionLock());
}

/// Ends the thread's object when the thread ends by itself, after the destructors of the host's thread-local objects.
struct EndOfThread {
    bool armed = false;
    ~EndOfThread() {
        if (armed && current != nullptr) endCurrent();
    }
};
thread_local EndOfThread endOfThread;

void* runThread(void* object) {
    auto* self = static_cast<ThreadObject*>(object);
    endOfThread.armed = true;
    current = self;
    sigset_t unblocked;
    sigemptyset(&unblocked);
    sigaddset(&unblocked, stopSignal());
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    {
        const Region region;
        self->systemId = gettid();
    }
    self->entry(self->argument);
    return nullptr;
}

bool startThread(ThreadObject& thread, std::size_t stackSize) noexcept {
    constexpr std::size_t kLeast = 65536;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const auto least = std::max(static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN)), kLeast);
        pthread_attr_setstacksize(&attributes, (std::max(stackSize, least) + page - 1) / page * page);
    }
    const int failure = pthread_create(&thread.id, &attributes, runThread, &thread);
    pthread_attr_destroy(&attributes);
    return failure == 0;
}

/// Tells a thread that its control word changed. Inside a region.
void stop(ThreadObject& thread) noexcept {
    pthread_cond_signal(&thread.wake);
    if (thread.systemId != 0 && !thread.ended) syscall(SYS_tgkill, getpid(), thread.systemId, stopSignal());
}

/// Waits, outside the region, until a thread that was told to stop runs no more of the host's code.
bool stopped(const ThreadObject& thread) noexcept {
    for (int i = 0; i < kStopPolls; ++i) {
        if (thread.parked.load() || thread.depth.load() != 0 || !thread.stopRequested()) return true;
        const timespec pause{0, kStopPollNanoseconds};
        nanosleep(&pause, nullptr);
    }
    return false;
}

/// Gives back the stack of a thread whose end was forced; true when it is known to be gone.
bool reclaim(const ThreadObject& thread) noexcept {
    if (!thread.startedHere) return false;
    if constexpr (kSanitized) {
        pthread_detach(thread.id);
        return false;
    }
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    ++limit.tv_sec;
    return pthread_timedjoin_np(thread.id, nullptr, &limit) == 0;
}

} // namespace

ThreadObject::ThreadObject() noexcept {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&wake, &attributes);
    pthread_condattr_destroy(&attributes);
}

ThreadObject::~ThreadObject() { pthread_cond_destroy(&wake); }

void ThreadObject::park() noexcept {
    parked.store(true);
    for (;;) {
        const std::uint32_t value = control.load();
        if (value == 0 || (value & kTerminated) != 0) break;
        sleepOn(control, value);
    }
    if (!terminated()) parked.store(false);
}

void ThreadObject::obey() noexcept {
    park();
    if (!terminated()) return;
    parked.store(true);
    for (;;) {
        if constexpr (!kSanitized) syscall(SYS_exit, 0);
        sleepOn(control, control.load());
    }
}

ThreadObject* currentThread() noexcept {
    if (current != nullptr) return current;
    auto* self = new (std::nothrow) ThreadObject;
    if (self == nullptr) return nullptr;
    installStopSignal();
    self->id = pthread_self();
    self->systemId = gettid();
    current = self;
    endOfThread.armed = true;
    return self;
}

} // namespace rastrel

using rastrel::Region;
using rastrel::ThreadObject;

std::uintptr_t _beginthread(void(__cdecl* entry)(void*), unsigned stackSize, void* argument) noexcept {
    constexpr auto kFailed = ~std::uintptr_t{0};
    if (entry == nullptr) return kFailed;
    rastrel::installStopSignal();
    const Region region;
    auto* thread = new (std::nothrow) ThreadObject;
    if (thread == nullptr) return kFailed;
    thread->depth.store(1); // until it has found itself
    thread->startedHere = true;
    thread->entry = entry;
    thread->argument = argument;
    ++thread->references; // one for the running thread, one for the handle
    const HANDLE handle = rastrel::openHandle(thread);
    thread->ownHandle = handle;
    if (handle != nullptr && rastrel::startThread(*thread, stackSize)) return reinterpret_cast<std::uintptr_t>(handle);
    if (handle != nullptr) static_cast<void>(rastrel::closeHandle(handle));
    rastrel::dropReference(thread);
    return kFailed;
}

DWORD GetCurrentThreadId() noexcept {
    static thread_local const auto id = static_cast<DWORD>(gettid());
    return id;
}

DWORD SuspendThread(HANDLE handle) noexcept {
    constexpr DWORD kFailed = ~DWORD{0};
    ThreadObject* thread = nullptr;
    DWORD before = 0;
    rastrel::installStopSignal();
    {
        const Region region;
        thread = rastrel::findThread(region, handle);
        if (thread == nullptr || thread->ended || thread->terminated()) return kFailed;
        before = thread->control.load();
        if (before >= MAXIMUM_SUSPEND_COUNT) return kFailed;
        if (thread == region.self()) {
            thread->control.fetch_add(1); // takes effect on the way out
            return before;
        }
        ++thread->references;
        thread->control.fetch_add(1);
        rastrel::stop(*thread);
    }
    rastrel::stopped(*thread);
    const Region region;
    rastrel::dropReference(thread);
    return before;
}

DWORD ResumeThread(HANDLE handle) noexcept {
    const Region region;
    ThreadObject* thread = rastrel::findThread(region, handle);
    if (thread == nullptr) return ~DWORD{0};
    const DWORD before = thread->control.load() & ~ThreadObject::kTerminated;
    if (before != 0 && thread->control.fetch_sub(1) == 1) rastrel::wakeFrom(thread->control);
    return before;
}

BOOL TerminateThread(HANDLE handle, DWORD) noexcept {
    ThreadObject* thread = nullptr;
    rastrel::installStopSignal();
    {
        const Region region;
        thread = rastrel::findThread(region, handle);
        if (thread == nullptr) return FALSE;
        if (thread->ended || thread->terminated()) return TRUE;
        thread->control.fetch_or(ThreadObject::kTerminated);
        if (thread == region.self()) {
            if (thread->startedHere) pthread_detach(thread->id);
            rastrel::markEnded(*thread);
            return TRUE; // never seen: the thread ends on the way out
        }
        ++thread->references;
        rastrel::wakeFrom(thread->control);
        rastrel::stop(*thread);
    }
    const bool gone = rastrel::stopped(*thread) && rastrel::reclaim(*thread);
    const Region region;
    rastrel::markEnded(*thread);
    if (gone) rastrel::dropReference(thread); // the one of the thread that ran
    rastrel::dropReference(thread);
    return TRUE;
}

void Sleep(DWORD milliseconds) noexcept {
    if (milliseconds == 0) {
        ThreadObject* self = rastrel::currentThread();
        if (self != nullptr && self->stopRequested()) self->obey();
        sched_yield();
        return;
    }
    Region region;
    static_cast<void>(rastrel::waitForObjects(region, nullptr, 0, false, milliseconds));
}
