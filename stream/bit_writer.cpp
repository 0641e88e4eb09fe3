#include "stream/bit_writer.h"

namespace vela {
namespace {

void writeStuffed(uint32_t byte, uint8_t* buf, int32_t* pos) {
    buf[(*pos)++] = static_cast<uint8_t>(byte);
    if (byte == 0xFF)
        buf[(*pos)++] = 0x00;
}

/// The nbits (0..31) low bits of code.
uint32_t lowBits(int32_t code, int32_t nbits) {
    return static_cast<uint32_t>(code) & ((uint32_t{1} << nbits) - 1);
}

} // namespace

void velaWriteFourBytes_JPEG(uint32_t word, uint8_t* buf, int32_t* pos) {
    for (int32_t shift = 24; shift >= 0; shift -= 8)
        writeStuffed((word >> shift) & 0xFF, buf, pos);
}

void velaWriteStreamBits_JPEG(int32_t code, int32_t nbits, uint8_t* buf, int32_t* pos,
                              BitWriterState* state) {
    if (nbits <= 0)
        return;
    const uint32_t bits = lowBits(code, nbits);
    const int32_t free = 32 - state->bitsUsed; // 1..32
    if (nbits < free) {
        state->bitAccumulator |= bits << (free - nbits);
        state->bitsUsed += nbits;
        return;
    }
    const int32_t rest = nbits - free; // bits that the full accumulator does not take: 0..30
    velaWriteFourBytes_JPEG(state->bitAccumulator | (bits >> rest), buf, pos);
    state->bitAccumulator = rest == 0 ? 0 : bits << (32 - rest);
    state->bitsUsed = rest;
}

void velaFlushStreamBits_JPEG(uint8_t* buf, int32_t* pos, BitWriterState* state) {
    while (state->bitsUsed >= 8) {
        writeStuffed(state->bitAccumulator >> 24, buf, pos);
        state->bitAccumulator <<= 8;
        state->bitsUsed -= 8;
    }
    if (state->bitsUsed > 0)
        writeStuffed((state->bitAccumulator >> 24) | (0xFFu >> state->bitsUsed), buf, pos);
    *state = {};
}

} // namespace vela
