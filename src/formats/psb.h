/// @file psb.h
/// Flat, uncompressed Photoshop big documents.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads a document of raw planes: grey, RGB or RGB with a fourth channel, 8 or 16 bits.
[[nodiscard]] bool readPsb(FILE* stream, ImagePort& image);
/// Reads size, colour model and metadata; no pixels.
[[nodiscard]] bool preReadPsb(FILE* stream, ImagePort& image);
/// Writes the planes and the resources for resolution, pixel aspect ratio and EXIF. False for a colour model without
/// a layout and for a write that does not complete.
[[nodiscard]] bool writePsb(FILE* stream, ImagePort& image);

} // namespace rastrel
