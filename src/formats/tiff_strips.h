/// @file tiff_strips.h
/// The strips of a TIFF picture as one sequence of bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "formats/tiff_directory.h"

namespace rastrel {

/// Reads at any position of the strips laid end to end. The stream stays the caller's.
class StripSequence {
public:
    /// The first `needed` bytes of the strips of a file of `fileSize` bytes.
    StripSequence(std::FILE* stream, const std::vector<CTiff::Strip>& strips, std::uint64_t fileSize,
                  std::uint64_t needed);

    /// Whether the strips lie over one another so far that together they are longer than the file.
    [[nodiscard]] bool overlaps() const noexcept { return overlaps_; }

    /// Whether the file holds every byte.
    [[nodiscard]] bool complete() const noexcept { return complete_; }

    /// The end of the last byte that the file holds.
    [[nodiscard]] std::uint64_t heldEnd() const noexcept {
        return pieces_.empty() ? 0 : pieces_.back().start + pieces_.back().size;
    }

    /// Reads `size` bytes at `position`. What the file does not hold stays as it is in the buffer; what it holds and
    /// does not give is zero there.
    void read(std::uint64_t position, unsigned char* buffer, std::uint64_t size);

private:
    struct Piece {
        std::uint64_t start;  ///< position in the sequence
        std::uint64_t offset; ///< position in the file
        std::uint64_t size;   ///< bytes that the file holds of it
    };

    std::FILE* stream_;
    std::vector<Piece> pieces_;
    bool overlaps_ = false;
    bool complete_ = false;
};

} // namespace rastrel
