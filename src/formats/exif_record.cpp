#include "formats/exif_record.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "formats/byte_writer.h"
#include "formats/stream_handle.h"
#include "formats/tag_values.h"

namespace rastrel {
namespace {

/// Value 0 of a tag, brought into 16 bits; 0 without the tag.
std::uint16_t shortOf(const TiffTagList& list, std::uint16_t tag) noexcept {
    const _tiff_ifd_tag* record = list.find(tag);
    const std::int64_t value = record == nullptr ? 0 : integerAt(*record, 0).value_or(0);
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(value, 0, 65535));
}

void setText(char (&target)[256], const std::string& text) noexcept {
    const std::size_t length = std::min<std::size_t>(text.size(), 255);
    std::fill(std::copy_n(text.data(), length, target), std::end(target), '\0');
}

/// The text up to its terminator, which a host may have forgotten.
std::string textFrom(const char (&source)[256]) { return {source, std::find(source, source + 255, '\0')}; }

/// A whole number of `digits` decimal digits at `place`; -1 when one of them is none.
int digitsAt(const std::string& text, std::size_t place, int digits) noexcept {
    int value = 0;
    for (int i = 0; i < digits; ++i, ++place) {
        if (text[place] < '0' || text[place] > '9') return -1;
        value = 10 * value + (text[place] - '0');
    }
    return value;
}

} // namespace

std::int64_t secondsFromExifTime(const std::string& text) noexcept {
    constexpr std::size_t kLength = 19;
    if (text.size() < kLength || text[4] != ':' || text[7] != ':' || text[10] != ' ' || text[13] != ':' ||
        text[16] != ':')
        return 0;
    const int year = digitsAt(text, 0, 4);
    const int month = digitsAt(text, 5, 2);
    const int day = digitsAt(text, 8, 2);
    const int hour = digitsAt(text, 11, 2);
    const int minute = digitsAt(text, 14, 2);
    const int second = digitsAt(text, 17, 2);
    if (year < 1 || month < 1 || day < 1 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
        second > 60)
        return 0;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok()) return 0;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return days * 86400 + hour * 3600 + minute * 60 + second;
}

void fillRecord(Rastrel::_EXIF& record, CTiff& tiff) noexcept {
    record = Rastrel::_EXIF();
    record.xResolution = tiff.xResolution;
    record.yResolution = tiff.yResolution;
    setText(record.description, tiff.description);
    setText(record.software, tiff.software);
    record.exifTags = std::move(tiff.exifTags);
    record.gpsTags = std::move(tiff.gpsTags);

    const std::uint16_t orientation = shortOf(tiff.mainTags, kTagOrientation);
    record.orientation = orientation <= 8 ? orientation : std::uint16_t{0};
    record.isoSpeed = shortOf(record.exifTags, kTagIsoSpeed);
    record.exposureProgram = shortOf(record.exifTags, kTagExposureProgram);
    record.meteringMode = shortOf(record.exifTags, kTagMeteringMode);
    record.flash = shortOf(record.exifTags, kTagFlash);
    if (const _tiff_ifd_tag* time = record.exifTags.find(kTagDateTimeOriginal))
        record.dateTime = secondsFromExifTime(textOf(*time));
}

bool setUpTiff(CTiff& tiff, const Rastrel::_EXIF& record, std::uint32_t width, std::uint32_t height,
               std::uint8_t colormodel) {
    const auto layout = tiffLayout(colormodel);
    if (!layout) return false;
    tiff.width = width;
    tiff.height = height;
    tiff.bitsPerPixel = layout->bitsPerPixel;
    tiff.photometric = layout->photometric;
    tiff.sampleFormat = layout->sampleFormat;
    tiff.xResolution = record.xResolution;
    tiff.yResolution = record.yResolution;
    tiff.description = textFrom(record.description);
    tiff.software = textFrom(record.software);
    tiff.exifTags = record.exifTags;
    tiff.gpsTags = record.gpsTags;
    // A copy for which the memory could not be had is empty.
    return tiff.exifTags.empty() == record.exifTags.empty() && tiff.gpsTags.empty() == record.gpsTags.empty();
}

bool parseExifBlock(const void* data, std::uint64_t size, Rastrel::_EXIF& record) {
    // The stream is only read from; its interface also serves writers and takes no const.
    const StreamHandle stream(_u_fmemopen(const_cast<void*>(data), size));
    if (!stream) return false;
    ByteReader source(stream.get(), 0, size, ByteOrder::little);
    CTiff tiff;
    const auto position = CTiff::readHeader(source);
    if (!position || !tiff.readDirectories(source, *position, CTiff::Damage::dropsRecord)) return false;
    tiff.acceptDescription();
    fillRecord(record, tiff);
    return true;
}

std::vector<unsigned char> buildExifBlock(const Rastrel::_EXIF& record, std::uint32_t width, std::uint32_t height,
                                          std::uint8_t colormodel) {
    CTiff tiff;
    if (!setUpTiff(tiff, record, width, height, colormodel) || !tiff.buildTags()) return {};
    const StreamHandle stream(_u_fmemcreate());
    if (!stream) return {};
    ByteWriter header(ByteOrder::little);
    header.bytes("II", 2);
    header.u16(kTiffMagic);
    header.u32(8);
    if (!header.flushTo(stream.get()) || !tiff.writeDirectories(stream.get(), false)) return {};
    const std::int64_t size = _u_ftelli64(stream.get());
    if (size <= 0) return {};
    std::vector<unsigned char> block(static_cast<std::size_t>(size));
    if (_u_fseeki64(stream.get(), 0, SEEK_SET) != 0 ||
        _u_fread(block.data(), 1, block.size(), stream.get()) != block.size())
        return {};
    return block;
}

} // namespace rastrel
