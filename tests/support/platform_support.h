/// @file platform_support.h
/// Handles, threads and bounded waits for tests that run on the system's own calls and on their stand-ins.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rastrel/platform.h"

namespace rastrel_test {

constexpr DWORD kShort = 20;    ///< ms: long enough for other threads to get somewhere
constexpr DWORD kLong = 30'000; ///< ms: a wait that lasts so long is a failure

/// Owns a handle.
class Handle {
public:
    explicit Handle(HANDLE handle = nullptr) noexcept : handle_(handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle(const Handle& other) noexcept : handle_(duplicate(other.handle_)) {}
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(nullptr); }
    void reset(HANDLE handle) noexcept {
        if (handle_ != nullptr) CloseHandle(handle_);
        handle_ = handle;
    }
    [[nodiscard]] HANDLE get() const noexcept { return handle_; }
    /// A handle of its own for the same object; of the calling thread for `GetCurrentThread()`.
    static HANDLE duplicate(HANDLE source) noexcept {
        HANDLE copy = nullptr;
        if (source != nullptr)
            DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
        return copy;
    }

private:
    HANDLE handle_;
};

/// Repeats a condition until it holds; false after `kLong`.
template <class Condition>
[[nodiscard]] bool eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        Sleep(1);
    }
    return true;
}

/// A thread started with `_beginthread`, waited for by the destructor.
class TestThread {
public:
    explicit TestThread(std::function<void()> body) : body_(std::move(body)) {
        started_ = _beginthread(&TestThread::run, 0, this) != ~std::uintptr_t{0};
        if (started_) WaitForSingleObject(ready_.get(), kLong);
    }
    TestThread(const TestThread&) = delete;
    TestThread& operator=(const TestThread&) = delete;
    ~TestThread() {
        if (started_) WaitForSingleObject(thread_.get(), kLong);
    }
    [[nodiscard]] bool started() const noexcept { return started_; }
    /// A handle that stays valid after the thread's end.
    [[nodiscard]] HANDLE handle() const noexcept { return thread_.get(); }
    [[nodiscard]] bool ended() const noexcept { return WaitForSingleObject(thread_.get(), 0) == WAIT_OBJECT_0; }

private:
    static void __cdecl run(void* object) {
        auto* self = static_cast<TestThread*>(object);
        self->thread_.reset(Handle::duplicate(GetCurrentThread()));
        SetEvent(self->ready_.get());
        self->body_();
    }

    std::function<void()> body_;
    Handle ready_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    Handle thread_;
    bool started_ = false;
};

} // namespace rastrel_test
