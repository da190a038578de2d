/// @file byte_writer.h
/// Bytes and numbers gathered in memory before they go to a stream in one piece.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "formats/byte_order.h"
#include "ondrel/stream.h"

namespace rastrel {

/// Gathers bytes and numbers of one byte order. Throws `std::bad_alloc` when the memory cannot be had.
class ByteWriter {
public:
    explicit ByteWriter(ByteOrder order) noexcept : order_(order) {}

    [[nodiscard]] std::uint64_t size() const noexcept { return bytes_.size(); }
    [[nodiscard]] const unsigned char* data() const noexcept { return bytes_.data(); }

    void bytes(const void* source, std::uint64_t count) {
        const auto* from = static_cast<const unsigned char*>(source);
        bytes_.insert(bytes_.end(), from, from + count);
    }
    void zeros(std::uint64_t count) { bytes_.resize(bytes_.size() + static_cast<std::size_t>(count)); }
    void u8(std::uint8_t value) { bytes_.push_back(value); }
    void u16(std::uint16_t value) { number(value); }
    void u32(std::uint32_t value) { number(value); }
    void u64(std::uint64_t value) { number(value); }
    /// `count` bytes of native numbers, each `unit` bytes wide.
    void numbers(const void* source, std::uint64_t count, std::uint32_t unit) {
        const std::size_t start = bytes_.size();
        bytes(source, count);
        if (order_ != kNativeOrder) reverseNumbers(bytes_.data() + start, count, unit);
    }

    /// Replaces bytes that were written earlier.
    void patch16(std::uint64_t position, std::uint16_t value) { storeNumber(bytes_.data() + position, value, order_); }
    void patch32(std::uint64_t position, std::uint32_t value) { storeNumber(bytes_.data() + position, value, order_); }
    void patchNumbers(std::uint64_t position, const void* source, std::uint64_t count, std::uint32_t unit) {
        const auto* from = static_cast<const unsigned char*>(source);
        std::copy(from, from + count, bytes_.data() + position);
        if (order_ != kNativeOrder) reverseNumbers(bytes_.data() + position, count, unit);
    }

    /// Writes everything at the stream's position.
    [[nodiscard]] bool flushTo(_universal_stream* stream) const noexcept {
        return bytes_.empty() || _u_fwrite(bytes_.data(), 1, bytes_.size(), stream) == bytes_.size();
    }

private:
    template <class T>
    void number(T value) {
        unsigned char raw[sizeof(T)];
        storeNumber(raw, value, order_);
        bytes(raw, sizeof(T));
    }

    std::vector<unsigned char> bytes_;
    ByteOrder order_;
};

} // namespace rastrel
