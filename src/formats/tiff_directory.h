/// @file tiff_directory.h
/// The directories of a TIFF structure: in files of their own, and inside JPEG, PSB and raw files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/byte_reader.h"
#include "formats/tiff_tags.h"
#include "image/image_state.h"
#include "rastrel/exif.h"

namespace rastrel {

/// How a colour model lies in a TIFF file.
struct TiffLayout {
    std::uint16_t bitsPerPixel;
    std::uint16_t photometric;
    std::uint16_t sampleFormat;
    std::uint8_t samples; ///< samples a pixel
    std::uint8_t bytesPerSample;
};

/// Nothing for a colour model that has no layout. CM_ARGBFP32 and CM_ARGBFP64 have one, which the tag builder refuses.
[[nodiscard]] std::optional<TiffLayout> tiffLayout(std::uint8_t colormodel) noexcept;

/// One TIFF structure: what its image tags say, its strips, its texts, and three tag lists.
///
/// Reading: `readHeader`, `readDirectories`, then `acceptImage` (pictures) or `acceptRaw` (raw files) or neither
/// (metadata blocks). Writing: fill the fields, `buildTags`, then `writeDirectories`.
///
/// Members that grow texts or strip tables throw `std::bad_alloc`.
class CTiff {
public:
    /// A run of pixel data in the file.
    struct Strip {
        std::int64_t offset;
        std::int64_t size; ///< bytes
    };
    /// What becomes of a main directory with a record that claims more values than the whole source holds.
    enum class Damage : std::uint8_t {
        declines,   ///< the structure is refused
        dropsRecord ///< the record is left out
    };

    CTiff() = default;
    CTiff(const CTiff&) = default;
    CTiff& operator=(const CTiff&) = default;
    virtual ~CTiff();

    /// @name Tag lists
    /// @{
    [[nodiscard]] static _tiff_ifd_tag* find(TiffTagList& list, std::uint16_t tag) noexcept { return list.find(tag); }
    /// A new record of zero values at the list's end; null when the memory cannot be had.
    static _tiff_ifd_tag* append(TiffTagList& list, std::uint16_t tag, std::uint16_t type,
                                 std::uint32_t count) noexcept {
        return list.append(tag, type, count);
    }
    /// Sets value `index` of a record, brought into the type's range. False for an index past the end, a record without
    /// data and, for a character, a type that is not one byte wide.
    static bool setValue(_tiff_ifd_tag& record, std::uint32_t index, std::int64_t value) noexcept;
    static bool setValue(_tiff_ifd_tag& record, std::uint32_t index, int value) noexcept;
    static bool setValue(_tiff_ifd_tag& record, std::uint32_t index, std::uint32_t value) noexcept;
    static bool setValue(_tiff_ifd_tag& record, std::uint32_t index, double value) noexcept;
    static bool setValue(_tiff_ifd_tag& record, std::uint32_t index, char value) noexcept;
    /// @}

    /// @name Reading
    /// @{
    /// Checks byte-order mark and magic number at the start of the source and sets its order. The main directory's
    /// position, or nothing.
    [[nodiscard]] static std::optional<std::uint64_t> readHeader(ByteReader& source,
                                                                 std::uint16_t magic = kTiffMagic) noexcept;
    /// Fills the three lists from the main directory at `position` of the source, in the source's byte order. False for
    /// a main directory that claims more entries or values than the source holds or points at itself; a record of it
    /// whose values lie outside the source is left out. An EXIF or GPS directory with any of these faults is lost
    /// whole, an Interoperability directory with its pointer. Values of the main directory above 64 KiB that no reader
    /// asks for are not kept.
    [[nodiscard]] bool readDirectories(ByteReader& source, std::uint64_t position, Damage damage = Damage::declines);
    /// Checks the main directory's image tags and takes size, sample layout, strips and resolutions from them. False
    /// for a picture that is not uncompressed, chunky and of 1, 3 or 4 equal samples of 8 to 64 bits.
    [[nodiscard]] bool acceptImage();
    /// Takes size, bits per sample, strips and resolutions without judging them. False without size or strips.
    [[nodiscard]] bool acceptRaw();
    /// Takes resolutions in pixels per inch and the texts. Absent ones stay as they are.
    ///
    /// A file without an absolute unit counts as one in centimetres: both numbers are multiplied by 2.54 and the unit
    /// entry becomes 2. Numbers of every other unit are taken as they stand.
    void acceptDescription();
    /// @}

    /// @name Writing
    /// @{
    /// Fills the main list from the fields; records that are there already are overwritten. False for a sample layout
    /// without tags and when memory runs out.
    [[nodiscard]] bool buildTags();
    /// Bytes that `writeDirectories` will write.
    [[nodiscard]] std::uint64_t directoriesSize() const noexcept;
    /// Writes the EXIF, GPS and main directories at the stream's position, each sorted by tag, and puts the main
    /// directory's position into bytes 4..7 of the structure that begins at position 0.
    [[nodiscard]] bool writeDirectories(_universal_stream* stream, bool bigEndian);
    /// Writes one list at the stream's position: entry count, entries, a next position of 0, then the values above four
    /// bytes in list order, without padding. Sub-directories follow in place of their record's value. Records get their
    /// `valueOffset`. False when a record has no data, when there are more than 65535, when a position passes 32 bits,
    /// and when the stream does not take everything.
    [[nodiscard]] static bool writeDirectory(_universal_stream* stream, TiffTagList& list, bool bigEndian);
    /// Bytes of one list with its values and sub-directories.
    [[nodiscard]] static std::uint64_t directorySize(const TiffTagList& list) noexcept;
    /// @}

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bitsPerPixel = 0;
    std::uint16_t photometric = 0;  ///< 1 grey, 2 RGB
    std::uint16_t sampleFormat = 0; ///< 1 integer, 3 floating point
    double xResolution = 72.0;      ///< pixels per inch
    double yResolution = 72.0;      ///< pixels per inch
    std::vector<Strip> strips;
    std::string description;
    std::string software;
    TiffTagList mainTags;
    TiffTagList exifTags;
    TiffTagList gpsTags;
    const Progress* progress = nullptr; ///< of the image that is read or written, per mille

private:
    [[nodiscard]] bool takeSize();
    [[nodiscard]] bool takeStrips();
};

} // namespace rastrel
