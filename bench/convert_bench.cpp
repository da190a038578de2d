// Colour-model conversion of a 24-megapixel image, row by row as the line layer asks for it. Every iteration also times
// a memcpy with the same total traffic: the counter `copies` is the median time in medians of that copy. The copy goes
// in pieces, because C libraries switch to streaming stores for the largest ones, which a routine that fills a caller's
// row may not use.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "median.h"
#include "peers/peer.h"
#include "pixel/convert_pixels.h"

namespace {

using rastrel::bench::median;
using rastrel::bench::PixelRoutine;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr std::size_t kCopyPiece = std::size_t{64} << 20;

struct Workload {
    std::string name;
    unsigned char from, to;
    bool fromOrder, toOrder;
};

const Workload kWorkloads[] = {
    {"W1", CM_ARGB8, CM_GREY8, true, true},
    {"W2", CM_RGB8, CM_ARGB8, true, true},
    {"W3_to_float", CM_ARGB8, CM_ARGBFP32, true, true},
    {"W3_to_bytes", CM_ARGBFP32, CM_ARGB8, true, true},
    {"W3_to_float_swapped", CM_ARGB8, CM_ARGBFP32, true, false},
    {"W3_to_bytes_swapped", CM_ARGBFP32, CM_ARGB8, false, true},
    {"W4", CM_RGB16, CM_ARGB8, false, true},
};

std::size_t imageBytes(unsigned char model) {
    return static_cast<std::size_t>(rastrel::bitmapSize(kWidth, kHeight, model));
}

/// Waves with noise on them; floats in 0 to 1.
std::vector<unsigned char> photograph(unsigned char model) {
    std::vector<unsigned char> pixels(imageBytes(model));
    std::minstd_rand random(7);
    if (model == CM_ARGBFP32) {
        for (std::size_t at = 0; at < pixels.size(); at += 4) {
            const float value = static_cast<float>(random() % 4096) / 4095.0F;
            std::memcpy(&pixels[at], &value, 4);
        }
    } else {
        for (std::size_t at = 0; at < pixels.size(); ++at)
            pixels[at] = static_cast<unsigned char>((at / 37 + at / 9001) % 224 + random() % 32);
    }
    return pixels;
}

template <class Work>
double seconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void copyPlainly(std::vector<unsigned char>& to, const std::vector<unsigned char>& from) {
    for (std::size_t at = 0; at < from.size(); at += kCopyPiece)
        std::memcpy(&to[at], &from[at], std::min(kCopyPiece, from.size() - at));
}

void measure(benchmark::State& state, const Workload& workload, const PixelRoutine& routine) {
    const std::vector<unsigned char> source = photograph(workload.from);
    std::vector<unsigned char> destination(imageBytes(workload.to), 1);
    const std::size_t traffic = (source.size() + destination.size()) / 2;
    const std::vector<unsigned char> copySource(traffic, 2);
    std::vector<unsigned char> copyTarget(traffic, 3);
    std::vector<double> times;
    std::vector<double> copies;
    for (auto _ : state) {
        copies.push_back(seconds([&] { copyPlainly(copyTarget, copySource); }));
        benchmark::ClobberMemory();
        times.push_back(seconds([&] { routine(source.data(), destination.data(), kWidth, kHeight); }));
        benchmark::ClobberMemory();
        state.SetIterationTime(times.back());
    }
    state.counters["copies"] = median(times) / median(copies);
}

PixelRoutine ours(const rastrel::ConvertKernelSet& set, const Workload& workload) {
    const rastrel::ConvertRun run = set.selectConvert(workload.to, workload.from, workload.fromOrder, workload.toOrder);
    const std::size_t fromBytes = rastrel::colorModel(workload.from).bytesPerPixel;
    const std::size_t toBytes = rastrel::colorModel(workload.to).bytesPerPixel;
    return [=](const unsigned char* source, unsigned char* destination, int width, int height) {
        const auto pixels = static_cast<std::size_t>(width);
        for (int y = 0; y < height; ++y, source += pixels * fromBytes, destination += pixels * toBytes)
            run(destination, source, pixels);
    };
}

void enter(const std::string& name, const Workload& workload, const PixelRoutine& routine) {
    const auto work = [=](benchmark::State& state) { measure(state, workload, routine); };
    benchmark::RegisterBenchmark(name.c_str(), work)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);
}

} // namespace

int main(int argc, char** argv) {
    for (const Workload& workload : kWorkloads) {
        for (const rastrel::ConvertKernelSet& set : rastrel::availableConvertKernels())
            enter(workload.name + "/Rastrel " + std::string(set.name), workload, ours(set, workload));
        for (const rastrel::bench::PixelPeer& peer : rastrel::bench::pixelPeers())
            if (peer.workload == workload.name) enter(workload.name + "/" + peer.library, workload, peer.run);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
