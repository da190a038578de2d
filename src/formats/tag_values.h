/// @file tag_values.h
/// The values of a directory entry as numbers and text, whatever the entry's type.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "rastrel/exif.h"

namespace rastrel {

/// Bytes that change places when a field type goes from one byte order into the other: 1, 2, 4 or 8; 0 for a type
/// outside 1..12.
[[nodiscard]] std::uint32_t typeUnit(std::uint16_t type) noexcept;

/// Value `index` of an integer type (BYTE, SHORT, LONG, UNDEFINED and the signed ones). Nothing for other types, an
/// index past the end and a record without data.
[[nodiscard]] std::optional<std::int64_t> integerAt(const _tiff_ifd_tag& record, std::uint32_t index) noexcept;

/// Value `index` of any numeric type. Nothing for ASCII, a quotient with denominator 0, an index past the end and a
/// record without data.
[[nodiscard]] std::optional<double> numberAt(const _tiff_ifd_tag& record, std::uint32_t index) noexcept;

/// The bytes of a one-byte type up to the first zero byte or the record's end, at most 255. Empty for other types.
[[nodiscard]] std::string textOf(const _tiff_ifd_tag& record);

/// Set value `index`: integers are brought into the type's range, quotients get denominator 1. False for an index past
/// the end and a record without data.
bool setInteger(_tiff_ifd_tag& record, std::uint32_t index, std::int64_t value) noexcept;
/// As `setInteger`; integer types take the number truncated, not a number as 0.
bool setDouble(_tiff_ifd_tag& record, std::uint32_t index, double value) noexcept;
/// One byte of a BYTE, ASCII, SBYTE or UNDEFINED record. False for other types too.
bool setCharacter(_tiff_ifd_tag& record, std::uint32_t index, char value) noexcept;

} // namespace rastrel
