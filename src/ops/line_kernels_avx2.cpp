#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "ops/defined_samples.h"
#include "ops/kernel_set.h"
#include "ops/kernel_sets.h"
#include "platform/target_region.h"

RASTREL_TARGET_BEGIN("avx2,fma")
namespace rastrel {
namespace {

#include "ops/sums_avx2_inl.h"

#include "ops/word_pairs_avx2_inl.h"

#include "ops/band_avx2_inl.h"

#include "ops/resample_quads_avx2_inl.h"

#include "ops/resample_words_avx2_inl.h"

#include "ops/resample_floats_avx2_inl.h"

#include "ops/resample_rows_avx2_inl.h"

#include "ops/resample_grey_avx2_inl.h"

#include "ops/combine_bytes_avx2_inl.h"

#include "ops/combine_words_avx2_inl.h"

#include "ops/combine_rows_avx2_inl.h"

#include "ops/smooth_avx2_inl.h"

} // namespace
} // namespace rastrel
RASTREL_TARGET_END

namespace rastrel {

// Sixteen-bit samples stay with the plain loops: their fractions leave single precision too few bits.
constinit const KernelSet kAvx2Kernels = {
    "avx2",     resampleRows8,      plain::resampleRows16, combineRows8,           plain::combineRows16,
    smoothRow8, plain::smoothRow16, smoothColumns8,        plain::smoothColumns16,
};

} // namespace rastrel
