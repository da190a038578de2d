/// @file byte_order.h
/// Numbers in either byte order.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace rastrel {

enum class ByteOrder : std::uint8_t { little, big };

/// The order of this machine.
inline constexpr ByteOrder kNativeOrder =
    std::endian::native == std::endian::little ? ByteOrder::little : ByteOrder::big;

/// The unsigned number whose `sizeof(T)` bytes begin at `bytes`.
template <class T>
[[nodiscard]] constexpr T loadNumber(const unsigned char* bytes, ByteOrder order) noexcept {
    static_assert(std::is_unsigned_v<T>);
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        const std::size_t shift = 8 * (order == ByteOrder::little ? i : sizeof(T) - 1 - i);
        value = static_cast<T>(value | static_cast<T>(static_cast<T>(bytes[i]) << shift));
    }
    return value;
}

/// Puts an unsigned number into the `sizeof(T)` bytes at `bytes`.
template <class T>
constexpr void storeNumber(unsigned char* bytes, T value, ByteOrder order) noexcept {
    static_assert(std::is_unsigned_v<T>);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        const std::size_t shift = 8 * (order == ByteOrder::little ? i : sizeof(T) - 1 - i);
        bytes[i] = static_cast<unsigned char>(value >> shift);
    }
}

/// Turns `size` bytes of numbers that are `unit` bytes wide from one order into the other, in place. A remainder
/// shorter than one number stays.
constexpr void reverseNumbers(unsigned char* bytes, std::uint64_t size, std::uint32_t unit) noexcept {
    for (; size >= unit && unit > 1; bytes += unit, size -= unit) {
        for (std::uint32_t i = 0, j = unit - 1; i < j; ++i, --j) {
            const unsigned char low = bytes[i];
            bytes[i] = bytes[j];
            bytes[j] = low;
        }
    }
}

} // namespace rastrel
