// Whole MCUs of planar YCbCr, semi-planar YCbCr and grey pictures: level shift and block layout.
#include "pixel/blocks.h"

namespace vela {
namespace {

/// The luminance blocks of an MCU of width x height pixels, in raster order.
void convertLuma(const uint8_t* src, ptrdiff_t step, int32_t width, int32_t height, int16_t* dst) {
    for (int32_t y = 0; y < height; y += 8) {
        for (int32_t x = 0; x < width; x += 8, dst += kBlockSamples)
            levelShiftBlock<1>(src + y * step + x, step, dst);
    }
}

void convertPlanar(const uint8_t* const src[3], const int32_t step[3], int32_t mcuWidth,
                   int32_t mcuHeight, int16_t* const dst[3]) {
    convertLuma(src[0], step[0], mcuWidth, mcuHeight, dst[0]);
    levelShiftBlock<1>(src[1], step[1], dst[1]);
    levelShiftBlock<1>(src[2], step[2], dst[2]);
}

/// first and second receive the first and second bytes of the chroma pairs.
void convertSemiPlanar(const uint8_t* const src[3], const int32_t step[3], int16_t* luma,
                       int16_t* first, int16_t* second) {
    convertLuma(src[0], step[0], 16, 16, luma);
    levelShiftBlock<2>(src[1], step[1], first);
    levelShiftBlock<2>(src[1] + 1, step[1], second);
}

} // namespace
} // namespace vela

void _veliLevelShiftSub128_8x8_8u16s_C1(const void* pSrc, int32_t srcStep, int16_t* const pDst[3]) {
    vela::levelShiftBlock<1>(static_cast<const uint8_t*>(pSrc), srcStep, pDst[0]);
}

void velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                 const int32_t srcStep[3], int16_t* const pDst[3]) {
    vela::convertPlanar(pSrc, srcStep, 8, 8, pDst);
}

void velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                 const int32_t srcStep[3], int16_t* const pDst[3]) {
    vela::convertPlanar(pSrc, srcStep, 16, 8, pDst);
}

void velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                 const int32_t srcStep[3], int16_t* const pDst[3]) {
    vela::convertPlanar(pSrc, srcStep, 16, 16, pDst);
}

void velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                             int16_t* const pDst[3]) {
    vela::convertSemiPlanar(pSrc, srcStep, pDst[0], pDst[1], pDst[2]);
}

void velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                             int16_t* const pDst[3]) {
    vela::convertSemiPlanar(pSrc, srcStep, pDst[0], pDst[2], pDst[1]);
}
