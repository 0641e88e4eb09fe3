// Whole MCUs of packed pictures: conversion to YCbCr, subsampling, level shift and block layout.
#include <cstring>

#include "pixel/blocks.h"
#include "pixel/input/color_weights.h"

namespace vela {
namespace {

/// Red, green and blue of a pixel, 0..255, or of a sum of up to four pixels, 0..1020.
struct Rgb {
    int32_t r;
    int32_t g;
    int32_t b;

    Rgb& operator+=(const Rgb& other) {
        r += other.r;
        g += other.g;
        b += other.b;
        return *this;
    }
};

// The pixel layouts. Fields of less than 8 bits are widened by zero bits below.

struct Bgr888 {
    static constexpr int32_t bytes = 3;
    static Rgb read(const uint8_t* pixel) { return {pixel[2], pixel[1], pixel[0]}; }
};

inline int32_t littleEndianWord(const uint8_t* bytes) {
    return bytes[0] | (bytes[1] << 8);
}

struct Bgr565 {
    static constexpr int32_t bytes = 2;
    static Rgb read(const uint8_t* pixel) {
        const int32_t word = littleEndianWord(pixel);
        return {(word >> 8) & 0xF8, (word >> 3) & 0xFC, (word << 3) & 0xF8};
    }
};

struct Bgr555 {
    static constexpr int32_t bytes = 2;
    static Rgb read(const uint8_t* pixel) {
        const int32_t word = littleEndianWord(pixel);
        return {(word >> 7) & 0xF8, (word >> 2) & 0xF8, (word << 3) & 0xF8};
    }
};

int32_t weigh(const Rgb& p, const ColorWeights& weights) {
    return weights.r * p.r + weights.g * p.g + weights.b * p.b;
}

int16_t luma(const Rgb& p) {
    return static_cast<int16_t>((weigh(p, kLumaWeights) >> 8) - 128);
}

/// Of the sum of 2^n pixels: at most 1020 * 128, which needs 32 bits for more than one pixel.
int16_t chroma(const Rgb& sum, const ColorWeights& weights, int32_t log2Pixels) {
    return static_cast<int16_t>(weigh(sum, weights) >> (8 + log2Pixels));
}

/// One MCU of 8h x 8v pixels, h and v being the luminance sampling factors.
template <class Layout, int32_t h, int32_t v>
void convertMcu(const void* src, ptrdiff_t step, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++) {
        for (int32_t x = 0; x < 8; x++) { // one chrominance sample and the h x v pixels under it
            Rgb sum{0, 0, 0};
            for (int32_t py = y * v; py < (y + 1) * v; py++) {
                for (int32_t px = x * h; px < (x + 1) * h; px++) {
                    const Rgb pixel = Layout::read(corner + py * step + px * Layout::bytes);
                    const int32_t block = (py / 8) * h + px / 8;
                    dst[0][kBlockSamples * block + kBlockRow * (py % 8) + px % 8] = luma(pixel);
                    sum += pixel;
                }
            }
            constexpr int32_t log2Pixels = (h - 1) + (v - 1);
            dst[1][kBlockRow * y + x] = chroma(sum, kCbWeights, log2Pixels);
            dst[2][kBlockRow * y + x] = chroma(sum, kCrWeights, log2Pixels);
        }
    }
}

} // namespace
} // namespace vela

void veliBGRToYCbCr444LS_MCU_8u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                         int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr888, 1, 1>(pSrc, srcStep, pDst);
}

void veliBGRToYCbCr422LS_MCU_8u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                         int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr888, 2, 1>(pSrc, srcStep, pDst);
}

void veliBGRToYCbCr411LS_MCU_8u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                         int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr888, 2, 2>(pSrc, srcStep, pDst);
}

void veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr565, 1, 1>(pSrc, srcStep, pDst);
}

void veliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr565, 2, 1>(pSrc, srcStep, pDst);
}

void veliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr565, 2, 2>(pSrc, srcStep, pDst);
}

void veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr555, 1, 1>(pSrc, srcStep, pDst);
}

void veliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr555, 2, 1>(pSrc, srcStep, pDst);
}

void veliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const void* pSrc, int32_t srcStep,
                                             int16_t* const pDst[3]) {
    vela::convertMcu<vela::Bgr555, 2, 2>(pSrc, srcStep, pDst);
}
