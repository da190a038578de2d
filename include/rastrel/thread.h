/// @file thread.h
/// A worker thread that runs one loop function.
#pragma once

#include <cstdint>

#include "rastrel/platform.h"
#include "rastrel/rastrel_api.h"

/// Runs `ProceedLoop` on a worker thread and controls it: priority, suspension, end, and an event to wait for.
///
/// One thread at a time controls an object; the worker is the second party. The plain fields are shared between the two
/// and accessed atomically inside; a host that reads them while a worker runs does likewise.
///
/// Results are status codes, 0 for success. Every operation of an object answers `kFailed` for a null object, and when
/// there is no worker.
///
/// A derived class calls `ExitAsyncProceedLoop(false, true)` in its own destructor, so that its overrides and its
/// fields are still there while the worker is shut down; the base class's destructor can only reach the base's
/// operations.
///
/// A copy has the same values in all fields: it names the same worker and the same event, which either of the two
/// closes.
class RASTREL_API Thread {
public:
    static constexpr std::uint32_t kAlreadyRunning = 0xF0000001U;
    static constexpr std::uint32_t kNoWorker = 0xF0000002U;
    static constexpr std::uint32_t kNotTerminated = 0xF0000003U;
    static constexpr std::uint32_t kFailed = 0xF0000004U;

    Thread() noexcept;
    Thread(const Thread& other) noexcept;
    Thread& operator=(const Thread& other) noexcept;

    // Virtual operations. Their order is fixed.

    /// Halts, stops, raises the event, ends the worker by force if it still runs, and closes the event.
    virtual ~Thread();
    /// The worker's work; its value is kept in `result`. Here: 0 at once.
    virtual __int64 ProceedLoop(bool argument);
    /// Asks the work to end soon; called by the controlling thread. Here: nothing.
    virtual void StopProceedLoop();
    /// Called before the work is stopped. Here: nothing.
    virtual void Halt();
    /// Blocks, up to `timeout` ms, until the worker comes out of `WaitForEvent`. Nothing while another caller waits.
    virtual void WaitForThread(unsigned long timeout);
    /// Called by the worker: blocks, up to `timeout` ms, until the event is raised, then wakes `WaitForThread`.
    virtual void WaitForEvent(unsigned long timeout);
    /// Raises the event, once and for all: it cannot be waited for or raised again.
    virtual void RaiseEvent();

    /// Starts the worker. `kAlreadyRunning` while one runs, `kFailed` when the system has no thread to give.
    std::uint32_t BeginAsyncProceedLoop(bool argument);
    /// Ends the worker: `Halt` unless `skipHalt` (and again when forced), `StopProceedLoop`, the event, then waits
    /// until the worker has ended and returns its result's low 32 bits. `force`, or a suspended worker: the worker may
    /// leave by itself for half a second, is then terminated, and the result is 0, `kNoWorker` when the worker
    /// was taken away meanwhile, or `kNotTerminated`. 0, and nothing called, when none runs.
    std::uint32_t ExitAsyncProceedLoop(bool skipHalt, bool force);

    /// @name The worker's priority
    /// @{
    std::uint32_t PushPriority(); ///< one step up, from 0 or below
    std::uint32_t PopPriority();  ///< one step down, from 0 or above
    std::uint32_t GoIdle();       ///< -15; `priorityLevel` stays, so that `GoNormal` may find nothing to do
    std::uint32_t GoNormal();     ///< 0, unless the level is that already
    std::uint32_t GoFast();       ///< 1, unless the level is that already
    std::uint32_t TimeCritical(); ///< 15, unless the level is that already
    /// @}

    std::uint32_t Suspend(); ///< stops the worker, unless it is suspended
    std::uint32_t Resume();  ///< lets a suspended worker go on

    /// @name The calling thread
    /// @{
    static std::uint32_t stPushPriority(); ///< one step up, from below 2
    static std::uint32_t stPopPriority();  ///< one step down, from -1 or above
    static std::uint32_t stGoIdle();
    static std::uint32_t stGoNormal();
    static std::uint32_t stTimeCritical();
    static std::uint32_t stSuspend();
    static std::uint32_t stResume();
    static void TakeNext(); ///< gives up the rest of the time slice
    static void Sleep(unsigned long milliseconds);
    static std::uint32_t stGetThreadID();
    /// @}

    static const char* GetVersion();

    std::uint64_t result = 0;        ///< what the last `ProceedLoop` on the worker returned
    HANDLE threadHandle = nullptr;   ///< the running worker, null when none runs
    std::uint32_t threadId = 0;      ///< the worker's id, 0 when none runs
    unsigned char loopArgument = 0;  ///< what `ProceedLoop` is given
    HANDLE event = nullptr;          ///< automatic reset; the value stays after the raise that closes it
    HANDLE waitEvent = nullptr;      ///< what a `WaitForThread` caller is blocked on
    std::uint32_t suspended = 0;     ///< set by `Suspend`, cleared by `Resume`
    std::uint32_t priorityLevel = 0; ///< 0, 1 or 15, as last set

private:
    friend class RastrelHelperThread;
    struct Worker;

    /// Told, on the controlling thread, when the worker was ended from outside in the middle of its work.
    void (*interrupted_)(Thread& thread) noexcept = nullptr;
    unsigned char eventRaised_ = 0;    ///< `event` is closed and its value may name something else by now
    unsigned char finished_ = 0;       ///< the worker came to the end of its work by itself
    HANDLE eventReference_ = nullptr;  ///< keeps the event for a wait that begins while it is raised
    HANDLE workerReference_ = nullptr; ///< keeps the worker's handle valid beyond the worker's end
};
