/// @file operation_threads.h
/// Long image operations on worker threads, one class each.
///
/// `Run` marks the image busy and starts a worker that carries the operation out once, through the image's virtual
/// operations. The host watches the image's `progress` and `busyCount`, ends the operation early with
/// `ExitAsyncProceedLoop` (which sets the image's `cancelRequested`), and looks at the image afterwards. One operation
/// runs on an image at a time: a request made while the image is busy is dropped, without notice. Strings and targets
/// are kept as pointers and must stay valid until the operation has ended, and so must the image. An object runs one
/// operation at a time; it may be run again when its worker has ended.
///
/// An operation that does not see its cancel request in time is ended by force when its thread object is destroyed. The
/// image's busy count is then as it was before the operation; its pixels are of no use, and locks that the operation
/// held stay locked: such an image is only good for being left alone.
#pragma once

#include <cstdint>

#include "rastrel/platform.h"
#include "rastrel/rastrel.h"
#include "rastrel/rastrel_api.h"
#include "rastrel/thread.h"

/// What the operation threads have in common. A class derived from this one, or from one of those below when it
/// overrides something, calls `ExitAsyncProceedLoop(false, true)` in its destructor.
class RASTREL_API RastrelHelperThread : public Thread {
public:
    RastrelHelperThread() noexcept;
    ~RastrelHelperThread() override;

    /// Drops the request when another operation holds the image; otherwise clears the image's cancel request and
    /// proceeds, unless the operation was stopped before it began. Lowers the image's busy count either way. Returns 0.
    __int64 ProceedLoop(bool argument) override;
    /// Sets the image's cancel request.
    void StopProceedLoop() override;
    /// Carries the operation out, on the worker.
    virtual void Proceed() = 0;

    Rastrel* image = nullptr; ///< not owned

protected:
    /// Stores the image; true when there is one, so that the arguments are worth storing.
    bool accept(Rastrel* target) noexcept;
    /// Marks the image busy and starts the worker, unless it runs.
    void start() noexcept;

private:
    enum class Phase : unsigned char {
        kIdle,
        kAsked,   ///< a worker was started that has not begun yet
        kStopped, ///< and will not, since it was stopped before
        kRunning
    };

    void carryOut(Rastrel& target);
    static void takeBack(Thread& thread) noexcept;

    unsigned char first_ = 0; ///< the image was free when the operation was asked for
    Phase phase_ = Phase::kIdle;
    unsigned char settled_ = 0; ///< the operation is over, and the worker about to end
};

/// `Rastrel::Read` of a path in the system's narrow encoding.
class RASTREL_API RastrelReadThread : public RastrelHelperThread {
public:
    ~RastrelReadThread() override;
    void Run(const char* path, Rastrel* target);
    void Proceed() override;

    const char* file = nullptr;
};

/// `Rastrel::Read` of a wide path.
class RASTREL_API RastrelReadThreadW : public RastrelHelperThread {
public:
    ~RastrelReadThreadW() override;
    void Run(const wchar_t* path, Rastrel* target);
    void Proceed() override;

    const wchar_t* file = nullptr;
};

/// `Rastrel::Write` to a path in the system's narrow encoding.
class RASTREL_API RastrelWriteThread : public RastrelHelperThread {
public:
    ~RastrelWriteThread() override;
    void Run(const char* path, const char* formatName, Rastrel* target);
    void Proceed() override;

    const char* file = nullptr;
    const char* format = nullptr;
};

/// `Rastrel::Write` to a wide path.
class RASTREL_API RastrelWriteThreadW : public RastrelHelperThread {
public:
    ~RastrelWriteThreadW() override;
    void Run(const wchar_t* path, const wchar_t* formatName, Rastrel* target);
    void Proceed() override;

    const wchar_t* file = nullptr;
    const wchar_t* format = nullptr;
};

/// `Rastrel::Reload`.
class RASTREL_API RastrelReloadThread : public RastrelHelperThread {
public:
    ~RastrelReloadThread() override;
    void Run(Rastrel* target);
    void Proceed() override;
};

/// `Rastrel::AutoExposure`.
class RASTREL_API RastrelAutoExposureThread : public RastrelHelperThread {
public:
    ~RastrelAutoExposureThread() override;
    void Run(Rastrel* target);
    void Proceed() override;
};

/// `Rastrel::GetWindowsBitmap` of the whole image. The handle is stored into the result when the bitmap is done; null
/// when there is none. The host owns it.
class RASTREL_API RastrelGetWindowsBitmapThread : public RastrelHelperThread {
public:
    ~RastrelGetWindowsBitmapThread() override;
    void Run(HBITMAP* destination, unsigned long bitmapWidth, unsigned long bitmapHeight, bool smooth, Rastrel* target);
    void Proceed() override;

    HBITMAP* bitmap = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned char flag = 0; ///< smooth
};
