// W10: a 6-megapixel picture of four float channels to and from an OpenEXR file. The counter `limits` compares with the
// library's own call for the whole picture, from and into memory that is there already.
#include <cmath>
#include <cstring>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>

#include "file_timing.h"
#include "rastrel/rastrel.h"
#include "support/sample_noise.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr int kWidth = 3000;
constexpr int kHeight = 2000;

std::vector<pixel_argbfp32> photograph() {
    std::vector<pixel_argbfp32> pixels(std::size_t{kWidth} * kHeight);
    Dice dice(1);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const double wave = 0.5 + 0.3 * std::sin(x / 311.0) * std::cos(y / 257.0) + 0.1 * std::sin((x + y) / 23.0);
            // Twelve significant bits, as a camera has them.
            const auto level = [&](double gain) {
                return static_cast<float>(std::floor((wave * gain + dice.fraction() * 0.01) * 4096.0) / 4096.0);
            };
            pixels[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)] = {level(0.6), level(1.0),
                                                                                          level(0.8), 1.0F};
        }
    }
    return pixels;
}

Imf::FrameBuffer wholeFrame(std::vector<pixel_argbfp32>& pixels) {
    Imf::FrameBuffer frame;
    char* const base = reinterpret_cast<char*>(pixels.data());
    constexpr std::size_t kPixel = sizeof(pixel_argbfp32);
    const char* const names[] = {"B", "G", "R", "A"};
    for (std::size_t i = 0; i < 4; ++i)
        frame.insert(names[i], Imf::Slice(Imf::FLOAT, base + 4 * i, kPixel, kPixel * kWidth));
    return frame;
}

bool libraryWrites(const std::string& path, std::vector<pixel_argbfp32>& pixels) {
    Imf::Header header(kWidth, kHeight, 1.0F, Imath::V2f(0.0F, 0.0F), 1.0F, Imf::INCREASING_Y, Imf::PIZ_COMPRESSION);
    for (const char* name : {"A", "R", "G", "B"})
        header.channels().insert(name, Imf::Channel(Imf::FLOAT));
    Imf::OutputFile file(path.c_str(), header, 0);
    file.setFrameBuffer(wholeFrame(pixels));
    file.writePixels(kHeight);
    return true;
}

bool libraryReads(const std::string& path, std::vector<pixel_argbfp32>& pixels) {
    Imf::InputFile file(path.c_str(), 0);
    file.setFrameBuffer(wholeFrame(pixels));
    file.readPixels(0, kHeight - 1);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    static std::vector<pixel_argbfp32> source = photograph();
    static std::vector<pixel_argbfp32> target(source.size());
    static Rastrel image;
    image.Create(kWidth, kHeight, CM_ARGBFP32);
    image.pixels.Write(0, source.data(), source.size() * sizeof(pixel_argbfp32));
    const ScratchFile ours(".exr");
    const ScratchFile theirs(".exr");
    const std::string ourPath = ours.path();
    const std::string theirPath = theirs.path();
    libraryWrites(theirPath, source);

    rastrel::bench::enterAgainst(
        "W10/Rastrel, write", [=] { return image.Write(ourPath.c_str(), "exr") == 0; },
        [=] { return libraryWrites(theirPath, source); });
    rastrel::bench::enterAgainst(
        "W10/Rastrel, read", [=] { return Rastrel().Read(theirPath.c_str()) == 0; },
        [=] { return libraryReads(theirPath, target); });
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
