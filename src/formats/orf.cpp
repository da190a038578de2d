/// @file orf.cpp
/// Olympus raw files: the container, the channels' curves, and the way from strip to picture.
#include "formats/orf.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>

#include "formats/bayer.h"
#include "formats/byte_reader.h"
#include "formats/exif_record.h"
#include "formats/orf_curve.h"
#include "formats/orf_samples.h"
#include "formats/tiff_directory.h"
#include "ondrel/mem_block.h"
#include "ondrel/stream.h"
#include "platform/file.h"

namespace rastrel {

namespace {

constexpr std::uint16_t kRawNumber = 0x4F52; ///< where a TIFF file has 42
constexpr std::uint64_t kBytesPerPixel = 6;  ///< of CM_RGB16

struct CloseUniversal {
    void operator()(_universal_stream* stream) const noexcept { _u_fclose(stream); }
};

/// The parsed container of a raw file.
class CRaw_ORF {
public:
    explicit CRaw_ORF(std::FILE* file) : file_(file), stream_(_u_ffromhandle(file)) {}
    CRaw_ORF(const CRaw_ORF&) = delete;
    CRaw_ORF& operator=(const CRaw_ORF&) = delete;
    virtual ~CRaw_ORF() = default;

    /// False for anything but a raw file whose directory tells 16 bits a sample, a size and strips.
    [[nodiscard]] bool parse();
    /// Whether a picture of this size may be set aside: small ones may, larger ones need a strip that can hold them.
    [[nodiscard]] bool plausible() const noexcept;
    /// The bytes of the first strip as far as the file goes, and room behind them for the decoder. Null when memory
    /// runs out.
    [[nodiscard]] std::unique_ptr<unsigned char[]> strip(std::size_t& size);

    [[nodiscard]] std::uint64_t pixels() const noexcept { return std::uint64_t{tiff.width} * tiff.height; }
    [[nodiscard]] OrfEncoding encoding() const noexcept { return orfEncoding(tiff.width, tiff.height, claimedBytes()); }
    [[nodiscard]] ByteOrder order() const noexcept { return reader_->order(); }

    CTiff tiff;
    std::uint16_t signature = 0;
    std::uint16_t bitsPerPixel = 0; ///< of the picture that the mosaic becomes

private:
    /// Bytes of all strips as the directory has it.
    [[nodiscard]] std::uint64_t claimedBytes() const noexcept;
    /// Bytes of one strip that lie in the file.
    [[nodiscard]] std::uint64_t presentBytes(const CTiff::Strip& strip) const noexcept;

    std::FILE* file_;
    std::unique_ptr<_universal_stream, CloseUniversal> stream_;
    std::optional<ByteReader> reader_;
};

bool CRaw_ORF::parse() {
    if (stream_ == nullptr) return false;
    reader_ = ByteReader::whole(stream_.get(), fileSize(file_));
    if (!reader_) return false;
    const auto directory = CTiff::readHeader(*reader_, kRawNumber);
    if (!directory) return false;
    signature = kRawNumber;
    if (!tiff.readDirectories(*reader_, *directory) || !tiff.acceptRaw()) return false;
    if (tiff.bitsPerPixel != 16 || tiff.strips.empty() || tiff.width == 0 || tiff.height == 0) return false;
    bitsPerPixel = 48;
    return true;
}

std::uint64_t CRaw_ORF::claimedBytes() const noexcept {
    std::uint64_t bytes = 0;
    for (const CTiff::Strip& strip : tiff.strips)
        bytes += static_cast<std::uint64_t>(std::max<std::int64_t>(strip.size, 0));
    return bytes;
}

std::uint64_t CRaw_ORF::presentBytes(const CTiff::Strip& strip) const noexcept {
    if (strip.offset < 0 || strip.size <= 0) return 0;
    const auto offset = static_cast<std::uint64_t>(strip.offset);
    if (offset >= reader_->size()) return 0;
    return std::min(static_cast<std::uint64_t>(strip.size), reader_->size() - offset);
}

bool CRaw_ORF::plausible() const noexcept {
    constexpr std::uint64_t kSmall = std::uint64_t{16} << 20;
    constexpr std::uint64_t kLarge = std::uint64_t{256} << 20;
    // Both sides are below 2^32: their product is below 2^64, and six times it only where that is small.
    if (pixels() <= kSmall / kBytesPerPixel) return true;
    if (!orfStripSuffices(tiff.width, tiff.height, claimedBytes())) return false;
    // A file may be cut short, but not down to next to nothing when it claims very much.
    if (pixels() <= kLarge / kBytesPerPixel) return true;
    std::uint64_t present = 0;
    for (const CTiff::Strip& strip : tiff.strips)
        present += presentBytes(strip);
    return orfStripSuffices(tiff.width, tiff.height, 4 * present);
}

std::unique_ptr<unsigned char[]> CRaw_ORF::strip(std::size_t& size) {
    size = static_cast<std::size_t>(presentBytes(tiff.strips.front()));
    std::unique_ptr<unsigned char[]> bytes(new (std::nothrow) unsigned char[size + kOrfStripSlack]);
    if (bytes == nullptr) return nullptr;
    std::memset(bytes.get() + size, 0, kOrfStripSlack);
    if (size != 0) {
        const bool whole =
            reader_->seek(static_cast<std::uint64_t>(tiff.strips.front().offset)) && reader_->bytes(bytes.get(), size);
        if (!whole) size = 0;
    }
    return bytes;
}

/// Largest raw values of the red, green and blue sites.
struct Maxima {
    unsigned red = 0, green = 0, blue = 0;
};

/// A decoded mosaic, `known` samples of it, as the interpolation wants its rows: through the curve, by column parity,
/// unknown samples zero.
class MosaicRows {
public:
    MosaicRows(const std::uint16_t* mosaic, std::uint32_t width, std::uint64_t known, Maxima& maxima) noexcept
        : mosaic_(mosaic), width_(width), known_(known), maxima_(maxima) {}

    void operator()(std::uint32_t y, std::uint16_t* even, std::uint16_t* odd) const {
        const std::uint64_t first = std::uint64_t{y} * width_;
        const auto count =
            static_cast<std::uint32_t>(first >= known_ ? 0 : std::min<std::uint64_t>(known_ - first, width_));
        const std::uint16_t* const row = mosaic_ + first;
        const SitePair largest = applyOrfCurve(row, count, even, odd);
        std::fill(even + (count + 1) / 2, even + (std::uint64_t{width_} + 1) / 2, std::uint16_t{0});
        std::fill(odd + count / 2, odd + width_ / 2, std::uint16_t{0});
        unsigned& atEven = y % 2 == 0 ? maxima_.red : maxima_.green;
        unsigned& atOdd = y % 2 == 0 ? maxima_.green : maxima_.blue;
        atEven = std::max<unsigned>(atEven, largest.even);
        atOdd = std::max<unsigned>(atOdd, largest.odd);
    }

private:
    const std::uint16_t* mosaic_;
    std::uint32_t width_;
    std::uint64_t known_;
    Maxima& maxima_;
};

/// Decodes the strip and fills the pixel block with full colour, as far as the strip goes. False when cancelled or
/// without memory.
bool develop(CRaw_ORF& raw, ImagePort& image) {
    const std::uint32_t width = raw.tiff.width;
    const std::uint32_t height = raw.tiff.height;
    MemBlockDesc mosaic;
    std::uint64_t known = 0;
    {
        std::size_t size = 0;
        const auto strip = raw.strip(size);
        if (strip == nullptr || !mosaic.Create(raw.pixels() * 2, false)) return false;
        known = decodeOrf({strip.get(), size}, raw.encoding(), raw.order(), width, height,
                          reinterpret_cast<std::uint16_t*>(mosaic.GetData()));
    }
    Maxima maxima;
    BayerRows rows(width, height,
                   MosaicRows(reinterpret_cast<const std::uint16_t*>(mosaic.GetData()), width, known, maxima));
    // Rows without a single sample stay zero, as the block was created.
    const std::uint64_t filled = (known + width - 1) / width;
    auto* const rgb = reinterpret_cast<std::uint16_t*>(image.block.GetData());
    for (std::uint64_t y = 0; y < filled; ++y) {
        if (image.cancel.requested()) return false;
        image.progress.set(y, height);
        rows.next(rgb + y * width * 3);
    }
    std::printf("| R:%u | G:%u | B:%u |\n", maxima.red, maxima.green, maxima.blue);
    return true;
}

} // namespace

bool readOrf(std::FILE* stream, ImagePort& image) {
    if (image.cancel.requested()) return false;
    CRaw_ORF raw(stream);
    if (!raw.parse() || !raw.plausible()) return false;
    const std::uint64_t size = raw.pixels() * kBytesPerPixel;
    // The interpolation writes into the block: it lives in memory whatever its size.
    if (!image.block.UnSwap() || !image.block.Create(size, true)) return false;
    image.progress.set(0);
    image.setHead(raw.tiff.width, raw.tiff.height, CM_RGB16);
    image.componentOrder = 0;
    fillRecord(image.exif, raw.tiff);
    if (raw.tiff.strips.size() != 1 || raw.bitsPerPixel != 48 || image.block.GetSize() < size) return true;
    return develop(raw, image);
}

bool preReadOrf(std::FILE* stream, ImagePort& image) {
    CRaw_ORF raw(stream);
    if (!raw.parse()) return false;
    image.setHead(raw.tiff.width, raw.tiff.height, CM_RGB16);
    fillRecord(image.exif, raw.tiff);
    return true;
}

} // namespace rastrel
