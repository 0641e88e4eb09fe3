#include "baseline/mcu_coder.h"

#include <algorithm>
#include <cstring>

#include "stream/markers.h"
#include "stream/output_stream.h"
#include "tables/block_coder/plain.h"

namespace vela {
namespace {

constexpr int32_t kMaxMcuBytes = kMaxBlocksPerMcu * kMaxBlockBytes + kCoderSlack;
static_assert(kMaxBlockBytes == 417 && kMaxMcuBytes == 2566); // drawn in mcu_coder.h
static_assert(kCoderSlack <= kMcuReserve); // several MCUs leave the reserve, and so the slack

void advance(Bitstream_JPEG* stream, int32_t bits) {
    stream->cursor += bits / 8;
    stream->bitCount = static_cast<uint32_t>(bits % 8);
}

/// Puts what was coded aside, after the bits of a copy of the stream's partial byte, into the output.
void putBack(Bitstream_JPEG* stream, const uint8_t* aside, int32_t bits) {
    std::memcpy(stream->cursor, aside, static_cast<size_t>((bits + 7) / 8));
    advance(stream, bits);
}

/// Codes a block aside, makes exactly the room it needs, and puts it into the output.
Status codeBlockAside(Bitstream_JPEG* stream, const BlockSpec& blocks, int32_t i,
                      const EncoderState_JPEG& state) {
    uint8_t aside[kMaxBlockBytes];
    aside[0] = stream->bitCount != 0 ? *stream->cursor : 0;
    auto bits = static_cast<int32_t>(stream->bitCount);
    veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(blocks.blockSamples[i], aside, &bits,
                                              blocks.blockPredictor[i], blocks.blockDcTable[i],
                                              blocks.blockAcTable[i]);
    const Status status =
        czFlushStreamBytes_JPEGENC(stream, (bits + 7) / 8, state.flush, state.flushContext);
    if (status == ENC_STATUS_OK)
        putBack(stream, aside, bits);
    return status;
}

/// Codes an MCU where there is less room than it might need: aside, and if it does not fit after all,
/// block by block.
Status codeMcuAside(Bitstream_JPEG* stream, const BlockSpec& blocks, const PreparedCodes& codes,
                    EncoderState_JPEG* state) {
    uint8_t aside[kMaxMcuBytes];
    aside[0] = stream->bitCount != 0 ? *stream->cursor : 0;
    int16_t predictors[kMaxComponents];
    std::copy_n(state->dcPredictor, kMaxComponents, predictors);
    const int32_t bits = state->routines->encodeMcus(blocks, codes, 1, aside,
                                                     static_cast<int32_t>(stream->bitCount));
    if (streamRoom(*stream) >= (bits + 7) / 8) {
        putBack(stream, aside, bits);
        return ENC_STATUS_OK;
    }

    std::copy_n(predictors, kMaxComponents, state->dcPredictor);
    Status status = ENC_STATUS_OK;
    for (int32_t i = 0; status == ENC_STATUS_OK && i < blocks.blockCount; i++)
        status = codeBlockAside(stream, blocks, i, *state);
    return status;
}

void codeInPlace(Bitstream_JPEG* stream, const BlockSpec& blocks, const PreparedCodes& codes,
                 int32_t mcuCount, const EncoderState_JPEG& state) {
    advance(stream, state.routines->encodeMcus(blocks, codes, mcuCount, stream->cursor,
                                               static_cast<int32_t>(stream->bitCount)));
}

/// Ends the restart interval where it is complete.
Status countDown(Bitstream_JPEG* stream, int32_t mcuCount, EncoderState_JPEG* state) {
    if (state->restartInterval == 0)
        return ENC_STATUS_OK;
    state->restartCounter.mcusToGo -= static_cast<uint32_t>(mcuCount);
    if (state->restartCounter.mcusToGo != 0)
        return ENC_STATUS_OK;
    return velaAdjustRestartIntervalFwd_JPEG(stream, state);
}

} // namespace

Status velaHuffmanEncode_BLS_JPEG(Bitstream_JPEG* stream, BlockSpec* blocks,
                                  EncoderState_JPEG* state) {
    PreparedCodes codes;
    prepareCodes(*state, codes);
    return codeMcus(stream, *blocks, codes, 1, state);
}

void prepareCodes(const EncoderState_JPEG& state, PreparedCodes& codes) {
    if (state.routines->prepareCodes != nullptr)
        state.routines->prepareCodes(state.blockSpec, codes);
}

Status codeMcus(Bitstream_JPEG* stream, const BlockSpec& blocks, const PreparedCodes& codes,
                int32_t mcuCount, EncoderState_JPEG* state) {
    if (mcuCount > 1 || streamRoom(*stream) >= kMaxMcuBytes) {
        codeInPlace(stream, blocks, codes, mcuCount, *state);
    } else if (const Status status = codeMcuAside(stream, blocks, codes, state);
               status != ENC_STATUS_OK) {
        return status;
    }
    return countDown(stream, mcuCount, state);
}

int32_t mcusInPlace(const Bitstream_JPEG& stream, const EncoderState_JPEG& state, int32_t most) {
    const int32_t mcuBytes = state.blockSpec.blockCount * kMaxBlockBytes;
    const auto room = static_cast<int32_t>(streamRoom(stream)) - kMcuReserve;
    int32_t count = room < most * mcuBytes ? room / mcuBytes : most;
    if (state.restartInterval > 0)
        count = std::min(count, static_cast<int32_t>(state.restartCounter.mcusToGo));
    return std::max<int32_t>(count, 1);
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
