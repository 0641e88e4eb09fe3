// The instruction set that a file is compiled for, by the compiler's own macros.
//
// Kernels are compiled once per instruction set, each time into a namespace of its own, so that no code
// for one processor can end up where another one's is called:
//
//     namespace vela::VELA_ISA {
//     namespace {
//     ...                        what the kernel is made of
//     }
//     int32_t entry(...) { ... } what state/kernels.h declares
//     }
#pragma once

#include "cpu/cpu_features.h"

#if defined __AVX512VBMI__ && defined __AVX512VBMI2__ && defined __AVX512VNNI__
#define VELA_ISA avx512vbmi
#elif defined __AVX512F__ && defined __AVX512BW__ && defined __AVX512CD__ && \
    defined __AVX512DQ__ && defined __AVX512VL__
#define VELA_ISA avx512
#elif defined __AVX2__ && defined __BMI2__ && defined __LZCNT__
#define VELA_ISA avx2
#elif defined __SSE4_1__
#define VELA_ISA sse41
#elif defined __ARM_NEON
#define VELA_ISA neon
#else
#define VELA_ISA plain
#endif

/// Kernels are made of small functions, and are compiled without optimisation too.
#define VELA_INLINE [[gnu::always_inline]] inline

// What each one is called, and what a processor needs for it (a set of CpuFeature).

namespace vela::avx512vbmi {
inline constexpr char kName[] = "avx512vbmi";
inline constexpr uint32_t kRequiredFeatures = kCpuAvx2 | kCpuAvx512 | kCpuAvx512Vbmi;
} // namespace vela::avx512vbmi

namespace vela::avx512 {
inline constexpr char kName[] = "avx512";
inline constexpr uint32_t kRequiredFeatures = kCpuAvx2 | kCpuAvx512;
} // namespace vela::avx512

namespace vela::avx2 {
inline constexpr char kName[] = "avx2";
inline constexpr uint32_t kRequiredFeatures = kCpuAvx2;
} // namespace vela::avx2

namespace vela::sse41 {
inline constexpr char kName[] = "sse4.1";
inline constexpr uint32_t kRequiredFeatures = kCpuSse41;
} // namespace vela::sse41

namespace vela::neon {
inline constexpr char kName[] = "neon";
inline constexpr uint32_t kRequiredFeatures = 0; // a build that has NEON is for processors with it
} // namespace vela::neon

namespace vela::plain {
inline constexpr char kName[] = "plain";
inline constexpr uint32_t kRequiredFeatures = 0;
} // namespace vela::plain
