#include "rastrel/thread.h"

#include <climits>

#include "threads/maybe_null.h"
#include "threads/shared_field.h"

using rastrel::load;
using rastrel::maybeNull;
using rastrel::store;
using rastrel::take;

namespace {

constexpr DWORD kGraceMilliseconds = 500; // what a worker that is ended by force may take to leave by itself
constexpr DWORD kSliceMilliseconds = 10;  // between two looks at the handle

/// Milliseconds as the system takes them; what does not fit means for ever.
DWORD systemTime(unsigned long milliseconds) noexcept {
    return milliseconds >= INFINITE ? INFINITE : static_cast<DWORD>(milliseconds);
}

HANDLE duplicate(HANDLE source) noexcept {
    HANDLE copy = nullptr;
    if (source == nullptr || DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE,
                                             DUPLICATE_SAME_ACCESS) == FALSE)
        return nullptr;
    return copy;
}

void closeAndClear(HANDLE& handle) noexcept {
    if (handle != nullptr) CloseHandle(handle);
    handle = nullptr;
}

std::uint32_t setPriority(HANDLE thread, int priority) noexcept {
    return SetThreadPriority(thread, priority) != FALSE ? 0 : Thread::kFailed;
}

/// Moves a thread's priority, if it lies within the limits now.
std::uint32_t stepPriority(HANDLE thread, int step, int least, int most) noexcept {
    const int current = GetThreadPriority(thread);
    if (current == THREAD_PRIORITY_ERROR_RETURN || current < least || current > most) return Thread::kFailed;
    return setPriority(thread, current + step);
}

} // namespace

/// The worker's side of an object, and what the controlling operations need of it.
struct Thread::Worker {
    static void __cdecl run(void* object);
    /// The handle to control the worker by; null when the object is, or when none runs. It is a duplicate of our own,
    /// which cannot come to mean another thread when the worker ends meanwhile.
    static HANDLE of(Thread* object) noexcept;
    /// Waits until the worker has ended, one way or another; false when the time is over.
    static bool awaitEnd(Thread& thread, DWORD milliseconds) noexcept;
    static std::uint32_t terminate(Thread& thread) noexcept;
    /// The marks of a worker that did not come to the end that clears them.
    static void clearMarks(Thread& thread) noexcept;
    /// Sets the priority that belongs to a level, unless it is the present one.
    static std::uint32_t goTo(Thread* object, std::uint32_t level) noexcept;
};

// The handle is stored by the thread that starts the worker. Work that ended before that would clear it too early and
// leave behind a handle that nobody clears: so the work begins when the handle is there.
void __cdecl Thread::Worker::run(void* object) {
    Thread& thread = *static_cast<Thread*>(object);
    do
        ::Sleep(0);
    while (load(thread.threadHandle) == nullptr);
    store(thread.threadId, static_cast<std::uint32_t>(GetCurrentThreadId()));
    store(thread.result, static_cast<std::uint64_t>(thread.ProceedLoop(thread.loopArgument != 0)));
    store<unsigned char>(thread.finished_, 1);
    store<std::uint32_t>(thread.threadId, 0);
    store<HANDLE>(thread.threadHandle, nullptr); // the last touch: the object may be gone from here on
}

HANDLE Thread::Worker::of(Thread* object) noexcept {
    Thread* thread = maybeNull(object);
    if (thread == nullptr) return nullptr;
    const HANDLE current = load(thread->threadHandle);
    return current == nullptr || thread->workerReference_ == nullptr ? current : thread->workerReference_;
}

// Looks at the handle, as the worker clears it, and at the thread itself, which may have been ended by others. Waits in
// slices: where the system lets no thread end for a while (a process that is unloading libraries), the handle tells.
bool Thread::Worker::awaitEnd(Thread& thread, DWORD milliseconds) noexcept {
    if (load(thread.threadId) == GetCurrentThreadId()) return false; // the worker itself cannot wait for its end
    for (DWORD spent = 0; load(thread.threadHandle) != nullptr; spent += kSliceMilliseconds) {
        if (milliseconds != INFINITE && spent >= milliseconds) return false;
        if (thread.workerReference_ == nullptr) {
            ::Sleep(milliseconds == INFINITE ? 0 : kSliceMilliseconds);
        } else if (WaitForSingleObject(thread.workerReference_, kSliceMilliseconds) == WAIT_OBJECT_0 &&
                   load(thread.threadHandle) != nullptr) {
            clearMarks(thread);
        }
    }
    return true;
}

void Thread::Worker::clearMarks(Thread& thread) noexcept {
    if (load(thread.finished_) == 0 && thread.interrupted_ != nullptr) thread.interrupted_(thread);
    store<std::uint32_t>(thread.threadId, 0);
    store<HANDLE>(thread.threadHandle, nullptr);
}

std::uint32_t Thread::Worker::terminate(Thread& thread) noexcept {
    const HANDLE worker = of(&thread);
    if (worker == nullptr) return load(thread.finished_) != 0 ? 0 : kNoWorker;
    if (TerminateThread(worker, 0) == FALSE) return load(thread.threadHandle) == nullptr ? 0 : kNotTerminated;
    WaitForSingleObject(worker, kGraceMilliseconds);
    HANDLE own = load(thread.threadHandle); // still there: the worker did not come to the end that closes it
    clearMarks(thread);
    closeAndClear(own);
    return 0;
}

std::uint32_t Thread::Worker::goTo(Thread* object, std::uint32_t level) noexcept {
    const HANDLE worker = of(object);
    if (worker == nullptr) return kFailed;
    if (object->priorityLevel == level) return 0;
    const std::uint32_t status = setPriority(worker, static_cast<int>(level));
    if (status == 0) object->priorityLevel = level;
    return status;
}

Thread::Thread() noexcept : event(CreateEventW(nullptr, FALSE, FALSE, nullptr)), eventReference_(duplicate(event)) {}

Thread::Thread(const Thread& other) noexcept { *this = other; }

Thread& Thread::operator=(const Thread& other) noexcept {
    if (this == &other) return *this;
    auto& source = const_cast<Thread&>(other); // atomic reads need it so
    store(result, load(source.result));
    store(threadHandle, load(source.threadHandle));
    store(threadId, load(source.threadId));
    loopArgument = source.loopArgument;
    event = source.event;
    store(waitEvent, load(source.waitEvent));
    suspended = source.suspended;
    priorityLevel = source.priorityLevel;
    store(eventRaised_, load(source.eventRaised_));
    store(finished_, load(source.finished_));
    closeAndClear(eventReference_);
    closeAndClear(workerReference_);
    eventReference_ = duplicate(source.eventReference_);
    workerReference_ = duplicate(source.workerReference_);
    return *this;
}

Thread::~Thread() {
    ExitAsyncProceedLoop(false, true);
    if (load(eventRaised_) == 0) closeAndClear(event);
    event = nullptr;
    closeAndClear(eventReference_);
    closeAndClear(workerReference_);
    if (const HANDLE waiting = take(waitEvent)) SetEvent(waiting);
    result = 0;
    threadHandle = nullptr;
    threadId = 0;
    loopArgument = 0;
}

__int64 Thread::ProceedLoop(bool) { return 0; }

void Thread::StopProceedLoop() {}

void Thread::Halt() {}

// Whoever takes the handle out of its field sets the event, once: so the caller knows when nobody will touch it again,
// and does not look at the object after it was woken, which may be gone by then.
void Thread::WaitForThread(unsigned long timeout) {
    if (load(waitEvent) != nullptr || event == nullptr) return;
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const HANDLE own = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
    if (own == nullptr) return;
    HANDLE none = nullptr;
    if (std::atomic_ref(waitEvent).compare_exchange_strong(none, own)) {
        HANDLE mine = own;
        if (WaitForSingleObject(own, systemTime(timeout)) != WAIT_OBJECT_0 &&
            !std::atomic_ref(waitEvent).compare_exchange_strong(mine, nullptr))
            WaitForSingleObject(own, kGraceMilliseconds); // taken this moment: about to be set
    }
    ResetEvent(own);
    CloseHandle(own);
}

void Thread::WaitForEvent(unsigned long timeout) {
    if (load(eventRaised_) == 0 && eventReference_ != nullptr)
        WaitForSingleObject(eventReference_, systemTime(timeout));
    if (const HANDLE waiting = take(waitEvent)) SetEvent(waiting);
}

void Thread::RaiseEvent() {
    if (event == nullptr || take<unsigned char>(eventRaised_, 1) != 0) return;
    SetEvent(event);
    CloseHandle(event);
}

std::uint32_t Thread::BeginAsyncProceedLoop(bool argument) {
    Thread* self = maybeNull(this);
    if (self == nullptr) return kFailed;
    if (load(self->threadHandle) != nullptr || load(self->threadId) != 0) return kAlreadyRunning;
    closeAndClear(self->workerReference_);
    self->loopArgument = argument ? 1 : 0;
    self->priorityLevel = 0;
    self->suspended = 0;
    self->finished_ = 0;
    const std::uintptr_t started = _beginthread(&Worker::run, 0, self);
    if (started == 0 || started == ~std::uintptr_t{0}) return kFailed;
    const auto handle = reinterpret_cast<HANDLE>(started);
    self->workerReference_ = duplicate(handle);
    store(self->threadHandle, handle);
    return 0;
}

std::uint32_t Thread::ExitAsyncProceedLoop(bool skipHalt, bool force) {
    Thread* self = maybeNull(this);
    if (self == nullptr) return kFailed;
    if (load(self->threadHandle) == nullptr) return 0;
    const bool canLeave = self->suspended == 0;
    const bool forced = force || !canLeave;
    if (!skipHalt) self->Halt();
    if (forced) self->Halt();
    self->StopProceedLoop();
    self->RaiseEvent();
    if (forced) {
        if (canLeave) static_cast<void>(Worker::awaitEnd(*self, kGraceMilliseconds));
        return Worker::terminate(*self);
    }
    static_cast<void>(Worker::awaitEnd(*self, INFINITE));
    return static_cast<std::uint32_t>(load(self->result));
}

std::uint32_t Thread::PushPriority() {
    const HANDLE worker = Worker::of(this);
    return worker == nullptr ? kFailed : stepPriority(worker, 1, INT_MIN, 0);
}

std::uint32_t Thread::PopPriority() {
    const HANDLE worker = Worker::of(this);
    return worker == nullptr ? kFailed : stepPriority(worker, -1, 0, INT_MAX);
}

// The level is kept: a later GoNormal that finds level 0 leaves the worker idle. Hosts rely on it.
std::uint32_t Thread::GoIdle() {
    const HANDLE worker = Worker::of(this);
    return worker == nullptr ? kFailed : setPriority(worker, THREAD_PRIORITY_IDLE);
}

std::uint32_t Thread::GoNormal() { return Worker::goTo(this, THREAD_PRIORITY_NORMAL); }

std::uint32_t Thread::GoFast() { return Worker::goTo(this, THREAD_PRIORITY_ABOVE_NORMAL); }

std::uint32_t Thread::TimeCritical() { return Worker::goTo(this, THREAD_PRIORITY_TIME_CRITICAL); }

std::uint32_t Thread::Suspend() {
    const HANDLE worker = Worker::of(this);
    if (worker == nullptr) return kFailed;
    if (suspended != 0) return 0;
    if (SuspendThread(worker) == ~DWORD{0}) return kFailed;
    suspended = 1;
    return 0;
}

std::uint32_t Thread::Resume() {
    const HANDLE worker = Worker::of(this);
    if (worker == nullptr) return kFailed;
    if (suspended == 0) return 0;
    if (ResumeThread(worker) == ~DWORD{0}) return kFailed;
    suspended = 0;
    return 0;
}

std::uint32_t Thread::stPushPriority() { return stepPriority(GetCurrentThread(), 1, INT_MIN, 1); }

std::uint32_t Thread::stPopPriority() { return stepPriority(GetCurrentThread(), -1, -1, INT_MAX); }

std::uint32_t Thread::stGoIdle() { return setPriority(GetCurrentThread(), THREAD_PRIORITY_IDLE); }

std::uint32_t Thread::stGoNormal() { return setPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL); }

std::uint32_t Thread::stTimeCritical() { return setPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL); }

std::uint32_t Thread::stSuspend() { return SuspendThread(GetCurrentThread()) == ~DWORD{0} ? kFailed : 0; }

std::uint32_t Thread::stResume() { return ResumeThread(GetCurrentThread()) == ~DWORD{0} ? kFailed : 0; }

void Thread::TakeNext() { ::Sleep(0); }

void Thread::Sleep(unsigned long milliseconds) { ::Sleep(systemTime(milliseconds)); }

std::uint32_t Thread::stGetThreadID() { return static_cast<std::uint32_t>(GetCurrentThreadId()); }

const char* Thread::GetVersion() { return "1.00 prerelease"; }
