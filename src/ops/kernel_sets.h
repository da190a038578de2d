/// @file kernel_sets.h
/// The kernel sets by name; `availableKernels` says which of them this machine can run.
#pragma once

#include "ops/kernel_set.h"

namespace rastrel {

extern const KernelSet kBaselineKernels; ///< the plain loops: the definition of every result
extern const KernelSet kAvx2Kernels;     ///< needs AVX2 and FMA

/// The plain loops that other sets take over.
namespace plain {
void resampleRows8(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                   unsigned channels, const ResamplePlan& plan);
void resampleRows16(unsigned short* const* destinations, const unsigned short* const* sources, std::size_t rowCount,
                    unsigned channels, const ResamplePlan& plan);
void combineRows8(std::span<const CombineJob> jobs, const unsigned char* const* lines, std::size_t lineCount,
                  std::size_t samples);
void combineRows16(unsigned short* destination, const unsigned short* const* lines, std::size_t samples,
                   std::span<const double> weights);
void smoothRow8(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                const LowPassWeights& kernel);
void smoothRow16(unsigned short* destination, const unsigned short* padded, std::size_t pixels, unsigned channels,
                 const LowPassWeights& kernel);
void smoothColumns8(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                    std::size_t samples, std::span<const std::int32_t> weights);
void smoothColumns16(unsigned short* destination, const unsigned short* const* lines, std::size_t samples,
                     std::span<const double> weights);
} // namespace plain

} // namespace rastrel
