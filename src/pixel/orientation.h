/// @file orientation.h
/// From displayed to stored coordinates.
///
/// Without rotation all operations mirror alike. On a rotated image rows and columns each have a rule of their own,
/// which differs from that of single pixels; hosts rely on every one of them, so they stand here as they are.
#pragma once

#include <cstdint>

namespace rastrel {

/// The flags and the stored size that orientation depends on.
struct Orientation {
    bool transposed, mirrorX, mirrorY;
    std::uint32_t width, height; ///< stored
};

struct StoredPoint {
    long x, y;
};

/// A request along a line: first and last coordinate on it, and the fixed one.
struct StoredLine {
    long first, last, fixed;
};

/// extent - coordinate - 1, in modular arithmetic: a result that `long` cannot hold wraps.
[[nodiscard]] constexpr long mirrored(std::uint32_t extent, long coordinate) noexcept {
    return static_cast<long>(static_cast<std::uint64_t>(extent) - static_cast<std::uint64_t>(coordinate) - 1);
}

[[nodiscard]] constexpr StoredPoint storedPoint(const Orientation& o, long x, long y) noexcept {
    StoredPoint p = o.transposed ? StoredPoint{y, x} : StoredPoint{x, y};
    if (o.mirrorX) (o.transposed ? p.y : p.x) = mirrored(o.transposed ? o.height : o.width, x);
    if (o.mirrorY) {
        if (o.transposed)
            p.x = mirrored(o.width, p.x);
        else
            p.y = mirrored(o.height, p.y);
    }
    return p;
}

/// A displayed row of an image that is not rotated.
[[nodiscard]] constexpr StoredLine storedRow(const Orientation& o, long x1, long x2, long y) noexcept {
    if (o.mirrorX) {
        x1 = mirrored(o.width, x1);
        x2 = mirrored(o.width, x2);
    }
    return {x1, x2, o.mirrorY ? mirrored(o.height, y) : y};
}

/// A displayed column of an image that is not rotated.
[[nodiscard]] constexpr StoredLine storedColumn(const Orientation& o, long y1, long y2, long x) noexcept {
    if (o.mirrorY) {
        y1 = mirrored(o.height, y1);
        y2 = mirrored(o.height, y2);
    }
    return {y1, y2, o.mirrorX ? mirrored(o.width, x) : x};
}

/// A displayed row read from a rotated image: a stored column.
[[nodiscard]] constexpr StoredLine rotatedRowToRead(const Orientation& o, long x1, long x2, long y) noexcept {
    if (o.mirrorY) {
        x1 = mirrored(o.height, x1);
        x2 = mirrored(o.height, x2);
    }
    return {x1, x2, o.mirrorX ? mirrored(o.width, y) : y};
}

/// A displayed row written to a rotated image: width and height change places against reading.
[[nodiscard]] constexpr StoredLine rotatedRowToWrite(const Orientation& o, long x1, long x2, long y) noexcept {
    if (o.mirrorY) {
        x1 = mirrored(o.width, x1);
        x2 = mirrored(o.width, x2);
    }
    return {x1, x2, o.mirrorX ? mirrored(o.height, y) : y};
}

/// A displayed column of a rotated image, read or written: with mirrorX both ends collapse onto the second.
[[nodiscard]] constexpr StoredLine rotatedColumn(const Orientation& o, long y1, long y2, long x) noexcept {
    if (o.mirrorX) y1 = y2 = mirrored(o.height, y2);
    return {y1, y2, o.mirrorY ? mirrored(o.width, x) : x};
}

} // namespace rastrel
