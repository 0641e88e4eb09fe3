#include "baseline/mcu_coder.h"

#include <algorithm>
#include <cstring>

#include "stream/markers.h"
#include "stream/output_stream.h"
#include "tables/block_coder.h"

namespace vela {
namespace {

/// Codes block i to dst behind the bits of the stream's partial byte, which the byte at dst holds,
/// and returns the bit position behind it.
int32_t codeBlockTo(uint8_t* dst, const Bitstream_JPEG& stream, const BlockSpec& blocks, int32_t i,
                    const EncoderState_JPEG& state) {
    auto bitPosition = static_cast<int32_t>(stream.bitCount);
    state.routines->encodeBlock(blocks.blockSamples[i], dst, &bitPosition, blocks.blockPredictor[i],
                                blocks.blockDcTable[i], blocks.blockAcTable[i]);
    return bitPosition;
}

void advance(Bitstream_JPEG* stream, int32_t bits) {
    stream->cursor += bits / 8;
    stream->bitCount = static_cast<uint32_t>(bits % 8);
}

/// Codes a block that may not fit the room that is left: aside first, then, with exactly the room
/// it needs, into the output.
Status codeBlockAside(Bitstream_JPEG* stream, const BlockSpec& blocks, int32_t i,
                      const EncoderState_JPEG& state) {
    uint8_t aside[kMaxBlockBytes];
    if (stream->bitCount != 0)
        aside[0] = *stream->cursor;
    const int32_t bits = codeBlockTo(aside, *stream, blocks, i, state);
    const int32_t bytes = (bits + 7) / 8;

    const Status status =
        czFlushStreamBytes_JPEGENC(stream, bytes, state.flush, state.flushContext);
    if (status != ENC_STATUS_OK)
        return status;
    std::memcpy(stream->cursor, aside, static_cast<size_t>(bytes));
    advance(stream, bits);
    return ENC_STATUS_OK;
}

} // namespace

Status velaHuffmanEncode_BLS_JPEG(Bitstream_JPEG* stream, BlockSpec* blocks,
                                  EncoderState_JPEG* state) {
    for (int32_t i = 0; i < blocks->blockCount; i++) {
        if (streamRoom(*stream) >= kMaxBlockBytes) {
            advance(stream, codeBlockTo(stream->cursor, *stream, *blocks, i, *state));
            continue;
        }
        const Status status = codeBlockAside(stream, *blocks, i, *state);
        if (status != ENC_STATUS_OK)
            return status;
    }

    if (state->restartInterval > 0 && --state->restartCounter.mcusToGo == 0)
        return velaAdjustRestartIntervalFwd_JPEG(stream, state);
    return ENC_STATUS_OK;
}

Status velaAdjustRestartIntervalFwd_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    RestartCounter& counter = state->restartCounter;
    std::fill_n(state->dcPredictor, kMaxComponents, int16_t{0});
    const Status status =
        velaWrite_RST_JPEG(counter.rstIndex, stream, state->flush, state->flushContext);
    counter.rstIndex = (counter.rstIndex + 1) & 7;
    counter.mcusToGo = state->restartInterval;
    return status;
}

} // namespace vela
