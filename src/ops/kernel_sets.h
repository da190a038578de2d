/// @file kernel_sets.h
/// The kernel sets by name; `availableKernels` says which of them this machine can run.
#pragma once

#include "ops/kernel_set.h"

namespace rastrel {

extern const KernelSet kBaselineKernels; ///< the plain loops: the definition of every result

} // namespace rastrel
