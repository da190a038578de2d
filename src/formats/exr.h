/// @file exr.h
/// OpenEXR files: read and written through the OpenEXR library, always as four 32-bit float channels.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads a single-part, flat (not deep) file, scan lines or tiles, into an image of model `CM_ARGBFP32` whose component
/// order is least significant first. Half and integer channels are widened; a channel that the file lacks is 0.
///
/// False for a foreign, incomplete or implausible file, for a data window that does not start at row 0, and for a
/// cancelled read; what the library refuses leaves as its exception. Either way the stream stands at its start.
[[nodiscard]] bool readExr(FILE* stream, ImagePort& image);

/// Takes size and colour model from the header of a complete file; the pixel block is not touched.
[[nodiscard]] bool preReadExr(FILE* stream, ImagePort& image);

/// Writes the image at the stream's position: channels A, R, G, B, 32-bit float, PIZ-compressed scan lines. False, or
/// an exception of the library, for an image without pixels, a cancelled call and a stream that takes no more bytes.
[[nodiscard]] bool writeExr(FILE* stream, ImagePort& image);

} // namespace rastrel
