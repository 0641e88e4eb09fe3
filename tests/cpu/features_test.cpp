// What the processor has.
#include <gtest/gtest.h>

#include "cpu/cpu_features.h"

namespace {

using namespace vela;

TEST(CpuFeatures, AreThoseThatTheProcessorItselfNames) {
    // Fault: a feature used that the processor or the system does not have.
    EXPECT_EQ(cpuFeatures(), cpuFeaturesByCpuid());
}

constexpr uint32_t kFromVbmi = kCpuAvx512Vbmi;
constexpr uint32_t kFromAvx512 = kCpuAvx512 | kFromVbmi;
constexpr uint32_t kFromAvx2 = kCpuAvx2 | kFromAvx512;
constexpr uint32_t kAll = kCpuSse41 | kFromAvx2;

/// A bit of the processor's manual, and the kernels that cannot run without it.
struct Needed {
    const char* name;
    uint32_t CpuidWords::*word;
    int bit;
    uint32_t lost;
};

constexpr Needed kNeeded[] = {
    {"SSE4.1", &CpuidWords::leaf1Ecx, 19, kAll},
    {"OSXSAVE", &CpuidWords::leaf1Ecx, 27, kFromAvx2},
    {"BMI1", &CpuidWords::leaf7Ebx, 3, kFromAvx2},
    {"AVX2", &CpuidWords::leaf7Ebx, 5, kFromAvx2},
    {"BMI2", &CpuidWords::leaf7Ebx, 8, kFromAvx2},
    {"LZCNT", &CpuidWords::leafExt1Ecx, 5, kFromAvx2},
    {"XMM saved", &CpuidWords::xcr0, 1, kFromAvx2},
    {"YMM saved", &CpuidWords::xcr0, 2, kFromAvx2},
    {"AVX512F", &CpuidWords::leaf7Ebx, 16, kFromAvx512},
    {"AVX512DQ", &CpuidWords::leaf7Ebx, 17, kFromAvx512},
    {"AVX512CD", &CpuidWords::leaf7Ebx, 28, kFromAvx512},
    {"AVX512BW", &CpuidWords::leaf7Ebx, 30, kFromAvx512},
    {"AVX512VL", &CpuidWords::leaf7Ebx, 31, kFromAvx512},
    {"opmask saved", &CpuidWords::xcr0, 5, kFromAvx512},
    {"ZMM0-15 saved", &CpuidWords::xcr0, 6, kFromAvx512},
    {"ZMM16-31 saved", &CpuidWords::xcr0, 7, kFromAvx512},
    {"AVX512_VBMI", &CpuidWords::leaf7Ecx, 1, kFromVbmi},
    {"AVX512_VBMI2", &CpuidWords::leaf7Ecx, 6, kFromVbmi},
    {"AVX512_VNNI", &CpuidWords::leaf7Ecx, 11, kFromVbmi},
};

TEST(CpuFeatures, NeedEveryBitOfTheirKernelsAndNoOther) {
    // Fault: kernels chosen whose instructions, or whose registers' saving, the machine lacks; or a bit
    // asked for that has nothing to do with them.
    CpuidWords required{};
    for (const Needed& n : kNeeded)
        required.*n.word |= 1u << n.bit;
    EXPECT_EQ(featuresOf(required), kAll);
    EXPECT_EQ(featuresOf({}), 0u);
    for (const Needed& n : kNeeded) {
        CpuidWords words = required;
        words.*n.word &= ~(1u << n.bit);
        EXPECT_EQ(featuresOf(words), kAll & ~n.lost) << "without " << n.name;
    }
}

} // namespace
