#include "platform/cpu.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace rastrel {
namespace {

// The compiler's query looks at XGETBV too: a set counts only where the system saves its registers.
CpuFeatures askProcessor() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init();
    CpuFeatures found{};
    found.sse41 = __builtin_cpu_supports("sse4.1") != 0;
    found.avx2 = __builtin_cpu_supports("avx2") != 0;
    found.fma = found.avx2 && __builtin_cpu_supports("fma") != 0;
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    found.f16c = found.avx2 && __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_F16C) != 0;
    found.bmi2 = __builtin_cpu_supports("bmi") != 0 && __builtin_cpu_supports("bmi2") != 0 &&
                 __get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_LZCNT) != 0;
    found.avx512bw = found.avx2 && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
                     __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512dq") != 0;
    return found;
#else
    return CpuFeatures{};
#endif
}

} // namespace

const CpuFeatures& cpuFeatures() noexcept {
    static const CpuFeatures features = askProcessor();
    return features;
}

} // namespace rastrel
