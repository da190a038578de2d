/// @file bayer_kernels_baseline.cpp
/// The mosaic interpolation for every 64-bit processor.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <emmintrin.h>

#include "formats/bayer_kernel_sets.h"

#define RASTREL_TARGET baseline
#include "formats/bayer_kernels_inl.h"

namespace rastrel {

const BayerKernels kBayerBaseline{"baseline", &baseline::estimate, &baseline::vary, &baseline::decide, &baseline::emit};

} // namespace rastrel
