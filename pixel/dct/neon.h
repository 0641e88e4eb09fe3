// The forward transform on NEON: one block in eight q registers. Steps and constants are those of the
// plain version (plain.cpp), whose products are what vqdmulh computes, and so are the results for any
// samples.
#pragma once

#include "cpu/vectors_neon.h"
#include "pixel/dct/constants.h"
#include "pixel/dct/transform8.h"
#include "state/dct_scale.h"
#include "state/encoder_state.h"

namespace vela::VELA_ISA {
namespace {

/// The products of transform8, by constants in the elements of a register.
struct Factors {
    int16x4_t constants;

    static Factors load() {
        static constexpr int16_t kConstants[4] = {kCosPi4, kSinPi8, kHalfSum, kDifference};
        return {vld1_s16(kConstants)};
    }
    VELA_INLINE V128 cosPi4(V128 x) const { return {vqdmulhq_lane_s16(x.raw, constants, 0)}; }
    VELA_INLINE V128 sinPi8(V128 x) const { return {vqdmulhq_lane_s16(x.raw, constants, 1)}; }
    VELA_INLINE V128 sum(V128 x) const {
        return {vqdmulhq_lane_s16(vqaddq_s16(x.raw, x.raw), constants, 2)};
    }
    VELA_INLINE V128 difference(V128 x) const { return {vqdmulhq_lane_s16(x.raw, constants, 3)}; }
};

/// Exchanges the odd elements of a with the even ones of b.
inline void exchange16(V128& a, V128& b) {
    const int16x8x2_t t = vtrnq_s16(a.raw, b.raw);
    a = {t.val[0]};
    b = {t.val[1]};
}

/// The same with pairs of elements, and with halves of registers.
inline void exchange32(V128& a, V128& b) {
    const int32x4x2_t t = vtrnq_s32(vreinterpretq_s32_s16(a.raw), vreinterpretq_s32_s16(b.raw));
    a = {vreinterpretq_s16_s32(t.val[0])};
    b = {vreinterpretq_s16_s32(t.val[1])};
}

inline void exchange64(V128& a, V128& b) {
#ifdef __aarch64__
    const int64x2_t upper = vreinterpretq_s64_s16(a.raw), lower = vreinterpretq_s64_s16(b.raw);
    a = {vreinterpretq_s16_s64(vzip1q_s64(upper, lower))};
    b = {vreinterpretq_s16_s64(vzip2q_s64(upper, lower))};
#else // one instruction, for which there is no intrinsic
    __asm__("vswp %f0, %e1" : "+w"(a.raw), "+w"(b.raw));
#endif
}

/// Transposes 8 x 8 elements. Drawn: row and column digits of the elements, the lowest one first.
inline void transpose(V128 (&d)[8]) {
    //                         d[0]: 00 01 02 03 04 05 06 07, d[1]: 10 11 12 ..
    exchange16(d[0], d[1]); // 00 10 02 12 04 14 06 16, 01 11 03 13 05 15 07 17
    exchange16(d[2], d[3]); // 20 30 22 32 24 34 26 36, 21 31 23 33 25 35 27 37
    exchange16(d[4], d[5]); // 40 50 42 52 44 54 46 56, 41 51 43 53 45 55 47 57
    exchange16(d[6], d[7]); // 60 70 62 72 64 74 66 76, 61 71 63 73 65 75 67 77
    exchange32(d[0], d[2]); // 00 10 20 30 04 14 24 34, 02 12 22 32 06 16 26 36
    exchange32(d[1], d[3]); // 01 11 21 31 05 15 25 35, 03 13 23 33 07 17 27 37
    exchange32(d[4], d[6]); // 40 50 60 70 44 54 64 74, 42 52 62 72 46 56 66 76
    exchange32(d[5], d[7]); // 41 51 61 71 45 55 65 75, 43 53 63 73 47 57 67 77
    exchange64(d[0], d[4]); // 00 10 20 30 40 50 60 70, 04 14 24 34 44 54 64 74
    exchange64(d[1], d[5]); // 01 11 21 31 41 51 61 71, 05 15 25 35 45 55 65 75
    exchange64(d[2], d[6]); // and so on
    exchange64(d[3], d[7]);
}

/// Elements 0..3, then 4..7.
inline int16x8_t setHalves(int16_t low, int16_t high) {
    return vcombine_s16(vdup_n_s16(low), vdup_n_s16(high));
}

/// The coefficients of horizontal frequency u, quantized. The plain version scales them up by 2^n, n of
/// 0..3, and drops one bit below the product with the reciprocal. Here the product is doubled: at
/// n = 0 one bit more is dropped of it, together with the rounding; otherwise the scale is 2^(n - 1).
template <int32_t u>
V128 quantize(V128 coefficients, V128 reciprocals) {
    int16x8_t x = coefficients.raw;
    constexpr int32_t low = kPreScaleShift.of[8 * u] - 1; // v = 0..3
    constexpr int32_t high = kPreScaleShift.of[8 * u + 4] - 1;
    constexpr int16_t up[2] = {low > 0 ? low : 0, high > 0 ? high : 0};
    if constexpr (up[0] > 0 || up[1] > 0)
        x = vshlq_s16(x, setHalves(up[0], up[1]));
    const int16x8_t product = vqdmulhq_s16(x, reciprocals.raw);
    if constexpr (low >= 0 && high >= 0)
        return {vrshrq_n_s16(product, 1)};
    return {vrshlq_s16(product, setHalves(low < 0 ? -2 : -1, high < 0 ? -2 : -1))};
}

/// The next row of eight.
inline V128 load(const int16_t*& from) {
    const V128 row = {vld1q_s16(from)};
    from += 8;
    return row;
}

inline void store(int16_t*& to, V128 row) {
    vst1q_s16(to, row.raw);
    to += 8;
}

inline void transformBlock(int16_t* block, const int16_t* quant, const Factors& factors) {
    const int16_t* samples = block;
    V128 d[8];
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
    d[0] = quantize<0>(d[0], load(quant));
    d[1] = quantize<1>(d[1], load(quant));
    d[2] = quantize<2>(d[2], load(quant));
    d[3] = quantize<3>(d[3], load(quant));
    d[4] = quantize<4>(d[4], load(quant));
    d[5] = quantize<5>(d[5], load(quant));
    d[6] = quantize<6>(d[6], load(quant));
    d[7] = quantize<7>(d[7], load(quant));
    for (const V128& row : d)
        store(block, row);
}

inline void transformAll(const BlockSpec& blocks, int32_t mcuCount) {
    const Factors factors = Factors::load();
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            transformBlock(blockOf(blocks, mcu, i), blocks.blockQuant[i], factors);
}

} // namespace
} // namespace vela::VELA_ISA
