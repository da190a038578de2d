/// Any bytes as a file of one format: read whole, as a header, as a rectangle, and written again. Compiled once a
/// format; RASTREL_FUZZED is the name of the reader in the table below.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "support/open_image.h"

namespace {

#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fputs("not so: " #condition "\n", stderr);                                                            \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

using Reader = bool (OpenImage::*)(FILE*);
using RectReader = bool (OpenImage::*)(FILE*, unsigned long, unsigned long, unsigned long, unsigned long);

struct Format {
    std::string_view name;
    Reader read, readHeader;
    RectReader readRect; ///< null where there is none
};

constexpr Format kFormats[] = {
    {"tiff", &OpenImage::ReadTIFF, &OpenImage::PreReadTIFF, &OpenImage::ReadRectTIFF},
    {"jpeg", &OpenImage::ReadJPEG, &OpenImage::PreReadJPEG, &OpenImage::ReadRectJPEG},
    {"psb", &OpenImage::ReadPSB, &OpenImage::PreReadPSB, nullptr},
    {"exr", &OpenImage::ReadEXR, &OpenImage::PreReadEXR, nullptr},
    {"orf", &OpenImage::ReadORF, &OpenImage::PreReadORF, nullptr},
    {"temporary", &OpenImage::ReadTEMP, &OpenImage::PreReadTEMP, nullptr},
};

constexpr const Format& fuzzed() {
    for (const Format& format : kFormats)
        if (format.name == RASTREL_FUZZED) return format;
    std::abort();
}

/// Pictures of at most so many bytes are written again.
constexpr std::uint64_t kWrittenBytes = 1 << 16;
constexpr std::size_t kTargetBytes = 1 << 20;

struct Close {
    void operator()(FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, Close>;

/// An image that is never swapped out: nothing is on a disk.
struct FuzzedImage : OpenImage {
    FuzzedImage() { swapThreshold = std::numeric_limits<unsigned __int64>::max(); }
};

/// What must hold after a read by the dispatch or a codec. Some formats have pictures without pixels.
void check(FuzzedImage& image, bool accepted) {
    REQUIRE(image.busyCount == 0);
    if (!accepted) return;
    REQUIRE(image.pixels.GetSize() == image.GetBitmapSize(image.width, image.height, image.colormodel));
}

/// Writing takes what the metadata of a file brought along.
void writeAgain(FuzzedImage& image) {
    if (image.pixels.GetSize() > kWrittenBytes) return;
    const Stream target(fmemopen(nullptr, kTargetBytes, "w+b"));
    if (target == nullptr) return;
    static_cast<void>(image.WriteTIFF(target.get()));
    REQUIRE(image.busyCount == 0);
    static_cast<void>(image.WriteJPEG(target.get()));
    REQUIRE(image.busyCount == 0);
}

void readWhole(FILE* stream) {
    FuzzedImage image;
    const bool accepted = (image.*fuzzed().read)(stream);
    check(image, accepted);
    std::rewind(stream); // temporary files begin where the stream stands
    FuzzedImage header;
    const bool hasHeader = (header.*fuzzed().readHeader)(stream);
    REQUIRE(header.busyCount == 0);
    REQUIRE(header.pixels.GetSize() == 0);
    if (accepted && hasHeader) {
        REQUIRE(header.width == image.width && header.height == image.height);
    }
    if (accepted) writeAgain(image);
}

/// The rectangle is told by the file's last bytes, which most formats do not use.
void readRect(FILE* stream, const std::uint8_t* data, std::size_t size) {
    if (fuzzed().readRect == nullptr || size < 4) return;
    const std::uint8_t* end = data + size - 4;
    FuzzedImage image;
    const bool accepted = (image.*fuzzed().readRect)(stream, end[0], end[1], end[2], end[3]);
    check(image, accepted);
}

/// Through the dispatch, which leaves nothing behind of a file that it declines.
void readByAnyone(FILE* stream) {
    std::rewind(stream);
    FuzzedImage image;
    const bool accepted = image.Read(stream) == 0;
    check(image, accepted);
    if (accepted) return;
    REQUIRE(image.width == 0 && image.height == 0 && image.pixels.GetSize() == 0);
    REQUIRE(image.exif.exifTags.empty() && image.exif.gpsTags.empty());
}

void readExif(FILE* stream) {
    FuzzedImage image;
    static_cast<void>(image.ReadExifJPEG(stream, &image.exif));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The stream is only read from; its interface also serves writers and takes no const.
    const Stream stream(fmemopen(const_cast<std::uint8_t*>(data), size, "rb"));
    if (stream == nullptr) return 0;
    readWhole(stream.get());
    readRect(stream.get(), data, size);
    readByAnyone(stream.get());
    if (fuzzed().name == "jpeg") readExif(stream.get());
    return 0;
}
