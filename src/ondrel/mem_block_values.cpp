// The typed values of a block: little-endian numbers, strings of UTF-16 units behind their 32-bit count.
#include "ondrel/mem_block.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ondrel/utf16.h"

namespace {

template <class T>
using Bytes = std::array<unsigned char, sizeof(T)>;

template <class T>
Bytes<T> toLittleEndian(T value) {
    Bytes<T> bytes{};
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(value & 0xFF);
        value = static_cast<T>(static_cast<std::uint64_t>(value) >> 8);
    }
    return bytes;
}

template <class T>
T fromLittleEndian(const Bytes<T>& bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
        value = value << 8 | bytes[i];
    return static_cast<T>(value);
}

template <class T>
T readNumber(const MemBlockDesc& block, unsigned __int64& position, T fallback) {
    Bytes<T> bytes{};
    if (!block.Read(position, bytes.data(), bytes.size())) return fallback;
    position += bytes.size();
    return fromLittleEndian<T>(bytes);
}

/// Hands out the units of a stored string one by one, reading them in pieces.
class UnitReader {
public:
    UnitReader(const MemBlockDesc& block, std::uint64_t position, std::uint64_t count)
        : block_(block), position_(position), left_(count) {}

    /// The next unit into `unit`; false at the end or when the block cannot be read.
    bool next(std::uint16_t& unit) {
        if (at_ == filled_ && !fill()) return false;
        unit = fromLittleEndian<std::uint16_t>({piece_[2 * at_], piece_[2 * at_ + 1]});
        ++at_;
        return true;
    }
    [[nodiscard]] bool failed() const { return failed_; }

private:
    bool fill() {
        const std::uint64_t units = std::min<std::uint64_t>(left_, piece_.size() / 2);
        if (units == 0) return false;
        if (!block_.Read(position_, piece_.data(), 2 * units)) {
            failed_ = true;
            return false;
        }
        position_ += 2 * units;
        left_ -= units;
        at_ = 0;
        filled_ = units;
        return true;
    }

    const MemBlockDesc& block_;
    std::uint64_t position_;
    std::uint64_t left_;
    std::uint64_t at_ = 0;
    std::uint64_t filled_ = 0;
    bool failed_ = false;
    std::array<unsigned char, 1024> piece_;
};

} // namespace

bool MemBlockDesc::Add(unsigned char value) noexcept { return append(&value, 1); }

bool MemBlockDesc::Add(unsigned short value) noexcept {
    const auto bytes = toLittleEndian<std::uint16_t>(value);
    return append(bytes.data(), bytes.size());
}

bool MemBlockDesc::Add(unsigned int value) noexcept {
    const auto bytes = toLittleEndian<std::uint32_t>(value);
    return append(bytes.data(), bytes.size());
}

bool MemBlockDesc::Add(unsigned __int64 value) noexcept {
    const auto bytes = toLittleEndian<std::uint64_t>(value);
    return append(bytes.data(), bytes.size());
}

bool MemBlockDesc::Add(double value) noexcept {
    const auto bytes = toLittleEndian(std::bit_cast<std::uint64_t>(value));
    return append(bytes.data(), bytes.size());
}

bool MemBlockDesc::Add(const wchar_t* text) noexcept {
    if (text == nullptr) return Add(static_cast<unsigned int>(0));
    const std::uint64_t count = ondrel::countUnits(text);
    if (count > std::numeric_limits<std::uint32_t>::max()) return false;
    const unsigned __int64 front = GetSize();
    bool added = Add(static_cast<unsigned int>(count));
    std::array<unsigned char, 1024> piece;
    while (added && *text != L'\0') {
        std::size_t filled = 0;
        // A character takes up to two units of two bytes each.
        while (*text != L'\0' && filled + 4 <= piece.size()) {
            const ondrel::Units units = ondrel::toUnits(*text++);
            for (std::size_t i = 0; i < units.count; ++i) {
                const auto bytes = toLittleEndian(units.unit[i]);
                piece[filled++] = bytes[0];
                piece[filled++] = bytes[1];
            }
        }
        added = append(piece.data(), filled);
    }
    // A string that did not find room leaves nothing of itself behind.
    return added || (ReSize(front) && false);
}

unsigned char MemBlockDesc::Read(unsigned __int64& position, unsigned char fallback) const noexcept {
    return readNumber<std::uint8_t>(*this, position, fallback);
}

unsigned short MemBlockDesc::Read(unsigned __int64& position, unsigned short fallback) const noexcept {
    return readNumber<std::uint16_t>(*this, position, fallback);
}

unsigned int MemBlockDesc::Read(unsigned __int64& position, unsigned int fallback) const noexcept {
    return readNumber<std::uint32_t>(*this, position, fallback);
}

unsigned __int64 MemBlockDesc::Read(unsigned __int64& position, unsigned __int64 fallback) const noexcept {
    return readNumber<std::uint64_t>(*this, position, fallback);
}

double MemBlockDesc::Read(unsigned __int64& position, double fallback) const noexcept {
    const auto bits = readNumber<std::uint64_t>(*this, position, std::bit_cast<std::uint64_t>(fallback));
    return std::bit_cast<double>(bits);
}

bool MemBlockDesc::Read(unsigned __int64& position, wchar_t* buffer, unsigned long capacity) const noexcept {
    if (buffer == nullptr || capacity == 0) return false;
    unsigned __int64 start = position;
    constexpr unsigned int kCountSize = 4;
    Bytes<std::uint32_t> countBytes{};
    if (!Read(start, countBytes.data(), kCountSize)) return false;
    start += kCountSize;
    const std::uint64_t textBytes = std::uint64_t{2} * fromLittleEndian<std::uint32_t>(countBytes);
    if (textBytes > GetSize() - start) return false;

    UnitReader units(*this, start, textBytes / 2);
    ondrel::CharacterWriter characters(buffer, capacity - 1);
    for (std::uint16_t unit = 0; !characters.full() && units.next(unit);)
        characters.put(unit);
    characters.finish();
    if (units.failed()) return false;
    position = start + textBytes;
    return true;
}
