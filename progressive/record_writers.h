// The records that are more than a symbol and its value.
#pragma once

#include "state/encoder_state.h"

namespace vela {

inline constexpr uint8_t kSymbolZrl = 0xF0;
inline constexpr int32_t kMaxEobRun = 0x7FFF; // T.81 G.1.2.2: EOB14 with all extra bits 1

/// The pending end-of-band run, if there is one.
void packEobRun(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder);

/// An end-of-band run of full length. Its value byte keeps the run's upper bit, which no reader uses.
void packFullEobRun(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder);

/// count correction bits (one per byte), if there are any.
void packCorrectionBits(Bitstream_JPEG& buffer, const uint8_t* bits, int32_t count);

/// The pending end-of-band run and the correction bits that belong to its blocks.
void packPending(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder);

} // namespace vela
