#include "ops/kernel_set.h"

#include "ops/kernel_sets.h"
#include "platform/cpu.h"

namespace rastrel {
namespace {

constexpr const KernelSet* kSets[] = {&kBaselineKernels, &kAvx2Kernels};

} // namespace

std::span<const KernelSet* const> availableKernels() noexcept {
    const CpuFeatures& cpu = cpuFeatures();
    return std::span(kSets).first(cpu.avx2 && cpu.fma ? 2 : 1);
}

const KernelSet& kernels() noexcept { return *availableKernels().back(); }

} // namespace rastrel
