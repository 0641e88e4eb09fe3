// The output stream: the host's buffer, emptied through its flush callback.
//
//     start                 cursor                start + size
//       |  used: finished bytes  | partial |  free    |
//
// used = cursor - start; room = size - used. When bitCount is 1..7 the byte at cursor is a partial
// entropy-coded byte: its bitCount most significant bits are data, the others 0. It is not counted
// in used and never handed to flush.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Bytes free from cursor on (a partial byte's own place included).
inline int64_t streamRoom(const Bitstream_JPEG& stream) {
    return int64_t{stream.size} - (stream.cursor - stream.start);
}

/// Makes at least needed bytes of room, handing the finished bytes to flush if there is less;
/// whatever flush leaves moves to the buffer's start, with the partial byte after it. With a
/// flushContext of 0 the finished bytes are dropped instead. ENC_STATUS_OUTPUT_FULL, with the
/// stream unchanged, if flush takes too few bytes or answers with anything but a count from 0 to
/// used.
[[nodiscard]] Status czFlushStreamBytes_JPEGENC(Bitstream_JPEG* stream, int32_t needed,
                                                FlushCallback flush, uint32_t flushContext);

/// Writes count bytes as they are. A partial byte is first completed with 1-bits (T.81 F.1.2.3)
/// and, should it become 0xFF, followed by 0x00. Makes room; on failure nothing is written.
[[nodiscard]] Status czWriteStreamBytes_JPEGENC(const uint8_t* bytes, int32_t count,
                                                Bitstream_JPEG* stream, FlushCallback flush,
                                                uint32_t flushContext);

/// Copies count bytes from cursor on and advances it; ENC_STATUS_NODATA if fewer remain.
[[nodiscard]] Status czReadStreamBytes_JPEGENC(uint8_t* dst, int32_t count, Bitstream_JPEG* stream);

} // namespace vela
