// The kernels that exist per instruction set, and the table through which everything calls them.
#pragma once

#include <cstdint>

#include "vela/primitives.h"

namespace vela {

struct BlockSpec;
struct ScanCoderState;

/// Transforms and quantizes the blocks of one MCU in place.
using TransformMcu = void(BlockSpec* blocks);

/// Codes one block into dst from bit *pBitPos on (veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1).
using EncodeBlock = int32_t(const int16_t* src, uint8_t* dst, int32_t* pBitPos, int16_t* pDcPred,
                            const EncodeHuffmanSpec* dcTable, const EncodeHuffmanSpec* acTable);

/// Packs one block's AC contribution to a progressive scan (velaPackACFirst_JPEG,
/// velaPackACRefine_JPEG).
using PackAc = int32_t(const int16_t* block, uint32_t* counts, Bitstream_JPEG* buf,
                       ScanCoderState* coder, int32_t Ss, int32_t Se, int32_t Al);

/// One instruction set's kernels. Set-up picks a table once and the state points at it; nothing
/// else in the library knows which one it was.
struct RoutineTable {
    const char* name;
    TransformMcu* transformMcu;
    EncodeBlock* encodeBlock;
    PackAc* packAcFirst;
    PackAc* packAcRefine;
    VelaConvertMcu* grey;
    VelaConvertMcu* packed[3 /* BGR888, BGR555, BGR565 */][3 /* 4:4:4, 4:2:2, 4:2:0 */];
    VelaConvertMcuPlanar* planar[3 /* 4:4:4, 4:2:2, 4:2:0 */];
    VelaConvertMcuPlanar* semiPlanar[2 /* NV12, NV21 */];
};

} // namespace vela
