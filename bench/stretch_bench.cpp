// Scaling and smoothing of 24-megapixel BGRA images. Every iteration also times a memcpy with the same total traffic:
// the counter `copies` is the median time in medians of that copy.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "peers/peer.h"
#include "rastrel/rastrel.h"

namespace {

struct Size {
    int width, height;
};

constexpr Size kLarge = {6000, 4000};
constexpr Size kQuarter = {1500, 1000};
constexpr Size kOdd = {1733, 1155};

struct Workload {
    std::string name;
    Size from, to;
    unsigned char filter;
    double width; ///< of a smoothing kernel; 0: scaling
};

const Workload kWorkloads[] = {
    {"W5_triangle", kLarge, kQuarter, 2, 0},   {"W5_triangle_odd", kLarge, kOdd, 2, 0},
    {"W5_lanczos", kLarge, kQuarter, 6, 0},    {"W5_lanczos_odd", kLarge, kOdd, 6, 0},
    {"W6_triangle", kQuarter, kLarge, 2, 0},   {"W6_triangle_odd", kOdd, kLarge, 2, 0},
    {"W6_lanczos", kQuarter, kLarge, 6, 0},    {"W6_lanczos_odd", kOdd, kLarge, 6, 0},
    {"W7_gaussian_9", kLarge, kLarge, 3, 2.0}, {"W7_gaussian_33", kLarge, kLarge, 3, 8.0},
};

/// Slopes, edges and fine noise.
void drawPhotograph(Rastrel& image, Size size) {
    image.Create(static_cast<unsigned long>(size.width), static_cast<unsigned long>(size.height), CM_ARGB8);
    unsigned char* bytes = image.pixels.GetData();
    std::uint32_t noise = 12345;
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double slope = 90 + 60 * std::sin(x * 0.011) + 50 * std::sin(y * 0.017 + x * 0.003);
            const double edge = (x / 97 + y / 71) % 2 == 0 ? 30 : 0;
            for (int channel = 0; channel < 4; ++channel) {
                noise = noise * 1664525 + 1013904223;
                *bytes++ = channel == 3 ? 255 : static_cast<unsigned char>(slope + edge + channel * 5 + (noise >> 28));
            }
        }
    }
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class Work>
double seconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::size_t bytesOf(Size size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4;
}

template <class Work>
void measure(benchmark::State& state, const Workload& workload, const Work& work) {
    const std::vector<unsigned char> copySource((bytesOf(workload.from) + bytesOf(workload.to)) / 2, 2);
    std::vector<unsigned char> copyTarget(copySource.size(), 3);
    std::vector<double> times;
    std::vector<double> copies;
    for (auto _ : state) {
        copies.push_back(seconds([&] { std::memcpy(copyTarget.data(), copySource.data(), copySource.size()); }));
        benchmark::ClobberMemory();
        times.push_back(seconds(work));
        benchmark::ClobberMemory();
        state.SetIterationTime(times.back());
    }
    state.counters["copies"] = median(times) / median(copies);
}

void ours(benchmark::State& state, const Workload& workload) {
    Rastrel source;
    Rastrel destination;
    drawPhotograph(source, workload.from);
    destination.Create(static_cast<unsigned long>(workload.to.width), static_cast<unsigned long>(workload.to.height),
                       CM_ARGB8);
    std::memset(destination.pixels.GetData(), 1, bytesOf(workload.to));
    measure(state, workload, [&] {
        if (workload.width > 0)
            source.LowPass(workload.width, workload.width, workload.filter, 0.0);
        else
            source.StretchBlt(destination, 0, workload.to.width - 1, 0, workload.to.height - 1, 0,
                              workload.from.width - 1, 0, workload.from.height - 1, workload.filter, 0.0);
    });
}

void theirs(benchmark::State& state, const Workload& workload, const rastrel::bench::ScalePeer& peer) {
    Rastrel source;
    drawPhotograph(source, workload.from);
    std::vector<unsigned char> destination(bytesOf(workload.to), 1);
    measure(state, workload, [&] {
        peer.run(source.pixels.GetData(), workload.from.width, workload.from.height, destination.data(),
                 workload.to.width, workload.to.height);
    });
}

template <class Work>
void enter(const std::string& name, const Work& work) {
    benchmark::RegisterBenchmark(name.c_str(), work)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
}

} // namespace

int main(int argc, char** argv) {
    for (const Workload& workload : kWorkloads) {
        enter(workload.name + "/Rastrel", [&](benchmark::State& state) { ours(state, workload); });
        for (const rastrel::bench::ScalePeer& peer : rastrel::bench::scalePeers()) {
            // A peer's name for a workload may leave out its end: "W5_lanczos" is entered for the odd ratio too.
            if (workload.name.rfind(peer.workload, 0) != 0) continue;
            enter(workload.name + "/" + peer.library, [&](benchmark::State& state) { theirs(state, workload, peer); });
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
