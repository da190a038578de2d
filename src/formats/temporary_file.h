/// @file temporary_file.h
/// The library's own file: a 28-byte header and the pixel block as it lies in memory.
#pragma once

#include <cstdio>

#include "formats/image_port.h"

namespace rastrel {

/// Reads from the stream's current position. Declines, with the stream back where it was, what does not begin with the
/// magic; a header that is wrong behind it leaves the stream advanced. A file with short pixel data is accepted.
[[nodiscard]] bool readTemporary(FILE* stream, ImagePort& image);
/// Reads the header only.
[[nodiscard]] bool preReadTemporary(FILE* stream, ImagePort& image);
/// Writes header and pixels. True also when a write failed or stopped short: only a later reader sees a short file.
[[nodiscard]] bool writeTemporary(FILE* stream, ImagePort& image);

} // namespace rastrel
