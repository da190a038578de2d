/// Writing JPEG files through libjpeg.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "formats/exif_record.h"
#include "formats/jpeg.h"
#include "formats/jpeg_fence.h"
#include "pixel/color_model.h"

namespace rastrel {
namespace {

constexpr int kApp1 = JPEG_APP0 + 1;
constexpr unsigned char kExifMark[] = {'E', 'x', 'i', 'f', 0, 0};
constexpr std::size_t kLongestSegment = 65533; ///< bytes behind a segment's length field

/// A resolution as the file's header holds it: whole dots per inch.
UINT16 density(double resolution) noexcept {
    if (!(resolution > 0)) return 0;
    return resolution >= 65535 ? UINT16{65535} : static_cast<UINT16>(resolution);
}

struct FreeBytes {
    void operator()(unsigned char* bytes) const noexcept { std::free(bytes); }
};

/// A compressor that writes into memory of its own. The member `compress` runs inside the fence.
class Encoder {
public:
    explicit Encoder(ImagePort& image) : image_(image), grey_(image.colormodel == CM_GREY8) {
        encoder_.err = setUpJpegErrors(errors_);
        exif_ = buildExifBlock(image.exif, image.width, image.height, image.colormodel);
        if (exif_.size() > kLongestSegment - sizeof kExifMark) exif_.clear();
        if (image.block.IsSwapped()) row_.resize(static_cast<std::size_t>(lineSize()));
    }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    ~Encoder() {
        // An encoder that was interrupted has not yet told where its buffer went.
        if (!finished_ && encoder_.dest != nullptr) encoder_.dest->term_destination(&encoder_);
        if (bytes_ != room_.get()) std::free(bytes_);
        jpeg_destroy_compress(&encoder_);
    }

    [[nodiscard]] bool run() { return runJpegFenced<&Encoder::compress>(errors_, *this); }
    [[nodiscard]] bool writeTo(FILE* stream) const { return std::fwrite(bytes_, 1, size_, stream) == size_; }

private:
    [[nodiscard]] std::uint64_t lineSize() const { return std::uint64_t{image_.width} * (grey_ ? 1 : 3); }

    bool compress() {
        jpeg_create_compress(&encoder_);
        makeRoom();
        jpeg_mem_dest(&encoder_, &bytes_, &reportedSize_);
        setUp();
        jpeg_start_compress(&encoder_, TRUE);
        if (!exif_.empty()) writeExif();
        if (!writeRows()) return false;
        jpeg_finish_compress(&encoder_);
        finished_ = true;
        // The reported size has 32 bits on some systems.
        size_ = static_cast<std::size_t>(encoder_.dest->next_output_byte - bytes_);
        return true;
    }

    /// The library's own buffer starts small and is moved whenever it doubles. Memory that is not reached is never
    /// touched, so plenty of it costs nothing: two bytes for each of the coefficients, of which a colour picture has
    /// three for two pixels. A file that needs more still gets it from the library.
    void makeRoom() {
        constexpr std::uint64_t kLeastRoom = std::uint64_t{1} << 16;
        constexpr std::uint64_t kMostRoom = std::uint64_t{1} << 30;
        const std::uint64_t coefficients = std::uint64_t{image_.width} * image_.height * (grey_ ? 2 : 3);
        reportedSize_ = static_cast<unsigned long>(std::clamp(coefficients, kLeastRoom, kMostRoom));
        room_.reset(static_cast<unsigned char*>(std::malloc(reportedSize_)));
        bytes_ = room_.get();
    }

    void setUp() {
        encoder_.image_width = image_.width;
        encoder_.image_height = image_.height;
        encoder_.input_components = grey_ ? 1 : 3;
        // Rows in reversed order are named so, which gives the same file as turning each of them round.
        encoder_.in_color_space = grey_ ? JCS_GRAYSCALE : image_.componentOrder != 0 ? JCS_EXT_BGR : JCS_RGB;
        jpeg_set_defaults(&encoder_);
        encoder_.density_unit = 1;
        encoder_.X_density = density(image_.exif.xResolution);
        encoder_.Y_density = density(image_.exif.yResolution);
        jpeg_set_quality(&encoder_, 100, FALSE);
        encoder_.dct_method = JDCT_FLOAT;
        encoder_.optimize_coding = TRUE;
    }

    void writeExif() {
        jpeg_write_m_header(&encoder_, kApp1, static_cast<unsigned>(sizeof kExifMark + exif_.size()));
        for (const unsigned char byte : kExifMark)
            jpeg_write_m_byte(&encoder_, byte);
        for (std::size_t i = 0; i < exif_.size(); ++i)
            jpeg_write_m_byte(&encoder_, exif_[i]);
    }

    bool writeRows() {
        unsigned char* const data = image_.block.IsSwapped() ? nullptr : image_.block.GetData();
        const std::uint64_t height = image_.height;
        for (std::uint64_t y = 0; y < height; ++y) {
            if (image_.cancel.requested()) return false;
            JSAMPROW row = data == nullptr ? row_.data() : data + y * lineSize();
            if (data == nullptr && !image_.block.Read(y * lineSize(), row, lineSize())) return false;
            if (jpeg_write_scanlines(&encoder_, &row, 1) != 1) return false;
            image_.progress.set(y + 1, height);
        }
        return true;
    }

    ImagePort& image_;
    bool grey_;
    bool finished_ = false;
    std::unique_ptr<unsigned char, FreeBytes> room_;
    JpegErrors errors_{};
    jpeg_compress_struct encoder_{};
    unsigned char* bytes_ = nullptr;
    unsigned long reportedSize_ = 0;
    std::size_t size_ = 0;
    std::vector<unsigned char> exif_;
    std::vector<unsigned char> row_;
};

} // namespace

bool writeJpeg(FILE* stream, ImagePort& image) {
    if (image.cancel.requested()) return false;
    const auto storable = [&] { return image.colormodel == CM_GREY8 || image.colormodel == CM_RGB8; };
    if (!storable()) return false;
    // What comes back from the file may be of another model: a JPEG file itself is read into four bytes a pixel.
    if (image.block.GetSize() == 0) image.operations.reload();
    if (!storable()) return false;
    const std::uint64_t pixels = bitmapSize(image.width, image.height, image.colormodel);
    if (pixels == 0 || image.block.GetSize() < pixels) return false;
    image.progress.set(0);
    Encoder encoder(image);
    return encoder.run() && encoder.writeTo(stream);
}

} // namespace rastrel
