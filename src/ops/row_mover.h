/// @file row_mover.h
/// Moving stored pixels towards the front of their block, a run at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ondrel/mem_block.h"
#include "pixel/convert_pixels.h"
#include "rastrel/pixel.h"

namespace rastrel {

/// Moves runs with just the bytes that reading every pixel as `pixel_argb8` and writing it back gives: 8-bit and 1-bit
/// models move as they are, deeper ones lose what 8 bits a channel do not hold, and models that do not convert stay
/// where they are.
class RowMover {
public:
    /// Of a block that holds `pixels` pixels of a model, in a component order.
    RowMover(MemBlockDesc& block, std::uint64_t pixels, std::uint8_t model, bool order) noexcept;

    /// Moves `count` pixels from index `from` to index `to` <= `from`. Pixels that would stay are not touched. False,
    /// and nothing moved, when this block can only be moved pixel by pixel.
    [[nodiscard]] bool move(std::uint64_t to, std::uint64_t from, std::uint64_t count) noexcept;

private:
    enum class Kind : std::uint8_t { single, fixed, bits, bytes, converted };

    /// Pixels that pass through a buffer at a time.
    static constexpr std::uint64_t kPiece = 2048;

    static Kind kindOf(const MemBlockDesc& block, std::uint64_t pixels, std::uint8_t model) noexcept;
    [[nodiscard]] bool needsPieces() const noexcept { return kind_ == Kind::converted || data_ == nullptr; }
    void moveBits(std::uint64_t to, std::uint64_t from, std::uint64_t count) const noexcept;
    void movePiece(std::uint64_t to, std::uint64_t from, std::size_t count) noexcept;

    MemBlockDesc& block_;
    unsigned char* data_; ///< null for a swapped block
    Kind kind_;
    std::size_t pixelSize_; ///< bytes
    ConvertRun toArgb_, back_;
    std::unique_ptr<unsigned char[]> stored_; ///< a piece as a swapped block has it
    std::unique_ptr<pixel_argb8[]> argb_;
};

} // namespace rastrel
