#include <libyuv.h>

#include "peers/peer.h"

namespace rastrel::bench {
namespace {

const EnterPixelPeers kPeers({
    {"W1", "libyuv",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         libyuv::ARGBToJ400(source, width * 4, destination, width, width, height);
     }},
    {"W2", "libyuv",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         libyuv::RGB24ToARGB(source, width * 3, destination, width * 4, width, height);
     }},
});

} // namespace
} // namespace rastrel::bench
