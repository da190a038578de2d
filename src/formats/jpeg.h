/// @file jpeg.h
/// JPEG files through libjpeg and TurboJPEG.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads a whole picture: CM_GREY8, or CM_ARGB8 with blue in the first byte.
[[nodiscard]] bool readJpeg(FILE* stream, ImagePort& image);
/// Reads a rectangle: CM_GREY8 or CM_RGB8.
[[nodiscard]] bool readJpegRect(FILE* stream, ImagePort& image, const FileRect& rect);
/// Reads size, colour model (CM_GREY8 or CM_RGB8) and metadata; no pixels.
[[nodiscard]] bool preReadJpeg(FILE* stream, ImagePort& image);
/// Writes CM_GREY8 and CM_RGB8 images; false for every other model.
[[nodiscard]] bool writeJpeg(FILE* stream, ImagePort& image);
/// Fills the record from the first EXIF block; false when there is none that can be read.
[[nodiscard]] bool readExifJpeg(FILE* stream, Rastrel::_EXIF& exif);

} // namespace rastrel
