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
    if ((words.leaf1Ecx & kLeaf1EcxOsxsave) != 0) { // else there is no such instruction
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
