/// @file jpeg_markers.h
/// The marker segments of a JPEG file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

#include "rastrel/rastrel.h"

namespace rastrel {

/// The frame header.
struct JpegFrame {
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::uint8_t components = 0;
    std::uint8_t marker = 0;  ///< 0xC0 .. 0xCF: how the picture is coded
    std::uint64_t blocks = 0; ///< 8 x 8 blocks of all components

    /// Bytes of entropy-coded data that a picture of this size takes at the very least.
    ///
    /// A Huffman code is at least one bit long. A block of a sequential picture has two (its mean, and the end of the
    /// block), one of a progressive picture one (its mean; ends of blocks may be run together). An arithmetic coder has
    /// no useful bound: a quarter of a bit is what it reaches on pictures that show anything.
    [[nodiscard]] std::uint64_t leastBytes() const noexcept;
    /// Whether a file of `fileSize` bytes may claim this size. Pictures up to 16 MiB of pixels may in any case: a file
    /// that was cut short is still shown.
    [[nodiscard]] bool plausible(std::uint64_t fileSize) const noexcept;
};

/// What the segments say.
struct JpegSegments {
    std::optional<JpegFrame> frame; ///< of the first frame header
    bool hasExif = false;
    Rastrel::_EXIF exif; ///< of the first EXIF block that can be read
};

/// What a walk is for. One for a part of the metadata ends at the first scan if it has found that by then; without it
/// it reads on, as a walk over everything does, to the end of the image or of the file.
enum class JpegWalk : std::uint8_t { everything, forFrame, forExif };

/// Whether a stream starts with FF D8 FF and E0 or E1, as every file does that is read at all.
[[nodiscard]] bool startsAsJpeg(FILE* stream);

/// Walks the markers from the start of the stream. False for a file that does not start with FF D8 FF and E0 or E1,
/// that has anything but a marker where one belongs, and that ends before its first scan.
[[nodiscard]] bool walkJpegMarkers(FILE* stream, JpegWalk walk, JpegSegments& segments);
/// Walks over everything in a file that lies in memory.
[[nodiscard]] bool walkJpegMarkers(std::span<const unsigned char> file, JpegSegments& segments);

} // namespace rastrel
