/// @file public_access.h
/// The public pixel and line families as templates.
#pragma once

#include <algorithm>
#include <cstdint>

#include "image/line_layer.h"
#include "pixel/orientation.h"

namespace rastrel {

[[nodiscard]] inline Orientation orientationOf(const Rastrel& image) noexcept {
    return {image.transposed != 0, image.mirrorX != 0, image.mirrorY != 0, image.width, image.height};
}

} // namespace rastrel

template <class T>
bool Rastrel::LineLayer::getRow(Rastrel& image, T* buffer, long x1, long x2, long y) {
    if (buffer == nullptr) return false;
    const auto o = rastrel::orientationOf(image);
    if (!o.transposed) {
        const auto line = rastrel::storedRow(o, x1, x2, y);
        callReadHLine(image, buffer, line.first, line.last, line.fixed);
    } else {
        const auto line = rastrel::rotatedRowToRead(o, x1, x2, y);
        callReadVLine(image, buffer, line.first, line.last, line.fixed);
    }
    return true;
}

template <class T>
bool Rastrel::LineLayer::getColumn(Rastrel& image, T* buffer, long y1, long y2, long x) {
    if (buffer == nullptr) return false;
    const auto o = rastrel::orientationOf(image);
    if (!o.transposed) {
        const auto line = rastrel::storedColumn(o, y1, y2, x);
        callReadVLine(image, buffer, line.first, line.last, line.fixed);
    } else {
        const auto line = rastrel::rotatedColumn(o, y1, y2, x);
        callReadHLine(image, buffer, line.first, line.last, line.fixed);
    }
    return true;
}

template <class T>
bool Rastrel::LineLayer::setRow(Rastrel& image, T* buffer, long x1, long x2, long y) {
    if (buffer == nullptr) return false;
    const auto o = rastrel::orientationOf(image);
    if (!o.transposed) {
        const auto line = rastrel::storedRow(o, x1, x2, y);
        callWriteHLine(image, buffer, line.first, line.last, line.fixed);
    } else {
        const auto line = rastrel::rotatedRowToWrite(o, x1, x2, y);
        callWriteVLine(image, buffer, line.first, line.last, line.fixed);
    }
    return true;
}

template <class T>
bool Rastrel::LineLayer::setColumn(Rastrel& image, T* buffer, long y1, long y2, long x) {
    if (buffer == nullptr) return false;
    const auto o = rastrel::orientationOf(image);
    if (!o.transposed) {
        const auto line = rastrel::storedColumn(o, y1, y2, x);
        callWriteVLine(image, buffer, line.first, line.last, line.fixed);
    } else {
        const auto line = rastrel::rotatedColumn(o, y1, y2, x);
        callWriteHLine(image, buffer, line.first, line.last, line.fixed);
    }
    return true;
}

template <class T>
T Rastrel::LineLayer::getPixel(Rastrel& image, long x, long y) {
    T pixel{};
    const auto at = rastrel::storedPoint(rastrel::orientationOf(image), x, y);
    callReadPixel(image, pixel, at.x, at.y, true);
    return pixel;
}

template <class T>
void Rastrel::LineLayer::setPixel(Rastrel& image, long x, long y, T& pixel) {
    const auto at = rastrel::storedPoint(rastrel::orientationOf(image), x, y);
    callWritePixel(image, pixel, at.x, at.y, true);
}
