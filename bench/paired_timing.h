/// @file paired_timing.h
/// Timing a piece of work beside its yardstick, so that both meet the same machine.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "median.h"

namespace rastrel::bench {

template <class Work>
double seconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Times `yardstick`, prepares, then times `work`, once an iteration. The counter `ratio` is the median time of the
/// work in medians of the yardstick.
template <class Yardstick, class Prepare, class Work>
void measureBeside(benchmark::State& state, const Yardstick& yardstick, const Prepare& prepare, const Work& work) {
    std::vector<double> times;
    std::vector<double> yardsticks;
    for (auto _ : state) {
        yardsticks.push_back(seconds(yardstick));
        prepare();
        times.push_back(seconds(work));
        state.SetIterationTime(times.back());
    }
    state.counters["ratio"] = median(times) / median(yardsticks);
}

/// A memcpy that moves `traffic` bytes in and out together.
class CopyYardstick {
public:
    explicit CopyYardstick(std::size_t traffic) : source_(traffic / 2, 2), target_(traffic / 2, 3) {}
    void operator()() const { std::memcpy(target_.data(), source_.data(), source_.size()); }

private:
    std::vector<unsigned char> source_;
    mutable std::vector<unsigned char> target_;
};

template <class Work>
void enter(const std::string& name, const Work& work, int iterations) {
    benchmark::RegisterBenchmark(name.c_str(), work)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(iterations);
}

inline int runAll(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace rastrel::bench
