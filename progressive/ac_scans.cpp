// The AC scans.
#include "progressive/scan_encoders.h"
#include "progressive/scan_io.h"

namespace vela {
namespace {

/// A symbol and the extra bits behind it: of the coefficient, or of the end-of-band run.
void encodeSymbol(uint32_t symbol, PackedReader& in, BitGatherer& gatherer,
                  const EncodeHuffmanSpec& table) {
    const uint32_t size = symbol & 15;
    const auto bits = static_cast<int32_t>(size != 0              ? size
                                           : symbol == kSymbolZrl ? 0
                                                                  : symbol >> 4);
    putSymbol(gatherer, table, symbol, bits > 0 ? in.value(bits) : 0, bits);
}

/// Short records are written between symbols: the reserve holds them.
constexpr int32_t kMaxShortRecord = 0xFF;
static_assert(2 * (kMaxShortRecord / 8 + 1) + kMaxSymbolBytes <= kUnitReserve);

void encodeShortRecord(int32_t count, PackedReader& in, BitGatherer& gatherer) {
    const int32_t inFirst = count % 8;
    if (inFirst != 0)
        gatherer.put(in.byte() & ((1u << inFirst) - 1), inFirst);
    for (int32_t i = count / 8; i > 0; i--)
        gatherer.put(in.byte(), 8);
}

Status encodeLongRecord(int32_t count, PackedReader& in, ScanOutput& output) {
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
        BitGatherer gatherer = output.gather();
        int64_t symbols = output.unitsWithoutFlush(kMaxSymbolBytes);
        bool marker = false;
        for (; symbols > 0 && in.more() && !marker; symbols--) {
            encodeSymbol(in.byte(), in, gatherer, *acTable);
            marker = st->restartInterval > 0 && in.atMarker();
        }
        output.settle(gatherer);
        if (marker)
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
        BitGatherer gatherer = output.gather();
        int64_t units = output.unitsWithoutFlush(kMaxSymbolBytes);
        uint32_t symbol = 0;
        while (units > 0 && in.more() && !in.atMarker()) {
            symbol = in.byte();
            if (symbol == PACK_ESC_BITS16)
                break;
            units--;
            if (symbol == PACK_ESC_BITS8) {
                const int32_t count = in.value(8);
                encodeShortRecord(count, in, gatherer);
                units -= count / 32 + 1;
            } else { // a new coefficient has one extra bit, its sign
                encodeSymbol(symbol, in, gatherer, *acTable);
            }
        }
        output.settle(gatherer);
        if (symbol == PACK_ESC_BITS16)
            status = encodeLongRecord(in.value(16), in, output);
        if (status != ENC_STATUS_OK)
            return status;
    }
    output.finish();
    return ENC_STATUS_OK;
}

} // namespace vela
