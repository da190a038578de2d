#include "ops/row_mover.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "pixel/color_model.h"

namespace rastrel {
namespace {

bool bitAt(const unsigned char* bytes, std::uint64_t index) noexcept {
    return (bytes[index / 8] & (0x80U >> index % 8)) != 0;
}

void setBitAt(unsigned char* bytes, std::uint64_t index, bool value) noexcept {
    const unsigned mask = 0x80U >> index % 8;
    const unsigned byte = bytes[index / 8];
    bytes[index / 8] = static_cast<unsigned char>(value ? byte | mask : byte & ~mask);
}

} // namespace

RowMover::RowMover(MemBlockDesc& block, std::uint64_t pixels, std::uint8_t model, bool order) noexcept
    : block_(block), data_(block.IsSwapped() ? nullptr : block.GetData()), kind_(kindOf(block, pixels, model)),
      pixelSize_(colorModel(model).bytesPerPixel), toArgb_(selectConvert(CM_ARGB8, model, order, true)),
      back_(selectConvert(model, CM_ARGB8, true, order)) {
    if (kind_ == Kind::single || kind_ == Kind::fixed || !needsPieces()) return;
    if (kind_ == Kind::converted) argb_.reset(new (std::nothrow) pixel_argb8[kPiece]);
    if (data_ == nullptr) stored_.reset(new (std::nothrow) unsigned char[kPiece * pixelSize_]);
    if ((kind_ == Kind::converted && argb_ == nullptr) || (data_ == nullptr && stored_ == nullptr))
        kind_ = Kind::single;
}

RowMover::Kind RowMover::kindOf(const MemBlockDesc& block, std::uint64_t pixels, std::uint8_t model) noexcept {
    if (!isConvertible(model)) return Kind::fixed;
    // The packed size of 1-bit models may leave out the last bits: those are not there to be moved as whole bytes.
    if (isOneBit(model))
        return block.IsSwapped() || block.GetSize() < pixels / 8 + (pixels % 8 != 0 ? 1 : 0) ? Kind::single
                                                                                             : Kind::bits;
    if (block.GetSize() < bitmapSize(pixels, 1, model)) return Kind::single;
    const ColorModel& traits = colorModel(model);
    return traits.bytesPerSample == 1 ? Kind::bytes : Kind::converted;
}

bool RowMover::move(std::uint64_t to, std::uint64_t from, std::uint64_t count) noexcept {
    if (kind_ == Kind::single) return false;
    if (kind_ == Kind::fixed || to == from) return true;
    if (kind_ == Kind::bits) {
        moveBits(to, from, count);
    } else if (!needsPieces()) {
        std::memmove(data_ + to * pixelSize_, data_ + from * pixelSize_, static_cast<std::size_t>(count * pixelSize_));
    } else {
        for (std::uint64_t i = 0; i < count; i += kPiece)
            movePiece(to + i, from + i, static_cast<std::size_t>(std::min(kPiece, count - i)));
    }
    return true;
}

/// Ascending, so that no bit is overwritten before it is moved: single bits up to a byte border of the target, whole
/// bytes, and the rest.
void RowMover::moveBits(std::uint64_t to, std::uint64_t from, std::uint64_t count) const noexcept {
    std::uint64_t i = 0;
    for (; i < count && (to + i) % 8 != 0; ++i)
        setBitAt(data_, to + i, bitAt(data_, from + i));
    const auto shift = static_cast<unsigned>((from + i) % 8);
    for (; i + 8 <= count; i += 8) {
        const unsigned char* const source = data_ + (from + i) / 8;
        const unsigned next = shift != 0 ? source[1] : 0U;
        data_[(to + i) / 8] = static_cast<unsigned char>((source[0] << shift) | (next >> (8 - shift)));
    }
    for (; i < count; ++i)
        setBitAt(data_, to + i, bitAt(data_, from + i));
}

void RowMover::movePiece(std::uint64_t to, std::uint64_t from, std::size_t count) noexcept {
    const std::size_t size = count * pixelSize_;
    unsigned char* target = stored_.get();
    const unsigned char* source = target;
    if (data_ != nullptr) {
        target = data_ + to * pixelSize_;
        source = data_ + from * pixelSize_;
    } else if (!block_.Read(from * pixelSize_, stored_.get(), size)) {
        return;
    }
    if (kind_ == Kind::converted) {
        toArgb_(argb_.get(), source, count);
        back_(target, argb_.get(), count);
    }
    if (data_ == nullptr) block_.Write(to * pixelSize_, target, size);
}

} // namespace rastrel
