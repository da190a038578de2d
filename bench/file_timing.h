/// @file file_timing.h
/// Times of whole-file work, interleaved with another routine's so that both meet the same machine.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "median.h"

namespace rastrel::bench {

/// Registers a benchmark of `work`. Every iteration runs `limit` first; the counter `limits` is the median time of
/// `work` in medians of `limit`. Both return whether they succeeded. `prepare` runs before each of them, untimed.
template <class Work, class Limit, class Prepare>
void enterAgainst(const std::string& name, const Work& work, const Limit& limit, const Prepare& prepare) {
    const auto measure = [=](benchmark::State& state) {
        const auto seconds = [&](const auto& call) {
            prepare();
            const auto start = std::chrono::steady_clock::now();
            if (!call()) state.SkipWithError("cannot be read or written");
            return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        };
        std::vector<double> times;
        std::vector<double> limits;
        for (auto _ : state) {
            limits.push_back(seconds(limit));
            times.push_back(seconds(work));
            state.SetIterationTime(times.back());
        }
        if (!times.empty()) state.counters["limits"] = median(times) / median(limits);
    };
    benchmark::RegisterBenchmark(name.c_str(), measure)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
}

template <class Work, class Limit>
void enterAgainst(const std::string& name, const Work& work, const Limit& limit) {
    enterAgainst(name, work, limit, [] {});
}

} // namespace rastrel::bench
