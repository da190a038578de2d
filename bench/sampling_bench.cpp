// W15: 24 million bilinear samples of a 24-megapixel BGRA image, one virtual call each: over a turned raster, and at
// random positions. The yardstick is a memcpy with the traffic of the samples: two coordinates as doubles and the
// sample itself, and what comes from the image, which is each pixel once over a raster, and at random positions a pair
// of 64-byte cache lines from each of two rows.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "paired_timing.h"
#include "peers/peer.h"
#include "rastrel/rastrel.h"

namespace {

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

/// Bytes in and out for one sample.
constexpr std::size_t trafficOf(bool raster) { return 2 * sizeof(double) + 4 + (raster ? 4 : 2 * 2 * 64); }

/// A memcpy of that traffic, as often as it takes between two blocks of the image's size.
class SampleYardstick {
public:
    explicit SampleYardstick(bool raster)
        : source_(kPixels * 4, 2), target_(kPixels * 4, 3), bytes_(kPixels * trafficOf(raster) / 2) {}
    void operator()() const {
        for (std::size_t done = 0; done < bytes_; done += source_.size()) {
            std::memcpy(target_.data(), source_.data(), std::min(source_.size(), bytes_ - done));
            benchmark::ClobberMemory();
        }
    }

private:
    std::vector<unsigned char> source_;
    mutable std::vector<unsigned char> target_;
    std::size_t bytes_;
};

void ours(benchmark::State& state, bool raster) {
    const SamplePositions at = positions(raster);
    Rastrel image;
    draw(image);
    Rastrel& called = image;
    benchmark::DoNotOptimize(&called);
    struct Place {
        double x, y;
    };
    // Samples count y from the bottom row upwards; pixel j's centre lies at height - j - 1.5.
    std::vector<Place> places(kPixels);
    for (std::size_t i = 0; i < kPixels; ++i)
        places[i] = {at.x[i] + 0.5, kHeight - 1.5 - at.y[i]};
    std::vector<pixel_argb8> samples(kPixels);
    measureBeside(
        state, SampleYardstick(raster), [] {},
        [&] {
            for (std::size_t i = 0; i < kPixels; ++i)
                samples[i] = called.GetPixelARGB8(places[i].x, places[i].y);
        });
}

void theirs(benchmark::State& state, bool raster, const rastrel::bench::SamplePeer& peer) {
    const SamplePositions at = positions(raster);
    Rastrel image;
    draw(image);
    std::vector<unsigned char> samples(kPixels * 4, 1);
    measureBeside(
        state, SampleYardstick(raster), [] {},
        [&] { peer.run(image.pixels.GetData(), kWidth, kHeight, at, samples.data()); });
}

} // namespace

int main(int argc, char** argv) {
    for (const bool raster : {true, false}) {
        const std::string workload = raster ? "W15_raster" : "W15_random";
        enter(
            workload + "/Rastrel", [=](benchmark::State& state) { ours(state, raster); }, 5);
        for (const rastrel::bench::SamplePeer& peer : rastrel::bench::samplePeers())
            enter(
                workload + "/" + peer.library, [=](benchmark::State& state) { theirs(state, raster, peer); }, 5);
    }
    return rastrel::bench::runAll(argc, argv);
}
