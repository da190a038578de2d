/// @file sample_kernels.h
/// Bilinear samples of 8-bit pixels, one routine for each instruction set.
#pragma once

#include <span>
#include <string_view>

#include "rastrel/pixel.h"

namespace rastrel {

/// The sample between two pairs of neighbours in memory, blue, green, red, alpha, the upper pair and the lower one; the
/// weights are those of the left and of the upper pixels. Just as `interpolated` of the four pixels. The pairs may have
/// any alignment.
using PairSampler = pixel_argb8 (*)(const unsigned char* upper, const unsigned char* lower, double wx,
                                    double wy) noexcept;

struct SampleKernel {
    std::string_view name;
    PairSampler sample;
};

/// The kernels that this machine can run, the plain one first. The last one is in use.
[[nodiscard]] std::span<const SampleKernel> availableSampleKernels() noexcept;

/// The kernel in use: the plain one until the library's start-up has asked the processor.
extern PairSampler samplePairs;

} // namespace rastrel
