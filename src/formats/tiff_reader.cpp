#include "formats/tiff_reader.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "formats/exif_record.h"
#include "formats/stream_handle.h"
#include "formats/tiff_directory.h"
#include "formats/tiff_strips.h"
#include "pixel/color_model.h"
#include "platform/file.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kPieceSize = 1 << 20; ///< bytes between two looks at the cancel request

/// Shows `done` of `size` bytes in thousandths of whole bytes, `size` / 1000: their count passes 1000 where `size` is
/// no multiple of 1000. A picture that is too small for thousandths is done at once.
void showDone(const Progress& progress, std::uint64_t done, std::uint64_t size) noexcept {
    const std::uint64_t thousandth = size / 1000;
    progress.set(thousandth == 0 ? 1000 : done / thousandth);
}

/// The colour model of an accepted sample layout; 0 where an image has none.
std::uint8_t modelOf(const CTiff& tiff) noexcept {
    if (tiff.photometric == kPhotometricGrey) {
        switch (tiff.bitsPerPixel) {
        case 8:
            return CM_GREY8;
        case 16:
            return CM_GREY16;
        case 32:
            return CM_GREYFP32;
        case 64:
            return CM_GREYFP64;
        default:
            return 0;
        }
    }
    switch (tiff.bitsPerPixel) {
    case 24:
        return CM_RGB8;
    case 48:
        return CM_RGB16;
    case 32:
        return CM_RGBA8;
    case 64:
        return CM_RGBA16;
    default:
        return 0;
    }
}

/// A file whose directories were read and whose picture an image can hold.
struct OpenTiff {
    StreamHandle stream;
    std::uint64_t fileSize = 0;
    CTiff tiff;
    std::uint8_t colormodel = 0;
};

bool open(FILE* file, const ImagePort& port, OpenTiff& opened) {
    opened.stream.reset(_u_ffromhandle(file));
    auto source = ByteReader::whole(opened.stream.get(), fileSize(file));
    if (!source) return false;
    opened.fileSize = source->size();
    opened.tiff.progress = &port.progress;
    const auto position = CTiff::readHeader(*source);
    if (!position || !opened.tiff.readDirectories(*source, *position) || !opened.tiff.acceptImage()) return false;
    opened.colormodel = modelOf(opened.tiff);
    // A picture without pixels would be an image that is never ready.
    return opened.colormodel != 0 && opened.tiff.width != 0 && opened.tiff.height != 0;
}

/// Where pixels go: straight into a block in memory, through a buffer into one that is swapped out.
class BlockFiller {
public:
    BlockFiller(MemBlockDesc& block, std::uint64_t pieceSize) : block_(block) {
        if (block.IsSwapped()) {
            bounce_.resize(static_cast<std::size_t>(pieceSize));
        } else {
            data_ = block.GetData();
        }
    }
    /// Copies `size` bytes at `from` of the strips to `to` in the block. Bytes that the file lacks stay zero.
    [[nodiscard]] bool fill(StripSequence& strips, std::uint64_t from, std::uint64_t to, std::uint64_t size) {
        if (data_ != nullptr) {
            strips.read(from, data_ + to, size);
            return true;
        }
        std::fill_n(bounce_.begin(), size, static_cast<unsigned char>(0));
        strips.read(from, bounce_.data(), size);
        return block_.Write(to, bounce_.data(), size);
    }

private:
    MemBlockDesc& block_;
    unsigned char* data_ = nullptr;
    std::vector<unsigned char> bounce_;
};

/// Gives the image the head and metadata of an accepted file, with `width` x `height` pixels of it to come.
void takeHead(ImagePort& port, OpenTiff& opened, std::uint32_t width, std::uint32_t height) {
    port.setHead(width, height, opened.colormodel);
    if (opened.tiff.photometric == kPhotometricRgb) port.componentOrder = 0;
    fillRecord(port.exif, opened.tiff);
}

/// Ends a read midway: the rest of the block may hold anything.
bool abandon(const ImagePort& port) {
    port.block.Delete();
    return false;
}

} // namespace

bool readTiff(FILE* file, ImagePort& port) {
    if (port.cancel.requested()) return false;
    port.progress.set(0);
    OpenTiff opened;
    if (!open(file, port, opened)) return false;
    const CTiff& tiff = opened.tiff;
    const std::uint64_t size = bitmapSize(tiff.width, tiff.height, opened.colormodel);
    StripSequence strips(file, tiff.strips, opened.fileSize, size);
    if (size == 0 || strips.overlaps() || !port.createBlock(size, !strips.complete())) return false;
    takeHead(port, opened, tiff.width, tiff.height);

    BlockFiller filler(port.block, std::min(size, kPieceSize));
    for (std::uint64_t done = 0; done < strips.heldEnd();) {
        const std::uint64_t piece = std::min(kPieceSize, size - done);
        if (port.cancel.requested() || !filler.fill(strips, done, done, piece)) return abandon(port);
        done += piece;
        showDone(port.progress, done, size);
    }
    showDone(port.progress, size, size); // nothing is left to do where the file ends early
    return true;
}

bool preReadTiff(FILE* file, ImagePort& port) {
    OpenTiff opened;
    if (!open(file, port, opened)) return false;
    port.setHead(opened.tiff.width, opened.tiff.height, opened.colormodel);
    fillRecord(port.exif, opened.tiff);
    return true;
}

bool readTiffRect(FILE* file, ImagePort& port, const FileRect& rect) {
    if (port.cancel.requested()) return false;
    port.progress.set(0);
    OpenTiff opened;
    if (!open(file, port, opened)) return false;
    const CTiff& tiff = opened.tiff;
    const std::uint64_t left = std::min<std::uint64_t>(rect.left, tiff.width - 1);
    const std::uint64_t top = std::min<std::uint64_t>(rect.top, tiff.height - 1);
    const std::uint64_t right = std::min<std::uint64_t>(rect.right, tiff.width - 1);
    const std::uint64_t bottom = std::min<std::uint64_t>(rect.bottom, tiff.height - 1);
    if (left >= right || top >= bottom) return false;

    const std::uint64_t pixel = colorModel(opened.colormodel).bytesPerPixel;
    const std::uint64_t fileLine = tiff.width * pixel;
    const std::uint64_t line = (right - left) * pixel;
    const std::uint64_t rows = bottom - top;
    const std::uint64_t size = bitmapSize(right - left, rows, opened.colormodel);
    StripSequence strips(file, tiff.strips, opened.fileSize, bitmapSize(tiff.width, tiff.height, opened.colormodel));
    if (size == 0 || strips.overlaps() || !port.createBlock(size, !strips.complete())) return false;
    takeHead(port, opened, static_cast<std::uint32_t>(right - left), static_cast<std::uint32_t>(rows));

    BlockFiller filler(port.block, line);
    for (std::uint64_t row = 0; row < rows; ++row) {
        const std::uint64_t from = (top + row) * fileLine + left * pixel;
        if (from >= strips.heldEnd()) break;
        if (port.cancel.requested() || !filler.fill(strips, from, row * line, line)) return abandon(port);
        port.progress.set(row + 1, rows);
    }
    port.progress.set(1000);
    return true;
}

} // namespace rastrel
