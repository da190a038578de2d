/// @file utf16.h
/// Between wide characters, which are UTF-16 units on Windows and code points elsewhere, and stored UTF-16 units.
///
/// Units that pair with nothing pass through both ways; values that are no code point become U+FFFD.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ondrel {

inline constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool isHighSurrogate(std::uint32_t value) { return value >= 0xD800 && value < 0xDC00; }
constexpr bool isLowSurrogate(std::uint32_t value) { return value >= 0xDC00 && value < 0xE000; }

/// The one or two units of a character.
struct Units {
    std::array<std::uint16_t, 2> unit{};
    std::size_t count = 1;
};

constexpr Units toUnits(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    if (code < 0x10000) return {{static_cast<std::uint16_t>(code), 0}, 1};
    if (code > 0x10FFFF) return {{0xFFFD, 0}, 1};
    const std::uint32_t offset = code - 0x10000;
    return {
        {static_cast<std::uint16_t>(0xD800 + (offset >> 10)), static_cast<std::uint16_t>(0xDC00 + (offset & 0x3FF))},
        2};
}

/// Units of a terminated text.
constexpr std::uint64_t countUnits(const wchar_t* text) {
    std::uint64_t count = 0;
    for (; *text != L'\0'; ++text)
        count += toUnits(*text).count;
    return count;
}

/// Builds a terminated text of at most `capacity` wide characters (the terminator not counted) from units. A character
/// that does not fit whole is left out.
class CharacterWriter {
public:
    CharacterWriter(wchar_t* text, std::uint64_t capacity) : text_(text), capacity_(capacity) {}

    /// Nothing that is put from now on can show.
    [[nodiscard]] bool full() const { return full_; }

    void put(std::uint16_t unit) {
        const std::uint32_t before = count_ == 0 ? 0 : static_cast<std::uint32_t>(text_[count_ - 1]);
        const bool completesPair = pairOpen_ && isLowSurrogate(unit);
        pairOpen_ = isHighSurrogate(unit);
        if (completesPair && !kWideIsUtf16) {
            text_[count_ - 1] = static_cast<wchar_t>(0x10000 + ((before - 0xD800) << 10) + (unit - 0xDC00U));
        } else if (count_ < capacity_) {
            text_[count_++] = static_cast<wchar_t>(unit);
        } else {
            // The text is cut here: not through the middle of a pair.
            if (completesPair && count_ != 0) --count_;
            full_ = true;
        }
    }

    void finish() { text_[count_] = L'\0'; }

private:
    wchar_t* text_;
    std::uint64_t capacity_;
    std::uint64_t count_ = 0;
    /// The last unit that was put began a pair.
    bool pairOpen_ = false;
    bool full_ = false;
};

} // namespace ondrel
