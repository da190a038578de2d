/// @file viewer_layout.h
/// Where a picture lies in the window, and which part of it a mark in the window means.
#pragma once

#include <algorithm>
#include <cmath>

#include "rastrel/platform.h"

namespace viewer {

/// Columns and rows of an image; `right` and `bottom` are part of it.
struct Area {
    long left = 0;
    long top = 0;
    long right = -1;
    long bottom = -1;

    [[nodiscard]] long width() const { return right - left + 1; }
    [[nodiscard]] long height() const { return bottom - top + 1; }
    bool operator==(const Area&) const = default;
};

inline SIZE sizeOf(const RECT& rect) { return {rect.right - rect.left, rect.bottom - rect.top}; }

/// The largest rectangle of the area's proportions, in the middle of the room; empty when either is.
inline RECT fitted(const Area& area, SIZE room) {
    if (area.width() <= 0 || area.height() <= 0 || room.cx <= 0 || room.cy <= 0) return {};
    const double scale = std::min(static_cast<double>(room.cx) / static_cast<double>(area.width()),
                                  static_cast<double>(room.cy) / static_cast<double>(area.height()));
    const long width = std::max(1L, std::lround(static_cast<double>(area.width()) * scale));
    const long height = std::max(1L, std::lround(static_cast<double>(area.height()) * scale));
    const long left = (room.cx - width) / 2;
    const long top = (room.cy - height) / 2;
    return {left, top, left + width, top + height};
}

/// The part of the image under a mark in the window, where `place` shows `shown`.
inline Area areaUnder(const RECT& mark, const RECT& place, const Area& shown) {
    const auto along = [](long at, long from, long to, long first, long count) {
        const double part = static_cast<double>(at - from) / static_cast<double>(std::max(1L, to - from));
        return first + std::clamp(static_cast<long>(part * static_cast<double>(count)), 0L, count - 1);
    };
    return {along(std::min(mark.left, mark.right), place.left, place.right, shown.left, shown.width()),
            along(std::min(mark.top, mark.bottom), place.top, place.bottom, shown.top, shown.height()),
            along(std::max(mark.left, mark.right), place.left, place.right, shown.left, shown.width()),
            along(std::max(mark.top, mark.bottom), place.top, place.bottom, shown.top, shown.height())};
}

/// The area moved by as much as the window shows for `dx` and `dy`, but not beyond the image's `whole`.
inline Area moved(const Area& shown, const RECT& place, long dx, long dy, const Area& whole) {
    const SIZE size = sizeOf(place);
    if (size.cx <= 0 || size.cy <= 0) return shown;
    const long left = std::clamp(shown.left - std::lround(static_cast<double>(dx) * static_cast<double>(shown.width()) /
                                                          static_cast<double>(size.cx)),
                                 0L, whole.width() - shown.width());
    const long top = std::clamp(shown.top - std::lround(static_cast<double>(dy) * static_cast<double>(shown.height()) /
                                                        static_cast<double>(size.cy)),
                                0L, whole.height() - shown.height());
    return {left, top, left + shown.width() - 1, top + shown.height() - 1};
}

} // namespace viewer
