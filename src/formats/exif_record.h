/// @file exif_record.h
/// Directories to the image's metadata record and back.
#pragma once

#include <cstdint>
#include <vector>

#include "formats/tiff_directory.h"
#include "ondrel/stream.h"
#include "rastrel/rastrel.h"

namespace rastrel {

/// Replaces the whole record by what the directories say; their EXIF and GPS lists move into it. Resolutions and texts
/// come from the fields of `tiff` (see `CTiff::acceptDescription`), the rest from its lists.
void fillRecord(Rastrel::_EXIF& record, CTiff& tiff) noexcept;

/// Puts size, sample layout, resolutions, texts and copies of the tag lists into `tiff`, ready for
/// `CTiff::buildTags`. False for a colour model without a layout and when memory runs out.
[[nodiscard]] bool setUpTiff(CTiff& tiff, const Rastrel::_EXIF& record, std::uint32_t width, std::uint32_t height,
                             std::uint8_t colormodel);

/// Reads a TIFF structure held in memory ("II" or "MM", 42, directories; the body of an EXIF segment behind its six
/// identifying bytes) and replaces the whole record by it. Image tags are not judged. Records whose values are not in
/// the block are left out, as is an EXIF or GPS directory that is damaged. False, and the record untouched, when there
/// is no readable main directory.
[[nodiscard]] bool parseExifBlock(const void* data, std::uint64_t size, Rastrel::_EXIF& record);

/// The little-endian TIFF structure that describes an image of this size and colour model: what a TIFF file would hold
/// without its pixels. Empty when it cannot be built. It may be too long for the place it is meant for: that is the
/// caller's to check.
[[nodiscard]] std::vector<unsigned char> buildExifBlock(const Rastrel::_EXIF& record, std::uint32_t width,
                                                        std::uint32_t height, std::uint8_t colormodel);

/// Seconds from 1970-01-01 to a time of the form "YYYY:MM:DD hh:mm:ss" on the same clock; 0 for anything else.
[[nodiscard]] std::int64_t secondsFromExifTime(const std::string& text) noexcept;

} // namespace rastrel
