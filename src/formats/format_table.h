/// @file format_table.h
/// The formats that have a format string: identifiers, keys, descriptions.
#pragma once

#include <cstdint>

namespace rastrel {

enum FormatId : std::uint8_t {
    kFormatTiff = 16,
    kFormatJpeg = 32,
    kFormatTarga = 48,
    kFormatExr = 64,
    kFormatPsb = 80,
    kFormatTemporary = 96,
};

struct Format {
    FormatId id;
    char key[4]; ///< the first three characters of a format string, lower case
    const char* description;
    const wchar_t* wideDescription;
};

inline constexpr Format kFormats[] = {
    {kFormatTiff, "tif", "TIFF 5.0", L"TIFF 5.0"},
    {kFormatJpeg, "jpg", "JPEG", L"JPEG"},
    {kFormatTarga, "tga", "Targa Image", L"Targa Image"},
    {kFormatExr, "exr", "OpenEXR", L"OpenEXR"},
    {kFormatPsb, "psb", "Photoshop Big Picture", L"Photoshop Big Picture"},
    {kFormatTemporary, "tmp", "TORVEN Temporary Image File", L"TORVEN Temporary Image File"},
};

inline constexpr const char* kNotSupported = "not supported";
inline constexpr const wchar_t* kWideNotSupported = L"not supported";
/// Kept for hosts that search the library's texts; no operation returns it.
inline constexpr const char* kInternalError = "internal error";
inline constexpr const wchar_t* kWideInternalError = L"internal error";

/// Offered extensions, terminated one by one; the literal's own terminator is the empty entry at the end. "exr" and
/// "tmp" are left out and "tga" is in: hosts build their menus from it.
inline constexpr wchar_t kOfferedExtensions[] = L"tif\0jpg\0tga\0psb\0";

/// The identifier whose key equals the first three characters, case and all; TIFF for any other string, shorter ones
/// and null included.
template <class Char>
[[nodiscard]] constexpr FormatId formatOf(const Char* text) noexcept {
    if (text == nullptr) return kFormatTiff;
    for (const Format& format : kFormats) {
        int matching = 0;
        while (matching < 3 && text[matching] == static_cast<Char>(format.key[matching]))
            ++matching;
        if (matching == 3) return format.id;
    }
    return kFormatTiff;
}

} // namespace rastrel
