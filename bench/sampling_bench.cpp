// W15: 24 million bilinear samples of a 24-megapixel BGRA image, one virtual call each: over a turned raster, and at
// random positions. The yardstick is a memcpy of the image.
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "paired_timing.h"
#include "peers/peer.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::bench::CopyYardstick;
using rastrel::bench::enter;
using rastrel::bench::measureBeside;
using rastrel::bench::SamplePositions;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

void draw(Rastrel& image) {
    image.Create(kWidth, kHeight, CM_ARGB8);
    unsigned char* bytes = image.pixels.GetData();
    for (std::size_t i = 0; i < kPixels * 4; ++i)
        bytes[i] = static_cast<unsigned char>(i % 4 == 3 ? 255 : i / 53 + i % 31);
}

/// In the image's own pixels, y from the top.
SamplePositions positions(bool raster) {
    SamplePositions at;
    at.x.reserve(kPixels);
    at.y.reserve(kPixels);
    std::mt19937 random(7);
    const auto anywhere = [&random](int size) { return std::uniform_real_distribution<double>(1, size - 2)(random); };
    const double cosine = std::cos(0.2), sine = std::sin(0.2);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            // The raster is shrunk a little, so that all of it lies inside.
            const double dx = (x - kWidth / 2) * 0.75, dy = (y - kHeight / 2) * 0.75;
            at.x.push_back(static_cast<float>(raster ? kWidth / 2 + cosine * dx - sine * dy : anywhere(kWidth)));
            at.y.push_back(static_cast<float>(raster ? kHeight / 2 + sine * dx + cosine * dy : anywhere(kHeight)));
        }
    }
    return at;
}

void ours(benchmark::State& state, const SamplePositions& at) {
    Rastrel image;
    draw(image);
    Rastrel& called = image;
    benchmark::DoNotOptimize(&called);
    std::vector<pixel_argb8> samples(kPixels);
    measureBeside(
        state, CopyYardstick(kPixels * 8), [] {},
        [&] {
            // Samples count y from the bottom row upwards; pixel j's centre lies at height - j - 1.5.
            for (std::size_t i = 0; i < kPixels; ++i)
                samples[i] = called.GetPixelARGB8(at.x[i] + 0.5, kHeight - 1.5 - at.y[i]);
        });
}

void theirs(benchmark::State& state, const SamplePositions& at, const rastrel::bench::SamplePeer& peer) {
    Rastrel image;
    draw(image);
    std::vector<unsigned char> samples(kPixels * 4, 1);
    measureBeside(
        state, CopyYardstick(kPixels * 8), [] {},
        [&] { peer.run(image.pixels.GetData(), kWidth, kHeight, at, samples.data()); });
}

} // namespace

int main(int argc, char** argv) {
    for (const bool raster : {true, false}) {
        const std::string workload = raster ? "W15_raster" : "W15_random";
        enter(
            workload + "/Rastrel", [=](benchmark::State& state) { ours(state, positions(raster)); }, 5);
        for (const rastrel::bench::SamplePeer& peer : rastrel::bench::samplePeers())
            enter(
                workload + "/" + peer.library, [=](benchmark::State& state) { theirs(state, positions(raster), peer); },
                5);
    }
    return rastrel::bench::runAll(argc, argv);
}
