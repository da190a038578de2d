/// @file bayer_kernel_sets.h
/// The implementations of the mosaic interpolation that are compiled in.
#pragma once

#include "formats/bayer_kernels.h"

namespace rastrel {

extern const BayerKernels kBayerBaseline;
extern const BayerKernels kBayerAvx2; ///< only for machines with AVX2

} // namespace rastrel
