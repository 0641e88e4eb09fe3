#include "encoder/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace vela {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// Bits of CPUID and XCR0 (Intel SDM, volume 2A, CPUID, and volume 1, 13.3)
constexpr uint32_t kLeaf1EcxSse41 = 1u << 19;
constexpr uint32_t kLeaf1EcxOsxsave = 1u << 27;
constexpr uint32_t kLeaf7EbxAvx2 = (1u << 5) | (1u << 3) | (1u << 8); // AVX2, BMI1, BMI2
constexpr uint32_t kLeaf7EbxAvx512 =
    (1u << 16) | (1u << 17) | (1u << 28) | (1u << 30) | (1u << 31); // F, DQ, CD, BW, VL
constexpr uint32_t kLeaf7EcxVbmi = (1u << 1) | (1u << 6);           // VBMI, VBMI2
constexpr uint32_t kLeafExt1EcxLzcnt = 1u << 5;
constexpr uint32_t kXcr0Avx = 0x06;    // XMM and YMM registers are saved
constexpr uint32_t kXcr0Avx512 = 0xE6; // and the opmask and ZMM registers

constexpr bool hasAll(uint32_t bits, uint32_t wanted) {
    return (bits & wanted) == wanted;
}

uint32_t savedRegisters() {
    uint32_t low;
    uint32_t high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

} // namespace

uint32_t cpuFeatures() {
    uint32_t a, b, c, d;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0)
        return 0;
    uint32_t features = hasAll(c, kLeaf1EcxSse41) ? uint32_t{kCpuSse41} : 0;
    if (!hasAll(c, kLeaf1EcxOsxsave))
        return features;
    const uint32_t saved = savedRegisters();
    const bool lzcnt = __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && hasAll(c, kLeafExt1EcxLzcnt);
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0 || !lzcnt || !hasAll(saved, kXcr0Avx) ||
        !hasAll(b, kLeaf7EbxAvx2))
        return features;
    features |= kCpuAvx2;
    if (hasAll(saved, kXcr0Avx512) && hasAll(b, kLeaf7EbxAvx512)) {
        features |= kCpuAvx512;
        if (hasAll(c, kLeaf7EcxVbmi))
            features |= kCpuAvx512Vbmi;
    }
    return features;
}

#else

uint32_t cpuFeatures() {
    return 0;
}

#endif

} // namespace vela
