/// @file cpu.h
/// The instruction sets that this machine and its system can run.
#pragma once

namespace rastrel {

struct CpuFeatures {
    bool sse41;    ///< SSE 4.1 and everything before it
    bool avx2;     ///< AVX2, with the wide registers kept by the system
    bool fma;      ///< fused multiply-add on 256-bit registers
    bool f16c;     ///< half to single precision and back
    bool bmi2;     ///< BMI 1, BMI 2 and LZCNT
    bool avx512bw; ///< AVX-512 F, VL, BW and DQ, with the wide registers kept by the system
};

/// Asked of the processor once, at the first call; the same for every thread.
const CpuFeatures& cpuFeatures() noexcept;

} // namespace rastrel
