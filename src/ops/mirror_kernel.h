/// @file mirror_kernel.h
/// Reversal of the pixels of one line.
#pragma once

#include <cstdint>

namespace rastrel {

/// Reverses the order of `width` packed pixels in place. False, with nothing touched, for a null line and for a colour
/// model without a pixel size here: everything outside 16..114 (raw Bayer elements among them) and unlisted codes.
/// A width below 2 changes nothing.
///
/// Lines of 1-bit pixels (most significant bit first) are reversed bit by bit; bits behind the line keep their value.
/// When such a line is an odd number of whole bytes, its middle byte keeps its bit order: hosts rely on it.
[[nodiscard]] bool mirrorLine(unsigned char* line, std::uint64_t width, unsigned char colormodel);

} // namespace rastrel
