// Vectors of 128 bits on NEON: what kernels have in common with x86, by the names of vectors_x86.h.
#pragma once

#include <arm_neon.h>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

struct V128 {
    int16x8_t raw;

    VELA_INLINE friend V128 add16(V128 a, V128 b) { return {vaddq_s16(a.raw, b.raw)}; }
    VELA_INLINE friend V128 sub16(V128 a, V128 b) { return {vsubq_s16(a.raw, b.raw)}; }
};

} // namespace
} // namespace vela::VELA_ISA
