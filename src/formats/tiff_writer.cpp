#include "formats/tiff_writer.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "formats/byte_writer.h"
#include "formats/exif_record.h"
#include "formats/stream_handle.h"
#include "formats/tiff_directory.h"
#include "pixel/color_model.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kPieceSize = 1 << 20; ///< rows are gathered up to this many bytes
constexpr std::uint64_t kHeaderSize = 8;

/// Writes the lines of an image behind the header, where the stream stands.
class LineWriter {
public:
    LineWriter(_universal_stream* stream, const ImagePort& port, const TiffLayout& layout) noexcept
        : stream_(stream), port_(port), sampleSize_(layout.bytesPerSample),
          pixelSize_(std::uint64_t{layout.samples} * layout.bytesPerSample),
          reversed_(port.componentOrder != 0 && layout.sampleFormat == kSampleFormatInteger &&
                    pixelSize_ > sampleSize_),
          lineSize_(port.width * pixelSize_) {}

    /// How many of the lines were written. Lines that the pixel block does not hold are left out.
    enum class Outcome : std::uint8_t { all, incomplete, stopped };

    [[nodiscard]] Outcome write() {
        const std::uint64_t height = port_.height;
        const std::uint64_t held = std::min<std::uint64_t>(height, port_.block.GetSize() / lineSize_);
        const std::uint64_t rows =
            std::clamp<std::uint64_t>(kPieceSize / lineSize_, 1, std::max<std::uint64_t>(held, 1));
        const bool inPlace = !reversed_ && !port_.block.IsSwapped();
        if (!inPlace) piece_.resize(static_cast<std::size_t>(rows * lineSize_));
        for (std::uint64_t line = 0; line < held;) {
            if (port_.cancel.requested()) return Outcome::stopped;
            port_.progress.set(line, height);
            const std::uint64_t count = std::min(rows, held - line);
            const unsigned char* bytes = inPlace ? port_.block.GetData() + line * lineSize_ : fetch(line, count);
            if (bytes == nullptr) break;
            const std::uint64_t size = count * lineSize_;
            if (_u_fwrite(bytes, 1, static_cast<std::size_t>(size), stream_) != size) return Outcome::stopped;
            line += count;
            written_ = line;
        }
        if (height > 0) port_.progress.set(height - 1, height);
        return written_ == height ? Outcome::all : Outcome::incomplete;
    }

private:
    /// A copy of `count` lines in file order; null when they cannot be read.
    const unsigned char* fetch(std::uint64_t line, std::uint64_t count) {
        if (!port_.block.Read(line * lineSize_, piece_.data(), count * lineSize_)) return nullptr;
        for (std::uint64_t i = 0; reversed_ && i < count; ++i) {
            unsigned char* bytes = piece_.data() + i * lineSize_;
            const auto size = static_cast<unsigned long>(pixelSize_);
            if (sampleSize_ == 1) Rastrel::FlipByteOrder(bytes, port_.width, size);
            if (sampleSize_ == 2) Rastrel::FlipWordOrder(bytes, port_.width, size);
        }
        return piece_.data();
    }

    _universal_stream* stream_;
    const ImagePort& port_;
    std::uint64_t sampleSize_;
    std::uint64_t pixelSize_;
    bool reversed_;
    std::uint64_t lineSize_;
    std::uint64_t written_ = 0;
    std::vector<unsigned char> piece_;
};

bool writeHeader(_universal_stream* stream) {
    ByteWriter header(ByteOrder::little);
    header.bytes("II", 2);
    header.u16(kTiffMagic);
    header.u32(kHeaderSize);
    return _u_fseeki64(stream, 0, SEEK_SET) == 0 && header.flushTo(stream);
}

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
    if (!stream || !writeHeader(stream.get())) return false;
    const LineWriter::Outcome lines = LineWriter(stream.get(), port, *layout).write();
    if (lines == LineWriter::Outcome::stopped) return false;
    return tiff.writeDirectories(stream.get(), false) && _u_fflush(stream.get()) == 0 &&
           lines == LineWriter::Outcome::all;
}

} // namespace rastrel
