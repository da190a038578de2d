/// @file exr_files.h
/// OpenEXR files made with the library itself, in memory, and what the library reads from them in one call.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfTiledOutputFile.h>

namespace testing_support {

using ExrBytes = std::vector<unsigned char>;

/// A file in memory for the library to write to.
class MemorySink : public Imf::OStream {
public:
    MemorySink() : OStream("") {}
    void write(const char* from, int size) override {
        if (bytes.size() < position_ + static_cast<std::size_t>(size)) {
            bytes.resize(position_ + static_cast<std::size_t>(size));
        }
        std::memcpy(bytes.data() + position_, from, static_cast<std::size_t>(size));
        position_ += static_cast<std::size_t>(size);
    }
    std::uint64_t tellp() override { return position_; }
    void seekp(std::uint64_t position) override { position_ = static_cast<std::size_t>(position); }

    ExrBytes bytes;

private:
    std::size_t position_ = 0;
};

/// A file in memory for the library to read from; it throws at the end, as the library expects.
class MemorySource : public Imf::IStream {
public:
    explicit MemorySource(const ExrBytes& bytes) : IStream(""), bytes_(bytes) {}
    bool read(char* to, int size) override {
        if (static_cast<std::size_t>(size) > bytes_.size() - position_) throw std::runtime_error("end of file");
        std::memcpy(to, bytes_.data() + position_, static_cast<std::size_t>(size));
        position_ += static_cast<std::size_t>(size);
        return position_ < bytes_.size();
    }
    std::uint64_t tellg() override { return position_; }
    void seekg(std::uint64_t position) override {
        position_ = std::min(static_cast<std::size_t>(position), bytes_.size());
    }

private:
    const ExrBytes& bytes_;
    std::size_t position_ = 0;
};

/// A picture file. Samples are small multiples of 1/64, exact in every pixel type but UINT, where they are whole.
struct ExrPicture {
    struct Channel {
        std::string name;
        Imf::PixelType type = Imf::HALF;
        int xSampling = 1, ySampling = 1;
    };

    int width = 0, height = 0;
    int minX = 0, minY = 0;
    std::vector<Channel> channels = {{"R"}, {"G"}, {"B"}, {"A"}};
    Imf::Compression compression = Imf::ZIP_COMPRESSION;
    Imf::LineOrder order = Imf::INCREASING_Y;
    bool tiled = false;
    Imf::LevelMode levels = Imf::ONE_LEVEL;
    unsigned tileWidth = 16, tileHeight = 16;

    /// The value of a channel's sample at a pixel of the data window.
    static float value(const std::string& channel, Imf::PixelType type, int x, int y) {
        const int step = (x * 3 + y * 7 + channel[0] * 5) & 127;
        return type == Imf::UINT ? static_cast<float>(step) : static_cast<float>(step) / 64.0F - 0.5F;
    }
    /// What a pixel reads as, blue, green, red, alpha; 0 for a channel that the file lacks.
    [[nodiscard]] std::array<float, 4> pixel(int x, int y) const {
        std::array<float, 4> values{};
        constexpr const char* kNames[] = {"B", "G", "R", "A"};
        for (std::size_t i = 0; i < 4; ++i)
            for (const Channel& channel : channels)
                if (channel.name == kNames[i]) values[i] = value(channel.name, channel.type, x + minX, y + minY);
        return values;
    }

    [[nodiscard]] Imf::Header header() const {
        const Imath::Box2i window(Imath::V2i(minX, minY), Imath::V2i(minX + width - 1, minY + height - 1));
        Imf::Header made(window, window, 1.0F, Imath::V2f(0.0F, 0.0F), 1.0F, order, compression);
        for (const Channel& channel : channels)
            made.channels().insert(channel.name, Imf::Channel(channel.type, channel.xSampling, channel.ySampling));
        if (tiled) made.setTileDescription(Imf::TileDescription(tileWidth, tileHeight, levels));
        return made;
    }

    [[nodiscard]] ExrBytes build() const {
        std::vector<std::vector<char>> planes;
        Imf::FrameBuffer frame;
        for (const Channel& channel : channels)
            insertPlane(channel, planes, frame);
        MemorySink sink;
        if (tiled) {
            writeTiles(sink, frame);
        } else {
            Imf::OutputFile file(sink, header(), 0);
            file.setFrameBuffer(frame);
            file.writePixels(height);
        }
        return sink.bytes;
    }

private:
    void insertPlane(const Channel& channel, std::vector<std::vector<char>>& planes, Imf::FrameBuffer& frame) const {
        const std::size_t size = channel.type == Imf::HALF ? 2 : 4;
        const int columns = width / channel.xSampling;
        const int rows = height / channel.ySampling;
        std::vector<char> plane(size * static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
        char* to = plane.data();
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < columns; ++x, to += size) {
                const float v =
                    value(channel.name, channel.type, x * channel.xSampling + minX, y * channel.ySampling + minY);
                const half small(v);
                const auto whole = static_cast<unsigned>(v);
                std::memcpy(to,
                            channel.type == Imf::HALF    ? static_cast<const void*>(&small)
                            : channel.type == Imf::FLOAT ? static_cast<const void*>(&v)
                                                         : static_cast<const void*>(&whole),
                            size);
            }
        }
        planes.push_back(std::move(plane));
        const std::size_t stride = size * static_cast<std::size_t>(columns);
        const Imath::V2i origin(minX, minY);
        frame.insert(channel.name, Imf::Slice::Make(channel.type, planes.back().data(), origin, width, height, size,
                                                    stride, channel.xSampling, channel.ySampling));
    }
    void writeTiles(MemorySink& sink, const Imf::FrameBuffer& frame) const {
        Imf::TiledOutputFile file(sink, header(), 0);
        file.setFrameBuffer(frame);
        // Smaller levels get the front of the same planes.
        for (int y = 0; y < file.numYLevels(); ++y)
            for (int x = 0; x < file.numXLevels(); ++x)
                if (file.isValidLevel(x, y)) {
                    file.writeTiles(0, file.numXTiles(x) - 1, 0, file.numYTiles(y) - 1, x, y);
                }
    }
};

/// What the library makes of a file's four channels in one call: rows of blue, green, red, alpha.
inline std::vector<float> wholeExr(const ExrBytes& bytes) {
    MemorySource source(bytes);
    Imf::InputFile file(source, 0);
    const Imath::Box2i window = file.header().dataWindow();
    const std::size_t width = static_cast<std::size_t>(window.max.x - window.min.x + 1);
    const std::size_t height = static_cast<std::size_t>(window.max.y - window.min.y + 1);
    std::vector<float> pixels(width * height * 4, -1.0F);
    Imf::FrameBuffer frame;
    constexpr const char* kNames[] = {"B", "G", "R", "A"};
    for (std::size_t i = 0; i < 4; ++i) {
        frame.insert(kNames[i], Imf::Slice::Make(Imf::FLOAT, pixels.data() + i, window, std::size_t{16}, width * 16));
    }
    file.setFrameBuffer(frame);
    file.readPixels(window.min.y, window.max.y);
    return pixels;
}

/// The file position of the first byte behind a header: behind its terminating empty name.
inline std::size_t exrHeaderEnd(const ExrBytes& bytes) {
    std::size_t at = 8;
    const auto text = [&] {
        const std::size_t begin = at;
        while (bytes[at] != 0)
            ++at;
        ++at;
        return std::string(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at) - 1);
    };
    while (!text().empty()) {
        text();
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + at, 4);
        at += 4 + size;
    }
    return at;
}

/// The file position of an attribute's value.
inline std::size_t exrAttribute(const ExrBytes& bytes, const std::string& name) {
    const std::string head = name + '\0';
    for (std::size_t at = 8; at + head.size() < bytes.size(); ++at) {
        if (std::memcmp(bytes.data() + at, head.data(), head.size()) != 0) continue;
        at += head.size();
        while (bytes[at] != 0)
            ++at;
        return at + 5;
    }
    return 0;
}

template <class Number>
void patchExr(ExrBytes& bytes, std::size_t place, Number value) {
    std::memcpy(bytes.data() + place, &value, sizeof value);
}

} // namespace testing_support
