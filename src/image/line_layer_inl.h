/// @file line_layer_inl.h
/// Bodies of the line layer's families. Included by the files that instantiate them.
#pragma once

#include "image/critical_section_lock.h"
#include "image/line_layer.h"

// --- the cache. Its key has no component order: a line read in one order is served to a request for the other. ---

template <class T>
bool Rastrel::LineLayer::lookup(Rastrel& image, std::uint32_t line, long x0, long x1, T* buffer) {
    const rastrel::CriticalSectionLock lock(image.cacheLock);
    // Keys are 32 bits wide: a request beyond them is never cached.
    if (image.lineCache == nullptr || x0 != static_cast<std::int32_t>(x0) || x1 != static_cast<std::int32_t>(x1))
        return false;
    return image.lineCache->lookup(line, kCode<T>, static_cast<std::uint32_t>(x0), static_cast<std::uint32_t>(x1),
                                   buffer);
}

template <class T>
void Rastrel::LineLayer::store(Rastrel& image, std::uint32_t line, long x0, long x1, const T* buffer,
                               std::uint64_t count) {
    const rastrel::CriticalSectionLock lock(image.cacheLock);
    if (image.lineCache == nullptr || x0 != static_cast<std::int32_t>(x0) || x1 != static_cast<std::int32_t>(x1) ||
        count > UINT32_MAX / sizeof(T))
        return;
    image.lineCache->store(line, kCode<T>, static_cast<std::uint32_t>(x0), static_cast<std::uint32_t>(x1), buffer,
                           static_cast<std::uint32_t>(count * sizeof(T)));
}

// --- rows ---

template <class T>
void Rastrel::LineLayer::readRunDirect(Rastrel& image, T* to, std::uint64_t lineStart, const rastrel::Run& run) {
    readBytes(image, lineStart + run.first * sizeof(T), to, run.count * sizeof(T));
    if (run.reversed) reverse(image, to, run.count, image.colormodel);
}

/// Converts one run. Forward runs of a block in memory are converted where they lie, all others through a scratch
/// buffer. False when there is no scratch buffer to be had.
template <class T>
bool Rastrel::LineLayer::readRunConverted(Rastrel& image, T* to, std::uint64_t lineStart, std::uint64_t pixelSize,
                                          const rastrel::Run& run, bool order) {
    const std::uint64_t start = lineStart + run.first * pixelSize;
    if (!run.reversed) {
        if (const unsigned char* stored = inPlace(image, start, run.count * pixelSize); stored != nullptr) {
            rastrel::ConvertPixels(to, kCode<T>, stored, image.colormodel, storedOrder(image), order, run.count);
            return true;
        }
    }
    const std::uint64_t step = std::min<std::uint64_t>(run.count, kScratchPixels);
    void* scratch = image.scratchPool.get(static_cast<std::uint32_t>(step * pixelSize));
    if (scratch == nullptr) return false;
    for (std::uint64_t done = 0; done < run.count; done += step) {
        const std::uint64_t count = std::min(step, run.count - done);
        const std::uint64_t skipped = run.reversed ? run.count - done - count : done;
        readBytes(image, start + skipped * pixelSize, scratch, count * pixelSize);
        if (run.reversed) reverse(image, scratch, count, image.colormodel);
        rastrel::ConvertPixels(to + done, kCode<T>, scratch, image.colormodel, storedOrder(image), order, count);
    }
    image.scratchPool.release(scratch);
    return true;
}

template <class T>
bool Rastrel::LineLayer::readRow(Rastrel& image, T* buffer, long x0, long x1, long y, bool order) {
    if (!hasSize(image) || buffer == nullptr) return false;
    if (lookup(image, rastrel::reflect(y, image.height), x0, x1, buffer)) return true;
    if (!touch(image)) return false;
    const std::uint32_t line = rastrel::reflect(y, image.height); // a reload may have brought another height
    const Range asked(x0, x1);
    const std::uint64_t count = asked.count();

    if (rastrel::isOneBit(image.colormodel)) {
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::int64_t x =
                asked.descending ? asked.high - static_cast<std::int64_t>(i) : asked.low + static_cast<std::int64_t>(i);
            callReadPixel(image, buffer[i], static_cast<long>(x), static_cast<long>(line), order);
        }
        return true;
    }
    const bool direct = isDirect<T>(image, order);
    if (!direct && !isConvertible<T>(image)) return true; // nothing converts these: the buffer stays as it is

    const std::uint64_t pixelSize = direct ? sizeof(T) : image.GetBitmapSize(1, 1, image.colormodel);
    const std::uint64_t lineStart = image.GetBitmapSize(image.width, line, image.colormodel);
    T* to = buffer;
    bool whole = true;
    rastrel::forEachRun(asked.low, count, image.width, [&](const rastrel::Run& run) {
        if (direct)
            readRunDirect(image, to, lineStart, run);
        else
            whole = whole && readRunConverted(image, to, lineStart, pixelSize, run, order);
        to += run.count;
    });
    if (!whole) return false;
    if (asked.descending) reverse(image, buffer, count, kCode<T>);
    store(image, line, x0, x1, buffer, count);
    return true;
}

/// Converts `count` ascending stored pixels from the caller's elements, which are in the order of the request.
template <class T>
bool Rastrel::LineLayer::writeConverted(Rastrel& image, const T* from, std::uint64_t position, std::uint64_t pixelSize,
                                        std::uint64_t count, bool descending, bool order) {
    if (!descending) {
        if (unsigned char* stored = inPlace(image, position, count * pixelSize); stored != nullptr) {
            rastrel::ConvertPixels(stored, image.colormodel, from, kCode<T>, order, storedOrder(image), count);
            return true;
        }
    }
    const std::uint64_t step = std::min<std::uint64_t>(count, kScratchPixels);
    void* scratch = image.scratchPool.get(static_cast<std::uint32_t>(step * pixelSize));
    if (scratch == nullptr) return false;
    for (std::uint64_t done = 0; done < count; done += step) {
        const std::uint64_t part = std::min(step, count - done);
        rastrel::ConvertPixels(scratch, image.colormodel, from + done, kCode<T>, order, storedOrder(image), part);
        if (descending) reverse(image, scratch, part, image.colormodel);
        const std::uint64_t skipped = descending ? count - done - part : done;
        image.pixels.Write(position + skipped * pixelSize, scratch, part * pixelSize);
    }
    image.scratchPool.release(scratch);
    return true;
}

template <class T>
bool Rastrel::LineLayer::writeRow(Rastrel& image, T* buffer, long x0, long x1, long y, bool order) {
    if (!hasSize(image) || buffer == nullptr || y < 0 || static_cast<std::uint64_t>(y) >= image.height) return false;
    if (!touch(image) || static_cast<std::uint64_t>(y) >= image.height) return false;
    const Range asked(x0, x1);
    Range kept = asked;
    if (!kept.clip(image.width)) return true;
    invalidate(image, static_cast<std::uint32_t>(y));

    const std::uint64_t count = kept.count();
    if (rastrel::isOneBit(image.colormodel)) {
        for (std::int64_t x = kept.low; x <= kept.high; ++x)
            callWritePixel(image, buffer[kept.element(x, asked)], static_cast<long>(x), y, order);
        return true;
    }
    T* from = buffer + kept.element(kept.descending ? kept.high : kept.low, asked);
    const auto line = static_cast<unsigned long>(y);
    if (isDirect<T>(image, order)) {
        const std::uint64_t position =
            (static_cast<std::uint64_t>(y) * image.width + static_cast<std::uint64_t>(kept.low)) * sizeof(T);
        // The caller's buffer is turned round for the write and back again.
        if (kept.descending) reverse(image, from, count, image.colormodel);
        image.pixels.Write(position, from, count * sizeof(T));
        if (kept.descending) reverse(image, from, count, image.colormodel);
        return true;
    }
    if (!isConvertible<T>(image)) return true; // nothing converts these: the image stays as it is
    const std::uint64_t pixelSize = image.GetBitmapSize(1, 1, image.colormodel);
    const std::uint64_t position = image.GetBitmapSize(static_cast<unsigned long>(kept.low), 1, image.colormodel) +
                                   image.GetBitmapSize(image.width, line, image.colormodel);
    return writeConverted(image, from, position, pixelSize, count, kept.descending, order);
}

// --- columns ---

template <class T>
bool Rastrel::LineLayer::readColumn(Rastrel& image, T* buffer, long y0, long y1, long x, bool order) {
    if (!hasSize(image) || buffer == nullptr || !touch(image)) return false;
    const Range asked(y0, y1);
    const std::uint64_t count = asked.count();
    const auto column = static_cast<long>(rastrel::reflect(x, image.width));
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::int64_t y = asked.low + static_cast<std::int64_t>(i);
        callReadPixel(image, buffer[asked.element(y, asked)], column, static_cast<long>(y), order);
    }
    return true;
}

template <class T>
bool Rastrel::LineLayer::writeColumn(Rastrel& image, T* buffer, long y0, long y1, long x, bool order) {
    if (!hasSize(image) || buffer == nullptr || x < 0 || static_cast<std::uint64_t>(x) >= image.width) return false;
    if (!touch(image) || static_cast<std::uint64_t>(x) >= image.width) return false;
    const Range asked(y0, y1);
    Range kept = asked;
    if (!kept.clip(image.height)) return true;
    const std::uint64_t count = kept.count();
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::int64_t y =
            kept.descending ? kept.high - static_cast<std::int64_t>(i) : kept.low + static_cast<std::int64_t>(i);
        callWritePixel(image, buffer[kept.element(y, asked)], x, static_cast<long>(y), order);
    }
    return true;
}

// --- single pixels ---

template <class T>
bool Rastrel::LineLayer::readPixel(Rastrel& image, T& pixel, long x, long y, bool order) {
    if (!hasSize(image) || !touch(image)) return false;
    const std::uint32_t column = rastrel::reflect(x, image.width);
    const std::uint32_t line = rastrel::reflect(y, image.height);
    const std::uint64_t index = static_cast<std::uint64_t>(line) * image.width + column;

    unsigned char stored[sizeof(pixel_argbfp64)]{};
    if (rastrel::isOneBit(image.colormodel)) {
        readBytes(image, index / 8, stored, 1);
        stored[0] = static_cast<unsigned char>(stored[0] << (index % 8));
    } else {
        const std::uint64_t size = pixelBytes(image);
        if (size == 0 || size > sizeof stored) {
            pixel = T{};
            return false;
        }
        readBytes(image, index * size, stored, size);
        if (isDirect<T>(image, order)) {
            std::memcpy(&pixel, stored, sizeof(T));
            return true;
        }
    }
    if (isConvertible<T>(image))
        rastrel::ConvertPixels(&pixel, kCode<T>, stored, image.colormodel, storedOrder(image), order, 0);
    return true;
}

template <class T>
bool Rastrel::LineLayer::writePixel(Rastrel& image, T& pixel, long x, long y, bool order) {
    if (!hasSize(image) || !touch(image)) return false;
    const std::uint32_t column = rastrel::reflect(x, image.width);
    const std::uint32_t line = rastrel::reflect(y, image.height);
    invalidate(image, line);
    const std::uint64_t index = static_cast<std::uint64_t>(line) * image.width + column;

    unsigned char stored[sizeof(pixel_argbfp64)]{};
    if (rastrel::isOneBit(image.colormodel)) {
        if (!isConvertible<T>(image)) return true;
        const auto shift = static_cast<unsigned>(index % 8);
        readBytes(image, index / 8, stored, 1);
        unsigned char bit = static_cast<unsigned char>(stored[0] << shift);
        rastrel::ConvertPixels(&bit, image.colormodel, &pixel, kCode<T>, order, storedOrder(image), 0);
        const unsigned mask = 0x80u >> shift;
        stored[0] = static_cast<unsigned char>((stored[0] & ~mask) | ((bit >> shift) & mask));
        image.pixels.Write(index / 8, stored, 1);
        return true;
    }
    const std::uint64_t size = pixelBytes(image);
    if (size == 0 || size > sizeof stored) return false;
    if (isDirect<T>(image, order))
        std::memcpy(stored, &pixel, sizeof(T));
    else if (isConvertible<T>(image))
        rastrel::ConvertPixels(stored, image.colormodel, &pixel, kCode<T>, order, storedOrder(image), 0);
    else
        return true; // nothing converts these: the image stays as it is
    image.pixels.Write(index * size, stored, size);
    return true;
}
