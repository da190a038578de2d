#include "formats/psb_document.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "formats/exif_record.h"

namespace rastrel {
namespace {

constexpr std::uint16_t kBigVersion = 2;
constexpr std::uint16_t kModeGrey = 1;
constexpr std::uint16_t kModeRgb = 3;
constexpr std::uint64_t kReserved = 6; ///< bytes of the header

constexpr std::uint16_t kResolution = 1005;
constexpr std::uint16_t kExif = 1058;
constexpr std::uint16_t kPixelAspect = 1064;
constexpr std::uint16_t kPerInch = 1;     ///< how a resolution is shown
constexpr std::uint16_t kCentimetres = 2; ///< how a width or height is shown
constexpr std::size_t kResolutionSize = 16;
/// No camera's metadata comes near it; larger resources are passed over.
constexpr std::uint64_t kLargestKept = 16 << 20;

/// How a colour model lies in a document.
struct Layout {
    std::uint8_t model;
    std::uint16_t channels, depth, mode;
    std::uint8_t readBack; ///< the colour model of a document that was read
};
constexpr Layout kLayouts[] = {{CM_GREY8, 1, 8, kModeGrey, CM_GREY8},   {CM_GREY16, 1, 16, kModeGrey, CM_GREY16},
                               {CM_RGB8, 3, 8, kModeRgb, CM_RGB8},      {CM_RGB16, 3, 16, kModeRgb, CM_RGB16},
                               {CM_ARGB8, 4, 8, kModeRgb, CM_RGBA8},    {CM_RGBA8, 4, 8, kModeRgb, CM_RGBA8},
                               {CM_ARGB16, 4, 16, kModeRgb, CM_RGBA16}, {CM_RGBA16, 4, 16, kModeRgb, CM_RGBA16}};

/// A resolution as a 16.16 fixed number without a fraction.
std::uint32_t fixedResolution(double value) noexcept {
    if (!(value > 0)) return 0;
    return static_cast<std::uint32_t>(std::min(value + 0.5, 65535.0)) << 16;
}

double fromFixed(std::uint32_t fixed) noexcept { return fixed / 65536.0; }

PsbResource takeOver(std::uint16_t id, const ByteWriter& data) {
    return {id, {data.data(), data.data() + data.size()}};
}

} // namespace

CPsb::~CPsb() = default;

bool CPsb::readHeader(ByteReader& source) {
    std::uint16_t version = 0;
    return source.tag("8BPS") && source.u16(version) && version == kBigVersion && source.skip(kReserved) &&
           source.u16(channels) && source.u32(height) && source.u32(width) && source.u16(depth) &&
           (depth == 8 || depth == 16) && source.u16(mode) && (mode == kModeGrey || mode == kModeRgb) &&
           source.u32(colorDataLength) && colorDataLength == 0;
}

bool CPsb::readResource(ByteReader& section) {
    std::uint8_t pair[2];
    std::uint32_t size = 0;
    PsbResource resource;
    if (!section.tag("8BIM") || !section.u16(resource.id)) return false;
    do {
        if (!section.bytes(pair, 2)) return false;
    } while (pair[1] != 0);
    if (!section.u32(size) || size > section.remaining()) return false;
    const bool asked = resource.id == kResolution || resource.id == kExif;
    if (asked && size <= kLargestKept && find(resource.id) == nullptr) {
        resource.data.resize(size);
        if (!section.bytes(resource.data.data(), size)) return false;
        resources.push_back(std::move(resource));
    } else if (!section.skip(size)) {
        return false;
    }
    return size % 2 == 0 || section.skip(1);
}

bool CPsb::readResources(ByteReader& source) {
    std::uint32_t length = 0;
    if (!source.u32(length)) return false;
    auto section = source.slice(source.position(), length);
    if (!section) return false;
    while (section->remaining() != 0)
        if (!readResource(*section)) return false;
    return source.skip(length);
}

bool CPsb::readSections(ByteReader& source) {
    source.setOrder(ByteOrder::big);
    if (!source.seek(0) || !readHeader(source) || !readResources(source)) return false;
    if (!source.u64(layerLength) || !source.skip(layerLength)) return false;
    imagePosition = source.position();
    if (colormodel() == 0 || pixelCount() == 0 || source.remaining() < sizeof compression) return false;
    // Divided rather than multiplied: the product of hostile numbers may not fit.
    const std::uint64_t held = source.remaining() - sizeof compression;
    if (pixelCount() > held / (channels * sampleSize())) return false;
    planeSize = pixelCount() * sampleSize();
    planesSize = planeSize * channels;
    return true;
}

std::uint8_t CPsb::colormodel() const noexcept {
    for (const Layout& layout : kLayouts)
        if (layout.channels == channels && layout.depth == depth && layout.mode == mode) return layout.readBack;
    return 0;
}

const PsbResource* CPsb::find(std::uint16_t id) const noexcept {
    for (const PsbResource& resource : resources)
        if (resource.id == id) return &resource;
    return nullptr;
}

void CPsb::fillRecord(Rastrel::_EXIF& record) const {
    record = Rastrel::_EXIF();
    if (const PsbResource* exif = find(kExif)) {
        // Metadata that cannot be read leaves the record as it is: empty.
        [[maybe_unused]] const bool read = parseExifBlock(exif->data.data(), exif->data.size(), record);
    }
    const PsbResource* resolution = find(kResolution);
    if (resolution == nullptr || resolution->data.size() < kResolutionSize) return;
    const unsigned char* const data = resolution->data.data();
    record.xResolution = fromFixed(loadNumber<std::uint32_t>(data, ByteOrder::big));
    record.yResolution = fromFixed(loadNumber<std::uint32_t>(data + kResolutionSize / 2, ByteOrder::big));
}

bool CPsb::setUp(std::uint32_t newWidth, std::uint32_t newHeight, std::uint8_t model) noexcept {
    for (const Layout& layout : kLayouts) {
        if (layout.model != model) continue;
        width = newWidth;
        height = newHeight;
        channels = layout.channels;
        depth = layout.depth;
        mode = layout.mode;
        planeSize = pixelCount() * sampleSize();
        planesSize = planeSize * channels;
        return true;
    }
    return false;
}

void CPsb::buildResources(const Rastrel::_EXIF& record, std::uint8_t model) {
    resources.clear();
    ByteWriter resolution(ByteOrder::big);
    for (const double value : {record.xResolution, record.yResolution}) {
        resolution.u32(fixedResolution(value));
        resolution.u16(kPerInch);
        resolution.u16(kCentimetres);
    }
    resources.push_back(takeOver(kResolution, resolution));

    const double ratio = record.yResolution / record.xResolution;
    ByteWriter aspect(ByteOrder::big);
    aspect.u32(2);
    aspect.u64(std::bit_cast<std::uint64_t>(std::isfinite(ratio) ? ratio : 1.0));
    resources.push_back(takeOver(kPixelAspect, aspect));

    std::vector<unsigned char> exif = buildExifBlock(record, width, height, model);
    if (!exif.empty() && exif.size() <= kLargestKept) resources.push_back({kExif, std::move(exif)});
}

bool CPsb::writeSections(_universal_stream* stream) const {
    ByteWriter out(ByteOrder::big);
    out.bytes("8BPS", 4);
    out.u16(kBigVersion);
    out.zeros(kReserved);
    out.u16(channels);
    out.u32(height);
    out.u32(width);
    out.u16(depth);
    out.u16(mode);
    out.u32(colorDataLength);
    const std::uint64_t lengthPosition = out.size();
    out.u32(0);
    for (const PsbResource& resource : resources) {
        out.bytes("8BIM", 4);
        out.u16(resource.id);
        out.zeros(2); // an empty name
        out.u32(static_cast<std::uint32_t>(resource.data.size()));
        out.bytes(resource.data.data(), resource.data.size());
        out.zeros(resource.data.size() % 2);
    }
    out.patch32(lengthPosition, static_cast<std::uint32_t>(out.size() - lengthPosition - sizeof(std::uint32_t)));
    out.u64(layerLength);
    out.u16(compression);
    return out.flushTo(stream);
}

} // namespace rastrel
