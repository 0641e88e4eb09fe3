// Partial MCUs: the last valid column is repeated to the right, then the last valid row downwards.
#include <algorithm>
#include <cstring>

#include "pixel/blocks.h"

namespace vela {
namespace {

constexpr int32_t kLastColumn = 7;
constexpr int32_t kLastRow = 7 * kBlockRow;

/// One block from validWidth x validHeight samples, the x-th of row y being sample(x, y).
template <class Sample>
void expandBlock(int32_t validWidth, int32_t validHeight, int16_t* dst, Sample sample) {
    for (int32_t y = 0; y < validHeight; y++) {
        int16_t* const row = dst + kBlockRow * y;
        if (validWidth == kBlockRow) { // at the bottom of a picture: a loop that becomes vectors
            for (int32_t x = 0; x < kBlockRow; x++)
                row[x] = sample(x, y);
            continue;
        }
        for (int32_t x = 0; x < validWidth; x++)
            row[x] = sample(x, y);
        std::fill(row + validWidth, row + kBlockRow, row[validWidth - 1]);
    }
    const int16_t* const lastRow = dst + kBlockRow * (validHeight - 1);
    for (int32_t y = validHeight; y < 8; y++)
        std::copy_n(lastRow, kBlockRow, dst + kBlockRow * y);
}

/// One block from every pitch-th byte.
template <int32_t pitch>
void expandLevelShifted(const uint8_t* src, ptrdiff_t step, int32_t validWidth, int32_t validHeight,
                        int16_t* dst) {
    expandBlock(validWidth, validHeight, dst,
                [=](int32_t x, int32_t y) { return levelShift(src[y * step + pitch * x]); });
}

void repeatLastColumn(const int16_t* block, int16_t* dst) {
    velaExpand_Block_16s_JPEG(block + kLastColumn, kBlockRow, 1, 8, dst);
}

void repeatLastRow(const int16_t* block, int16_t* dst) {
    velaExpand_Block_16s_JPEG(block + kLastRow, kBlockRow, 8, 1, dst);
}

/// Two blocks side by side, from up to 16 x 8 valid samples.
void expandLumaPair(const uint8_t* src, int32_t step, int32_t validWidth, int32_t validHeight,
                    int16_t* dst) {
    int16_t* const right = dst + kBlockSamples;
    velaExpandLS_Block_8u16s_JPEG(src, step, std::min<int32_t>(validWidth, 8), validHeight, dst);
    if (validWidth > 8)
        velaExpandLS_Block_8u16s_JPEG(src + 8, step, validWidth - 8, validHeight, right);
    else
        repeatLastColumn(dst, right);
}

/// Two such pairs, one below the other, from up to 16 x 16 valid samples.
void expandLumaQuad(const uint8_t* src, int32_t step, int32_t validWidth, int32_t validHeight,
                    int16_t* dst) {
    int16_t* const lower = dst + 2 * kBlockSamples;
    expandLumaPair(src, step, validWidth, std::min<int32_t>(validHeight, 8), dst);
    if (validHeight > 8) {
        expandLumaPair(src + ptrdiff_t{8} * step, step, validWidth, validHeight - 8, lower);
    } else {
        repeatLastRow(dst, lower);
        repeatLastRow(dst + kBlockSamples, lower + kBlockSamples);
    }
}

/// Valid chrominance samples along a subsampled axis. A single luminance sample has no whole
/// chrominance sample to itself; the one it shares is taken.
int32_t halved(int32_t validLuma) {
    return std::max<int32_t>(validLuma / 2, 1);
}

/// even and odd receive the even and odd bytes of the chroma pairs. The block routines are named
/// after the components that these are in NV21.
void expandSemiPlanar(const uint8_t* const src[3], const int32_t step[3], int32_t validWidth,
                      int32_t validHeight, int16_t* luma, int16_t* even, int16_t* odd) {
    const int32_t width = halved(validWidth);
    const int32_t height = halved(validHeight);
    expandLumaQuad(src[0], step[0], validWidth, validHeight, luma);
    velaExpandLS_Block_NV21_Cr_8u16s_JPEG(src[1], step[1], width, height, even);
    velaExpandLS_Block_NV21_Cb_8u16s_JPEG(src[1], step[1], width, height, odd);
}

/// Copies pixels of some bytes each and repeats the last one of each row. Returns the last valid row.
template <size_t pixelBytes>
const uint8_t* copyRows(const uint8_t* src, ptrdiff_t srcStep, int32_t validWidth,
                        int32_t validHeight, uint8_t* dst, ptrdiff_t dstStep, int32_t dstWidth) {
    const size_t validBytes = static_cast<size_t>(validWidth) * pixelBytes;
    const size_t rowBytes = static_cast<size_t>(dstWidth) * pixelBytes;
    for (int32_t y = 0; y < validHeight; y++) {
        uint8_t* const row = dst + y * dstStep;
        std::memcpy(row, src + y * srcStep, validBytes);
        for (size_t at = validBytes; at < rowBytes; at += pixelBytes)
            std::memcpy(row + at, row + validBytes - pixelBytes, pixelBytes);
    }
    return dst + (validHeight - 1) * dstStep;
}

/// Repeats a row of so many bytes from to on, a pitch apart. Rows overlap where a dstStep is less than
/// dstWidth pixels.
void repeatRow(const uint8_t* row, ptrdiff_t bytes, uint8_t* to, ptrdiff_t pitch, int32_t count) {
    if (bytes <= 0)
        return;
    for (int32_t i = 0; i < count; i++)
        std::memmove(to + i * pitch, row, static_cast<size_t>(bytes));
}

} // namespace
} // namespace vela

void velaExpandLS_Block_8u16s_JPEG(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                                   int32_t validHeight, int16_t* pDst) {
    vela::expandLevelShifted<1>(pSrc, srcStep, validWidth, validHeight, pDst);
}

void velaExpandLS_Block_NV21_Cb_8u16s_JPEG(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                                           int32_t validHeight, int16_t* pDst) {
    vela::expandLevelShifted<2>(pSrc + 1, srcStep, validWidth, validHeight, pDst);
}

void velaExpandLS_Block_NV21_Cr_8u16s_JPEG(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                                           int32_t validHeight, int16_t* pDst) {
    vela::expandLevelShifted<2>(pSrc, srcStep, validWidth, validHeight, pDst);
}

void velaExpand_Block_16s_JPEG(const int16_t* pSrc, int32_t srcStep, int32_t validWidth,
                               int32_t validHeight, int16_t* pDst) {
    vela::expandBlock(validWidth, validHeight, pDst,
                      [=](int32_t x, int32_t y) { return pSrc[ptrdiff_t{y} * srcStep + x]; });
}

void velaYCbCr444ToYCbCr444ExpandLS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                       const int32_t srcStep[3], int32_t validWidth,
                                                       int32_t validHeight,
                                                       int16_t* const pDst[3]) {
    for (int32_t k = 0; k < 3; k++)
        velaExpandLS_Block_8u16s_JPEG(pSrc[k], srcStep[k], validWidth, validHeight, pDst[k]);
}

void velaYCbCr422ToYCbCr422ExpandLS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                       const int32_t srcStep[3], int32_t validWidth,
                                                       int32_t validHeight,
                                                       int16_t* const pDst[3]) {
    vela::expandLumaPair(pSrc[0], srcStep[0], validWidth, validHeight, pDst[0]);
    for (int32_t k = 1; k < 3; k++)
        velaExpandLS_Block_8u16s_JPEG(pSrc[k], srcStep[k], vela::halved(validWidth), validHeight,
                                      pDst[k]);
}

void velaYCbCr411ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                       const int32_t srcStep[3], int32_t validWidth,
                                                       int32_t validHeight,
                                                       int16_t* const pDst[3]) {
    vela::expandLumaQuad(pSrc[0], srcStep[0], validWidth, validHeight, pDst[0]);
    for (int32_t k = 1; k < 3; k++)
        velaExpandLS_Block_8u16s_JPEG(pSrc[k], srcStep[k], vela::halved(validWidth),
                                      vela::halved(validHeight), pDst[k]);
}

void velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                   const int32_t srcStep[3], int32_t validWidth,
                                                   int32_t validHeight, int16_t* const pDst[3]) {
    vela::expandSemiPlanar(pSrc, srcStep, validWidth, validHeight, pDst[0], pDst[1], pDst[2]);
}

void velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG(const uint8_t* const pSrc[3],
                                                   const int32_t srcStep[3], int32_t validWidth,
                                                   int32_t validHeight, int16_t* const pDst[3]) {
    vela::expandSemiPlanar(pSrc, srcStep, validWidth, validHeight, pDst[0], pDst[2], pDst[1]);
}

int32_t veliCopyExpand_8u_C1(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                             int32_t validHeight, uint8_t* pDst, int32_t dstStep, int32_t dstWidth,
                             int32_t dstHeight) {
    const uint8_t* const last =
        vela::copyRows<1>(pSrc, srcStep, validWidth, validHeight, pDst, dstStep, dstWidth);
    vela::repeatRow(last, dstStep, pDst + ptrdiff_t{validHeight} * dstStep, dstStep,
                    dstHeight - validHeight);
    return ENC_STATUS_OK;
}

int32_t veliCopyExpand_16u_C1(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                              int32_t validHeight, uint8_t* pDst, int32_t dstStep, int32_t dstWidth,
                              int32_t dstHeight) {
    const uint8_t* const last =
        vela::copyRows<2>(pSrc, srcStep, validWidth, validHeight, pDst, dstStep, dstWidth);
    vela::repeatRow(last, dstStep & ~1, pDst + ptrdiff_t{validHeight} * dstStep, dstStep,
                    dstHeight - validHeight);
    return ENC_STATUS_OK;
}

int32_t veliCopyExpand_8u_C3(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                             int32_t validHeight, uint8_t* pDst, int32_t dstStep, int32_t dstWidth,
                             int32_t dstHeight) {
    const ptrdiff_t rowBytes = ptrdiff_t{3} * dstWidth;
    const uint8_t* const last =
        vela::copyRows<3>(pSrc, srcStep, validWidth, validHeight, pDst, dstStep, dstWidth);
    vela::repeatRow(last, rowBytes, pDst + ptrdiff_t{validHeight} * dstStep, rowBytes,
                    dstHeight - validHeight);
    return ENC_STATUS_OK;
}
