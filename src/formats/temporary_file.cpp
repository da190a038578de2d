#include "formats/temporary_file.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"

namespace rastrel {
namespace {

constexpr std::size_t kHeaderSize = 28;
constexpr char kMagic[] = {'R', 'L', 'T', 'E', 'M', 'P'};
constexpr std::uint64_t kPiece = 0x100000;

std::uint32_t read32(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void write32(unsigned char* bytes, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

/// The header as it stands in the file. Flag bytes: mirrorX, mirrorY, transposed, componentOrder.
struct Header {
    std::uint32_t width, height;
    std::uint8_t colormodel;
    unsigned char flags[4];
};

[[nodiscard]] bool readHeader(FILE* stream, Header& header) {
    unsigned char bytes[kHeaderSize];
    const std::size_t got = std::fread(bytes, 1, sizeof kMagic, stream);
    if (!seek(stream, -static_cast<std::int64_t>(got), SEEK_CUR)) return false;
    if (got != sizeof kMagic || std::memcmp(bytes, kMagic, sizeof kMagic) != 0) return false;
    if (std::fread(bytes, 1, kHeaderSize, stream) != kHeaderSize || read32(bytes + 8) != kHeaderSize) return false;
    header.width = read32(bytes + 12);
    header.height = read32(bytes + 16);
    header.colormodel = bytes[20];
    std::memcpy(header.flags, bytes + 21, sizeof header.flags);
    return true;
}

void takeHeader(const Header& header, const ImagePort& image) {
    image.setHead(header.width, header.height, header.colormodel);
    image.mirrorX = header.flags[0];
    image.mirrorY = header.flags[1];
    image.transposed = header.flags[2];
    image.componentOrder = header.flags[3];
}

/// Moves the whole block in pieces of at most 1 MiB until `move(data, size)`, which takes one item, fails. A swapped
/// block goes through a buffer of one piece.
template <class Move>
void movePieces(MemBlockDesc& block, bool reading, Move move) {
    const std::uint64_t size = block.GetSize();
    unsigned char* const data = block.IsSwapped() ? nullptr : block.GetData();
    std::vector<unsigned char> buffer(data != nullptr ? 0 : static_cast<std::size_t>(std::min(kPiece, size)));
    for (std::uint64_t done = 0; done < size;) {
        const std::uint64_t piece = std::min(kPiece, size - done);
        unsigned char* const at = data != nullptr ? data + done : buffer.data();
        if (data == nullptr && !block.Read(done, at, piece)) return;
        const bool moved = move(at, static_cast<std::size_t>(piece));
        if (data == nullptr && reading && !block.Write(done, at, piece)) return;
        if (!moved) return;
        done += piece;
    }
}

} // namespace

bool preReadTemporary(FILE* stream, ImagePort& image) {
    image.progress.set(0);
    Header header;
    if (!readHeader(stream, header)) return false;
    takeHeader(header, image);
    return true;
}

bool readTemporary(FILE* stream, ImagePort& image) {
    Header header;
    if (!readHeader(stream, header)) return false;
    const std::uint64_t size = image.operations.bitmapSize(header.width, header.height, header.colormodel);
    if (!image.createBlock(size) && size != 0) return false;
    takeHeader(header, image);
    movePieces(image.block, true,
               [stream](unsigned char* data, std::size_t bytes) { return std::fread(data, bytes, 1, stream) == 1; });
    return true;
}

bool writeTemporary(FILE* stream, ImagePort& image) {
    unsigned char bytes[kHeaderSize]{};
    std::memcpy(bytes, kMagic, sizeof kMagic);
    write32(bytes + 8, kHeaderSize);
    write32(bytes + 12, image.width);
    write32(bytes + 16, image.height);
    bytes[20] = image.colormodel;
    const unsigned char flags[] = {image.mirrorX, image.mirrorY, image.transposed, image.componentOrder};
    std::memcpy(bytes + 21, flags, sizeof flags);
    std::fwrite(bytes, 1, kHeaderSize, stream);
    movePieces(image.block, false, [stream](const unsigned char* data, std::size_t size) {
        return std::fwrite(data, size, 1, stream) == 1;
    });
    return true;
}

} // namespace rastrel
