/// @file line_layer.h
/// The line layer's families, each written once for all interchange types.
///
/// Everything here addresses stored coordinates and reaches the image's own operations (`Reload`, `GetBitmapSize`,
/// `GetColordepth`, `mirror`, `ReadPixel`, `WritePixel`) through their virtual slots.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "image/reflect.h"
#include "pixel/color_model.h"
#include "pixel/convert_pixels.h"
#include "pixel/interchange.h"
#include "rastrel/rastrel.h"

namespace rastrel {
struct ByteSampler;
struct PixelPairs;
} // namespace rastrel

struct Rastrel::LineLayer {
    template <class T>
    static constexpr std::uint8_t kCode = rastrel::Interchange<T>::kCode;
    template <class T>
    static constexpr bool kOrdered = rastrel::Interchange<T>::kOrdered;

    template <class T>
    static bool readRow(Rastrel& image, T* buffer, long x0, long x1, long y, bool order);
    template <class T>
    static bool writeRow(Rastrel& image, T* buffer, long x0, long x1, long y, bool order);
    template <class T>
    static bool readColumn(Rastrel& image, T* buffer, long y0, long y1, long x, bool order);
    template <class T>
    static bool writeColumn(Rastrel& image, T* buffer, long y0, long y1, long x, bool order);
    template <class T>
    static bool readPixel(Rastrel& image, T& pixel, long x, long y, bool order);
    template <class T>
    static bool writePixel(Rastrel& image, T& pixel, long x, long y, bool order);

    // The public families: orientation first, then the protected operation of the same type, through its slot.
    template <class T>
    static bool getRow(Rastrel& image, T* buffer, long x1, long x2, long y);
    template <class T>
    static bool getColumn(Rastrel& image, T* buffer, long y1, long y2, long x);
    template <class T>
    static bool setRow(Rastrel& image, T* buffer, long x1, long x2, long y);
    template <class T>
    static bool setColumn(Rastrel& image, T* buffer, long y1, long y2, long x);
    template <class T>
    static T getPixel(Rastrel& image, long x, long y);
    template <class T>
    static void setPixel(Rastrel& image, long x, long y, T& pixel);
    /// An interpolated sample at host coordinates; sampling.h.
    template <class T>
    static T sample(Rastrel& image, double x, double y);
    template <class T>
    static T sampleThroughGetters(Rastrel& image, double x, double y);
    template <class T>
    static bool findPairs(Rastrel& image, double x, double y, rastrel::PixelPairs& pairs);
    /// The samplers that this machine can run, the general one first.
    static std::span<const rastrel::ByteSampler> byteSamplers();
    /// The last of them, once the library's start-up has asked the processor; the general one before.
    using SampleBytes = pixel_argb8 (*)(Rastrel& image, double x, double y);
    static SampleBytes byteSampler;

private:
    static const bool samplerIsChosen;

    /// A range along an axis in ascending order, with the direction the caller asked for.
    struct Range {
        std::int64_t low, high;
        bool descending;
        Range(long from, long to) noexcept : low(std::min(from, to)), high(std::max(from, to)), descending(from > to) {}
        std::uint64_t count() const noexcept {
            return static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low) + 1;
        }
        /// Which buffer element belongs to a coordinate of the range.
        std::size_t element(std::int64_t coordinate, const Range& asked) const noexcept {
            return static_cast<std::size_t>(descending ? asked.high - coordinate : coordinate - asked.low);
        }
        /// Cuts the range to 0 .. n - 1; false when nothing is left.
        bool clip(std::uint32_t n) noexcept {
            low = std::max<std::int64_t>(low, 0);
            high = std::min<std::int64_t>(high, static_cast<std::int64_t>(n) - 1);
            return low <= high;
        }
    };

    /// Most pixels that pass through one scratch buffer, so that it stays in the cache.
    static constexpr std::uint64_t kScratchPixels = 4096;

    static bool hasSize(const Rastrel& image) noexcept { return image.width != 0 && image.height != 0; }

    /// Loads an unloaded image. False when the image has no size afterwards.
    static bool touch(Rastrel& image) {
        if (image.pixels.GetSize() == 0) image.Reload();
        return hasSize(image);
    }

    static bool storedOrder(const Rastrel& image) noexcept { return image.componentOrder != 0; }

    /// Whether the caller's elements have just the layout of the stored pixels.
    template <class T>
    static bool isDirect(const Rastrel& image, bool order) noexcept {
        return image.colormodel == kCode<T> && (!kOrdered<T> || order == storedOrder(image));
    }

    template <class T>
    static bool isConvertible(const Rastrel& image) noexcept {
        return kCode<T> != CM_RGGB12 && rastrel::isConvertible(image.colormodel);
    }

    /// Reads what the block holds of a range; what lies behind its end is zero.
    static void readBytes(const Rastrel& image, std::uint64_t position, void* to, std::uint64_t size) {
        if (image.pixels.Read(position, to, size)) return;
        const std::uint64_t held = image.pixels.GetSize();
        const std::uint64_t there = position < held ? std::min(size, held - position) : 0;
        std::memset(to, 0, static_cast<std::size_t>(size));
        if (there != 0) image.pixels.Read(position, to, there);
    }

    /// The bytes of a range in place, or null when the block is swapped or shorter.
    static unsigned char* inPlace(Rastrel& image, std::uint64_t position, std::uint64_t size) {
        const std::uint64_t held = image.pixels.GetSize();
        if (image.pixels.IsSwapped() || position > held || size > held - position) return nullptr;
        return image.pixels.GetData() + position;
    }

    static void reverse(Rastrel& image, void* line, std::uint64_t count, std::uint8_t model) {
        auto* bytes = static_cast<unsigned char*>(line);
        if (model != CM_RGGB12) {
            image.mirror(bytes, static_cast<unsigned long>(count), model);
            return;
        }
        // No kernel knows Bayer elements: they are reversed here, six opaque bytes each.
        auto* elements = reinterpret_cast<pixel_rggb12*>(bytes);
        std::reverse(elements, elements + count);
    }

    static void invalidate(Rastrel& image, std::uint32_t line);

    template <class T>
    static bool lookup(Rastrel& image, std::uint32_t line, long x0, long x1, T* buffer);
    template <class T>
    static void store(Rastrel& image, std::uint32_t line, long x0, long x1, const T* buffer, std::uint64_t count);

    template <class T>
    static void readRunDirect(Rastrel& image, T* to, std::uint64_t lineStart, const rastrel::Run& run);
    template <class T>
    static bool readRunConverted(Rastrel& image, T* to, std::uint64_t lineStart, std::uint64_t pixelSize,
                                 const rastrel::Run& run, bool order);
    template <class T>
    static bool writeConverted(Rastrel& image, const T* from, std::uint64_t position, std::uint64_t pixelSize,
                               std::uint64_t count, bool descending, bool order);
    // Calls through the virtual slot of a type, with the component order where the type has one.
    template <class T>
    static void callReadPixel(Rastrel& image, T& pixel, long x, long y, bool order) {
        if constexpr (kOrdered<T>)
            image.ReadPixel(pixel, x, y, order);
        else
            image.ReadPixel(pixel, x, y);
    }
    template <class T>
    static void callWritePixel(Rastrel& image, T& pixel, long x, long y, bool order) {
        if constexpr (kOrdered<T>)
            image.WritePixel(pixel, x, y, order);
        else
            image.WritePixel(x, y, pixel);
    }
    template <class T>
    static void callReadHLine(Rastrel& image, T* buffer, long x0, long x1, long y) {
        if constexpr (kOrdered<T>)
            image.ReadHLine(buffer, x0, x1, y, true);
        else
            image.ReadHLine(buffer, x0, x1, y);
    }
    template <class T>
    static void callReadVLine(Rastrel& image, T* buffer, long y0, long y1, long x) {
        if constexpr (kOrdered<T>)
            image.ReadVLine(buffer, y0, y1, x, true);
        else
            image.ReadVLine(buffer, y0, y1, x);
    }
    template <class T>
    static void callWriteHLine(Rastrel& image, T* buffer, long x0, long x1, long y) {
        if constexpr (kOrdered<T>)
            image.WriteHLine(buffer, x0, x1, y, true);
        else
            image.WriteHLine(buffer, x0, x1, y);
    }
    template <class T>
    static void callWriteVLine(Rastrel& image, T* buffer, long y0, long y1, long x) {
        if constexpr (kOrdered<T>)
            image.WriteVLine(buffer, y0, y1, x, true);
        else
            image.WriteVLine(buffer, y0, y1, x);
    }
    static std::uint64_t pixelBytes(Rastrel& image);
};
