// Conversions of YCbCr samples: loops without a dependence from one sample to the next, which a compiler
// makes vector code of, for each instruction set its own.
#pragma once

#include "cpu/isa.h"
#include "easy/colour/adjustment.h"

namespace vela::VELA_ISA {
namespace {

/// Luminance at byte luma of each group of two; of each group of four the chroma of one plane at byte
/// 1 - luma and of the other two bytes later.
template <int32_t luma>
void split422(const uint8_t* __restrict row, int32_t width, uint8_t* __restrict y,
              uint8_t* __restrict first, uint8_t* __restrict second) {
    for (int32_t x = 0; x < width; x++)
        y[x] = row[2 * x + luma];
    for (int32_t i = 0; i < (width + 1) / 2; i++) {
        first[i] = row[4 * i + 1 - luma];
        second[i] = row[4 * i + 3 - luma];
    }
}

inline void splitPacked422(const uint8_t* row, PairOrder order, int32_t width, uint8_t* y,
                           uint8_t* cb, uint8_t* cr) {
    const bool crFirst = order == PairOrder::yvyu || order == PairOrder::vyuy;
    uint8_t* const first = crFirst ? cr : cb;
    uint8_t* const second = crFirst ? cb : cr;
    if (order == PairOrder::yuyv || order == PairOrder::yvyu)
        split422<0>(row, width, y, first, second);
    else
        split422<1>(row, width, y, first, second);
}

inline void splitPairs(const uint8_t* __restrict pairs, int32_t count, uint8_t* __restrict first,
                       uint8_t* __restrict second) {
    for (int32_t i = 0; i < count; i++) {
        first[i] = pairs[2 * i];
        second[i] = pairs[2 * i + 1];
    }
}

/// Rounded, from 1/2^kAdjustmentBits.
VELA_INLINE uint8_t sample(int32_t value) {
    const int32_t rounded = (value + (1 << (kAdjustmentBits - 1))) >> kAdjustmentBits;
    return static_cast<uint8_t>(rounded < 0 ? 0 : rounded > 255 ? 255 : rounded);
}

// Adjusting in place is safe as well: a sample depends on what stands where it is written, and on other planes.

inline void adjustLuma(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, bool halved,
                       int32_t width, const YcbcrAdjustment& by, uint8_t* out) {
    const int32_t luma = by.luma, lumaCb = by.lumaCb, lumaCr = by.lumaCr, black = by.black;
    if (lumaCb == 0 && lumaCr == 0) {
        for (int32_t x = 0; x < width; x++)
            out[x] = sample(luma * (y[x] - black));
    } else if (!halved) {
        for (int32_t x = 0; x < width; x++)
            out[x] =
                sample(luma * (y[x] - black) + lumaCb * (cb[x] - 128) + lumaCr * (cr[x] - 128));
    } else {
        constexpr int32_t kPairs = 64;
        int32_t ofChroma[2 * kPairs]; // for each pixel: of cb[x / 2] no vector code is made
        for (int32_t start = 0; start < width; start += 2 * kPairs) {
            const int32_t count = width - start < 2 * kPairs ? width - start : 2 * kPairs;
            for (int32_t i = 0; i < (count + 1) / 2; i++) {
                const int32_t at = start / 2 + i;
                ofChroma[2 * i] = ofChroma[2 * i + 1] =
                    lumaCb * (cb[at] - 128) + lumaCr * (cr[at] - 128);
            }
            for (int32_t x = 0; x < count; x++)
                out[start + x] = sample(luma * (y[start + x] - black) + ofChroma[x]);
        }
    }
}

inline void adjustChroma(const uint8_t* cb, const uint8_t* cr, int32_t count,
                         const YcbcrAdjustment& by, uint8_t* cbOut, uint8_t* crOut) {
    constexpr int32_t kZero = 128 << kAdjustmentBits;
    const int32_t cbCb = by.cbCb, cbCr = by.cbCr, crCb = by.crCb, crCr = by.crCr;
    for (int32_t i = 0; i < count; i++) {
        const int32_t b = cb[i] - 128, r = cr[i] - 128;
        cbOut[i] = sample(kZero + cbCb * b + cbCr * r);
        crOut[i] = sample(kZero + crCb * b + crCr * r);
    }
}

} // namespace
} // namespace vela::VELA_ISA
