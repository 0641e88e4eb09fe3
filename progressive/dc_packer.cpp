#include "progressive/dc_packer.h"

#include <cstdlib>

#include "progressive/packed_stream.h"
#include "stream/bit_writer.h"

namespace vela {

int32_t velaCoeffPack_DC_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* dcFirstBuf,
                              Bitstream_JPEG* dcRefineBuf, ScanCoderState* refineCoder,
                              int16_t* predictor, int32_t Al) {
    const int32_t dc = block[0];
    const int32_t shifted = dc >> Al;
    const int32_t difference = shifted - *predictor;
    *predictor = static_cast<int16_t>(shifted);

    const int32_t size = magnitudeSize(static_cast<uint32_t>(std::abs(difference)));
    packSymbol(*dcFirstBuf, counts, static_cast<uint32_t>(size));
    packValue(*dcFirstBuf, static_cast<uint32_t>(difference < 0 ? difference - 1 : difference),
              size);

    BitWriterState& bits = refineCoder->bits; // a single bit goes in without the writer's shifts
    bits.bitAccumulator |= (static_cast<uint32_t>(dc) & 1) << (31 - bits.bitsUsed);
    if (++bits.bitsUsed == 32) {
        int32_t added = 0;
        velaWriteFourBytes_JPEG(bits.bitAccumulator, dcRefineBuf->cursor, &added);
        dcRefineBuf->cursor += added;
        bits = {};
    }
    return ENC_STATUS_OK;
}

} // namespace vela
