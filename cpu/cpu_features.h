// What the processor can do, asked anew at every set-up: there is no state to keep.
#pragma once

#include <cstdint>

namespace vela {

enum CpuFeature : uint32_t {
    kCpuSse41 = 1 << 0,
    kCpuAvx2 = 1 << 1,       // with BMI1, BMI2 and LZCNT
    kCpuAvx512 = 1 << 2,     // F, BW, CD, DQ, VL
    kCpuAvx512Vbmi = 1 << 3, // VBMI, VBMI2, VNNI
};

/// What an x86 processor says of itself (Intel SDM, volume 2A, CPUID, and volume 1, 13.3).
struct CpuidWords {
    uint32_t leaf1Ecx;    // the highest leaf that the processor has may be below 7: then 0
    uint32_t leaf7Ebx;    // sub-leaf 0
    uint32_t leaf7Ecx;    // sub-leaf 0
    uint32_t leafExt1Ecx; // leaf 0x80000001
    uint32_t xcr0;        // the registers that the operating system saves; may only be read, and is
                          // only looked at, where leaf1Ecx has OSXSAVE
};

/// The features of such a processor that programs may use; a set of CpuFeature. Each is there with
/// those before it alone.
uint32_t featuresOf(const CpuidWords& words);

/// The features of this machine that programs may use.
uint32_t cpuFeatures();

/// The same, always from the processor itself. Under a hypervisor that takes some ten microseconds for
/// every question, as long as the encoding of a small picture.
uint32_t cpuFeaturesByCpuid();

} // namespace vela
