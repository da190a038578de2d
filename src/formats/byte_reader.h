/// @file byte_reader.h
/// Checked reading from a range of a stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>

#include "formats/byte_order.h"
#include "ondrel/stream.h"

namespace rastrel {

/// Reads a range of a stream and never leaves it: the position lies between 0 and `size()`, each read says whether it
/// worked, and one that did not leaves the position where it was.
///
/// Several readers may share a stream; each finds its own place again before it reads. The stream stays the caller's.
class ByteReader {
public:
    /// The `size` bytes at `begin` of the stream.
    ByteReader(_universal_stream* stream, std::uint64_t begin, std::uint64_t size, ByteOrder order) noexcept
        : stream_(stream), begin_(begin), size_(size), order_(order) {}

    /// All of a stream of `size` bytes, as `fileSize` tells them: a stream with a buffer that is asked for its end
    /// would fill it there, in vain. Nothing for a null stream and for a negative size.
    [[nodiscard]] static std::optional<ByteReader> whole(_universal_stream* stream, std::int64_t size,
                                                         ByteOrder order = ByteOrder::little) noexcept {
        if (stream == nullptr || size < 0) return std::nullopt;
        return ByteReader(stream, 0, static_cast<std::uint64_t>(size), order);
    }

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    [[nodiscard]] std::uint64_t remaining() const noexcept { return size_ - position_; }
    [[nodiscard]] ByteOrder order() const noexcept { return order_; }
    void setOrder(ByteOrder order) noexcept { order_ = order; }

    [[nodiscard]] bool seek(std::uint64_t position) noexcept {
        if (position > size_) return false;
        position_ = position;
        return true;
    }
    [[nodiscard]] bool skip(std::uint64_t count) noexcept {
        if (count > remaining()) return false;
        position_ += count;
        return true;
    }

    /// All `count` bytes, or false.
    [[nodiscard]] bool bytes(void* buffer, std::uint64_t count) noexcept {
        if (count > remaining()) return false;
        if (count == 0) return true;
        const auto place = static_cast<std::int64_t>(begin_ + position_);
        if (_u_ftelli64(stream_) != place && _u_fseeki64(stream_, place, SEEK_SET) != 0) return false;
        if (_u_fread(buffer, 1, static_cast<std::size_t>(count), stream_) != count) return false;
        position_ += count;
        return true;
    }
    [[nodiscard]] bool u8(std::uint8_t& value) noexcept { return bytes(&value, 1); }
    [[nodiscard]] bool u16(std::uint16_t& value) noexcept { return number(value); }
    [[nodiscard]] bool u32(std::uint32_t& value) noexcept { return number(value); }
    [[nodiscard]] bool u64(std::uint64_t& value) noexcept { return number(value); }

    /// Reads as many bytes as `text` has characters (its terminator apart) and compares.
    template <std::size_t N>
    [[nodiscard]] bool tag(const char (&text)[N]) noexcept {
        for (std::size_t i = 0; i + 1 < N; ++i) {
            std::uint8_t byte = 0;
            if (!u8(byte) || byte != static_cast<std::uint8_t>(text[i])) return false;
        }
        return true;
    }

    /// The `size` bytes at `offset` of this range as a range of their own, or nothing when they are not all inside.
    [[nodiscard]] std::optional<ByteReader> slice(std::uint64_t offset, std::uint64_t size) const noexcept {
        if (offset > size_ || size > size_ - offset) return std::nullopt;
        return ByteReader(stream_, begin_ + offset, size, order_);
    }

private:
    template <class T>
    [[nodiscard]] bool number(T& value) noexcept {
        unsigned char raw[sizeof(T)];
        if (!bytes(raw, sizeof(T))) return false;
        value = loadNumber<T>(raw, order_);
        return true;
    }

    _universal_stream* stream_;
    std::uint64_t begin_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
    ByteOrder order_;
};

} // namespace rastrel
