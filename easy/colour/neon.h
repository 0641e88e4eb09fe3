// RGB to YCbCr on NEON, of ARMv7 and AArch64. A chunk is 16 pixels.
#pragma once

#include <arm_neon.h>

#include "cpu/isa.h"
#include "easy/colour/rows.h"
#include "easy/colour/weights.h"

namespace vela::VELA_ISA {
namespace {

/// 16 values of each colour.
struct Pixels {
    uint8x16_t red, green, blue;
};

template <class Order>
VELA_INLINE Pixels loadPixels(const uint8_t* from) {
    if constexpr (Order::kSize == 3) {
        const uint8x16x3_t p = vld3q_u8(from);
        return {p.val[Order::kRed], p.val[Order::kGreen], p.val[Order::kBlue]};
    } else {
        const uint8x16x4_t p = vld4q_u8(from);
        return {p.val[Order::kRed], p.val[Order::kGreen], p.val[Order::kBlue]};
    }
}

/// Eight values of each colour, or sums of some.
struct Sums {
    int16x8_t red, green, blue;
};

VELA_INLINE Sums lowHalf(const Pixels& p) {
    return {vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(p.red))),
            vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(p.green))),
            vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(p.blue)))};
}

VELA_INLINE Sums highHalf(const Pixels& p) {
    return {vreinterpretq_s16_u16(vmovl_u8(vget_high_u8(p.red))),
            vreinterpretq_s16_u16(vmovl_u8(vget_high_u8(p.green))),
            vreinterpretq_s16_u16(vmovl_u8(vget_high_u8(p.blue)))};
}

/// Of neighbours: pixels 0 and 1, 2 and 3 ..
VELA_INLINE int16x8_t pairs(uint8x16_t a) {
    return vreinterpretq_s16_u16(vpaddlq_u8(a));
}

/// And of the row below.
VELA_INLINE int16x8_t pairs(uint8x16_t a, uint8x16_t below) {
    return vreinterpretq_s16_u16(vpadalq_u8(vpaddlq_u8(a), below));
}

VELA_INLINE int32x4_t weigh(const weights::Weights& w, int16x4_t red, int16x4_t green,
                            int16x4_t blue) {
    return vmlal_n_s16(vmlal_n_s16(vmull_n_s16(red, w.red), green, w.green), blue, w.blue);
}

/// Weighted sums, rounded, of 2^shift pixels each.
template <int shift>
VELA_INLINE int16x8_t weigh(const weights::Weights& w, const Sums& s) {
    constexpr int kBits = weights::kBits + shift;
    const int32x4_t low =
        weigh(w, vget_low_s16(s.red), vget_low_s16(s.green), vget_low_s16(s.blue));
    const int32x4_t high =
        weigh(w, vget_high_s16(s.red), vget_high_s16(s.green), vget_high_s16(s.blue));
    return vcombine_s16(vmovn_s32(vrshrq_n_s32(low, kBits)), vmovn_s32(vrshrq_n_s32(high, kBits)));
}

VELA_INLINE void storeLuma(const Pixels& pixels, uint8_t* y) {
    const uint8x8_t low = vqmovun_s16(weigh<0>(weights::kY, lowHalf(pixels)));
    const uint8x8_t high = vqmovun_s16(weigh<0>(weights::kY, highHalf(pixels)));
    vst1q_u8(y, vcombine_u8(low, high));
}

/// Around 128, which keeps the rounding as it is; pure blue and red saturate.
template <int shift>
VELA_INLINE uint8x8_t chroma(const weights::Weights& w, const Sums& sums) {
    return vqmovun_s16(vaddq_s16(weigh<shift>(w, sums), vdupq_n_s16(128)));
}

/// Chroma of every pixel.
VELA_INLINE void storeChroma(const Pixels& pixels, const weights::Weights& of, uint8_t* to) {
    vst1q_u8(to, vcombine_u8(chroma<0>(of, lowHalf(pixels)), chroma<0>(of, highHalf(pixels))));
}

/// Chroma of neighbouring pixels together.
VELA_INLINE void storeHalvedChroma(const Pixels& row, uint8_t* cb, uint8_t* cr) {
    const Sums sums = {pairs(row.red), pairs(row.green), pairs(row.blue)};
    vst1_u8(cb, chroma<1>(weights::kCb, sums));
    vst1_u8(cr, chroma<1>(weights::kCr, sums));
}

VELA_INLINE void storeHalvedChroma(const Pixels& top, const Pixels& bottom, uint8_t* cb,
                                   uint8_t* cr) {
    const Sums sums = {pairs(top.red, bottom.red), pairs(top.green, bottom.green),
                       pairs(top.blue, bottom.blue)};
    vst1_u8(cb, chroma<2>(weights::kCb, sums));
    vst1_u8(cr, chroma<2>(weights::kCr, sums));
}

inline constexpr int32_t kChunkPixels = 16;
inline constexpr int32_t kChunkReadBytes = 64;

} // namespace
} // namespace vela::VELA_ISA
