#include <libraw/libraw.h>

#include "peers/file_peer.h"

namespace rastrel::bench {
namespace {

bool unpack(LibRaw& raw, const std::string& path) {
    raw.imgdata.params.user_qual = 0; // bilinear
    raw.imgdata.params.output_bps = 16;
    return raw.open_file(path.c_str()) == LIBRAW_SUCCESS && raw.unpack() == LIBRAW_SUCCESS;
}

const EnterFilePeers kPeers({
    {"W12", "LibRaw, bilinear",
     [](const std::string& path) {
         LibRaw raw;
         return unpack(raw, path) && raw.dcraw_process() == LIBRAW_SUCCESS;
     }},
    {"W12", "LibRaw, mosaic only",
     [](const std::string& path) {
         LibRaw raw;
         return unpack(raw, path);
     }},
});

} // namespace
} // namespace rastrel::bench
