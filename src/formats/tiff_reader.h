/// @file tiff_reader.h
/// Uncompressed TIFF files: whole, as a header, as a rectangle.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads the whole first picture. The pixel bytes stay as they are in the file: samples of a big-endian file are not
/// swapped, and the component-order flag is cleared for colour. Pixel data that the file does not hold is zero.
/// False for a file that is not taken and for a cancelled read.
[[nodiscard]] bool readTiff(FILE* file, ImagePort& port);

/// Reads sizes, colour model and metadata; no pixels, and the component-order flag stays.
[[nodiscard]] bool preReadTiff(FILE* file, ImagePort& port);

/// Reads a rectangle without the rest. Each end is clamped to the last column or row, which are therefore never part of
/// the result; false when nothing remains. Otherwise as `readTiff`.
[[nodiscard]] bool readTiffRect(FILE* file, ImagePort& port, const FileRect& rect);

} // namespace rastrel
