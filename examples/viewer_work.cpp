#include "viewer_work.h"

#include <atomic>
#include <utility>

namespace viewer {
namespace {

constexpr unsigned __int64 kMostInMemory = 2ULL << 30; ///< bytes of pixels; larger images lie in a temporary file

bool idle(Thread& thread) {
    return std::atomic_ref(thread.threadHandle).load() == nullptr && std::atomic_ref(thread.threadId).load() == 0;
}

std::uint32_t progressOf(Photo& photo) {
    const std::uint32_t progress = std::atomic_ref(photo.progress).load();
    return progress > 1000 ? 1000000 / progress : progress; // the planes of a big document count from above
}

} // namespace

Load::Load(std::wstring path) : path_(std::move(path)), photo_(std::make_unique<Photo>()) {
    photo_->swapThreshold = kMostInMemory;
    thread_.Run(path_.c_str(), photo_.get());
}

bool Load::ended() { return idle(thread_); }

std::uint32_t Load::progress() { return progressOf(*photo_); }

std::unique_ptr<Photo> Load::take() {
    if (photo_->status != 0 || !photo_->GetReady()) return nullptr;
    photo_->shown = photo_->whole();
    return std::move(photo_);
}

Studio::~Studio() {
    stop();
    if (bitmap_ != nullptr) DeleteObject(bitmap_);
}

void Studio::stop() {
    render_.ExitAsyncProceedLoop(false, false);
    measure_.ExitAsyncProceedLoop(false, false);
    if (result_ != nullptr) DeleteObject(std::exchange(result_, nullptr));
    doing_ = Doing::kNothing;
    toMeasure_ = false;
}

void Studio::show(std::unique_ptr<Photo> photo) {
    stop();
    if (bitmap_ != nullptr) DeleteObject(std::exchange(bitmap_, nullptr));
    photo_ = std::move(photo);
    measured_ = false;
    wanted_ = rendered_ = {};
}

// A fast picture is soon done and better than none; a smooth one is given up for its successor.
void Studio::render(const Picture& picture) {
    wanted_ = picture;
    if (doing_ == Doing::kRendering && current_.smooth && !(current_ == wanted_)) render_.StopProceedLoop();
    if (doing_ == Doing::kNothing) begin();
}

void Studio::measure() {
    if (!photo_ || measuring()) return;
    toMeasure_ = true;
    if (doing_ == Doing::kRendering) render_.StopProceedLoop();
    if (doing_ == Doing::kNothing) begin();
}

void Studio::cancelMeasuring() {
    toMeasure_ = false;
    if (doing_ == Doing::kMeasuring) measure_.StopProceedLoop();
}

void Studio::begin() {
    if (!photo_) return;
    if (std::exchange(toMeasure_, false)) {
        doing_ = Doing::kMeasuring;
        measure_.Run(photo_.get());
    } else if (!(wanted_ == rendered_) && wanted_.size.cx > 0 && wanted_.size.cy > 0) {
        doing_ = Doing::kRendering;
        current_ = wanted_;
        photo_->shown = current_.area;
        photo_->exposed = current_.exposed;
        render_.Run(&result_, static_cast<unsigned long>(current_.size.cx),
                    static_cast<unsigned long>(current_.size.cy), current_.smooth, photo_.get());
    }
}

void Studio::finish() {
    if (std::exchange(doing_, Doing::kNothing) == Doing::kMeasuring) {
        measured_ = std::atomic_ref(photo_->cancelRequested).load() == 0;
        if (measured_) photo_->SetExposure(1.0); // the whole of the curve that was measured
    } else if (result_ != nullptr) {
        if (bitmap_ != nullptr) DeleteObject(bitmap_);
        bitmap_ = std::exchange(result_, nullptr);
        rendered_ = current_;
    } else if (std::atomic_ref(photo_->cancelRequested).load() == 0) {
        rendered_ = current_; // there is no such bitmap to be had: not again and again
    }
}

bool Studio::poll() {
    if (doing_ == Doing::kNothing || !idle(doing_ == Doing::kMeasuring ? static_cast<Thread&>(measure_) : render_))
        return false;
    finish();
    begin();
    return true;
}

std::uint32_t Studio::progress() { return photo_ ? progressOf(*photo_) : 0; }

} // namespace viewer
