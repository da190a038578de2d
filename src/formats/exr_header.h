/// @file exr_header.h
/// The header of an OpenEXR file, looked at before the library is: what it claims must be possible in a file of its
/// size, because the library allocates on a header's word.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace rastrel {

/// What of a channel decides how many bytes it takes.
struct ExrChannel {
    std::uint32_t bytes; ///< of one sample: 2 (half) or 4
    std::int32_t xSampling, ySampling;
};

/// The parts of a header that decide sizes. Corners of the data window are inclusive.
struct ExrHeader {
    bool tiled = false;
    std::uint8_t compression = 0; ///< the format's code, 0 none to 9 DWAB
    std::int32_t minX = 0, minY = 0, maxX = -1, maxY = -1;
    std::uint32_t tileWidth = 0, tileHeight = 0;
    std::uint8_t tileLevels = 0; ///< level mode in the low four bits (0 one, 1 mipmap, 2 ripmap), rounding above
    std::vector<ExrChannel> channels;
    std::int64_t end = 0; ///< file position behind the header, where the table of offsets begins

    [[nodiscard]] std::uint64_t width() const noexcept;
    [[nodiscard]] std::uint64_t height() const noexcept;
    /// Uncompressed bytes of one row of the file, all its channels.
    [[nodiscard]] std::uint64_t bytesInRow(std::int64_t y) const noexcept;
};

/// Parses the header of a stream of `fileSize` bytes from its start. False for anything that is not a whole header of
/// a single-part, flat file with a data window, a compression, channels and, where it is tiled, a tile size.
[[nodiscard]] bool parseExrHeader(std::FILE* stream, std::int64_t fileSize, ExrHeader& header);

/// Whether a file of `fileSize` bytes can hold what its header claims: a complete table of offsets (whose entries are
/// looked at), a block of data for each of them, and enough compressed bytes for the rows. The stream's position moves.
[[nodiscard]] bool plausibleExr(std::FILE* stream, std::int64_t fileSize, const ExrHeader& header);

} // namespace rastrel
