#include "cpu/cpu_features.h"

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
#endif

namespace vela {
namespace {

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

} // namespace

uint32_t featuresOf(const CpuidWords& words) {
    const uint32_t saved = hasAll(words.leaf1Ecx, kLeaf1EcxOsxsave) ? words.xcr0 : 0;
    if (!hasAll(words.leaf1Ecx, kLeaf1EcxSse41))
        return 0;
    uint32_t features = kCpuSse41;
    if (!hasAll(saved, kXcr0Avx) || !hasAll(words.leaf7Ebx, kLeaf7EbxAvx2) ||
        !hasAll(words.leafExt1Ecx, kLeafExt1EcxLzcnt))
        return features;
    features |= kCpuAvx2;
    if (!hasAll(saved, kXcr0Avx512) || !hasAll(words.leaf7Ebx, kLeaf7EbxAvx512))
        return features;
    features |= kCpuAvx512;
    return hasAll(words.leaf7Ecx, kLeaf7EcxVbmi) ? features | kCpuAvx512Vbmi : features;
}

#ifdef __x86_64__

uint32_t cpuFeaturesByCpuid() {
    uint32_t eax, ebx, ecx, edx;
    CpuidWords words{};
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0)
        words.leaf1Ecx = ecx;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) {
        words.leaf7Ebx = ebx;
        words.leaf7Ecx = ecx;
    }
    if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0)
        words.leafExt1Ecx = ecx;
    if (hasAll(words.leaf1Ecx, kLeaf1EcxOsxsave)) {
        uint32_t upper;
        __asm__("xgetbv" : "=a"(words.xcr0), "=d"(upper) : "c"(0));
    }
    return featuresOf(words);
}

uint32_t cpuFeatures() {
#ifdef VELA_LIBC_KNOWS_CPU
    if (__x86_get_cpuid_feature_leaf != nullptr) {
        // Active features are those that the operating system supports, as XCR0 would tell.
        const auto active = [](unsigned int leaf) {
            return __x86_get_cpuid_feature_leaf(leaf)->active_array;
        };
        return featuresOf({active(CPUID_INDEX_1)[2] | kLeaf1EcxOsxsave, active(CPUID_INDEX_7)[1],
                           active(CPUID_INDEX_7)[2], active(CPUID_INDEX_80000001)[2], kXcr0Avx512});
    }
#endif
    return cpuFeaturesByCpuid();
}

#else // the vector kernels of a build for another processor need nothing that some of these lack

uint32_t cpuFeaturesByCpuid() {
    return 0;
}

uint32_t cpuFeatures() {
    return cpuFeaturesByCpuid();
}

#endif

} // namespace vela
