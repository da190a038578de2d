/// Commands that look at files: info and exif.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string_view>

#include "tool_commands.h"
#include "tool_failure.h"
#include "tool_files.h"
#include "tool_formats.h"

namespace tool {
namespace {

struct TagName {
    std::uint16_t tag;
    const char* name;
};

constexpr TagName kExifNames[] = {{0x829A, "ExposureTime"},
                                  {0x829D, "FNumber"},
                                  {0x8822, "ExposureProgram"},
                                  {0x8827, "ISOSpeedRatings"},
                                  {0x9000, "ExifVersion"},
                                  {0x9003, "DateTimeOriginal"},
                                  {0x9004, "DateTimeDigitized"},
                                  {0x9101, "ComponentsConfiguration"},
                                  {0x9201, "ShutterSpeedValue"},
                                  {0x9202, "ApertureValue"},
                                  {0x9204, "ExposureBiasValue"},
                                  {0x9205, "MaxApertureValue"},
                                  {0x9207, "MeteringMode"},
                                  {0x9208, "LightSource"},
                                  {0x9209, "Flash"},
                                  {0x920A, "FocalLength"},
                                  {0x927C, "MakerNote"},
                                  {0x9286, "UserComment"},
                                  {0xA000, "FlashpixVersion"},
                                  {0xA001, "ColorSpace"},
                                  {0xA002, "PixelXDimension"},
                                  {0xA003, "PixelYDimension"},
                                  {0xA402, "ExposureMode"},
                                  {0xA403, "WhiteBalance"},
                                  {0xA405, "FocalLengthIn35mmFilm"},
                                  {0xA433, "LensMake"},
                                  {0xA434, "LensModel"}};

constexpr TagName kGpsNames[] = {{0, "GPSVersionID"}, {1, "GPSLatitudeRef"}, {2, "GPSLatitude"}, {3, "GPSLongitudeRef"},
                                 {4, "GPSLongitude"}, {5, "GPSAltitudeRef"}, {6, "GPSAltitude"}, {7, "GPSTimeStamp"},
                                 {18, "GPSMapDatum"}, {29, "GPSDateStamp"}};

template <class Number>
Number valueAt(const _tiff_ifd_tag& tag, std::uint32_t index) {
    Number value;
    std::memcpy(&value, tag.data + std::size_t{index} * sizeof value, sizeof value);
    return value;
}

template <class Number>
void printRational(std::ostream& out, const _tiff_ifd_tag& tag, std::uint32_t index) {
    const auto above = valueAt<Number>(tag, index * 2);
    const auto below = valueAt<Number>(tag, index * 2 + 1);
    out << above << '/' << below;
}

void printValue(std::ostream& out, const _tiff_ifd_tag& tag, std::uint32_t index) {
    switch (tag.type) {
    case 3:
        out << valueAt<std::uint16_t>(tag, index);
        break;
    case 4:
        out << valueAt<std::uint32_t>(tag, index);
        break;
    case 5:
        printRational<std::uint32_t>(out, tag, index);
        break;
    case 6:
        out << int{valueAt<std::int8_t>(tag, index)};
        break;
    case 8:
        out << valueAt<std::int16_t>(tag, index);
        break;
    case 9:
        out << valueAt<std::int32_t>(tag, index);
        break;
    case 10:
        printRational<std::int32_t>(out, tag, index);
        break;
    case 11:
        out << valueAt<float>(tag, index);
        break;
    case 12:
        out << valueAt<double>(tag, index);
        break;
    default:
        out << unsigned{valueAt<std::uint8_t>(tag, index)};
    }
}

std::string describeValues(const _tiff_ifd_tag& tag) {
    constexpr std::uint32_t kMostValues = 8;
    if (!tag.hasData || tag.data == nullptr) return "(no value)";
    if (tag.type == 2) {
        const char* const letters = reinterpret_cast<const char*>(tag.data);
        return '"' + oneLine(std::string(letters, strnlen(letters, std::min<std::uint32_t>(tag.count, 256)))) + '"';
    }
    std::ostringstream out;
    for (std::uint32_t i = 0; i < std::min(tag.count, kMostValues); ++i) {
        if (i > 0) out << ' ';
        printValue(out, tag, i);
    }
    if (tag.count > kMostValues) out << " ... (" << tag.count << " values)";
    return out.str();
}

template <std::size_t Count>
void showTags(const char* title, const TiffTagList& tags, const TagName (&names)[Count]) {
    std::cout << title << ": " << tags.size() << '\n';
    for (const _tiff_ifd_tag* tag = tags.first; tag != nullptr; tag = tag->next) {
        const char* name = "";
        for (const TagName& entry : names) {
            if (entry.tag == tag->tag) name = entry.name;
        }
        char number[16];
        std::snprintf(number, sizeof number, "  0x%04X ", unsigned{tag->tag});
        std::cout << number << name << (*name != 0 ? " = " : "= ") << describeValues(*tag) << '\n';
    }
}

/// "2020-06-15 12:30:00", the camera's local time.
std::string describeDate(std::int64_t seconds) {
    constexpr std::int64_t kFarthest = 8000LL * 366 * 86400;
    if (seconds == 0) return "unknown";
    if (seconds < -kFarthest || seconds > kFarthest) return std::to_string(seconds) + " s since 1970-01-01";
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u %02d:%02d:%02d", int{date.year()}, unsigned{date.month()},
                  unsigned{date.day()}, static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return buffer;
}

std::string describeText(const char* bytes) {
    const std::string text = oneLine(std::string(bytes, strnlen(bytes, 256)));
    return text.empty() ? "none" : '"' + text + '"';
}

std::string numberOr(std::uint16_t value, const char* otherwise) {
    return value == 0 ? otherwise : std::to_string(value);
}

} // namespace

bool showInfo(const std::vector<std::filesystem::path>& files) {
    bool all = true;
    for (const std::filesystem::path& file : files) {
        try {
            const Image image = readHeader(file);
            std::cout << oneLine(text(file)) << ": " << image->GetWidth() << " x " << image->GetHeight() << ", "
                      << modelName(image->GetColormodel()) << ", " << image->GetColordepth() << " bits a pixel, "
                      << image->exif.xResolution << " x " << image->exif.yResolution << " dpi" << std::endl;
        } catch (const Failure& failure) {
            complain(failure.what());
            all = false;
        }
    }
    return all;
}

void showExif(const std::filesystem::path& file) {
    const Image image = readHeader(file);
    const Rastrel::_EXIF& record = image->exif;
    std::cout << oneLine(text(file)) << '\n'
              << "date: " << describeDate(record.dateTime) << '\n'
              << "orientation: " << numberOr(record.orientation, "unknown") << '\n'
              << "ISO speed: " << numberOr(record.isoSpeed, "unknown") << '\n'
              << "exposure program: " << record.exposureProgram << '\n'
              << "metering mode: " << record.meteringMode << '\n'
              << "flash: " << record.flash << '\n'
              << "resolution: " << record.xResolution << " x " << record.yResolution << " dpi\n"
              << "description: " << describeText(record.description) << '\n'
              << "software: " << describeText(record.software) << '\n';
    showTags("EXIF tags", record.exifTags, kExifNames);
    showTags("GPS tags", record.gpsTags, kGpsNames);
}

} // namespace tool
