// The forward transform on NEON: one block in eight q registers. Steps and constants are those of the
// plain version (plain.cpp), whose products are what vqdmulh computes, and so are the results for any
// samples.
#pragma once

#include <arm_neon.h>

#include "cpu/isa.h"
#include "pixel/dct/constants.h"
#include "state/dct_scale.h"
#include "state/encoder_state.h"

namespace vela::VELA_ISA {
namespace {

using V = int16x8_t;

/// The constants, one to a lane.
enum Factor : int { cosPi4, sinPi8, halfSum, difference };
inline int16x4_t loadFactors() {
    static constexpr int16_t factors[4] = {kCosPi4, kSinPi8, kHalfSum, kDifference};
    return vld1_s16(factors);
}

/// floor(x * c / 2^15)
template <Factor c>
V mul(V x, int16x4_t factors) {
    return vqdmulhq_lane_s16(x, factors, c);
}

/// One 8-point transform: output k becomes d[k], in all elements alike.
inline void transform8(V d[8], int16x4_t factors) {
    const V t0 = vaddq_s16(d[0], d[7]);
    const V t7 = vsubq_s16(d[0], d[7]);
    const V t1 = vaddq_s16(d[1], d[6]);
    const V t6 = vsubq_s16(d[1], d[6]);
    const V t2 = vaddq_s16(d[2], d[5]);
    const V t5 = vsubq_s16(d[2], d[5]);
    const V t3 = vaddq_s16(d[3], d[4]);
    const V t4 = vsubq_s16(d[3], d[4]);

    const V t10 = vaddq_s16(t0, t3);
    const V t13 = vsubq_s16(t0, t3);
    const V t11 = vaddq_s16(t1, t2);
    const V t12 = vsubq_s16(t1, t2);
    const V z1 = mul<cosPi4>(vaddq_s16(t12, t13), factors);
    d[0] = vaddq_s16(t10, t11);
    d[4] = vsubq_s16(t10, t11);
    d[2] = vaddq_s16(t13, z1);
    d[6] = vsubq_s16(t13, z1);

    const V p10 = vaddq_s16(t4, t5);
    const V p11 = vaddq_s16(t5, t6);
    const V p12 = vaddq_s16(t6, t7);
    const V z5 = mul<sinPi8>(vsubq_s16(p10, p12), factors);
    const V z2 = vaddq_s16(mul<difference>(p10, factors), z5);
    const V z4 = vaddq_s16(mul<halfSum>(vqaddq_s16(p12, p12), factors), z5);
    const V z3 = mul<cosPi4>(p11, factors);
    const V z11 = vaddq_s16(t7, z3);
    const V z13 = vsubq_s16(t7, z3);
    d[5] = vaddq_s16(z13, z2);
    d[3] = vsubq_s16(z13, z2);
    d[1] = vaddq_s16(z11, z4);
    d[7] = vsubq_s16(z11, z4);
}

/// Exchanges the odd elements of a with the even ones of b.
inline void exchange16(V& a, V& b) {
    const int16x8x2_t t = vtrnq_s16(a, b);
    a = t.val[0];
    b = t.val[1];
}

/// The same with pairs of elements, and with halves of registers.
inline void exchange32(V& a, V& b) {
    const int32x4x2_t t = vtrnq_s32(vreinterpretq_s32_s16(a), vreinterpretq_s32_s16(b));
    a = vreinterpretq_s16_s32(t.val[0]);
    b = vreinterpretq_s16_s32(t.val[1]);
}

inline void exchange64(V& a, V& b) {
#ifdef __aarch64__
    const V low = vcombine_s16(vget_low_s16(a), vget_low_s16(b));
    b = vcombine_s16(vget_high_s16(a), vget_high_s16(b));
    a = low;
#else // one instruction, for which there is no intrinsic
    __asm__("vswp %f0, %e1" : "+w"(a), "+w"(b));
#endif
}

/// Transposes 8 x 8 elements. Names: row and column digits, as they stand in a register.
inline void transpose(V d[8]) {
    exchange16(d[0], d[1]); // 00 10 02 12 04 14 06 16, 01 11 03 13 05 15 07 17
    exchange16(d[2], d[3]); // 20 30 22 32 24 34 26 36, 21 31 23 33 25 35 27 37
    exchange16(d[4], d[5]);
    exchange16(d[6], d[7]);
    exchange32(d[0], d[2]); // 00 10 20 30 04 14 24 34, 02 12 22 32 06 16 26 36
    exchange32(d[1], d[3]); // 01 11 21 31 05 15 25 35, 03 13 23 33 07 17 27 37
    exchange32(d[4], d[6]); // 40 50 60 70 44 54 64 74, 42 52 62 72 46 56 66 76
    exchange32(d[5], d[7]);
    exchange64(d[0], d[4]); // 00 10 20 30 40 50 60 70, 04 14 24 34 44 54 64 74
    exchange64(d[1], d[5]);
    exchange64(d[2], d[6]);
    exchange64(d[3], d[7]);
}

/// Elements 0..3, then 4..7.
inline V setHalves(int16_t low, int16_t high) {
    return vcombine_s16(vdup_n_s16(low), vdup_n_s16(high));
}

/// The coefficients of horizontal frequency u, quantized. The plain version scales them up by 2^n, n of
/// 0..3, and drops one bit below the product with the reciprocal. Here the product is doubled: at
/// n = 0 one bit more is dropped of it, together with the rounding; otherwise the scale is 2^(n - 1).
template <int32_t u>
V quantize(V x, V reciprocals) {
    constexpr int32_t low = kPreScaleShift.of[8 * u] - 1; // v = 0..3
    constexpr int32_t high = kPreScaleShift.of[8 * u + 4] - 1;
    constexpr int16_t up[2] = {low > 0 ? low : 0, high > 0 ? high : 0};
    if constexpr (up[0] > 0 || up[1] > 0)
        x = vshlq_s16(x, setHalves(up[0], up[1]));
    const V product = vqdmulhq_s16(x, reciprocals);
    if constexpr (low >= 0 && high >= 0)
        return vrshrq_n_s16(product, 1);
    return vrshlq_s16(product, setHalves(low < 0 ? -2 : -1, high < 0 ? -2 : -1));
}

/// The next row of eight.
inline V load(const int16_t*& from) {
    const V row = vld1q_s16(from);
    from += 8;
    return row;
}

inline void store(int16_t*& to, V row) {
    vst1q_s16(to, row);
    to += 8;
}

inline void transformBlock(int16_t* block, const int16_t* quant, int16x4_t factors) {
    const int16_t* samples = block;
    V d[8];
    d[0] = load(samples);
    d[1] = load(samples);
    d[2] = load(samples);
    d[3] = load(samples);
    d[4] = load(samples);
    d[5] = load(samples);
    d[6] = load(samples);
    d[7] = load(samples);
    transform8(d, factors);
    transpose(d);
    transform8(d, factors);
    store(block, quantize<0>(d[0], load(quant)));
    store(block, quantize<1>(d[1], load(quant)));
    store(block, quantize<2>(d[2], load(quant)));
    store(block, quantize<3>(d[3], load(quant)));
    store(block, quantize<4>(d[4], load(quant)));
    store(block, quantize<5>(d[5], load(quant)));
    store(block, quantize<6>(d[6], load(quant)));
    store(block, quantize<7>(d[7], load(quant)));
}

inline void transformAll(const BlockSpec& blocks, int32_t mcuCount) {
    const int16x4_t factors = loadFactors();
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            transformBlock(blockOf(blocks, mcu, i), blocks.blockQuant[i], factors);
}

} // namespace
} // namespace vela::VELA_ISA
