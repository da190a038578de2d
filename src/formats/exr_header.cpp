/// @file exr_header.cpp
/// The header of an OpenEXR file and what it may claim.
#include "formats/exr_header.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/file.h"

namespace rastrel {

namespace {

constexpr std::uint32_t kMagic = 20000630; // 76 2F 31 01
constexpr std::uint32_t kVersion = 2;
constexpr std::uint32_t kTiledFlag = 0x200;
constexpr std::uint32_t kDeepFlag = 0x800;
constexpr std::uint32_t kMultiPartFlag = 0x1000;
constexpr std::size_t kLongestName = 255;
constexpr std::int64_t kLongestChannelList = 1 << 20;
constexpr std::int32_t kFarthest = INT32_MAX / 2; ///< the library's limit for corners of a window
constexpr std::uint64_t kMebibyte = 1 << 20;

struct CompressionTraits {
    std::uint32_t rowsInBlock; ///< rows that one block of scan lines holds
    std::uint32_t mostRatio;   ///< no byte of compressed data gives more bytes of pixels than this
};

// Runs of 128 equal bytes take two; deflate gives 1032 bytes for one, three quarters of the bytes of a float; a wavelet
// block of zeros is all runs of the Huffman coder; lossy blocks of 4 x 4 halves take three bytes; the DCT coders keep
// two coefficients of a constant block of 64 samples, themselves deflated.
constexpr std::array<CompressionTraits, 10> kCompressions{{
    {1, 1},
    {1, 64},
    {1, 1040},
    {16, 1040},
    {32, 2048},
    {16, 1400},
    {32, 16},
    {32, 16},
    {32, 65536},
    {256, 65536},
}};

/// Types whose values the library reads in whole, whatever size the header tells: with another size it would go on
/// reading the header elsewhere than we do.
struct FixedType {
    std::string_view name;
    std::int32_t bytes;
};
constexpr FixedType kFixedTypes[] = {
    {"box2f", 16},
    {"box2i", 16},
    {"chromaticities", 32},
    {"compression", 1},
    {"deepImageState", 1},
    {"double", 8},
    {"envmap", 1},
    {"float", 4},
    {"int", 4},
    {"keycode", 28},
    {"lineOrder", 1},
    {"m33d", 72},
    {"m33f", 36},
    {"m44d", 128},
    {"m44f", 64},
    {"rational", 8},
    {"tiledesc", 9},
    {"timecode", 8},
    {"v2d", 16},
    {"v2f", 8},
    {"v2i", 8},
    {"v3d", 24},
    {"v3f", 12},
    {"v3i", 12},
};

/// Little-endian values and names from a C stream.
class HeaderReader {
public:
    explicit HeaderReader(std::FILE* stream) noexcept : stream_(stream) {}

    [[nodiscard]] bool bytes(void* to, std::size_t count) noexcept {
        return std::fread(to, 1, count, stream_) == count;
    }
    [[nodiscard]] bool u32(std::uint32_t& value) noexcept {
        std::array<unsigned char, 4> raw;
        if (!bytes(raw.data(), raw.size())) return false;
        value = raw[0] | raw[1] << 8 | raw[2] << 16 | static_cast<std::uint32_t>(raw[3]) << 24;
        return true;
    }
    [[nodiscard]] bool i32(std::int32_t& value) noexcept {
        std::uint32_t raw = 0;
        if (!u32(raw)) return false;
        value = std::bit_cast<std::int32_t>(raw);
        return true;
    }
    /// A text up to its terminator; false when it is longer than any name may be.
    [[nodiscard]] bool name(std::string_view& text) noexcept {
        for (std::size_t length = 0; length < text_.size(); ++length) {
            const int character = std::getc(stream_);
            if (character == EOF) return false;
            text_[length] = static_cast<char>(character);
            if (character == 0) {
                text = std::string_view(text_.data(), length);
                return true;
            }
        }
        return false;
    }

private:
    std::FILE* stream_;
    std::array<char, kLongestName + 1> text_;
};

bool parseChannels(HeaderReader& in, std::vector<ExrChannel>& channels) {
    channels.clear();
    std::string_view name;
    while (in.name(name)) {
        if (name.empty()) return !channels.empty();
        std::uint32_t type = 0;
        std::uint32_t linearAndPadding = 0;
        ExrChannel channel{};
        if (!in.u32(type) || !in.u32(linearAndPadding) || !in.i32(channel.xSampling) || !in.i32(channel.ySampling)) {
            return false;
        }
        if (type > 2 || channel.xSampling < 1 || channel.ySampling < 1) return false;
        channel.bytes = type == 1 ? 2 : 4;
        channels.push_back(channel);
    }
    return false;
}

bool parseWindow(HeaderReader& in, ExrHeader& header) {
    return in.i32(header.minX) && in.i32(header.minY) && in.i32(header.maxX) && in.i32(header.maxY) &&
           header.minX <= header.maxX && header.minY <= header.maxY && header.minX > -kFarthest &&
           header.minY > -kFarthest && header.maxX < kFarthest && header.maxY < kFarthest;
}

/// Which of the attributes that decide sizes have been seen.
struct Seen {
    bool channels = false, compression = false, window = false, tiles = false;
};

bool parseTiles(HeaderReader& in, ExrHeader& header) {
    return in.u32(header.tileWidth) && in.u32(header.tileHeight) && in.bytes(&header.tileLevels, 1) &&
           header.tileWidth > 0 && header.tileHeight > 0 && header.tileWidth <= INT32_MAX &&
           header.tileHeight <= INT32_MAX;
}

/// Notes that an attribute has been seen; false when it was there before: the library would merge the two.
bool first(bool& seen) noexcept { return !std::exchange(seen, true); }

/// One attribute, the reader standing at its value. False when it is one of ours and wrong.
bool parseAttribute(HeaderReader& in, std::string_view name, std::int64_t size, ExrHeader& header, Seen& seen) {
    if (name == "channels") {
        return first(seen.channels) && size <= kLongestChannelList && parseChannels(in, header.channels);
    }
    if (name == "compression") {
        return first(seen.compression) && size == 1 && in.bytes(&header.compression, 1) &&
               header.compression < kCompressions.size();
    }
    if (name == "dataWindow") return first(seen.window) && size == 16 && parseWindow(in, header);
    if (name == "tiles") return first(seen.tiles) && size == 9 && parseTiles(in, header);
    return true;
}

/// Whether the library takes just these bytes for a value of the type. Channel lists end by themselves: there is one,
/// which is parsed.
bool sizeFitsType(std::string_view type, std::int32_t size, std::string_view name) noexcept {
    if (type == "chlist") return name == "channels";
    if (type == "floatvector") return size % 4 == 0;
    const auto* fixed = std::find_if(std::begin(kFixedTypes), std::end(kFixedTypes),
                                     [type](const FixedType& known) { return known.name == type; });
    return fixed == std::end(kFixedTypes) || fixed->bytes == size;
}

bool parseAttributes(HeaderReader& in, std::FILE* stream, std::int64_t fileSize, ExrHeader& header) {
    Seen seen;
    std::string_view text;
    while (in.name(text)) {
        if (text.empty()) {
            header.end = tell(stream);
            return seen.channels && seen.compression && seen.window && (seen.tiles || !header.tiled);
        }
        std::array<char, kLongestName + 1> name;
        const std::size_t length = text.copy(name.data(), name.size());
        std::int32_t size = 0;
        const std::string_view known(name.data(), length);
        if (!in.name(text) || text.empty() || !in.i32(size) || size < 0 || !sizeFitsType(text, size, known))
            return false;
        const std::int64_t value = tell(stream);
        if (value < 0 || size > fileSize - value) return false;
        if (!parseAttribute(in, known, size, header, seen)) return false;
        if (known == "channels" && tell(stream) != value + size) return false;
        if (!seek(stream, value + size)) return false;
    }
    return false;
}

std::uint64_t ceilDivide(std::uint64_t a, std::uint64_t b) noexcept { return (a + b - 1) / b; }

/// Size of a level of a tiled picture along one axis.
std::uint64_t levelSize(std::uint64_t size, unsigned level, bool roundUp) noexcept {
    const std::uint64_t half = roundUp ? (size + (std::uint64_t{1} << level) - 1) >> level : size >> level;
    return std::max<std::uint64_t>(half, 1);
}

unsigned levelCount(std::uint64_t size, bool roundUp) noexcept {
    unsigned levels = 1;
    for (; size > 1; ++levels)
        size = roundUp ? (size + 1) / 2 : size / 2;
    return levels;
}

/// Tiles of one axis at each level.
std::vector<std::uint64_t> tilesByLevel(std::uint64_t size, std::uint32_t tile, unsigned levels, bool roundUp) {
    std::vector<std::uint64_t> tiles;
    for (unsigned level = 0; level < levels; ++level)
        tiles.push_back(ceilDivide(levelSize(size, level, roundUp), tile));
    return tiles;
}

/// Tiles of all levels; UINT64_MAX for a level mode that does not exist.
std::uint64_t tileCount(const ExrHeader& header) {
    const unsigned mode = header.tileLevels & 0xF;
    const bool roundUp = header.tileLevels >> 4 != 0;
    if (mode > 2) return UINT64_MAX;
    unsigned xLevels = 1;
    unsigned yLevels = 1;
    if (mode == 1) xLevels = yLevels = levelCount(std::max(header.width(), header.height()), roundUp);
    if (mode == 2) {
        xLevels = levelCount(header.width(), roundUp);
        yLevels = levelCount(header.height(), roundUp);
    }
    const auto across = tilesByLevel(header.width(), header.tileWidth, xLevels, roundUp);
    const auto down = tilesByLevel(header.height(), header.tileHeight, yLevels, roundUp);
    std::uint64_t count = 0;
    if (mode == 2) {
        for (const std::uint64_t x : across)
            for (const std::uint64_t y : down)
                count += x * y;
    } else {
        for (std::size_t level = 0; level < across.size(); ++level)
            count += across[level] * down[level];
    }
    return count;
}

std::uint64_t samplesUpTo(std::uint64_t count, std::int32_t sampling) noexcept {
    return ceilDivide(count, static_cast<std::uint64_t>(sampling));
}

/// Uncompressed bytes of the whole picture. The window is below 2^31 a side and a file's channel list bounds the
/// number of channels; what passes 2^63 all the same counts as that.
std::uint64_t uncompressedBytes(const ExrHeader& header) noexcept {
    double total = 0.0;
    for (const ExrChannel& channel : header.channels) {
        total += static_cast<double>(samplesUpTo(header.width(), channel.xSampling)) *
                 static_cast<double>(samplesUpTo(header.height(), channel.ySampling)) * channel.bytes;
    }
    return total >= 9.0e18 ? std::uint64_t{1} << 63 : static_cast<std::uint64_t>(total);
}

/// Bytes that the library sets aside for one block of rows, or for one row of tiles widened to the four float channels.
std::uint64_t workingBytes(const ExrHeader& header) noexcept {
    double pixelBytes = 0.0;
    for (const ExrChannel& channel : header.channels)
        pixelBytes += channel.bytes;
    const double columns = static_cast<double>(header.width());
    double bytes = 0.0;
    if (header.tiled) {
        const double tile = static_cast<double>(header.tileWidth) * header.tileHeight * pixelBytes;
        bytes = std::max(tile, columns * header.tileHeight * 16.0);
    } else {
        bytes = columns * pixelBytes * kCompressions[header.compression].rowsInBlock;
    }
    return bytes >= 9.0e18 ? std::uint64_t{1} << 63 : static_cast<std::uint64_t>(bytes);
}

/// Whether `count` offsets follow the header and none of them is 0: the writer fills the table in last.
bool completeTable(std::FILE* stream, const ExrHeader& header, std::uint64_t count) {
    if (!seek(stream, header.end)) return false;
    std::array<std::uint64_t, 512> offsets;
    while (count > 0) {
        const std::size_t batch = static_cast<std::size_t>(std::min<std::uint64_t>(count, offsets.size()));
        if (std::fread(offsets.data(), sizeof(std::uint64_t), batch, stream) != batch) return false;
        if (std::find(offsets.begin(), offsets.begin() + static_cast<std::ptrdiff_t>(batch), std::uint64_t{0}) !=
            offsets.begin() + static_cast<std::ptrdiff_t>(batch)) {
            return false;
        }
        count -= batch;
    }
    return true;
}

} // namespace

std::uint64_t ExrHeader::width() const noexcept { return static_cast<std::uint64_t>(std::int64_t{maxX} - minX + 1); }

std::uint64_t ExrHeader::height() const noexcept { return static_cast<std::uint64_t>(std::int64_t{maxY} - minY + 1); }

std::uint64_t ExrHeader::bytesInRow(std::int64_t y) const noexcept {
    std::uint64_t bytes = 0;
    for (const ExrChannel& channel : channels)
        if (y % channel.ySampling == 0) bytes += channel.bytes * samplesUpTo(width(), channel.xSampling);
    return bytes;
}

bool parseExrHeader(std::FILE* stream, std::int64_t fileSize, ExrHeader& header) {
    HeaderReader in(stream);
    std::uint32_t magic = 0;
    std::uint32_t version = 0;
    if (!seek(stream, 0) || !in.u32(magic) || magic != kMagic || !in.u32(version)) return false;
    if ((version & 0xFF) != kVersion || (version & (kDeepFlag | kMultiPartFlag)) != 0) return false;
    header.tiled = (version & kTiledFlag) != 0;
    return parseAttributes(in, stream, fileSize, header);
}

bool plausibleExr(std::FILE* stream, std::int64_t fileSize, const ExrHeader& header) {
    const CompressionTraits& traits = kCompressions[header.compression];
    const std::uint64_t rest = static_cast<std::uint64_t>(std::max<std::int64_t>(fileSize - header.end, 0));
    const std::uint64_t blocks = header.tiled ? tileCount(header) : ceilDivide(header.height(), traits.rowsInBlock);
    // An entry of the table takes 8 bytes; a block of rows begins with its row and size, a tile with five numbers.
    const std::uint64_t least = header.tiled ? 8 + 20 : 8 + 8;
    if (blocks > rest / least) return false;
    const std::uint64_t packed = rest - blocks * least;
    const std::uint64_t stored = uncompressedBytes(header);
    // Uncompressed data may be cut short within the last block: what is missing reads as zero.
    const std::uint64_t slack =
        header.compression == 0 ? std::min(header.bytesInRow(0), std::max(packed, kMebibyte)) : kMebibyte;
    if (stored > slack && (stored - slack) / traits.mostRatio > packed) return false;
    // 16 bytes a pixel in memory against 2 at the least in the file, a quarter of that where colour is subsampled.
    const std::uint64_t pixels = header.width() * header.height();
    if (pixels > 4 * kMebibyte && pixels / 4 > stored) return false;
    if (workingBytes(header) > 64 * kMebibyte + 16 * std::min(stored, std::uint64_t{1} << 58)) return false;
    return completeTable(stream, header, blocks);
}

} // namespace rastrel
