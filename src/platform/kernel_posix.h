/// @file kernel_posix.h
/// The objects behind handles on Linux: events and threads, what waits on them, and the one lock over all of them.
///
/// A thread inside a `Region` is never stopped half way: a suspension or an end that is asked of it meanwhile takes
/// effect when it leaves. Everywhere else a signal stops it where it is.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "rastrel/platform.h"

namespace rastrel {

struct ThreadObject;
struct Waiter;

/// One object that one thread waits on; lives on that thread's stack and in the object's queue.
struct WaitLink {
    Waiter* waiter = nullptr;
    WaitLink* previous = nullptr;
    WaitLink* next = nullptr;
};

/// What handles refer to. Every field is guarded by the region's lock.
struct KernelObject {
    KernelObject() noexcept = default;
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;
    virtual ~KernelObject() = default;

    std::uint32_t references = 1; ///< open handles, waits under way, and a thread that still runs
    bool signalled = false;
    bool autoReset = false; ///< a wait that it ends takes the signal away
    WaitLink* firstWaiter = nullptr;
    WaitLink* lastWaiter = nullptr;
};

struct EventObject final : KernelObject {};

/// A thread: one that was started here, or any other one from its first call on.
struct ThreadObject final : KernelObject {
    ThreadObject() noexcept;
    ~ThreadObject() override;

    static constexpr std::uint32_t kTerminated = 0x80000000;

    std::atomic<std::uint32_t> control{0}; ///< suspend count, and kTerminated once its end was forced
    std::atomic<std::uint32_t> depth{0};   ///< inside a region; written by the thread itself
    std::atomic<bool> parked{false};       ///< stopped: runs no code of the host
    pthread_cond_t wake{};                 ///< ends the thread's wait
    pthread_t id{};
    std::int32_t systemId = 0; ///< of the scheduler; 0 before it runs
    int priority = 0;          ///< as it was set, whatever the scheduler made of it
    bool startedHere = false;  ///< its stack is to be given back here
    bool ended = false;
    HANDLE ownHandle = nullptr; ///< closes itself at the end of the thread
    void(__cdecl* entry)(void*) = nullptr;
    void* argument = nullptr;

    [[nodiscard]] bool stopRequested() const noexcept { return control.load() != 0; }
    [[nodiscard]] bool terminated() const noexcept { return (control.load() & kTerminated) != 0; }
    /// Stays here while the suspend count is above 0; returns at once when the end was forced.
    void park() noexcept;
    /// Parks, and never returns once the end was forced. For the thread itself, without the lock.
    void obey() noexcept;
};

/// Holds the lock over all objects, and the calling thread's own stops off. Not recursive.
class Region {
public:
    Region() noexcept;
    ~Region();
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    /// The calling thread; null only when there is no memory to describe it.
    [[nodiscard]] ThreadObject* self() const noexcept { return self_; }
    /// Lets others in while the calling thread is suspended.
    void parkUnlocked() noexcept;

private:
    ThreadObject* self_;
};

/// @name For callers inside a region
/// @{
/// The lock itself, for condition variables.
[[nodiscard]] pthread_mutex_t* regionLock() noexcept;
/// The object behind a handle, the calling thread's for its pseudo handle; null for an invalid one.
[[nodiscard]] KernelObject* findObject(const Region& region, HANDLE handle) noexcept;
[[nodiscard]] ThreadObject* findThread(const Region& region, HANDLE handle) noexcept;
/// A new handle, which takes over one reference of the object. Null, and the reference given back, when none is left.
[[nodiscard]] HANDLE openHandle(KernelObject* object) noexcept;
[[nodiscard]] bool closeHandle(HANDLE handle) noexcept;
void dropReference(KernelObject* object) noexcept;
/// Ends the waits that a signalled object satisfies, oldest first, while it stays signalled.
void releaseWaiters(KernelObject& object) noexcept;
/// @}

/// Blocks the calling thread until the objects are signalled or the time is over; with no objects just for the time.
[[nodiscard]] DWORD waitForObjects(Region& region, KernelObject* const* objects, DWORD count, bool all,
                                   DWORD milliseconds) noexcept;

/// The calling thread's object; made at its first call.
[[nodiscard]] ThreadObject* currentThread() noexcept;

} // namespace rastrel
