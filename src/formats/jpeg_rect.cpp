/// Rectangles of JPEG files, row by row through libjpeg.
#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "formats/jpeg.h"
#include "formats/jpeg_fence.h"
#include "formats/jpeg_markers.h"
#include "pixel/color_model.h"
#include "platform/file.h"

namespace rastrel {
namespace {

constexpr int kMostScans = 500;             ///< files with more are made to keep a decoder busy
constexpr std::uint64_t kSkippedRows = 512; ///< rows passed over between two looks at the cancel request

/// A decompressor and where its rows go. The members named after the steps run inside the fence.
class RectDecoder {
public:
    RectDecoder(FILE* stream, ImagePort& image) : stream_(stream), image_(image) {
        decoder_.err = setUpJpegErrors(errors_);
        watch_.hooks.progress_monitor = watch;
        watch_.owner = this;
    }
    RectDecoder(const RectDecoder&) = delete;
    RectDecoder& operator=(const RectDecoder&) = delete;
    ~RectDecoder() { jpeg_destroy_decompress(&decoder_); }

    [[nodiscard]] bool open() { return runJpegFenced<&RectDecoder::start>(errors_, *this); }
    [[nodiscard]] std::uint32_t width() const { return decoder_.output_width; }
    [[nodiscard]] std::uint32_t height() const { return decoder_.output_height; }
    [[nodiscard]] std::uint8_t colormodel() const { return decoder_.output_components == 1 ? CM_GREY8 : CM_RGB8; }

    /// Decodes the rows of a rectangle inside the picture into the image's block, which has room for them.
    [[nodiscard]] bool decode(const FileRect& rect) {
        rect_ = rect;
        const std::size_t line = std::size_t{width()} * pixelSize();
        const auto rows = static_cast<std::size_t>(decoder_.rec_outbuf_height);
        buffer_.resize(rows * line);
        for (std::size_t i = 0; i < rows; ++i)
            rows_.push_back(buffer_.data() + i * line);
        return runJpegFenced<&RectDecoder::rows>(errors_, *this);
    }

private:
    struct Watch {
        jpeg_progress_mgr hooks; // first: the library hands back its address
        RectDecoder* owner;
    };

    [[nodiscard]] std::size_t pixelSize() const { return static_cast<std::size_t>(decoder_.output_components); }

    /// Called by the library now and then, also while it gathers the scans of a progressive picture.
    static void watch(j_common_ptr codec) {
        RectDecoder& self = *reinterpret_cast<Watch*>(codec->progress)->owner;
        if (self.image_.cancel.requested() || self.decoder_.input_scan_number > kMostScans)
            leaveJpegFence(self.errors_);
    }

    bool start() {
        jpeg_create_decompress(&decoder_);
        decoder_.progress = &watch_.hooks;
        jpeg_stdio_src(&decoder_, stream_);
        if (jpeg_read_header(&decoder_, TRUE) != JPEG_HEADER_OK) return false;
        if (decoder_.out_color_space != JCS_GRAYSCALE) {
            decoder_.out_color_space = JCS_RGB;
            decoder_.out_color_components = 3;
        }
        decoder_.dct_method = JDCT_FLOAT;
        decoder_.do_block_smoothing = TRUE;
        return jpeg_start_decompress(&decoder_) == TRUE;
    }

    bool rows() {
        // Scans that refine one another are gathered whole before there is a first row.
        if (!jpeg_has_multiple_scans(&decoder_)) {
            narrow();
            if (!passOver()) return false;
        }
        while (decoder_.output_scanline < rect_.bottom) {
            if (image_.cancel.requested()) return false;
            const std::uint64_t first = decoder_.output_scanline;
            const JDIMENSION count =
                jpeg_read_scanlines(&decoder_, rows_.data(), static_cast<JDIMENSION>(rows_.size()));
            if (count == 0) return false;
            for (JDIMENSION i = 0; i < count; ++i)
                if (!store(first + i, rows_[i])) return false;
            image_.progress.set(std::min<std::uint64_t>(first + count, rect_.bottom), rect_.bottom);
        }
        // A decompressor with rows left takes being finished for an error; it is merely destroyed.
        if (decoder_.output_scanline == decoder_.output_height) jpeg_finish_decompress(&decoder_);
        return true;
    }

    /// Has only the columns of the rectangle decoded, and a group of blocks on both sides of them: colours next to an
    /// edge are spread without what lies behind it.
    void narrow() {
        const auto group = static_cast<std::uint64_t>(decoder_.max_h_samp_factor) * DCTSIZE;
        JDIMENSION first = static_cast<JDIMENSION>(rect_.left - std::min(rect_.left, group));
        JDIMENSION columns = static_cast<JDIMENSION>(std::min<std::uint64_t>(rect_.right + group, width()) - first);
        jpeg_crop_scanline(&decoder_, &first, &columns);
        firstColumn_ = first;
    }

    /// Moves to the first row of the rectangle without decoding those above it to pixels.
    bool passOver() {
        while (decoder_.output_scanline < rect_.top) {
            if (image_.cancel.requested()) return false;
            const std::uint64_t rows = std::min(rect_.top - decoder_.output_scanline, kSkippedRows);
            if (jpeg_skip_scanlines(&decoder_, static_cast<JDIMENSION>(rows)) != rows) return false;
            image_.progress.set(decoder_.output_scanline, rect_.bottom);
        }
        return true;
    }

    /// Puts the part of row `y` that lies in the rectangle into the block.
    bool store(std::uint64_t y, const unsigned char* row) {
        if (y < rect_.top || y >= rect_.bottom) return true;
        const std::uint64_t line = (rect_.right - rect_.left) * pixelSize();
        return image_.block.Write((y - rect_.top) * line, row + (rect_.left - firstColumn_) * pixelSize(), line);
    }

    FILE* stream_;
    ImagePort& image_;
    FileRect rect_{};
    std::uint64_t firstColumn_ = 0; ///< of the decoder's rows
    JpegErrors errors_{};
    Watch watch_{};
    jpeg_decompress_struct decoder_{};
    std::vector<unsigned char> buffer_;
    std::vector<unsigned char*> rows_;
};

} // namespace

bool readJpegRect(FILE* stream, ImagePort& image, const FileRect& rect) {
    if (image.cancel.requested()) return false;
    image.progress.set(0);
    JpegSegments segments;
    if (!walkJpegMarkers(stream, JpegWalk::everything, segments)) return false;
    const std::int64_t size = fileSize(stream);
    if (!segments.frame || size < 0 || !segments.frame->plausible(static_cast<std::uint64_t>(size))) return false;

    std::rewind(stream);
    RectDecoder decoder(stream, image);
    if (!decoder.open()) return false;
    const std::uint64_t lastColumn = decoder.width() - 1;
    const std::uint64_t lastRow = decoder.height() - 1;
    const FileRect part{std::min(rect.left, lastColumn), std::min(rect.top, lastRow), std::min(rect.right, lastColumn),
                        std::min(rect.bottom, lastRow)};
    if (part.left >= part.right || part.top >= part.bottom) return false;

    const auto width = static_cast<std::uint32_t>(part.right - part.left);
    const auto height = static_cast<std::uint32_t>(part.bottom - part.top);
    if (!image.createBlock(bitmapSize(width, height, decoder.colormodel())) || !decoder.decode(part)) return false;
    image.setHead(width, height, decoder.colormodel());
    image.componentOrder = 0;
    image.exif = std::move(segments.exif);
    return true;
}

} // namespace rastrel
