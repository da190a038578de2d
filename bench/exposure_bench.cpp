// W14: measuring the brightness of a 24-megapixel BGRA image. The yardstick is a memcpy that moves as many bytes, in
// and out together, as the image has.
#include <cmath>
#include <cstdint>
#include <vector>

#include "paired_timing.h"
#include "peers/peer.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::bench::CopyYardstick;
using rastrel::bench::enter;
using rastrel::bench::measureBeside;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr std::size_t kBytes = std::size_t{4} * kWidth * kHeight;

/// Slopes with fine noise, or one colour all over, where equal counters follow one another.
void draw(Rastrel& image, bool flat) {
    image.Create(kWidth, kHeight, CM_ARGB8);
    unsigned char* bytes = image.pixels.GetData();
    std::uint32_t noise = 12345;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const double slope = 110 + 60 * std::sin(x * 0.011) + 50 * std::sin(y * 0.017 + x * 0.003);
            for (int channel = 0; channel < 4; ++channel) {
                noise = noise * 1664525 + 1013904223;
                const double value = flat ? 100 : slope + (noise >> 28);
                *bytes++ = channel == 3 ? 255 : static_cast<unsigned char>(value);
            }
        }
    }
}

void ours(benchmark::State& state, bool flat) {
    Rastrel image;
    draw(image, flat);
    measureBeside(
        state, CopyYardstick(kBytes), [] {}, [&] { image.AutoExposure(); });
}

void theirs(benchmark::State& state, const rastrel::bench::PixelPeer& peer) {
    Rastrel image;
    draw(image, false);
    std::vector<unsigned char> scratch(kBytes, 1);
    measureBeside(
        state, CopyYardstick(kBytes), [] {},
        [&] { peer.run(image.pixels.GetData(), scratch.data(), kWidth, kHeight); });
}

} // namespace

int main(int argc, char** argv) {
    enter(
        "W14/Rastrel", [](benchmark::State& state) { ours(state, false); }, 15);
    enter(
        "W14_flat/Rastrel", [](benchmark::State& state) { ours(state, true); }, 15);
    for (const rastrel::bench::PixelPeer& peer : rastrel::bench::pixelPeers()) {
        if (peer.workload != "W14") continue;
        enter(
            "W14/" + peer.library, [&](benchmark::State& state) { theirs(state, peer); }, 15);
    }
    return rastrel::bench::runAll(argc, argv);
}
