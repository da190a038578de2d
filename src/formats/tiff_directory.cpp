#include "formats/tiff_directory.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "formats/tag_values.h"
#include "pixel/color_model.h"

namespace rastrel {
namespace {

constexpr const char kDefaultSoftware[] = "TORVEN Quendra 2018";
constexpr std::size_t kLongestText = 255;
constexpr double kCentimetresPerInch = 2.54;

/// Value 0 of a tag as an unsigned 32-bit number.
std::optional<std::uint32_t> unsignedOf(const TiffTagList& list, std::uint16_t tag) noexcept {
    const _tiff_ifd_tag* record = list.find(tag);
    if (record == nullptr) return std::nullopt;
    const auto value = integerAt(*record, 0);
    if (!value || *value < 0 || *value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(*value);
}

/// Whether a tag is absent or all its values equal `expected`.
bool absentOrAll(const TiffTagList& list, std::uint16_t tag, std::int64_t expected) noexcept {
    const _tiff_ifd_tag* record = list.find(tag);
    if (record == nullptr) return true;
    for (std::uint32_t i = 0; i < record->count; ++i)
        if (integerAt(*record, i) != expected) return false;
    return record->count > 0;
}

/// The sample layouts that a picture may have, by samples a pixel and bits a sample.
struct AcceptedLayout {
    std::uint16_t samples, bits, photometric, sampleFormat;
};
constexpr AcceptedLayout kAccepted[] = {
    {1, 8, kPhotometricGrey, kSampleFormatInteger}, {1, 16, kPhotometricGrey, kSampleFormatInteger},
    {1, 32, kPhotometricGrey, kSampleFormatFloat},  {1, 64, kPhotometricGrey, kSampleFormatFloat},
    {3, 8, kPhotometricRgb, kSampleFormatInteger},  {3, 16, kPhotometricRgb, kSampleFormatInteger},
    {4, 8, kPhotometricRgb, kSampleFormatInteger},  {4, 16, kPhotometricRgb, kSampleFormatInteger},
    {3, 32, kPhotometricRgb, kSampleFormatFloat},   {3, 64, kPhotometricRgb, kSampleFormatFloat},
    {4, 32, kPhotometricRgb, kSampleFormatFloat},   {4, 64, kPhotometricRgb, kSampleFormatFloat},
};

/// The one value that all BitsPerSample values have; 0 when there is none.
std::uint16_t commonBits(const TiffTagList& list) noexcept {
    const auto bits = unsignedOf(list, kTagBitsPerSample);
    if (!bits || *bits > 64 || !absentOrAll(list, kTagBitsPerSample, *bits)) return 0;
    return static_cast<std::uint16_t>(*bits);
}

/// Finds or appends a record and gives it fresh zero values.
_tiff_ifd_tag* renew(TiffTagList& list, std::uint16_t tag, std::uint16_t type, std::uint32_t count) noexcept {
    _tiff_ifd_tag* record = list.find(tag);
    if (record == nullptr) return list.append(tag, type, count);
    record->type = type;
    record->count = count;
    return record->allocate() ? record : nullptr;
}

/// Sets every value of a renewed record.
template <class T>
bool put(TiffTagList& list, std::uint16_t tag, std::uint16_t type, T value, std::uint32_t count = 1) noexcept {
    _tiff_ifd_tag* record = renew(list, tag, type, count);
    for (std::uint32_t i = 0; record != nullptr && i < count; ++i)
        CTiff::setValue(*record, i, value);
    return record != nullptr;
}

bool putText(TiffTagList& list, std::uint16_t tag, const std::string& text) noexcept {
    const std::size_t length = std::min(text.size(), kLongestText);
    _tiff_ifd_tag* record = renew(list, tag, kTypeAscii, static_cast<std::uint32_t>(length + 1));
    if (record != nullptr) std::copy_n(text.data(), length, record->data);
    return record != nullptr;
}

} // namespace

std::optional<TiffLayout> tiffLayout(std::uint8_t code) noexcept {
    switch (code) {
    case CM_GREY8:
    case CM_GREY16:
    case CM_GREYFP32:
    case CM_GREYFP64:
    case CM_RGB8:
    case CM_RGB16:
    case CM_ARGB8:
    case CM_ARGB16:
    case CM_RGBA8:
    case CM_RGBA16:
    case CM_ARGBFP32:
    case CM_ARGBFP64:
        break;
    default:
        return std::nullopt;
    }
    const ColorModel& model = colorModel(code);
    return TiffLayout{model.depth, model.channels == 1 ? kPhotometricGrey : kPhotometricRgb,
                      model.floating ? kSampleFormatFloat : kSampleFormatInteger, model.channels, model.bytesPerSample};
}

CTiff::~CTiff() = default;

bool CTiff::setValue(_tiff_ifd_tag& record, std::uint32_t index, std::int64_t value) noexcept {
    return setInteger(record, index, value);
}
bool CTiff::setValue(_tiff_ifd_tag& record, std::uint32_t index, int value) noexcept {
    return setInteger(record, index, value);
}
bool CTiff::setValue(_tiff_ifd_tag& record, std::uint32_t index, std::uint32_t value) noexcept {
    return setInteger(record, index, value);
}
bool CTiff::setValue(_tiff_ifd_tag& record, std::uint32_t index, double value) noexcept {
    return setDouble(record, index, value);
}
bool CTiff::setValue(_tiff_ifd_tag& record, std::uint32_t index, char value) noexcept {
    return setCharacter(record, index, value);
}

bool CTiff::takeSize() {
    const auto columns = unsignedOf(mainTags, kTagImageWidth);
    const auto rows = unsignedOf(mainTags, kTagImageLength);
    if (!columns || !rows) return false;
    width = *columns;
    height = *rows;
    return true;
}

bool CTiff::takeStrips() {
    strips.clear();
    const _tiff_ifd_tag* offsets = mainTags.find(kTagStripOffsets);
    const _tiff_ifd_tag* sizes = mainTags.find(kTagStripByteCounts);
    if (offsets == nullptr || offsets->count == 0) return false;
    // Some writers leave the size of a single strip out: it goes as far as the picture needs.
    if (sizes == nullptr ? offsets->count != 1 : sizes->count != offsets->count) return false;
    strips.reserve(offsets->count);
    for (std::uint32_t i = 0; i < offsets->count; ++i) {
        const auto offset = integerAt(*offsets, i);
        const auto size = sizes == nullptr ? std::numeric_limits<std::int64_t>::max() : integerAt(*sizes, i);
        if (!offset || !size || *offset < 0 || *size < 0) return false;
        strips.push_back({*offset, *size});
    }
    return true;
}

void CTiff::acceptDescription() {
    double perInch = 1.0;
    if (_tiff_ifd_tag* unit = mainTags.find(kTagResolutionUnit);
        unit != nullptr && integerAt(*unit, 0) == kResolutionUnitNone) {
        perInch = kCentimetresPerInch;
        setInteger(*unit, 0, kResolutionUnitInch);
    }
    const auto take = [&](std::uint16_t tag, double& resolution) {
        const _tiff_ifd_tag* record = mainTags.find(tag);
        if (record == nullptr) return;
        const auto value = numberAt(*record, 0);
        if (value && std::isfinite(*value)) resolution = *value * perInch;
    };
    take(kTagXResolution, xResolution);
    take(kTagYResolution, yResolution);
    if (const _tiff_ifd_tag* record = mainTags.find(kTagImageDescription)) description = textOf(*record);
    if (const _tiff_ifd_tag* record = mainTags.find(kTagSoftware)) software = textOf(*record);
}

bool CTiff::acceptImage() {
    if (!takeSize()) return false;
    const std::uint32_t samples =
        mainTags.find(kTagSamplesPerPixel) == nullptr ? 1 : unsignedOf(mainTags, kTagSamplesPerPixel).value_or(0);
    const std::uint16_t bits = commonBits(mainTags);
    const auto* layout = std::find_if(std::begin(kAccepted), std::end(kAccepted), [&](const AcceptedLayout& row) {
        return row.samples == samples && row.bits == bits;
    });
    if (layout == std::end(kAccepted)) return false;
    bitsPerPixel = static_cast<std::uint16_t>(layout->samples * layout->bits);
    photometric = layout->photometric;
    sampleFormat = layout->sampleFormat;
    if (!absentOrAll(mainTags, kTagPhotometric, photometric) ||
        !absentOrAll(mainTags, kTagSampleFormat, sampleFormat) || !absentOrAll(mainTags, kTagCompression, 1) ||
        !absentOrAll(mainTags, kTagPlanarConfiguration, 1) || !takeStrips())
        return false;
    acceptDescription();
    return true;
}

bool CTiff::acceptRaw() {
    if (!takeSize()) return false;
    bitsPerPixel = commonBits(mainTags);
    if (!takeStrips()) return false;
    acceptDescription();
    return true;
}

bool CTiff::buildTags() {
    const bool grey = photometric == kPhotometricGrey;
    std::uint16_t samples = 1;
    if (!grey) samples = bitsPerPixel == 24 || bitsPerPixel == 48 ? 3 : 4;
    const bool known = grey ? bitsPerPixel == 8 || bitsPerPixel == 16 || bitsPerPixel == 32 || bitsPerPixel == 64
                            : bitsPerPixel == 24 || bitsPerPixel == 32 || bitsPerPixel == 48 || bitsPerPixel == 64;
    if (!known) return false;
    // A strip beyond 32 bits cannot stand in a file of its own; a metadata block that describes a larger picture
    // elsewhere says the most it can.
    const std::uint64_t rowBits = std::uint64_t{width} * bitsPerPixel;
    const std::uint64_t strip = rowBits / 8 == 0 ? 0 : std::min<std::uint64_t>(0xFFFFFFFFU / (rowBits / 8), height);
    const auto stripSize =
        strip == height ? static_cast<std::uint32_t>(strip * (rowBits / 8)) : std::uint32_t{0xFFFFFFFFU};

    return put(mainTags, kTagImageWidth, kTypeLong, width) && put(mainTags, kTagImageLength, kTypeLong, height) &&
           put(mainTags, kTagBitsPerSample, kTypeShort, bitsPerPixel / samples, samples) &&
           put(mainTags, kTagSamplesPerPixel, kTypeShort, int{samples}) &&
           put(mainTags, kTagPhotometric, kTypeShort, int{photometric}) &&
           put(mainTags, kTagStripOffsets, kTypeLong, 8) && put(mainTags, kTagRowsPerStrip, kTypeLong, height) &&
           put(mainTags, kTagStripByteCounts, kTypeLong, stripSize) &&
           put(mainTags, kTagXResolution, kTypeRational, xResolution) &&
           put(mainTags, kTagYResolution, kTypeRational, yResolution) &&
           put(mainTags, kTagPlanarConfiguration, kTypeShort, 1) &&
           put(mainTags, kTagResolutionUnit, kTypeShort, int{kResolutionUnitInch}) &&
           (description.empty() || putText(mainTags, kTagImageDescription, description)) &&
           putText(mainTags, kTagSoftware, software.empty() ? kDefaultSoftware : software);
}

} // namespace rastrel
