// The baseline 8x8 block entropy coder (T.81 F.1.2).
#pragma once

#include "state/encoder_state.h"

namespace vela {

// The longest code of a block under the typical tables: a DC difference of category 11 (code of at
// most 11 bits) and 63 coefficients of size 10 (codes of at most 16 bits). After at most 7 pending
// bits that fills some bytes, each of which may be stuffed, and a partial one.
inline constexpr int32_t kMaxBlockBits = (11 + 11) + 63 * (16 + 10);
inline constexpr int32_t kMaxBlockBytes = 2 * ((7 + kMaxBlockBits) / 8) + 1;

/// Codes one block of quantized coefficients (transposed order) into dst from bit *pBitPos on, and
/// moves *pBitPos past it; *pDcPred is the DC predictor and becomes the block's DC. The bits before
/// *pBitPos in the byte it lies in stay; those after it in the last byte become 0. Writes up to
/// kMaxBlockBytes bytes from dst + *pBitPos / 8 on and tests no room. Coefficients are in the range
/// that the forward transform yields for 8-bit samples. Returns 0.
int32_t veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst,
                                                  int32_t* pBitPos, int16_t* pDcPred,
                                                  const EncodeHuffmanSpec* dcTable,
                                                  const EncodeHuffmanSpec* acTable);

/// Codes the blocks one after another.
EncodeMcus encodeMcuBlocks;

} // namespace vela
