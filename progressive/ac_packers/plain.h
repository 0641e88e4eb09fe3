// What one block contributes to the AC scans (T.81 G.1.2.2, G.1.2.3), as records of the packed symbol
// stream: the plain packers, and the bounds that hold for those of every instruction set. The buffers have
// room, the symbols are counted.
#pragma once

#include "state/encoder_state.h"

namespace vela {

/// Zigzag coefficients Ss..Se without their Al low bits. Returns 0.
int32_t velaPackACFirst_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* buf,
                             ScanCoderState* coder, int32_t Ss, int32_t Se, int32_t Al);

/// Bit Al of zigzag coefficients Ss..Se, those that are 1 without lower bits being new. Returns 0.
int32_t velaPackACRefine_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* buf,
                              ScanCoderState* coder, int32_t Ss, int32_t Se, int32_t Al);

/// Both AC scans of a colour or grey script, as PackAc (state/routines.h) says.
void packAcBlock(const int16_t* block, const AcScan& first, const AcScan& refine);

// Most bytes that a block adds to one buffer, everything pending before it and a restart marker after
// it included.
// - AC first: the pending run; 63 coefficients of a symbol and two value bytes; at the end another
//   run; the marker.
// - AC refinement: the pending run with up to 961 correction bits (more are written at once); 31
//   times a correction bit in a record of its own and a new coefficient, and one coefficient more
//   (any other mixture is shorter); at the end a run with the block's own bits, of which there are
//   at most 63; the marker.
inline constexpr int32_t kEobRunBytes = 3;
inline constexpr int32_t kMarkerBytes = 2;
inline constexpr int32_t kMaxAcFirstBytes = kEobRunBytes + 63 * 3 + kEobRunBytes + kMarkerBytes;
inline constexpr int32_t kMaxAcRefineBytes =
    (kEobRunBytes + 3 + (961 + 7) / 8) + (31 * (3 + 2) + 2) + (kEobRunBytes + 2 + 8) + kMarkerBytes;

/// Correction bits that may be pending when a block is begun, so that its own 63 fit after them.
inline constexpr int32_t kMaxPendingCorrections = 1024 - 63;

} // namespace vela
