/// @file tiff_tags.h
/// Numbers of TIFF and EXIF tags and of field types.
#pragma once

#include <cstdint>

namespace rastrel {

/// Field types of a directory entry (TIFF 6.0, section 2).
enum FieldType : std::uint16_t {
    kTypeByte = 1,
    kTypeAscii = 2,
    kTypeShort = 3,
    kTypeLong = 4,
    kTypeRational = 5,
    kTypeSignedByte = 6,
    kTypeUndefined = 7,
    kTypeSignedShort = 8,
    kTypeSignedLong = 9,
    kTypeSignedRational = 10,
    kTypeFloat = 11,
    kTypeDouble = 12,
    kTypeIfd = 13, ///< a directory's position; TIFF supplement 1. Taken as a LONG where a directory is expected.
};

/// @name Main directory
/// @{
inline constexpr std::uint16_t kTagImageWidth = 256;
inline constexpr std::uint16_t kTagImageLength = 257;
inline constexpr std::uint16_t kTagBitsPerSample = 258;
inline constexpr std::uint16_t kTagCompression = 259;
inline constexpr std::uint16_t kTagPhotometric = 262;
inline constexpr std::uint16_t kTagImageDescription = 270;
inline constexpr std::uint16_t kTagStripOffsets = 273;
inline constexpr std::uint16_t kTagOrientation = 274;
inline constexpr std::uint16_t kTagSamplesPerPixel = 277;
inline constexpr std::uint16_t kTagRowsPerStrip = 278;
inline constexpr std::uint16_t kTagStripByteCounts = 279;
inline constexpr std::uint16_t kTagXResolution = 282;
inline constexpr std::uint16_t kTagYResolution = 283;
inline constexpr std::uint16_t kTagPlanarConfiguration = 284;
inline constexpr std::uint16_t kTagResolutionUnit = 296;
inline constexpr std::uint16_t kTagSoftware = 305;
inline constexpr std::uint16_t kTagSampleFormat = 339;
inline constexpr std::uint16_t kTagExifDirectory = 34665;
inline constexpr std::uint16_t kTagGpsDirectory = 34853;
/// @}

/// @name EXIF directory
/// @{
inline constexpr std::uint16_t kTagExposureProgram = 34850;
inline constexpr std::uint16_t kTagIsoSpeed = 34855;
inline constexpr std::uint16_t kTagDateTimeOriginal = 36867;
inline constexpr std::uint16_t kTagMeteringMode = 37383;
inline constexpr std::uint16_t kTagFlash = 37385;
inline constexpr std::uint16_t kTagInteroperabilityDirectory = 40965;
/// @}

/// Whether the tag's value is the position of a directory that is kept with the record.
[[nodiscard]] constexpr bool isDirectoryTag(std::uint16_t tag) noexcept {
    return tag == kTagExifDirectory || tag == kTagGpsDirectory || tag == kTagInteroperabilityDirectory;
}

inline constexpr std::uint16_t kPhotometricGrey = 1;
inline constexpr std::uint16_t kPhotometricRgb = 2;
inline constexpr std::uint16_t kSampleFormatInteger = 1;
inline constexpr std::uint16_t kSampleFormatFloat = 3;
inline constexpr std::uint16_t kResolutionUnitNone = 1;
inline constexpr std::uint16_t kResolutionUnitInch = 2;

/// The number behind the byte-order mark of a TIFF structure.
inline constexpr std::uint16_t kTiffMagic = 42;

} // namespace rastrel
