#include "progressive/packed_stream.h"

namespace vela {

void packEobRun(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder) {
    if (coder.eobRun <= 0)
        return;
    const auto run = static_cast<uint32_t>(coder.eobRun);
    const int32_t runClass = eobRunClass(run);
    packSymbol(buffer, counts, static_cast<uint32_t>(runClass) << 4);
    if (runClass > 0)
        packValue(buffer, run, runClass);
    coder.eobRun = 0;
}

void packCorrectionBits(Bitstream_JPEG& buffer, const uint8_t* bits, int32_t count) {
    if (count <= 0)
        return;
    if (count <= 0xFF) {
        packByte(buffer, PACK_ESC_BITS8);
        packByte(buffer, static_cast<uint32_t>(count));
    } else {
        packByte(buffer, PACK_ESC_BITS16);
        packByte(buffer, static_cast<uint32_t>(count) >> 8);
        packByte(buffer, static_cast<uint32_t>(count) & 0xFF);
    }
    uint32_t byte = 0;
    for (int32_t i = 0; i < count; i++) {
        byte = (byte << 1) | bits[i];
        if ((count - 1 - i) % 8 == 0) { // whole bytes stand at the end
            packByte(buffer, byte);
            byte = 0;
        }
    }
}

} // namespace vela
