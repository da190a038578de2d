/// @file kernel_set.h
/// The inner loops of the line kernels, once per instruction set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ops/low_pass_weights.h"
#include "ops/resample_plan.h"

namespace rastrel {

/// One output line of `KernelSet::combineRows8`: `weights` for lines `firstLine`, `firstLine` + 1, ...
struct CombineJob {
    unsigned char* destination;
    std::size_t firstLine;
    const RowWeights* weights;
    bool stream = false; ///< the line is part of an output larger than the caches and is not read soon
};

/// One implementation of the inner loops. All of them give the same bytes. Destinations lie apart from sources.
struct KernelSet {
    const char* name;

    /// The outputs of a plan, for `rowCount` rows: `destinations[r]` is row r's output number plan.firstOutput().
    void (*resampleRows8)(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                          unsigned channels, const ResamplePlan& plan);
    void (*resampleRows16)(unsigned short* const* destinations, const unsigned short* const* sources,
                           std::size_t rowCount, unsigned channels, const ResamplePlan& plan);
    /// Output lines of `samples` samples, each a weighted sum of some of the `lineCount` lines.
    void (*combineRows8)(std::span<const CombineJob> jobs, const unsigned char* const* lines, std::size_t lineCount,
                         std::size_t samples);
    void (*combineRows16)(unsigned short* destination, const unsigned short* const* lines, std::size_t samples,
                          std::span<const double> weights);
    /// `pixels` outputs; `padded` is the source row with its reflected ends: output i reads pixels i..i + taps - 1.
    void (*smoothRow8)(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                       const LowPassWeights& weights);
    void (*smoothRow16)(unsigned short* destination, const unsigned short* padded, std::size_t pixels,
                        unsigned channels, const LowPassWeights& weights);
    /// Output lines of `samples` samples in 16.16 fixed point: destination k from lines k..k + weights - 1.
    void (*smoothColumns8)(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                           std::size_t samples, std::span<const std::int32_t> weights);
    void (*smoothColumns16)(unsigned short* destination, const unsigned short* const* lines, std::size_t samples,
                            std::span<const double> weights);
};

/// Every set that this machine can run, the plain one first.
[[nodiscard]] std::span<const KernelSet* const> availableKernels() noexcept;

/// The set that the library uses: the last of them.
[[nodiscard]] const KernelSet& kernels() noexcept;

} // namespace rastrel
