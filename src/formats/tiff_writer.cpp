#include "formats/tiff_writer.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "formats/exif_record.h"
#include "formats/stream_handle.h"
#include "formats/tiff_directory.h"
#include "pixel/color_model.h"
#include "pixel/convert_pixels.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kHeaderSize = 8;
/// The file is written in pieces of this many bytes.
constexpr std::uint64_t kPieceSize = 256 * 1024;
/// A copy whose target lies a few bytes ahead of its source, seen modulo a page, waits for its own stores. The header
/// puts every pixel of a block that begins on a page just there, so that a write straight from the block takes half as
/// long again; on the way stands a buffer that is half a page away from both.
constexpr std::uint64_t kPhase = 2048;
constexpr std::align_val_t kPageSize{4096};

struct FreePages {
    void operator()(unsigned char* pages) const noexcept { ::operator delete[](pages, kPageSize); }
};

/// Writes header and lines from the start of the stream.
class LineWriter {
public:
    LineWriter(_universal_stream* stream, const ImagePort& port, const TiffLayout& layout)
        : stream_(stream), port_(port), sampleSize_(layout.bytesPerSample),
          pixelSize_(std::uint64_t{layout.samples} * layout.bytesPerSample), lineSize_(port.width * pixelSize_),
          reversed_(port.componentOrder != 0 && layout.sampleFormat == kSampleFormatInteger &&
                    pixelSize_ > sampleSize_),
          reverse_(reversed_ ? selectConvert(port.colormodel, port.colormodel, true, false) : nullptr),
          block_(port.block.IsSwapped() ? nullptr : port.block.GetData()),
          pages_(static_cast<unsigned char*>(::operator new[](kPhase + kPieceSize + lineSize_, kPageSize))),
          buffer_(pages_.get() + kPhase) {}

    /// How many of the lines were written. Lines that the pixel block does not hold are left out.
    enum class Outcome : std::uint8_t { all, incomplete, stopped };

    [[nodiscard]] Outcome write() {
        putHeader();
        const std::uint64_t height = port_.height;
        const std::uint64_t held = std::min<std::uint64_t>(height, port_.block.GetSize() / lineSize_);
        std::uint64_t line = 0;
        while (line < held) {
            if (port_.cancel.requested()) return Outcome::stopped;
            port_.progress.set(line, height);
            const std::uint64_t room = (kPieceSize + lineSize_ - filled_) / lineSize_;
            const std::uint64_t count = std::min(room, held - line);
            if (!takeLines(line, count)) break;
            filled_ += count * lineSize_;
            line += count;
            if (!flush(filled_ - filled_ % kPieceSize)) return Outcome::stopped;
        }
        if (!flush(filled_)) return Outcome::stopped;
        port_.progress.set(height - 1, height);
        return line == height ? Outcome::all : Outcome::incomplete;
    }

private:
    /// "II", 42 and a position of the directory that stands until the real one is known.
    void putHeader() noexcept {
        constexpr unsigned char kHeader[kHeaderSize] = {'I', 'I', kTiffMagic, 0, kHeaderSize, 0, 0, 0};
        filled_ = kHeaderSize;
        std::copy_n(kHeader, kHeaderSize, buffer_);
    }

    /// Puts lines of the block into the buffer, in the file's order.
    [[nodiscard]] bool takeLines(std::uint64_t first, std::uint64_t count) const noexcept {
        unsigned char* const lines = buffer_ + filled_;
        if (reverse_ != nullptr && block_ != nullptr) {
            reverse_(lines, block_ + first * lineSize_, static_cast<std::size_t>(count * port_.width));
            return true;
        }
        if (!port_.block.Read(first * lineSize_, lines, count * lineSize_)) return false;
        if (reversed_) reverseComponents(count);
        return true;
    }

    /// Brings lines that were just read into the file's order.
    void reverseComponents(std::uint64_t lines) const noexcept {
        const auto size = static_cast<unsigned long>(pixelSize_);
        for (std::uint64_t i = 0; i < lines; ++i) {
            unsigned char* line = buffer_ + filled_ + i * lineSize_;
            if (sampleSize_ == 1) Rastrel::FlipByteOrder(line, port_.width, size);
            if (sampleSize_ == 2) Rastrel::FlipWordOrder(line, port_.width, size);
        }
    }

    /// Writes the first `size` bytes of the buffer and moves the rest to its front.
    [[nodiscard]] bool flush(std::uint64_t size) noexcept {
        if (size == 0) return true;
        if (_u_fwrite(buffer_, 1, static_cast<std::size_t>(size), stream_) != size) return false;
        std::copy(buffer_ + size, buffer_ + filled_, buffer_);
        filled_ -= size;
        return true;
    }

    _universal_stream* stream_;
    const ImagePort& port_;
    std::uint64_t sampleSize_;
    std::uint64_t pixelSize_;
    std::uint64_t lineSize_;
    bool reversed_;
    ConvertRun reverse_;         ///< from the block's order to the file's; null when there is no such cell
    const unsigned char* block_; ///< its pixels, where they are in memory
    std::unique_ptr<unsigned char[], FreePages> pages_;
    unsigned char* buffer_; ///< room for a piece and one line
    std::uint64_t filled_ = 0;
};

} // namespace

bool writeTiff(FILE* file, ImagePort& port) {
    if (port.cancel.requested()) return false;
    if (port.block.GetSize() == 0) port.operations.reload();
    const auto layout = tiffLayout(port.colormodel);
    if (!layout || port.width == 0 || port.height == 0) return false;
    port.progress.set(0);
    CTiff tiff;
    tiff.progress = &port.progress;
    if (!setUpTiff(tiff, port.exif, port.width, port.height, port.colormodel) || !tiff.buildTags()) return false;
    const std::uint64_t pixels = bitmapSize(port.width, port.height, port.colormodel);
    constexpr std::uint64_t kLargestFile = std::numeric_limits<std::uint32_t>::max();
    if (pixels == 0 || pixels > kLargestFile || kHeaderSize + pixels + tiff.directoriesSize() > kLargestFile)
        return false;

    const StreamHandle stream(_u_ffromhandle(file));
    if (!stream || _u_fseeki64(stream.get(), 0, SEEK_SET) != 0) return false;
    const LineWriter::Outcome lines = LineWriter(stream.get(), port, *layout).write();
    if (lines == LineWriter::Outcome::stopped) return false;
    return tiff.writeDirectories(stream.get(), false) && _u_fflush(stream.get()) == 0 &&
           lines == LineWriter::Outcome::all;
}

} // namespace rastrel
