/// @file exr.cpp
/// OpenEXR files: whole picture, header, writer.
#include "formats/exr.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfRgbaFile.h>
#include <OpenEXR/ImfThreading.h>

#include "formats/exr_header.h"
#include "formats/exr_streams.h"
#include "formats/exr_threads.h"
#include "platform/file.h"

namespace rastrel {

namespace {

constexpr std::array<unsigned char, 4> kMagic{0x76, 0x2F, 0x31, 0x01};
constexpr std::size_t kPixelBytes = sizeof(pixel_argbfp32);

/// Whether the file begins as an OpenEXR file does. The stream stands at its start afterwards.
bool hasMagic(std::FILE* stream) {
    std::array<unsigned char, 4> magic{};
    if (!seek(stream, 0)) return false;
    const std::size_t got = std::fread(magic.data(), 1, magic.size(), stream);
    return seek(stream, -static_cast<std::int64_t>(got), SEEK_CUR) && magic == kMagic;
}

/// Whether the file is one that the library may be given; its header. The stream stands at its start afterwards.
bool acceptable(std::FILE* stream, ExrHeader& header) {
    const std::int64_t size = fileSize(stream);
    const bool good = parseExrHeader(stream, size, header) && plausibleExr(stream, size, header);
    return seek(stream, 0) && good;
}

/// Whether the library has found the picture that we have: its rows go into a buffer of our width.
bool agree(const Imf::Header& found, const ExrHeader& header) {
    const Imath::Box2i& window = found.dataWindow();
    return window.min.x == header.minX && window.min.y == header.minY && window.max.x == header.maxX &&
           window.max.y == header.maxY && found.compression() == header.compression &&
           found.hasTileDescription() == header.tiled;
}

/// Where a slice's base must lie so that the library puts column `firstColumn` at the front of the row buffer. The
/// address may lie outside every object: it is computed as a number and only ever used with that column added again.
char* sliceBase(pixel_argbfp32* row, std::size_t channel, std::int64_t firstColumn) {
    const auto front = reinterpret_cast<std::uintptr_t>(row) + channel * sizeof(float);
    const auto shift = static_cast<std::uintptr_t>(firstColumn) * kPixelBytes;
    return reinterpret_cast<char*>(front - shift);
}

/// Four float channels of one row buffer that takes every row; absent channels are 0.
Imf::FrameBuffer rowFrame(pixel_argbfp32* row, std::int64_t firstColumn) {
    constexpr std::array<const char*, 4> kNames{"B", "G", "R", "A"};
    Imf::FrameBuffer frame;
    for (std::size_t channel = 0; channel < kNames.size(); ++channel) {
        frame.insert(kNames[channel],
                     Imf::Slice(Imf::FLOAT, sliceBase(row, channel, firstColumn), kPixelBytes, 0, 1, 1, 0.0));
    }
    return frame;
}

/// Whether a row whose data the file did not fill may be shown as zero: uncompressed scan lines only. What a decoder
/// makes of a cut block is not known, and what the library's buffer holds behind a block that is too small neither.
bool trustworthy(const exrIStream& input, const ExrHeader& header, std::uint32_t y) {
    if (header.compression != Imf::NO_COMPRESSION || header.tiled) return !input.cutShort();
    return input.lastBlock() > 0 && static_cast<std::uint64_t>(input.lastBlock()) == header.bytesInRow(y);
}

/// Fetches the rows into the pixel block, which is created once the first of them has been decoded.
bool readRows(Imf::InputFile& file, const exrIStream& input, const ExrHeader& header, ImagePort& image) {
    const std::uint32_t rows = image.height;
    std::vector<pixel_argbfp32> row(image.width);
    const Imf::FrameBuffer frame = rowFrame(row.data(), header.minX);
    for (std::uint32_t y = 0; y < rows; ++y) {
        if (image.cancel.requested()) return false;
        image.progress.set(y, rows);
        {
            const ExrPoolInUse pool;
            file.setFrameBuffer(frame);
            file.readPixels(static_cast<int>(y), static_cast<int>(y));
        }
        if (!trustworthy(input, header, y)) return false;
        if (y == 0 && !image.createBlock(std::uint64_t{image.width} * image.height * kPixelBytes)) return false;
        if (!image.operations.writeRow(row.data(), y)) return false;
    }
    return true;
}

Imf::Header outputHeader(std::uint32_t width, std::uint32_t height) {
    Imf::Header header(static_cast<int>(width), static_cast<int>(height), 1.0F, Imath::V2f(0.0F, 0.0F), 1.0F,
                       Imf::INCREASING_Y, Imf::PIZ_COMPRESSION);
    for (const char* name : {"A", "R", "G", "B"})
        header.channels().insert(name, Imf::Channel(Imf::FLOAT, 1, 1, false));
    return header;
}

} // namespace

bool readExr(std::FILE* stream, ImagePort& image) {
    ExrHeader header;
    if (!hasMagic(stream) || !acceptable(stream, header)) return false;
    useNoExrThreads();
    exrIStream input(stream);
    Imf::InputFile file(input, 0);
    if (!file.isComplete() || input.cutShort() || !agree(file.header(), header)) return false;
    image.exif = {};
    image.setHead(static_cast<std::uint32_t>(header.width()), static_cast<std::uint32_t>(header.height()), CM_ARGBFP32);
    image.componentOrder = 1;
    input.expectPixels();
    return readRows(file, input, header, image);
}

bool preReadExr(std::FILE* stream, ImagePort& image) {
    ExrHeader header;
    if (!hasMagic(stream) || !acceptable(stream, header)) return false;
    const ExrOneThread pool;
    exrIStream input(stream);
    const Imf::RgbaInputFile file(input, Imf::globalThreadCount());
    if (!file.isComplete() || input.cutShort() || !agree(file.header(), header)) return false;
    image.exif = {};
    image.setHead(static_cast<std::uint32_t>(header.width()), static_cast<std::uint32_t>(header.height()), CM_ARGBFP32);
    return true;
}

bool writeExr(std::FILE* stream, ImagePort& image) {
    if (image.operations.reload() != 0) return false;
    const std::uint32_t width = image.width;
    const std::uint32_t height = image.height;
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX) return false;
    useNoExrThreads();
    exrOStream output(stream);
    {
        Imf::OutputFile file(output, outputHeader(width, height), 0);
        std::vector<pixel_argbfp32> row(width);
        const Imf::FrameBuffer frame = rowFrame(row.data(), 0);
        for (std::uint32_t y = 0; y < height; ++y) {
            if (image.cancel.requested()) return false;
            image.progress.set(y, height);
            // Reading may load the image again: it must still be the one that the header describes.
            if (!image.operations.readRow(row.data(), y) || image.width != width || image.height != height) {
                return false;
            }
            const ExrPoolInUse pool;
            file.setFrameBuffer(frame);
            file.writePixels(1);
        }
    }
    return !output.failed() && std::fflush(stream) == 0;
}

} // namespace rastrel
