// W12: a compressed 20-megapixel raw file from disk to full colour. The counter `limits` compares with the time that
// reading the file's bytes takes.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "file_timing.h"
#include "formats/bayer.h"
#include "formats/orf_decoders.h"
#include "formats/orf_samples.h"
#include "peers/file_peer.h"
#include "rastrel/rastrel.h"
#include "support/orf_files.h"
#include "support/sample_noise.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr std::uint32_t kWidth = 5200;
constexpr std::uint32_t kHeight = 3900;

/// Waves, tiles and a sensor's noise.
Mosaic photograph() {
    Mosaic mosaic(kWidth, kHeight);
    Dice dice(1);
    for (std::uint32_t y = 0; y < kHeight; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            const double wave =
                1200.0 + 700.0 * std::sin(x / 311.0) * std::cos(y / 257.0) + 300.0 * std::sin((x + y) / 23.0);
            const double tile = (x / 400 + y / 300) % 2 == 0 ? 0.0 : 400.0;
            const double gain = x % 2 + y % 2 == 0 ? 0.8 : x % 2 + y % 2 == 1 ? 1.0 : 0.6;
            const double noise = (dice.fraction() + dice.fraction() + dice.fraction() - 1.5) * 24.0;
            mosaic.at(x, y) = static_cast<std::uint16_t>(std::clamp((wave + tile) * gain + noise + 80.0, 0.0, 4095.0));
        }
    }
    return mosaic;
}

bool readBytes(const std::string& path) {
    std::vector<char> piece(1 << 20);
    FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    while (std::fread(piece.data(), 1, piece.size(), file) == piece.size()) {
    }
    return std::fclose(file) == 0;
}

/// The decoder alone, on a strip in memory.
void enterDecoders(const Bytes& strip, const std::string& path) {
    static Bytes padded;
    padded = strip;
    padded.resize(strip.size() + rastrel::kOrfStripSlack);
    static std::vector<std::uint16_t> mosaic(std::size_t{kWidth} * kHeight);
    for (const rastrel::OrfDecoder* decoder : rastrel::availableOrfDecoders()) {
        const std::size_t size = strip.size();
        rastrel::bench::enterAgainst(
            std::string("W12/Rastrel, samples only, ") + decoder->name,
            [=] {
                return decoder->decode({padded.data(), size}, kWidth, kHeight, mosaic.data()) == mosaic.size();
            },
            [=] { return readBytes(path); });
    }
}

/// The interpolation alone, on a mosaic in memory.
void enterInterpolations(const Mosaic& photo, const std::string& path) {
    static std::vector<std::uint16_t> rgb(std::size_t{kWidth} * kHeight * 3);
    static Mosaic mosaic = photo;
    for (const rastrel::BayerKernels* kernels : rastrel::availableBayerKernels()) {
        rastrel::bench::enterAgainst(
            std::string("W12/Rastrel, interpolation only, ") + kernels->name,
            [=] {
                rastrel::BayerRows rows(
                    kWidth, kHeight,
                    [](std::uint32_t y, std::uint16_t* even, std::uint16_t* odd) {
                        const std::uint16_t* const row = mosaic.values.data() + std::size_t{y} * kWidth;
                        for (std::uint32_t x = 0; x < kWidth / 2; ++x) {
                            even[x] = row[2 * x];
                            odd[x] = row[2 * x + 1];
                        }
                    },
                    *kernels);
                for (std::uint32_t y = 0; y < kHeight; ++y)
                    rows.next(rgb.data() + std::size_t{y} * kWidth * 3);
                return true;
            },
            [=] { return readBytes(path); });
    }
}

} // namespace

int main(int argc, char** argv) {
    const Mosaic mosaic = photograph();
    const Bytes strip = encodeCompressed(mosaic);
    OrfFile file(mosaic, strip);
    file.extra = {ascii(271, "OLYMPUS IMAGING CORP.  "), ascii(272, "E-510           ")};
    const ScratchFile scratch(file.build(), ".orf");
    const std::string path = scratch.path();
    const auto limit = [=] { return readBytes(path); };

    rastrel::bench::enterAgainst(
        "W12/Rastrel, whole file", [=] { return Rastrel().Read(path.c_str()) == 0; }, limit);
    enterDecoders(strip, path);
    enterInterpolations(mosaic, path);
    for (const rastrel::bench::FilePeer& peer : rastrel::bench::filePeers())
        if (peer.workload == "W12") {
            rastrel::bench::enterAgainst(
                "W12/" + peer.library, [=] { return peer.run(path); }, limit);
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
