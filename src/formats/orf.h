/// @file orf.h
/// Olympus raw files: read only.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads a raw file ("II" or "MM" with the number 0x4F52) into an image of model `CM_RGB16` in name order: the mosaic
/// (red, green / green, blue) is decoded, each sample goes through its channel's curve, and the missing channels are
/// interpolated. Prints one line with the largest raw value of each channel to standard output.
///
/// A file whose directory does not describe exactly one strip is accepted with an all-zero block; damage inside the
/// strip leaves the rest of the mosaic at zero and is not reported. False for anything that is no raw file, for a size
/// that the file cannot hold, and when a cancel request is already set.
[[nodiscard]] bool readOrf(FILE* stream, ImagePort& image);

/// Takes size, colour model and metadata from the header; the pixel block is not touched.
[[nodiscard]] bool preReadOrf(FILE* stream, ImagePort& image);

} // namespace rastrel
