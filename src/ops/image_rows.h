/// @file image_rows.h
/// Displayed rows of an image for the operations that work at 8 bits a channel.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <typeinfo>

#include "rastrel/rastrel.h"

namespace rastrel {

/// Images of these models are moved as `unsigned char` grey rows, all others as `pixel_argb8` rows.
[[nodiscard]] constexpr bool movesAsGrey(unsigned char colormodel) noexcept {
    return colormodel == CM_BW1 || colormodel == CM_BW1INV || colormodel == CM_GREY8;
}

/// Loads an unloaded image before an operation changes or reads its flags: a reader sets them anew.
inline void loadPixels(Rastrel& image) {
    if (image.pixels.GetSize() == 0 && image.name != nullptr) image.Reload();
}

/// The pixel block of an image whose displayed rows lie in it just as an operation wants them.
///
/// That takes an image whose rows nobody else needs to see pass: of the class itself (a derived class may override any
/// step), without a line cache, in memory, not rotated, not mirrored in x, in the rows' own model and order.
template <class Pixel>
class PlainBlock {
public:
    PlainBlock() noexcept = default;
    PlainBlock(Rastrel& image, bool cached) {
        constexpr bool kGrey = std::is_same_v<Pixel, unsigned char>;
        const std::uint64_t size = std::uint64_t{image.width} * image.height * sizeof(Pixel);
        if (typeid(image) != typeid(Rastrel) || cached || image.transposed != 0 || image.mirrorX != 0) return;
        if (image.colormodel != (kGrey ? CM_GREY8 : CM_ARGB8) || (!kGrey && image.componentOrder != 1)) return;
        if (size == 0 || image.pixels.IsSwapped() || image.pixels.GetSize() < size) return;
        data_ = image.pixels.GetData();
        width_ = image.width;
        height_ = image.height;
        mirrorY_ = image.mirrorY != 0;
    }

    /// Pixels `first` to `last` of displayed row `y`, or null when they do not lie in the block.
    [[nodiscard]] Pixel* row(std::int64_t first, std::int64_t last, std::int64_t y) const noexcept {
        if (data_ == nullptr || first < 0 || last >= std::int64_t{width_} || y < 0 || y >= std::int64_t{height_})
            return nullptr;
        const auto stored = static_cast<std::uint64_t>(mirrorY_ ? std::int64_t{height_} - 1 - y : y);
        return reinterpret_cast<Pixel*>(data_) + (stored * width_ + static_cast<std::uint64_t>(first));
    }

private:
    unsigned char* data_ = nullptr;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    bool mirrorY_ = false;
};

/// Pixels `first` to `last` of displayed rows.
template <class Pixel>
class RowReader {
public:
    RowReader(Rastrel& image, const PlainBlock<Pixel>& block, std::int64_t first, std::int64_t last) noexcept
        : image_(image), block_(block), first_(first), last_(last) {}

    /// Row `y`: where it lies, or copied into `buffer`.
    [[nodiscard]] const Pixel* read(std::int64_t y, Pixel* buffer) const {
        if (const Pixel* row = block_.row(first_, last_, y)) return row;
        image_.GetHLine(buffer, static_cast<long>(first_), static_cast<long>(last_), static_cast<long>(y));
        return buffer;
    }

private:
    Rastrel& image_;
    PlainBlock<Pixel> block_;
    std::int64_t first_, last_;
};

/// Writes pixels `first` to `last` of displayed rows: fill what `line` returns, then `write` it.
template <class Pixel>
class RowWriter {
public:
    RowWriter(Rastrel& image, const PlainBlock<Pixel>& block, std::int64_t first, std::int64_t last) noexcept
        : image_(image), block_(block), first_(first), last_(last) {}

    /// Where row `y` is to be made: its place in the image, or `buffer`.
    [[nodiscard]] Pixel* line(std::int64_t y, Pixel* buffer) const noexcept {
        Pixel* row = block_.row(first_, last_, y);
        return row != nullptr ? row : buffer;
    }
    void write(std::int64_t y, Pixel* line) const {
        if (line == block_.row(first_, last_, y)) return;
        image_.SetHLine(line, static_cast<long>(first_), static_cast<long>(last_), static_cast<long>(y));
    }

private:
    Rastrel& image_;
    PlainBlock<Pixel> block_;
    std::int64_t first_, last_;
};

} // namespace rastrel
