/// @file stored_bytes.h
/// Reading a pixel block piece by piece, in place where it lies in memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "ondrel/mem_block.h"

namespace rastrel {

/// A view of a block whose size and kind of storage do not change meanwhile. What lies behind the block's end reads as
/// zero. Not for use from several threads: each makes its own.
class StoredBytes {
public:
    explicit StoredBytes(MemBlockDesc& block) noexcept
        : block_(block), held_(block.GetSize()), bytes_(block.IsSwapped() ? nullptr : block.GetData()) {}

    /// `size` bytes from `position` on, valid until the next call; null when they need a buffer that cannot be had.
    [[nodiscard]] const unsigned char* at(std::uint64_t position, std::size_t size) noexcept {
        const bool whole = position <= held_ && size <= held_ - position;
        if (whole && bytes_ != nullptr) return bytes_ + position;
        if (size > capacity_) {
            buffer_.reset(new (std::nothrow) unsigned char[size]);
            capacity_ = buffer_ == nullptr ? 0 : size;
        }
        if (buffer_ == nullptr) return nullptr;
        if (whole && block_.Read(position, buffer_.get(), size)) return buffer_.get();
        std::memset(buffer_.get(), 0, size);
        const std::uint64_t there = position < held_ ? std::min<std::uint64_t>(size, held_ - position) : 0;
        if (there != 0) block_.Read(position, buffer_.get(), there);
        return buffer_.get();
    }

private:
    MemBlockDesc& block_;
    std::uint64_t held_;
    unsigned char* bytes_;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_ = 0;
};

} // namespace rastrel
