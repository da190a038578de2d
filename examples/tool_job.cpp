#include "tool_job.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <iostream>

#include "rastrel/operation_threads.h"
#include "tool_console.h"
#include "tool_failure.h"

namespace tool {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// One operation on an image.
class Job : public RastrelHelperThread {
public:
    Job(Rastrel& target, const std::function<void()>& work) : work_(work) {
        if (accept(&target)) start();
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    ~Job() override { ExitAsyncProceedLoop(false, true); }

    void Proceed() override {
        try {
            work_();
        } catch (...) {
            thrown_ = std::current_exception();
        }
        done_.store(true);
    }

    bool done() const { return done_.load(); }
    void rethrow() const {
        if (thrown_) std::rethrow_exception(thrown_);
    }

private:
    const std::function<void()>& work_;
    std::exception_ptr thrown_;
    std::atomic<bool> done_{false};
};

/// A line on a terminal that shows how far a job is; gone when the job is over.
class ProgressBar {
public:
    explicit ProgressBar(const std::string& title) : title_(title), visible_(errorIsTerminal()) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() {
        if (shown_ > 0) std::cerr << '\r' << std::string(shown_, ' ') << '\r' << std::flush;
    }

    void show(std::uint32_t progress) {
        if (!visible_ || std::chrono::steady_clock::now() - begin_ < kPatience) return;
        // The planes of a big document count from above: 1000 x planes / planes done.
        const std::uint32_t perMille = progress > 1000 ? 1000000 / progress : progress;
        const std::size_t full = perMille * kWidth / 1000;
        const std::string line = title_ + " [" + std::string(full, '#') + std::string(kWidth - full, '.') + "] " +
                                 std::to_string(perMille / 10) + " % ";
        std::cerr << '\r' << line << std::flush;
        shown_ = std::max(shown_, line.size());
    }

private:
    static constexpr std::size_t kWidth = 40;
    static constexpr std::chrono::milliseconds kPatience{200}; ///< short work shows nothing

    std::string title_;
    bool visible_;
    std::size_t shown_ = 0;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

} // namespace

void catchInterrupts() {
    onInterrupt([] { interrupted.store(true); });
}

void runJob(Rastrel& image, const std::string& title, const std::function<void()>& work) {
    if (interrupted.load()) throw Cancelled();
    {
        Job job(image, work);
        ProgressBar bar(title);
        std::atomic_ref busy(image.busyCount);
        for (unsigned wait = 1; busy.load() != 0; wait = std::min(wait * 2, 20U)) {
            // Again and again: the worker clears the request once, when it begins.
            if (interrupted.load()) job.StopProceedLoop();
            bar.show(std::atomic_ref(image.progress).load());
            Thread::Sleep(wait);
        }
        job.ExitAsyncProceedLoop(true, false);                 // at its end, which may take a moment on a busy machine
        if (!job.done() && !interrupted.load()) job.Proceed(); // the system had no thread to give
        job.rethrow();
    }
    std::atomic_ref(image.cancelRequested).store(0);
    if (interrupted.load()) throw Cancelled();
}

bool goOn(Rastrel& image, std::uint64_t done, std::uint64_t total) {
    std::atomic_ref(image.progress).store(static_cast<std::uint32_t>(done * 1000 / std::max<std::uint64_t>(total, 1)));
    return std::atomic_ref(image.cancelRequested).load() == 0;
}

} // namespace tool
