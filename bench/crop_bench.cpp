// W13: cropping a 24-megapixel BGRA image to 5500 x 3600. The yardstick moves the same rows with memmove.
#include <cstring>
#include <vector>

#include "paired_timing.h"
#include "peers/peer.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::bench::enter;
using rastrel::bench::measureBeside;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kLeft = 250;
constexpr int kTop = 200;
constexpr int kKeptWidth = 5500;
constexpr int kKeptHeight = 3600;
constexpr std::size_t kStride = std::size_t{4} * kWidth;
constexpr std::size_t kKeptStride = std::size_t{4} * kKeptWidth;

std::vector<unsigned char> photograph() {
    std::vector<unsigned char> pixels(kStride * kHeight);
    for (std::size_t at = 0; at < pixels.size(); ++at)
        pixels[at] = static_cast<unsigned char>(at / 37 + at % 251);
    return pixels;
}

/// Moves the rows of the kept area to the front.
class RowMoves {
public:
    explicit RowMoves(std::vector<unsigned char> pixels) : pixels_(std::move(pixels)) {}
    void operator()() const {
        const unsigned char* from = pixels_.data() + kTop * kStride + std::size_t{4} * kLeft;
        for (std::size_t y = 0; y < kKeptHeight; ++y)
            std::memmove(pixels_.data() + y * kKeptStride, from + y * kStride, kKeptStride);
    }

private:
    mutable std::vector<unsigned char> pixels_;
};

void ours(benchmark::State& state) {
    const std::vector<unsigned char> pixels = photograph();
    Rastrel image;
    const auto prepare = [&] {
        image.Create(kWidth, kHeight, CM_ARGB8);
        image.pixels.Write(0, pixels.data(), pixels.size());
    };
    measureBeside(state, RowMoves(pixels), prepare,
                  [&] { image.Crop(kLeft, kLeft + kKeptWidth - 1, kTop, kTop + kKeptHeight - 1); });
}

/// Peers copy the area into memory of their own.
void theirs(benchmark::State& state, const rastrel::bench::ScalePeer& peer) {
    const std::vector<unsigned char> pixels = photograph();
    std::vector<unsigned char> kept(kKeptStride * kKeptHeight, 1);
    measureBeside(
        state, RowMoves(pixels), [] {},
        [&] { peer.run(pixels.data(), kWidth, kHeight, kept.data(), kKeptWidth, kKeptHeight); });
}

} // namespace

int main(int argc, char** argv) {
    enter("W13/Rastrel", ours, 15);
    for (const rastrel::bench::ScalePeer& peer : rastrel::bench::scalePeers()) {
        if (peer.workload != "W13") continue;
        enter(
            "W13/" + peer.library, [&](benchmark::State& state) { theirs(state, peer); }, 15);
    }
    return rastrel::bench::runAll(argc, argv);
}
