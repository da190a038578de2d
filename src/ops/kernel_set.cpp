#include "ops/kernel_set.h"

#include "ops/kernel_sets.h"

namespace rastrel {
namespace {

constexpr const KernelSet* kSets[] = {&kBaselineKernels};

} // namespace

std::span<const KernelSet* const> availableKernels() noexcept { return kSets; }

const KernelSet& kernels() noexcept { return *availableKernels().back(); }

} // namespace rastrel
