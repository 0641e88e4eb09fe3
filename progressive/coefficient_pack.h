// Packing of a whole picture's coefficients into the scan buffers, MCU by MCU.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// One MCU. lumaPresent has a flag per luminance block: 0 for one that lies outside the component's
/// own block grid and so takes part in the DC scans alone (T.81 A.2.2). ENC_STATUS_NOMEM if a scan
/// buffer cannot grow, here and below.
[[nodiscard]] Status velaCoeffPack_MCU_JPEG(EncoderState_JPEG* st, const BlockSpec* blocks,
                                            const int32_t lumaPresent[4]);

/// The lower luminance blocks of a row of 4:2:0 MCUs, which were put by until the upper ones of the
/// whole row were packed: a scan of one component takes its blocks in raster order.
[[nodiscard]] Status velaCoeffPack411Final_JPEG(const int16_t* deferredBlocks,
                                                EncoderState_JPEG* st);

/// Writes what is pending at the picture's end.
[[nodiscard]] Status velaCoeffPackEnd_JPEG(const BlockSpec* blocks, EncoderState_JPEG* st);

/// Counts a unit (MCU or block) of a pair of scans, first and its refinement second, towards their
/// restart interval; where it is complete, ends it in both buffers. Returns 0.
int32_t velaRestartBitstream_JPEG(EncoderState_JPEG* st, int32_t first, int32_t second,
                                  int32_t isAC);

/// Takes back the restart marker that a pair's last unit has written, in both buffers of every
/// pair: none may stand at a scan's end.
void takeBackLastMarkers(EncoderState_JPEG* st);

// Pending bits or runs of one scan. All return 0.
int32_t velaCoeffPack_DCRefineFlush_JPEG(Bitstream_JPEG* buf, ScanCoderState* coder);
int32_t velaCoeffPack_ACFirstFlush_JPEG(uint32_t* counts, Bitstream_JPEG* buf,
                                        ScanCoderState* coder);
int32_t velaCoeffPack_ACRefineFlush_JPEG(uint32_t* counts, Bitstream_JPEG* buf,
                                         ScanCoderState* coder);

/// Copies a block. Returns 0.
int32_t velaStoreCoeff_JPEG(const int16_t* block, int16_t* dst);

} // namespace vela
