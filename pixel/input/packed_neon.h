// Conversion of packed pixels on NEON. Rounding is that of the plain version (packed_plain.cpp), and so
// are the results.
#pragma once

#include <arm_neon.h>

#include <cstddef>

#include "cpu/isa.h"
#include "pixel/input/color_weights.h"
#include "pixel/input/planar_neon.h"

namespace vela::VELA_ISA {
namespace {

// The pixel layouts: 8 or 16 pixels of a row, as blue, green and red. The bytes of a 16-bit pixel come
// apart on loading: the lower one is gggbbbbb; the upper one rrrrrggg in 5-6-5, 0rrrrrgg in 5-5-5.

/// Bytes B0 G0 R0 B1 G1 R1 .. come as B0 B1 .., G0 G1 .., R0 R1 ...
struct Bgr888 {
    static uint8x8x3_t readEight(const uint8_t* pixels) { return vld3_u8(pixels); }
    static uint8x16x3_t readSixteen(const uint8_t* pixels) { return vld3q_u8(pixels); }
};

/// Fields of the 16-bit layouts, widened to 8 bits by zeros below. Green comes from both bytes:
///
///                             5-6-5       5-5-5
///     lower byte              gggbbbbb    gggbbbbb
///     shifted to the right    000gggbb    00gggbbb
///     upper byte put above    ggggggbb    gggggbbb
///     masked                  gggggg00    ggggg000
template <int32_t greenBits>
struct Bgr16 {
    static constexpr uint8_t greenMask = static_cast<uint8_t>(0xFF << (8 - greenBits));

    static uint8x8x3_t readEight(const uint8_t* pixels) {
        const uint8x8x2_t p = vld2_u8(pixels);
        const uint8x8_t green =
            vsli_n_u8(vshr_n_u8(p.val[0], greenBits - 3), p.val[1], 11 - greenBits);
        const uint8x8_t red = greenBits == 6 ? p.val[1] : vshl_n_u8(p.val[1], 1);
        return {{vshl_n_u8(p.val[0], 3), vand_u8(green, vdup_n_u8(greenMask)),
                 vand_u8(red, vdup_n_u8(0xF8))}};
    }
    static uint8x16x3_t readSixteen(const uint8_t* pixels) {
        const uint8x16x2_t p = vld2q_u8(pixels);
        const uint8x16_t green =
            vsliq_n_u8(vshrq_n_u8(p.val[0], greenBits - 3), p.val[1], 11 - greenBits);
        const uint8x16_t red = greenBits == 6 ? p.val[1] : vshlq_n_u8(p.val[1], 1);
        return {{vshlq_n_u8(p.val[0], 3), vandq_u8(green, vdupq_n_u8(greenMask)),
                 vandq_u8(red, vdupq_n_u8(0xF8))}};
    }
};

/// Stores the luminance of eight pixels.
inline void storeLuma(int16_t* dst, uint8x8_t b, uint8x8_t g, uint8x8_t r) {
    uint16x8_t sum = vmull_u8(r, vdup_n_u8(kLumaWeights.r));
    sum = vmlal_u8(sum, g, vdup_n_u8(kLumaWeights.g));
    sum = vmlal_u8(sum, b, vdup_n_u8(kLumaWeights.b)); // at most 65280
    storeShifted(dst, vshrn_n_u16(sum, 8));
}

/// The luminance of sixteen pixels, to two blocks side by side.
inline void storeLumaPair(int16_t* dst, const uint8x16x3_t& p) {
    storeLuma(dst, vget_low_u8(p.val[0]), vget_low_u8(p.val[1]), vget_low_u8(p.val[2]));
    storeLuma(dst + 64, vget_high_u8(p.val[0]), vget_high_u8(p.val[1]), vget_high_u8(p.val[2]));
}

/// (x * c + y * d) / 2^shift for eight elements each, in 32 bits. Coefficients are lanes of factors.
template <int32_t shift, int c, int d>
int16x8_t weighPair(int16x8_t x, int16x8_t y, int16x4_t factors) {
    int32x4_t low = vmull_lane_s16(vget_low_s16(x), factors, c);
    int32x4_t high = vmull_lane_s16(vget_high_s16(x), factors, c);
    low = vmlal_lane_s16(low, vget_low_s16(y), factors, d);
    high = vmlal_lane_s16(high, vget_high_s16(y), factors, d);
    return vcombine_s16(vshrn_n_s32(low, shift), vshrn_n_s32(high, shift));
}

/// Chrominance from sums of 2^(shift - 8) pixels each. With coefficients that sum to 0 it depends on
/// differences alone: 128 b - 43 r - 85 g = 85 (b - g) - 43 (r - b) and
/// 128 r - 107 g - 21 b = 107 (r - g) + 21 (r - b).
template <int32_t shift>
void storeChroma(int16_t* cb, int16_t* cr, uint16x8_t b, uint16x8_t g, uint16x8_t r) {
    static constexpr int16_t kFactors[4] = {-kCbWeights.g, kCbWeights.r, -kCrWeights.g,
                                            -kCrWeights.b};
    const int16x4_t factors = vld1_s16(kFactors);
    const int16x8_t redBlue = vreinterpretq_s16_u16(vsubq_u16(r, b));
    const int16x8_t blueGreen = vreinterpretq_s16_u16(vsubq_u16(b, g));
    const int16x8_t redGreen = vreinterpretq_s16_u16(vsubq_u16(r, g));
    const int16x8_t blueSide = weighPair<shift, 0, 1>(blueGreen, redBlue, factors);
    const int16x8_t redSide = weighPair<shift, 2, 3>(redGreen, redBlue, factors);
    vst1q_s16(cb, blueSide);
    vst1q_s16(cr, redSide);
}

template <class Layout>
void convert444(const void* src, int32_t step, int16_t* const dst[3]) {
    const auto* row = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++, row += step) {
        const uint8x8x3_t p = Layout::readEight(row);
        const uint8x8_t b = p.val[0], g = p.val[1], r = p.val[2];
        storeLuma(dst[0] + 8 * y, b, g, r);
        uint16x8_t cb =
            vmull_u8(b, vdup_n_u8(kCbWeights.b)); // of one pixel: sums of 16 bits, signed
        cb = vmlsl_u8(cb, r, vdup_n_u8(-kCbWeights.r));
        cb = vmlsl_u8(cb, g, vdup_n_u8(-kCbWeights.g));
        vst1q_s16(dst[1] + 8 * y, vshrq_n_s16(vreinterpretq_s16_u16(cb), 8));
        uint16x8_t cr = vmull_u8(r, vdup_n_u8(kCrWeights.r));
        cr = vmlsl_u8(cr, g, vdup_n_u8(-kCrWeights.g));
        cr = vmlsl_u8(cr, b, vdup_n_u8(-kCrWeights.b));
        vst1q_s16(dst[2] + 8 * y, vshrq_n_s16(vreinterpretq_s16_u16(cr), 8));
    }
}

template <class Layout>
void convert422(const void* src, int32_t step, int16_t* const dst[3]) {
    const auto* row = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++, row += step) {
        const uint8x16x3_t p = Layout::readSixteen(row);
        storeLumaPair(dst[0] + 8 * y, p);
        storeChroma<9>(dst[1] + 8 * y, dst[2] + 8 * y, vpaddlq_u8(p.val[0]), vpaddlq_u8(p.val[1]),
                       vpaddlq_u8(p.val[2]));
    }
}

template <class Layout>
void convert420(const void* src, int32_t step, int16_t* const dst[3]) {
    const auto* row = static_cast<const uint8_t*>(src);
    int16_t* luma = dst[0];
    int16_t* cb = dst[1];
    int16_t* cr = dst[2];
    for (int32_t half = 0; half < 2; half++, luma += 64) {
        for (int32_t y = 0; y < 4; y++, luma += 16, cb += 8, cr += 8) { // two rows
            const uint8x16x3_t p = Layout::readSixteen(row);
            row += step;
            const uint8x16x3_t q = Layout::readSixteen(row);
            row += step;
            storeLumaPair(luma, p);
            storeLumaPair(luma + 8, q);
            storeChroma<10>(cb, cr, vpadalq_u8(vpaddlq_u8(p.val[0]), q.val[0]),
                            vpadalq_u8(vpaddlq_u8(p.val[1]), q.val[1]),
                            vpadalq_u8(vpaddlq_u8(p.val[2]), q.val[2]));
        }
    }
}

using Bgr555 = Bgr16<5>;
using Bgr565 = Bgr16<6>;

} // namespace
} // namespace vela::VELA_ISA
