// What one block's DC coefficient contributes to the DC scans (T.81 Annex G.1.2.1).
#pragma once

#include <bit>
#include <cstdlib>

#include "progressive/packed_stream.h"
#include "state/encoder_state.h"
#include "stream/bit_writer.h"

namespace vela {

/// The difference of the coefficient without its Al low bits, as a record of the packed symbol stream,
/// counted; and bit 0, in final form. The buffers have room. Returns 0.
inline int32_t velaCoeffPack_DC_JPEG(const int16_t* block, uint32_t* counts,
                                     Bitstream_JPEG* dcFirstBuf, Bitstream_JPEG* dcRefineBuf,
                                     ScanCoderState* refineCoder, int16_t* predictor, int32_t Al) {
    const int32_t dc = block[0];
    const int32_t shifted = dc >> Al;
    const int32_t difference = shifted - *predictor;
    *predictor = static_cast<int16_t>(shifted);

    // Counted from twice the magnitude and one on, so that none has no bits at all.
    const auto twice = 2 * static_cast<uint32_t>(std::abs(difference));
    const int32_t size = 31 - std::countl_zero(twice | 1);
    const auto value =
        static_cast<uint32_t>(difference < 0 ? difference - 1 : difference) & ((1u << size) - 1);
    uint8_t* out = dcFirstBuf->cursor;
    counts[size]++;
    *out++ = static_cast<uint8_t>(size);
    if (__builtin_expect(size > 8, false))
        *out++ = static_cast<uint8_t>(value >> 8);
    *out++ = static_cast<uint8_t>(value);
    dcFirstBuf->cursor = out;

    BitWriterState bits = refineCoder->bits; // a single bit goes in without the writer's shifts
    bits.bitAccumulator |= (static_cast<uint32_t>(dc) & 1) << (31 - bits.bitsUsed);
    if (++bits.bitsUsed == 32) {
        int32_t added = 0;
        velaWriteFourBytes_JPEG(bits.bitAccumulator, dcRefineBuf->cursor, &added);
        dcRefineBuf->cursor += added;
        bits = {};
    }
    refineCoder->bits = bits;
    return ENC_STATUS_OK;
}

} // namespace vela
