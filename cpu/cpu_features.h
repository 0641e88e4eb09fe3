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

/// What an x86 processor says of itself (Intel SDM, volume 2A, CPUID, and volume 1, 13.3). Words of leaves
/// that it does not have are 0.
struct CpuidWords {
    uint32_t leaf1Ecx;
    uint32_t leaf7Ebx;    // sub-leaf 0
    uint32_t leaf7Ecx;    // sub-leaf 0
    uint32_t leafExt1Ecx; // leaf 0x80000001
    uint32_t xcr0;        // registers that the operating system saves, where leaf1Ecx has OSXSAVE
};

constexpr uint32_t kLeaf1EcxSse41 = 1u << 19;
constexpr uint32_t kLeaf1EcxOsxsave = 1u << 27;
constexpr uint32_t kLeaf7EbxAvx2 = (1u << 5) | (1u << 3) | (1u << 8); // AVX2, BMI1, BMI2
constexpr uint32_t kLeaf7EbxAvx512 =
    (1u << 16) | (1u << 17) | (1u << 28) | (1u << 30) | (1u << 31);    // F, DQ, CD, BW, VL
constexpr uint32_t kLeaf7EcxVbmi = (1u << 1) | (1u << 6) | (1u << 11); // VBMI, VBMI2, VNNI
constexpr uint32_t kLeafExt1EcxLzcnt = 1u << 5;
constexpr uint32_t kXcr0Avx = 0x06;    // XMM and YMM registers
constexpr uint32_t kXcr0Avx512 = 0xE6; // and the opmask and ZMM registers

/// The features of such a processor that programs may use; a set of CpuFeature. Each is there with
/// those before it alone.
constexpr uint32_t featuresOf(const CpuidWords& words) {
    const auto hasAll = [](uint32_t bits, uint32_t wanted) { return (bits & wanted) == wanted; };
    const uint32_t saved = hasAll(words.leaf1Ecx, kLeaf1EcxOsxsave) ? words.xcr0 : 0;
    uint32_t features = 0;
    if (!hasAll(words.leaf1Ecx, kLeaf1EcxSse41))
        return features;
    features |= kCpuSse41;
    if (!hasAll(saved, kXcr0Avx) || !hasAll(words.leaf7Ebx, kLeaf7EbxAvx2) ||
        !hasAll(words.leafExt1Ecx, kLeafExt1EcxLzcnt))
        return features;
    features |= kCpuAvx2;
    if (!hasAll(saved, kXcr0Avx512) || !hasAll(words.leaf7Ebx, kLeaf7EbxAvx512))
        return features;
    features |= kCpuAvx512;
    if (!hasAll(words.leaf7Ecx, kLeaf7EcxVbmi))
        return features;
    return features | kCpuAvx512Vbmi;
}

/// The features of this machine that programs may use.
uint32_t cpuFeatures();

/// The same, always from the processor itself. Under a hypervisor that takes some ten microseconds for
/// every question, as long as the encoding of a small picture.
uint32_t cpuFeaturesByCpuid();

} // namespace vela
