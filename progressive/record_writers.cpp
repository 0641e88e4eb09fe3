#include "progressive/record_writers.h"

#include "progressive/packed_stream.h"

namespace vela {
namespace {

/// Eight bits that stand in bytes, 0 or 1, in one; the first becomes the most significant. The bytes are
/// taken as a number, the first as its lowest: times 2^63 + 2^54 + ... + 2^9 + 1, byte i reaches bit
/// 63 - i, and no two of all the products fall on one bit.
uint32_t gatherEight(const uint8_t* bits) {
    uint64_t bytes = 0;
    for (int32_t i = 0; i < 8; i++)
        bytes |= uint64_t{bits[i]} << (8 * i);
    return static_cast<uint32_t>((bytes * 0x8040201008040201) >> 56);
}

} // namespace

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

void packFullEobRun(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder) {
    packSymbol(buffer, counts, 0xE0);
    packByte(buffer, kMaxEobRun >> 8);
    packByte(buffer, kMaxEobRun & 0xFF);
    coder.eobRun = 0;
}

void packCorrectionBits(Bitstream_JPEG& buffer, const uint8_t* bits, int32_t count) {
    if (count <= 0)
        return;
    if (count <= 0xFF) {
        packByte(buffer, PACK_ESC_BITS8);
    } else {
        packByte(buffer, PACK_ESC_BITS16);
        packByte(buffer, static_cast<uint32_t>(count) >> 8);
    }
    packByte(buffer, static_cast<uint32_t>(count) & 0xFF);

    const int32_t inFirst = count % 8; // whole bytes stand at the end
    uint32_t first = 0;
    for (int32_t i = 0; i < inFirst; i++)
        first = (first << 1) | bits[i];
    if (inFirst > 0)
        packByte(buffer, first);
    for (int32_t i = inFirst; i < count; i += 8)
        packByte(buffer, gatherEight(bits + i));
}

void packPending(Bitstream_JPEG& buffer, uint32_t* counts, ScanCoderState& coder) {
    packEobRun(buffer, counts, coder);
    packCorrectionBits(buffer, coder.correctionBits, coder.correctionCount);
    coder.correctionCount = 0;
}

} // namespace vela
