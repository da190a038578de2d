#include <cmath>

#define STB_IMAGE_RESIZE_IMPLEMENTATION
#define STB_IMAGE_RESIZE_STATIC
#include <stb_image_resize2.h>

#include "peers/peer.h"

namespace rastrel::bench {
namespace {

/// Four channels without a meaning of their own: the fastest of the library's layouts, and what is measured here.
template <class Prepare>
ScaleRoutine resizing(const Prepare& prepare) {
    return [prepare](const unsigned char* source, int sourceWidth, int sourceHeight, unsigned char* destination,
                     int width, int height) {
        STBIR_RESIZE resize;
        stbir_resize_init(&resize, source, sourceWidth, sourceHeight, 0, destination, width, height, 0, STBIR_4CHANNEL,
                          STBIR_TYPE_UINT8);
        prepare(resize);
        stbir_resize_extended(&resize);
    };
}

void setTriangle(STBIR_RESIZE& resize) { stbir_set_filters(&resize, STBIR_FILTER_TRIANGLE, STBIR_FILTER_TRIANGLE); }

constexpr float kLobes = 3.0F;

float lanczos(float x, float, void*) {
    constexpr float kPi = 3.14159265F;
    if (x == 0.0F) return 1.0F;
    if (std::fabs(x) >= kLobes) return 0.0F;
    return std::sin(kPi * x) * std::sin(kPi * x / kLobes) * kLobes / (kPi * kPi * x * x);
}

float lanczosSupport(float, void*) { return kLobes; }

void setLanczos(STBIR_RESIZE& resize) {
    stbir_set_filter_callbacks(&resize, lanczos, lanczosSupport, lanczos, lanczosSupport);
}

const EnterScalePeers kScalePeers({
    {"W5_triangle", "stb_image_resize2", resizing(setTriangle)},
    {"W5_lanczos", "stb_image_resize2, three lobes", resizing(setLanczos)},
    {"W6_triangle", "stb_image_resize2", resizing(setTriangle)},
    {"W6_lanczos", "stb_image_resize2, three lobes", resizing(setLanczos)},
});

} // namespace
} // namespace rastrel::bench
