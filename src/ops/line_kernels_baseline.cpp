#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ops/kernel_set.h"
#include "ops/kernel_sets.h"
#include "ops/sample_rounding.h"

namespace rastrel {
namespace {

#include "ops/line_kernels_inl.h"

} // namespace

const KernelSet kBaselineKernels = {
    "baseline",
    resampleRows<unsigned char>,
    resampleRows<unsigned short>,
    combineRows<unsigned char>,
    combineRows<unsigned short>,
    smoothRow<unsigned char>,
    smoothRow<unsigned short>,
    smoothColumns8,
    smoothColumns16,
};

} // namespace rastrel
