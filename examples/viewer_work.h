/// @file viewer_work.h
/// What the viewer does on worker threads. Everything here is called by the window's thread and never waits there,
/// except where an object with an operation under way is destroyed or its photo replaced: the operation is cancelled.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "rastrel/operation_threads.h"
#include "viewer_photo.h"

namespace viewer {

/// Reads one file.
class Load {
public:
    explicit Load(std::wstring path);
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    void cancel() { thread_.StopProceedLoop(); }
    [[nodiscard]] bool ended();
    [[nodiscard]] std::uint32_t progress(); ///< per mille
    [[nodiscard]] const std::wstring& path() const { return path_; }
    /// What the image's `Read` said; when the reading has ended.
    [[nodiscard]] unsigned __int64 status() const { return photo_->status; }
    /// The photo, when the reading has ended; null when the file could not be read.
    [[nodiscard]] std::unique_ptr<Photo> take();

private:
    std::wstring path_;
    std::unique_ptr<Photo> photo_;
    RastrelReadThreadW thread_; // the first to go
};

/// What is to be seen of a photo.
struct Picture {
    Area area;
    SIZE size{}; ///< of the bitmap
    bool exposed = false;
    bool smooth = false;

    bool operator==(const Picture& other) const {
        return area == other.area && size.cx == other.size.cx && size.cy == other.size.cy && exposed == other.exposed &&
               smooth == other.smooth;
    }
};

/// Holds a photo and renders it, one picture at a time: the latest that was asked for. Measures its exposure.
class Studio {
public:
    Studio() = default;
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;
    ~Studio();

    void show(std::unique_ptr<Photo> photo);
    [[nodiscard]] Photo* photo() { return photo_.get(); }
    void render(const Picture& picture);
    void measure();
    void cancelMeasuring();

    /// Takes what has ended and begins what was asked for; true when something is new.
    bool poll();
    [[nodiscard]] bool busy() const { return doing_ != Doing::kNothing; }
    [[nodiscard]] bool measuring() const { return doing_ == Doing::kMeasuring || toMeasure_; }
    [[nodiscard]] std::uint32_t progress(); ///< per mille
    /// The curve has been measured, so that it can be looked through.
    [[nodiscard]] bool measured() const { return measured_; }

    [[nodiscard]] HBITMAP bitmap() const { return bitmap_; } ///< null before the first picture
    [[nodiscard]] const Picture& rendered() const { return rendered_; }

private:
    enum class Doing { kNothing, kRendering, kMeasuring };

    void stop();
    void begin();
    void finish();

    std::unique_ptr<Photo> photo_;
    RastrelGetWindowsBitmapThread render_;
    RastrelAutoExposureThread measure_;
    Doing doing_ = Doing::kNothing;
    bool toMeasure_ = false;
    bool measured_ = false;
    Picture wanted_;
    Picture current_; ///< being rendered
    Picture rendered_;
    HBITMAP result_ = nullptr; ///< the operation stores it here
    HBITMAP bitmap_ = nullptr;
};

} // namespace viewer
