#include <exiv2/exiv2.hpp>

#include "peers/file_peer.h"

namespace rastrel::bench {
namespace {

const EnterFilePeers kPeers({
    {"W9 head", "Exiv2, EXIF",
     [](const std::string& path) {
         const auto image = Exiv2::ImageFactory::open(path);
         image->readMetadata();
         return !image->exifData().empty() && image->pixelWidth() != 0;
     }},
});

} // namespace
} // namespace rastrel::bench
