/// @file psb_document.h
/// The sections of a Photoshop big document, without its pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "formats/byte_reader.h"
#include "formats/byte_writer.h"
#include "image/image_state.h"
#include "rastrel/rastrel.h"

namespace rastrel {

/// One record of the image resource section.
struct PsbResource {
    std::uint16_t id = 0;
    std::vector<unsigned char> data;
};

/// A flat document of raw planes: header, image resources, and where its pixels lie. All numbers are big-endian in the
/// file.
///
/// Members that grow resources throw `std::bad_alloc`.
class CPsb {
public:
    CPsb() = default;
    CPsb(const CPsb&) = default;
    CPsb& operator=(const CPsb&) = default;
    virtual ~CPsb();

    /// @name Reading
    /// @{
    /// Reads everything before the image data and checks that the source, which is the whole file, holds all planes.
    [[nodiscard]] bool readSections(ByteReader& source);
    /// The colour model of an accepted sample layout; 0 for any other.
    [[nodiscard]] std::uint8_t colormodel() const noexcept;
    /// Replaces the whole record: tags and texts from the EXIF resource, resolutions from the resolution resource where
    /// there is one. Resources that cannot be read are passed over.
    void fillRecord(Rastrel::_EXIF& record) const;
    /// @}

    /// @name Writing
    /// @{
    /// Takes over size and sample layout; false for a colour model without one.
    [[nodiscard]] bool setUp(std::uint32_t newWidth, std::uint32_t newHeight, std::uint8_t model) noexcept;
    /// Makes the resources that describe an image.
    void buildResources(const Rastrel::_EXIF& record, std::uint8_t model);
    /// Writes everything before the planes at the stream's position.
    [[nodiscard]] bool writeSections(_universal_stream* stream) const;
    /// @}

    [[nodiscard]] std::uint32_t sampleSize() const noexcept { return depth / 8U; }
    [[nodiscard]] std::uint64_t pixelCount() const noexcept { return std::uint64_t{width} * height; }

    std::uint16_t channels = 0;
    std::uint32_t height = 0;
    std::uint32_t width = 0;
    std::uint16_t depth = 0; ///< bits a sample: 8 or 16
    std::uint16_t mode = 0;  ///< 1 grey, 3 RGB
    std::uint32_t colorDataLength = 0;
    std::vector<PsbResource> resources; ///< of a file that was read: those that the record is filled from
    std::uint64_t layerLength = 0;
    std::uint64_t planeSize = 0;     ///< bytes
    std::uint64_t planesSize = 0;    ///< bytes of all planes
    std::uint16_t compression = 0;   ///< 0: raw
    std::uint64_t imagePosition = 0; ///< of the compression word

private:
    [[nodiscard]] bool readHeader(ByteReader& source);
    [[nodiscard]] bool readResources(ByteReader& source);
    [[nodiscard]] bool readResource(ByteReader& section);
    [[nodiscard]] const PsbResource* find(std::uint16_t id) const noexcept;
};

} // namespace rastrel
