#include <tiffio.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "peers/picture_peer.h"

namespace rastrel::bench {
namespace {

struct Close {
    void operator()(TIFF* file) const { TIFFClose(file); }
};
using File = std::unique_ptr<TIFF, Close>;

bool write(const std::string& path, const Picture& picture, int rowsPerStrip) {
    const File file(TIFFOpen(path.c_str(), "w"));
    if (file == nullptr) return false;
    TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width));
    TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height));
    TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(file.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rowsPerStrip));
    const std::size_t line = static_cast<std::size_t>(picture.width) * 3;
    std::uint32_t strip = 0;
    for (int row = 0; row < picture.height; row += rowsPerStrip, ++strip) {
        const auto size = static_cast<tmsize_t>(line) * std::min(rowsPerStrip, picture.height - row);
        if (TIFFWriteRawStrip(file.get(), strip, picture.pixels + static_cast<std::size_t>(row) * line, size) != size)
            return false;
    }
    return true;
}

/// Strip by strip, whatever the file's strips are.
bool read(const std::string& path, const Picture& picture) {
    const File file(TIFFOpen(path.c_str(), "r"));
    if (file == nullptr) return false;
    unsigned char* target = picture.pixels;
    for (std::uint32_t strip = 0; strip < TIFFNumberOfStrips(file.get()); ++strip) {
        const tmsize_t got = TIFFReadEncodedStrip(file.get(), strip, target, static_cast<tmsize_t>(-1));
        if (got < 0) return false;
        target += got;
    }
    return true;
}

/// The middle quarter, line by line.
bool readMiddle(const std::string& path, const Picture& picture) {
    const File file(TIFFOpen(path.c_str(), "r"));
    if (file == nullptr) return false;
    std::vector<unsigned char> line(static_cast<std::size_t>(picture.width) * 3);
    unsigned char* target = picture.pixels;
    for (int row = picture.height / 4; row < picture.height / 4 * 3; ++row) {
        if (TIFFReadScanline(file.get(), line.data(), static_cast<std::uint32_t>(row)) != 1) return false;
        target = std::copy_n(line.data() + line.size() / 4, line.size() / 2, target);
    }
    return true;
}

const EnterPicturePeers kPeers({
    {"W8_write", "libtiff, one strip",
     [](const std::string& path, const Picture& picture) { return write(path, picture, picture.height); }},
    {"W8_write", "libtiff, strips of 16 lines",
     [](const std::string& path, const Picture& picture) { return write(path, picture, 16); }},
    {"W8_read", "libtiff, into memory in use", read},
    {"W8_rectangle", "libtiff, into memory in use", readMiddle},
});

} // namespace
} // namespace rastrel::bench
