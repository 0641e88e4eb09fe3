// The 32-bit bit writer of the progressive scans. It writes at buf + *pos and advances *pos; its
// callers have made the room. Every 0xFF it writes is followed by 0x00 (T.81 F.1.2.3).
#pragma once

#include "state/encoder_state.h"

namespace vela {

/// Writes the bytes of word, most significant first: 4 to 8 bytes.
void velaWriteFourBytes_JPEG(uint32_t word, uint8_t* buf, int32_t* pos);

/// Appends the nbits low bits of code, most significant first; nbits is 0 (or less: nothing) to 31.
/// The bits of code above them are ignored.
void velaWriteStreamBits_JPEG(int32_t code, int32_t nbits, uint8_t* buf, int32_t* pos,
                              BitWriterState* state);

/// Writes all pending bits, completing the last byte with 1-bits, and clears the state.
void velaFlushStreamBits_JPEG(uint8_t* buf, int32_t* pos, BitWriterState* state);

} // namespace vela
