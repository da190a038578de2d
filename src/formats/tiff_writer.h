/// @file tiff_writer.h
/// Uncompressed, single-strip, little-endian TIFF files.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Writes the image with its metadata. Stored bytes go out as they are, in reversed component order when the image's
/// flag is set (floating-point samples never). Unloaded pixels are loaded first.
///
/// False for a colour model without a TIFF layout and for a file that would pass 4 GiB, both before a byte is written;
/// for a write that does not complete or is cancelled; and, with directories written all the same, for a pixel block
/// that does not hold every line.
[[nodiscard]] bool writeTiff(FILE* file, ImagePort& port);

} // namespace rastrel
