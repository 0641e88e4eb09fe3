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

/// The features of this machine that the operating system lets programs use; a set of CpuFeature.
uint32_t cpuFeatures();

/// The same, always from the processor itself. Under a hypervisor that takes some ten microseconds for
/// every question, as long as the encoding of a small picture.
uint32_t cpuFeaturesByCpuid();

} // namespace vela
