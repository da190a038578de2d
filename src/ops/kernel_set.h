/// @file kernel_set.h
/// The inner loops of the line kernels, once per instruction set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ops/low_pass_weights.h"
#include "ops/resample_plan.h"

namespace rastrel {

/// One implementation of the inner loops. All of them give the same bytes.
struct KernelSet {
    const char* name;

    /// The outputs of a plan, for `rowCount` rows: `destinations[r]` is row r's output number plan.firstOutput().
    void (*resampleRows8)(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                          unsigned channels, const ResamplePlan& plan);
    void (*resampleRows16)(unsigned short* const* destinations, const unsigned short* const* sources,
                           std::size_t rowCount, unsigned channels, const ResamplePlan& plan);
    /// One line of `samples` from as many rows as there are weights.
    void (*combineRows8)(unsigned char* destination, const unsigned char* const* rows, std::size_t samples,
                         std::span<const double> weights);
    void (*combineRows16)(unsigned short* destination, const unsigned short* const* rows, std::size_t samples,
                          std::span<const double> weights);
    /// `pixels` outputs; `padded` is the source row with its reflected ends: output i reads pixels i..i + taps - 1.
    void (*smoothRow8)(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                       std::span<const double> weights);
    void (*smoothRow16)(unsigned short* destination, const unsigned short* padded, std::size_t pixels,
                        unsigned channels, std::span<const double> weights);
    /// One line of `samples` from as many rows as there are weights, in 16.16 fixed point.
    void (*smoothColumns8)(unsigned char* destination, const unsigned char* const* rows, std::size_t samples,
                           std::span<const std::int32_t> weights);
    void (*smoothColumns16)(unsigned short* destination, const unsigned short* const* rows, std::size_t samples,
                            std::span<const double> weights);
};

/// Every set that this machine can run, the plain one first.
[[nodiscard]] std::span<const KernelSet* const> availableKernels() noexcept;

/// The set that the library uses: the last of them.
[[nodiscard]] const KernelSet& kernels() noexcept;

} // namespace rastrel
