/// @file naive_lines_store.h
/// The line layer one pixel at a time, on a plain copy of an image's bytes: what the real one is compared with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "rastrel/rastrel.h"
#include "support/images.h"
#include "support/naive_convert.h"

namespace testing_support {

/// The colour-model code that an interchange type has the layout of.
template <class T>
constexpr int codeOf();
template <>
constexpr int codeOf<pixel_argbfp64>() {
    return 104;
}
template <>
constexpr int codeOf<pixel_argbfp32>() {
    return 100;
}
template <>
constexpr int codeOf<pixel_rggb12>() {
    return 129;
}
template <>
constexpr int codeOf<pixel_argb16>() {
    return 98;
}
template <>
constexpr int codeOf<pixel_argb8>() {
    return 97;
}
template <>
constexpr int codeOf<double>() {
    return 56;
}
template <>
constexpr int codeOf<unsigned short>() {
    return 50;
}
template <>
constexpr int codeOf<unsigned char>() {
    return 49;
}

template <class T>
constexpr bool kHasOrder = codeOf<T>() >= 97;

inline bool converts(int code) {
    for (const int known : rastrel::naive::kCodes) {
        if (code == known) return true;
    }
    return false;
}

inline std::size_t storedPixelBytes(int code) {
    if (code == 129) return 6;
    if (code == 65) return 1;
    if (code == 66) return 2;
    return rastrel::naive::pixelBytes(code);
}

/// Walks from 0 to a coordinate step by step, turning at the first and the last pixel.
inline std::int64_t walked(std::int64_t coordinate, std::int64_t n) {
    if (n == 1) return 0;
    std::int64_t at = 0;
    std::int64_t step = 1;
    for (std::int64_t i = 0; i < (coordinate < 0 ? -coordinate : coordinate); ++i) {
        if (at + step < 0 || at + step >= n) step = -step;
        at += step;
    }
    return at;
}

/// A copy of an image's stored pixels.
class NaiveStore {
public:
    explicit NaiveStore(const Rastrel& image)
        : bytes_(bytesOf(image)), code_(image.colormodel), order_(image.componentOrder != 0), width_(image.width),
          height_(image.height) {}

    /// Reads the pixel at any coordinate; leaves `pixel` alone where nothing converts.
    template <class T>
    void read(T& pixel, std::int64_t x, std::int64_t y, bool order) const {
        const std::size_t index = indexOf(x, y);
        unsigned char stored[32]{};
        if (code_ == 16 || code_ == 32) {
            const unsigned char byte = index / 8 < bytes_.size() ? bytes_[index / 8] : 0;
            stored[0] = static_cast<unsigned char>(byte << (index % 8));
        } else {
            const std::size_t size = storedPixelBytes(code_);
            std::memcpy(stored, bytes_.data() + index * size, size);
        }
        if (code_ == codeOf<T>() && (!kHasOrder<T> || order == order_)) {
            std::memcpy(&pixel, stored, sizeof(T));
        } else if (converts(code_) && converts(codeOf<T>())) {
            rastrel::naive::convertPixel(reinterpret_cast<unsigned char*>(&pixel), codeOf<T>(), order, stored, code_,
                                         order_, 0);
        }
    }

    /// Writes the pixel at a coordinate inside the image.
    template <class T>
    void write(const T& pixel, std::int64_t x, std::int64_t y, bool order) {
        const std::size_t index = indexOf(x, y);
        const auto* from = reinterpret_cast<const unsigned char*>(&pixel);
        if (code_ == 16 || code_ == 32) {
            if (!converts(codeOf<T>()) || index / 8 >= bytes_.size()) return;
            unsigned char bit = 0;
            rastrel::naive::convertPixel(&bit, code_, order_, from, codeOf<T>(), order, 0);
            const unsigned mask = 0x80u >> (index % 8);
            bytes_[index / 8] = static_cast<unsigned char>((bytes_[index / 8] & ~mask) | ((bit & 0x80) ? mask : 0));
            return;
        }
        const std::size_t size = storedPixelBytes(code_);
        if (code_ == codeOf<T>() && (!kHasOrder<T> || order == order_))
            std::memcpy(bytes_.data() + index * size, from, size);
        else if (converts(code_) && converts(codeOf<T>()))
            rastrel::naive::convertPixel(bytes_.data() + index * size, code_, order_, from, codeOf<T>(), order, 0);
    }

    bool inside(std::int64_t x, std::int64_t y) const { return x >= 0 && x < width_ && y >= 0 && y < height_; }
    const std::vector<unsigned char>& bytes() const { return bytes_; }

private:
    std::size_t indexOf(std::int64_t x, std::int64_t y) const {
        return static_cast<std::size_t>(walked(y, height_) * width_ + walked(x, width_));
    }

    std::vector<unsigned char> bytes_;
    int code_;
    bool order_;
    std::int64_t width_, height_;
};

} // namespace testing_support
