// The AC scans.
#include "progressive/scan_encoders.h"
#include "progressive/scan_io.h"

namespace vela {
namespace {

/// A symbol and the extra bits behind it: of the coefficient, or of the end-of-band run.
void encodeSymbol(uint32_t symbol, PackedReader& in, ScanOutput& output,
                  const EncodeHuffmanSpec& table) {
    output.putSymbol(table, symbol);
    if (symbol == kSymbolZrl)
        return;
    const uint32_t size = symbol & 15;
    const auto bits = static_cast<int32_t>(size != 0 ? size : symbol >> 4);
    if (bits > 0)
        output.putBits(in.value(bits), bits);
}

Status encodeCorrectionBits(int32_t count, PackedReader& in, ScanOutput& output) {
    const Status status = output.makeRoomForBits(count);
    if (status != ENC_STATUS_OK)
        return status;
    int32_t inFirst = count % 8;
    if (inFirst != 0)
        output.putBits(static_cast<int32_t>(in.byte()), inFirst);
    for (int32_t i = count / 8; i > 0; i--)
        output.putBits(static_cast<int32_t>(in.byte()), 8);
    return ENC_STATUS_OK;
}

} // namespace

Status velaEncodeScanData_ACFirst_JPEG(Bitstream_JPEG* out, const Bitstream_JPEG* scanBuf,
                                       const EncodeHuffmanSpec* acTable, EncoderState_JPEG* st) {
    PackedReader in(*scanBuf);
    ScanOutput output(out, st);
    while (in.more()) {
        const Status status = output.makeRoom();
        if (status != ENC_STATUS_OK)
            return status;
        encodeSymbol(in.byte(), in, output, *acTable);
        if (st->restartInterval > 0 && in.atMarker())
            output.copyMarker(in);
    }
    output.finish();
    return ENC_STATUS_OK;
}

Status velaEncodeScanData_ACRefine_JPEG(Bitstream_JPEG* out, const Bitstream_JPEG* scanBuf,
                                        const EncodeHuffmanSpec* acTable, EncoderState_JPEG* st) {
    PackedReader in(*scanBuf);
    ScanOutput output(out, st);
    while (in.more()) {
        Status status = output.makeRoom();
        if (status != ENC_STATUS_OK)
            return status;
        if (in.atMarker()) {
            output.copyMarker(in);
            continue;
        }
        const uint32_t symbol = in.byte();
        switch (symbol) {
        case PACK_ESC_BITS8:
            status = encodeCorrectionBits(in.value(8), in, output);
            break;
        case PACK_ESC_BITS16:
            status = encodeCorrectionBits(in.value(16), in, output);
            break;
        default: // a new coefficient has one extra bit, its sign
            encodeSymbol(symbol, in, output, *acTable);
        }
        if (status != ENC_STATUS_OK)
            return status;
    }
    output.finish();
    return ENC_STATUS_OK;
}

} // namespace vela
