#include "encoder/cpu_features.h"

#ifdef __x86_64__

#include <cpuid.h>

#if __has_include(<features.h>)
#include <features.h>
#endif
#ifdef __GLIBC_PREREQ
#if __GLIBC_PREREQ(2, 33)
#define VELA_LIBC_KNOWS_CPU
#ifdef __clang__ // does not know this word of C, as the header has it, in C++
#define _Bool bool
#include <sys/platform/x86.h>
#undef _Bool
#else
#include <sys/platform/x86.h>
#endif
// It is the dynamic linker's: a weak reference makes that no library of its own to be linked with.
#pragma weak __x86_get_cpuid_feature_leaf
#endif
#endif

namespace vela {
namespace {

// Bits of CPUID and XCR0 (Intel SDM, volume 2A, CPUID, and volume 1, 13.3)
constexpr uint32_t kLeaf1EcxSse41 = 1u << 19;
constexpr uint32_t kLeaf1EcxOsxsave = 1u << 27;
constexpr uint32_t kLeaf7EbxAvx2 = (1u << 5) | (1u << 3) | (1u << 8); // AVX2, BMI1, BMI2
constexpr uint32_t kLeaf7EbxAvx512 =
    (1u << 16) | (1u << 17) | (1u << 28) | (1u << 30) | (1u << 31);    // F, DQ, CD, BW, VL
constexpr uint32_t kLeaf7EcxVbmi = (1u << 1) | (1u << 6) | (1u << 11); // VBMI, VBMI2, VNNI
constexpr uint32_t kLeafExt1EcxLzcnt = 1u << 5;
constexpr uint32_t kXcr0Avx = 0x06;    // XMM and YMM registers are saved
constexpr uint32_t kXcr0Avx512 = 0xE6; // and the opmask and ZMM registers

constexpr bool hasAll(uint32_t bits, uint32_t wanted) {
    return (bits & wanted) == wanted;
}

/// What CPUID says.
struct CpuidBits {
    uint32_t leaf1Ecx;
    uint32_t leaf7Ebx;
    uint32_t leaf7Ecx;
    uint32_t leafExt1Ecx;
};

uint32_t featuresOf(const CpuidBits& bits, bool avxUsable, bool avx512Usable) {
    uint32_t features = hasAll(bits.leaf1Ecx, kLeaf1EcxSse41) ? uint32_t{kCpuSse41} : 0;
    if (!avxUsable || !hasAll(bits.leaf7Ebx, kLeaf7EbxAvx2) ||
        !hasAll(bits.leafExt1Ecx, kLeafExt1EcxLzcnt))
        return features;
    features |= kCpuAvx2;
    if (!avx512Usable || !hasAll(bits.leaf7Ebx, kLeaf7EbxAvx512))
        return features;
    features |= kCpuAvx512;
    return hasAll(bits.leaf7Ecx, kLeaf7EcxVbmi) ? features | kCpuAvx512Vbmi : features;
}

uint32_t savedRegisters() {
    uint32_t low;
    uint32_t high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

} // namespace

uint32_t cpuFeaturesByCpuid() {
    uint32_t eax, ebx, ecx, edx;
    CpuidBits bits{};
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0)
        bits.leaf1Ecx = ecx;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) {
        bits.leaf7Ebx = ebx;
        bits.leaf7Ecx = ecx;
    }
    if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0)
        bits.leafExt1Ecx = ecx;
    const uint32_t saved = hasAll(bits.leaf1Ecx, kLeaf1EcxOsxsave) ? savedRegisters() : 0;
    return featuresOf(bits, hasAll(saved, kXcr0Avx), hasAll(saved, kXcr0Avx512));
}

uint32_t cpuFeatures() {
#ifdef VELA_LIBC_KNOWS_CPU
    if (__x86_get_cpuid_feature_leaf != nullptr) {
        // Active features are those that the operating system supports.
        const auto active = [](unsigned int leaf) {
            return __x86_get_cpuid_feature_leaf(leaf)->active_array;
        };
        const CpuidBits bits{active(CPUID_INDEX_1)[2], active(CPUID_INDEX_7)[1],
                             active(CPUID_INDEX_7)[2], active(CPUID_INDEX_80000001)[2]};
        return featuresOf(bits, true, true);
    }
#endif
    return cpuFeaturesByCpuid();
}

} // namespace vela

#else

namespace vela {

uint32_t cpuFeatures() {
    return 0;
}

uint32_t cpuFeaturesByCpuid() {
    return 0;
}

} // namespace vela

#endif
