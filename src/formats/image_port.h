/// @file image_port.h
/// What a codec may see of an image.
#pragma once

#include <cstdint>

#include "image/image_state.h"
#include "rastrel/rastrel.h"

namespace rastrel {

/// The image's own operations that codecs need, called through its virtual slots.
class ImageOperations {
public:
    explicit ImageOperations(Rastrel& image) noexcept : image_(&image) {}
    /// One stored row of `width` pixels, blue, green, red, alpha floats.
    [[nodiscard]] bool readRow(pixel_argbfp32* row, std::uint32_t y) const;
    [[nodiscard]] bool writeRow(pixel_argbfp32* row, std::uint32_t y) const;
    [[nodiscard]] std::uint64_t bitmapSize(std::uint32_t width, std::uint32_t height, std::uint8_t colormodel) const;
    /// Loads the pixels of an unloaded image; 0 on success.
    std::uint64_t reload() const;

private:
    Rastrel* image_;
};

/// A rectangle of a file's pixels as a host asks for it: `left` and `top` inclusive, `right` and `bottom` exclusive.
struct FileRect {
    std::uint64_t left, top, right, bottom;
};

/// An image as its codecs see it: the fields by reference, the rest through `operations`. A reader sets size, colour
/// model and flags only once it knows that it accepts the file; whatever it leaves behind when it declines is emptied
/// by the dispatch, which also catches what a codec throws.
struct ImagePort {
    MemBlockDesc& block;
    Rastrel::_EXIF& exif;
    std::uint32_t& width;  ///< stored width
    std::uint32_t& height; ///< stored height
    std::uint8_t& colormodel;
    unsigned char& transposed;
    unsigned char& mirrorX;
    unsigned char& mirrorY;
    unsigned char& componentOrder;
    std::uint64_t swapThreshold; ///< blocks of more bytes are swapped out
    Progress progress;
    Cancel cancel;
    ImageOperations operations;

    /// Creates a pixel block of `size` bytes, swapped out when it is larger than the threshold. All bytes are zero
    /// unless `clear` is false: then the codec has to write each of them.
    /// False, with an empty block, when storage cannot be had.
    [[nodiscard]] bool createBlock(std::uint64_t size, bool clear = true) const {
        if (!(size > swapThreshold ? block.Swap(0) : block.UnSwap())) return false;
        return block.Create(size, clear);
    }
    /// Takes over the head of an accepted file.
    void setHead(std::uint32_t newWidth, std::uint32_t newHeight, std::uint8_t newModel) const noexcept {
        width = newWidth;
        height = newHeight;
        colormodel = newModel;
    }
};

/// The port of an image.
[[nodiscard]] ImagePort portOf(Rastrel& image) noexcept;

} // namespace rastrel
