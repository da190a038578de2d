/// @file bayer_kernels_avx2.cpp
/// The mosaic interpolation for processors with AVX2.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <emmintrin.h>

#include "formats/bayer_kernel_sets.h"
#include "platform/target_region.h"

#define RASTREL_TARGET avx2
RASTREL_TARGET_BEGIN("avx2")
#include "formats/bayer_kernels_inl.h"
RASTREL_TARGET_END

namespace rastrel {

const BayerKernels kBayerAvx2{"avx2", &avx2::estimate, &avx2::vary, &avx2::decide, &avx2::emit};

} // namespace rastrel
