#include "formats/jpeg.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <utility>

#include <turbojpeg.h>

#include "formats/jpeg_markers.h"
#include "platform/file.h"

namespace rastrel {
namespace {

struct TurboFree {
    void operator()(unsigned char* bytes) const noexcept { tjFree(bytes); }
    void operator()(void* handle) const noexcept { tjDestroy(handle); }
};
using TurboBytes = std::unique_ptr<unsigned char, TurboFree>;
using TurboDecoder = std::unique_ptr<void, TurboFree>;

constexpr std::size_t kPiece = 1 << 20; ///< bytes between two looks at the cancel request

/// The whole file. Null when it is larger than the decoder takes, when the memory cannot be had and on a cancel
/// request.
TurboBytes readWhole(FILE* stream, const Cancel& cancel, std::size_t& size) {
    const std::int64_t length = fileSize(stream);
    if (length <= 0 || length > std::numeric_limits<int>::max()) return nullptr;
    TurboBytes bytes(tjAlloc(static_cast<int>(length)));
    if (bytes == nullptr) return nullptr;
    std::rewind(stream);
    const auto whole = static_cast<std::size_t>(length);
    for (size = 0; size < whole;) {
        if (cancel.requested()) return nullptr;
        const std::size_t got = std::fread(bytes.get() + size, 1, std::min(kPiece, whole - size), stream);
        if (got == 0) break;
        size += got;
    }
    return bytes;
}

/// Decodes a whole file into a block of its own. What a decoder that gives up has not reached is zero; damage that it
/// gets over is not noticed.
bool decodeWhole(tjhandle decoder, std::span<const unsigned char> file, int width, int height, bool grey,
                 const ImagePort& image) {
    const std::uint64_t pixels = std::uint64_t{static_cast<unsigned>(width)} * static_cast<unsigned>(height);
    const auto decode = [&](unsigned char* target) {
        constexpr int kFlags = TJFLAG_ACCURATEDCT | TJFLAG_LIMITSCANS;
        return tjDecompress2(decoder, file.data(), static_cast<unsigned long>(file.size()), target, width, 0, height,
                             grey ? TJPF_GRAY : TJPF_BGRX, kFlags) == 0 ||
               tjGetErrorCode(decoder) != TJERR_FATAL;
    };
    // A decoder that does not give up writes every byte: clearing the block first is for the others.
    for (const bool clear : {false, true}) {
        if (!image.createBlock(pixels * (grey ? 1 : 4), clear)) return false;
        unsigned char* const target = image.block.GetData();
        if (target == nullptr) return false;
        if (decode(target)) break;
    }
    return true;
}

} // namespace

bool readJpeg(FILE* stream, ImagePort& image) {
    if (image.cancel.requested()) return false;
    image.progress.set(0);
    if (!startsAsJpeg(stream)) return false;
    std::size_t size = 0;
    const TurboBytes file = readWhole(stream, image.cancel, size);
    JpegSegments segments;
    if (file == nullptr || !walkJpegMarkers(std::span(file.get(), size), segments) ||
        (segments.frame && !segments.frame->plausible(size)))
        return false;

    const TurboDecoder decoder(tjInitDecompress());
    if (decoder == nullptr) return false;
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int space = 0;
    const auto length = static_cast<unsigned long>(size);
    if (tjDecompressHeader3(decoder.get(), file.get(), length, &width, &height, &subsampling, &space) < 0) return false;
    const bool grey = space == TJCS_GRAY;
    // A file of tables alone has a header that can be read and no picture: it becomes an image without pixels.
    if (width == 0 || height == 0) {
        if (!image.createBlock(0)) return false;
    } else if (!segments.frame || segments.frame->width != width || segments.frame->height != height ||
               !decodeWhole(decoder.get(), {file.get(), size}, width, height, grey, image)) {
        return false;
    }
    if (image.cancel.requested()) return false;
    image.setHead(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), grey ? CM_GREY8 : CM_ARGB8);
    if (!grey) image.componentOrder = 1;
    image.exif = std::move(segments.exif);
    image.progress.set(1000);
    return true;
}

bool preReadJpeg(FILE* stream, ImagePort& image) {
    JpegSegments segments;
    if (!walkJpegMarkers(stream, JpegWalk::forFrame, segments) || !segments.frame) return false;
    const JpegFrame& frame = *segments.frame;
    image.setHead(frame.width, frame.height, frame.components == 1 ? CM_GREY8 : CM_RGB8);
    image.exif = std::move(segments.exif);
    return true;
}

bool readExifJpeg(FILE* stream, Rastrel::_EXIF& exif) {
    JpegSegments segments;
    if (!walkJpegMarkers(stream, JpegWalk::forExif, segments) || !segments.hasExif) return false;
    exif = std::move(segments.exif);
    return true;
}

} // namespace rastrel
