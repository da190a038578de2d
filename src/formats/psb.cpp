#include "formats/psb.h"

#include <algorithm>
#include <vector>

#include "formats/psb_document.h"
#include "formats/psb_planes.h"
#include "formats/stream_handle.h"
#include "platform/file.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kWritePiece = 1 << 20; ///< bytes of a plane that are gathered at once
constexpr std::uint64_t kReadPiece = 1 << 18;  ///< bytes of each plane that are merged at once

/// What progress shows when plane c of a document is done. It falls from plane to plane; hosts know it so.
std::uint64_t progressAfter(std::uint64_t plane, std::uint64_t channels) noexcept {
    return channels * 1000 / (plane + 1);
}

/// A document whose sections were read.
struct OpenPsb {
    StreamHandle stream;
    CPsb document;
};

bool open(FILE* file, OpenPsb& opened) {
    opened.stream.reset(_u_ffromhandle(file));
    auto source = ByteReader::whole(opened.stream.get(), fileSize(file));
    return source && opened.document.readSections(*source);
}

/// Reads all planes side by side and fills a block from its front to its end, so that every byte of it is touched once.
class PlaneReader {
public:
    PlaneReader(OpenPsb& opened, const ImagePort& image) : document_(opened.document), image_(image) {
        const std::uint64_t planes = document_.imagePosition + sizeof document_.compression;
        for (std::uint64_t c = 0; c < document_.channels; ++c)
            planes_.emplace_back(opened.stream.get(), planes + c * document_.planeSize, document_.planeSize,
                                 ByteOrder::big);
        pieceSize_ = std::min(kReadPiece, document_.planeSize);
        buffer_.resize(static_cast<std::size_t>(pieceSize_ * document_.channels));
    }

    [[nodiscard]] bool read() {
        const std::uint64_t pixelSize = document_.channels * document_.sampleSize();
        unsigned char* const data = image_.block.IsSwapped() ? nullptr : image_.block.GetData();
        std::vector<unsigned char> bounce(data != nullptr ? 0 : buffer_.size());
        const PlaneKernels& kernels = planeKernels().of(document_.channels, document_.sampleSize());
        std::uint64_t planesDone = 0;
        for (std::uint64_t done = 0; done < document_.planeSize;) {
            if (image_.cancel.requested()) return false;
            const std::uint64_t piece = std::min(pieceSize_, document_.planeSize - done);
            const unsigned char* sources[4];
            if (!fetch(piece, sources)) return false;
            const std::uint64_t count = piece / document_.sampleSize();
            const std::uint64_t at = done / document_.sampleSize() * pixelSize;
            kernels.merge(sources, static_cast<std::size_t>(count), data != nullptr ? data + at : bounce.data());
            if (data == nullptr && !image_.block.Write(at, bounce.data(), count * pixelSize)) return false;
            done += piece;
            // As much as whole planes were read in all.
            for (; planesDone < done * document_.channels / document_.planeSize; ++planesDone)
                image_.progress.set(progressAfter(planesDone, document_.channels));
        }
        image_.progress.set(0);
        return true;
    }

private:
    /// Reads the next `piece` bytes of every plane.
    [[nodiscard]] bool fetch(std::uint64_t piece, const unsigned char** sources) {
        for (std::size_t c = 0; c < planes_.size(); ++c) {
            unsigned char* const part = buffer_.data() + c * pieceSize_;
            if (!planes_[c].bytes(part, piece)) return false;
            sources[c] = part;
        }
        return true;
    }

    const CPsb& document_;
    const ImagePort& image_;
    std::vector<ByteReader> planes_;
    std::uint64_t pieceSize_ = 0;
    std::vector<unsigned char> buffer_;
};

/// Writes the planes where the stream stands.
[[nodiscard]] bool writePlanes(_universal_stream* stream, const CPsb& document, const ImagePort& image) {
    const std::uint64_t sampleSize = document.sampleSize();
    const std::uint64_t pixelSize = document.channels * sampleSize;
    unsigned char* const data = image.block.IsSwapped() ? nullptr : image.block.GetData();
    const std::uint64_t pieceSize = std::min(kWritePiece, document.planeSize);
    std::vector<unsigned char> plane(static_cast<std::size_t>(pieceSize));
    std::vector<unsigned char> bounce(data != nullptr ? 0 : static_cast<std::size_t>(pieceSize * document.channels));
    const PlaneKernels& kernels = planeKernels().of(document.channels, document.sampleSize());
    for (std::uint64_t c = 0; c < document.channels; ++c) {
        for (std::uint64_t done = 0; done < document.planeSize;) {
            if (image.cancel.requested()) return false;
            const std::uint64_t piece = std::min(pieceSize, document.planeSize - done);
            const std::uint64_t count = piece / sampleSize;
            const std::uint64_t at = done / sampleSize * pixelSize;
            if (data == nullptr && !image.block.Read(at, bounce.data(), count * pixelSize)) return false;
            kernels.gather(data != nullptr ? data + at : bounce.data(),
                           static_cast<std::size_t>(document.channels - 1 - c), static_cast<std::size_t>(count),
                           plane.data());
            if (_u_fwrite(plane.data(), 1, static_cast<std::size_t>(piece), stream) != piece) return false;
            done += piece;
        }
        image.progress.set(progressAfter(c, document.channels));
    }
    image.progress.set(0);
    return true;
}

/// A zeroed block in memory; swapped out only where memory does not suffice.
[[nodiscard]] bool createInMemory(MemBlockDesc& block, std::uint64_t size) {
    block.Delete();
    if (block.UnSwap() && block.Create(size, true)) return true;
    return block.Swap(0) && block.Create(size, true);
}

} // namespace

bool readPsb(FILE* stream, ImagePort& image) {
    if (image.cancel.requested()) return false;
    OpenPsb opened;
    if (!open(stream, opened)) return false;
    CPsb& document = opened.document;
    ByteReader compression(opened.stream.get(), document.imagePosition, sizeof document.compression, ByteOrder::big);
    if (!compression.u16(document.compression) || document.compression != 0) return false;
    if (!createInMemory(image.block, document.planesSize) || !PlaneReader(opened, image).read()) return false;
    image.setHead(document.width, document.height, document.colormodel());
    image.componentOrder = 1;
    document.fillRecord(image.exif);
    return true;
}

bool preReadPsb(FILE* stream, ImagePort& image) {
    OpenPsb opened;
    if (!open(stream, opened)) return false;
    image.setHead(opened.document.width, opened.document.height, opened.document.colormodel());
    opened.document.fillRecord(image.exif);
    return true;
}

bool writePsb(FILE* stream, ImagePort& image) {
    if (image.cancel.requested()) return false;
    CPsb document;
    if (!document.setUp(image.width, image.height, image.colormodel)) return false;
    if (image.block.GetSize() == 0) image.operations.reload();
    // A block that memory has no room for stays where it is and goes through a buffer.
    image.block.UnSwap();
    if (!document.setUp(image.width, image.height, image.colormodel) || document.pixelCount() == 0 ||
        image.block.GetSize() / document.pixelCount() < document.channels * document.sampleSize())
        return false;
    document.buildResources(image.exif, image.colormodel);
    const StreamHandle target(_u_ffromhandle(stream));
    return target && document.writeSections(target.get()) && writePlanes(target.get(), document, image) &&
           _u_fflush(target.get()) == 0;
}

} // namespace rastrel
