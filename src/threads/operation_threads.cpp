#include "rastrel/operation_threads.h"

#include <exception>

#include "threads/shared_field.h"

using rastrel::load;
using rastrel::store;
using rastrel::take;

namespace {

constexpr DWORD kEndMilliseconds = 500; // what a worker may take from the end of its operation to its own

/// Takes the mark of a request away when other operations hold the image; of several that look at once, one stays.
bool drop(Rastrel& image) noexcept {
    std::atomic_ref busy(image.busyCount);
    for (std::uint32_t count = busy.load(); count > 1;) {
        if (busy.compare_exchange_weak(count, count - 1)) return true;
    }
    return false;
}

/// Takes the mark of a request away, if there is one: the end by force of another operation may have taken them all.
void lower(Rastrel& image) noexcept {
    std::atomic_ref busy(image.busyCount);
    for (std::uint32_t count = busy.load(); count > 0;) {
        if (busy.compare_exchange_weak(count, count - 1)) return;
    }
}

} // namespace

RastrelHelperThread::RastrelHelperThread() noexcept { interrupted_ = &RastrelHelperThread::takeBack; }

RastrelHelperThread::~RastrelHelperThread() {
    ExitAsyncProceedLoop(false, true);
    interrupted_ = nullptr;
    image = nullptr;
}

bool RastrelHelperThread::accept(Rastrel* target) noexcept {
    store(image, target);
    return target != nullptr;
}

// The request that found the image free is the one that holds it, also when the next one is made before its worker
// looks at the count: without that both would find the image busy.
//
// A host that saw the image free may ask again before the worker of its last request has quite ended.
void RastrelHelperThread::start() noexcept {
    std::atomic_ref busy(image->busyCount);
    const bool first = busy.fetch_add(1) == 0;
    const auto runs = [this] { return load(threadHandle) != nullptr || load(threadId) != 0; };
    for (DWORD spent = 0; runs() && load(settled_) != 0 && spent < kEndMilliseconds; ++spent)
        ::Sleep(spent == 0 ? 0 : 1);
    if (runs()) return;
    store<unsigned char>(first_, first ? 1 : 0);
    store(phase_, Phase::kAsked);
    store<unsigned char>(settled_, 0);
    if (BeginAsyncProceedLoop(false) == 0) return;
    store<unsigned char>(first_, 0); // no thread to be had: no worker will do it
    store(phase_, Phase::kIdle);
    lower(*image);
}

__int64 RastrelHelperThread::ProceedLoop(bool) {
    Rastrel* const target = load(image);
    if (target == nullptr) return 0;
    const bool runs = take(first_) != 0 || !drop(*target);
    if (runs) carryOut(*target);
    store(phase_, Phase::kIdle);
    store<unsigned char>(settled_, 1);
    if (runs) lower(*target);
    return 0;
}

void RastrelHelperThread::carryOut(Rastrel& target) {
    store<unsigned char>(target.cancelRequested, 0);
    if (take(phase_, Phase::kRunning) == Phase::kStopped) { // before the line above: the request is not lost
        store<unsigned char>(target.cancelRequested, 1);
        return;
    }
    try {
        Proceed();
    } catch (const std::exception&) { // of a host's override: there is no way out for it on a thread of its own
    }
}

void RastrelHelperThread::StopProceedLoop() {
    Rastrel* const target = load(image);
    if (target == nullptr) return;
    auto asked = Phase::kAsked;
    std::atomic_ref(phase_).compare_exchange_strong(asked, Phase::kStopped);
    store<unsigned char>(target->cancelRequested, 1);
}

// The marks of the operation itself are not known one by one. It had the image to itself: without it there are none.
void RastrelHelperThread::takeBack(Thread& thread) noexcept {
    auto& self = static_cast<RastrelHelperThread&>(thread);
    Rastrel* const target = load(self.image);
    const Phase phase = take(self.phase_);
    if (target == nullptr || phase == Phase::kIdle) return;
    if (phase == Phase::kRunning)
        store<std::uint32_t>(target->busyCount, 0);
    else
        lower(*target);
    store<unsigned char>(self.first_, 0);
}

// Each class shuts its worker down while its own Proceed is still in force.
RastrelReadThread::~RastrelReadThread() { ExitAsyncProceedLoop(false, true); }
RastrelReadThreadW::~RastrelReadThreadW() { ExitAsyncProceedLoop(false, true); }
RastrelWriteThread::~RastrelWriteThread() { ExitAsyncProceedLoop(false, true); }
RastrelWriteThreadW::~RastrelWriteThreadW() { ExitAsyncProceedLoop(false, true); }
RastrelReloadThread::~RastrelReloadThread() { ExitAsyncProceedLoop(false, true); }
RastrelAutoExposureThread::~RastrelAutoExposureThread() { ExitAsyncProceedLoop(false, true); }
RastrelGetWindowsBitmapThread::~RastrelGetWindowsBitmapThread() { ExitAsyncProceedLoop(false, true); }

void RastrelReadThread::Run(const char* path, Rastrel* target) {
    if (!accept(target)) return;
    file = path;
    start();
}

void RastrelReadThread::Proceed() { image->Read(file); }

void RastrelReadThreadW::Run(const wchar_t* path, Rastrel* target) {
    if (!accept(target)) return;
    file = path;
    start();
}

void RastrelReadThreadW::Proceed() { image->Read(file); }

void RastrelWriteThread::Run(const char* path, const char* formatName, Rastrel* target) {
    if (!accept(target)) return;
    file = path;
    format = formatName;
    start();
}

void RastrelWriteThread::Proceed() { image->Write(file, format); }

void RastrelWriteThreadW::Run(const wchar_t* path, const wchar_t* formatName, Rastrel* target) {
    if (!accept(target)) return;
    file = path;
    format = formatName;
    start();
}

void RastrelWriteThreadW::Proceed() { image->Write(file, format); }

void RastrelReloadThread::Run(Rastrel* target) {
    if (accept(target)) start();
}

void RastrelReloadThread::Proceed() { image->Reload(); }

void RastrelAutoExposureThread::Run(Rastrel* target) {
    if (accept(target)) start();
}

void RastrelAutoExposureThread::Proceed() { image->AutoExposure(); }

void RastrelGetWindowsBitmapThread::Run(HBITMAP* destination, unsigned long bitmapWidth, unsigned long bitmapHeight,
                                        bool smooth, Rastrel* target) {
    if (!accept(target)) return;
    bitmap = destination;
    width = static_cast<std::uint32_t>(bitmapWidth);
    height = static_cast<std::uint32_t>(bitmapHeight);
    flag = smooth ? 1 : 0;
    start();
}

void RastrelGetWindowsBitmapThread::Proceed() {
    const HBITMAP made = image->GetWindowsBitmap(width, height, flag != 0);
    if (bitmap != nullptr)
        store(*bitmap, made);
    else if (made != nullptr)
        DeleteObject(made);
}
