// The AC scans.
#include "progressive/scan_encoders.h"
#include "progressive/scan_io.h"

namespace vela {
namespace {

/// A symbol and the extra bits after it: of the coefficient, or of the end-of-band run.
void encodeSymbol(uint32_t symbol, PackedReader& in, ScanGatherer& gatherer,
                  const EncodeHuffmanSpec& table) {
    auto bits = static_cast<int32_t>(symbol & 15);
    uint32_t extra = 0;
    if (__builtin_expect(static_cast<uint32_t>(bits) - 1 < 8, true)) {
        extra = in.next();
    } else if (bits != 0) {
        extra = in.value(bits);
    } else if (symbol != kSymbolZrl && symbol != 0) {
        bits = static_cast<int32_t>(symbol >> 4);
        extra = in.value(bits) & ((1u << bits) - 1); // a run of full length has its upper bit too
    }
    putSymbol(gatherer, table, symbol, extra, bits);
}

/// Short records are written between symbols: the reserve holds them.
constexpr int32_t kMaxShortRecord = 0xFF;
static_assert(2 * (kMaxShortRecord / 8 + 1) + kMaxSymbolBytes <= kUnitReserve);

/// Of count (1..255) correction bits.
void encodeShortRecord(uint32_t count, PackedReader& in, ScanGatherer& gatherer) {
    gatherer.put(in.next(), static_cast<int32_t>((count - 1) % 8) + 1);
    for (; count > 8; count -= 8)
        gatherer.put(in.byte(), 8);
}

constexpr int32_t kNewBytes = 5; // of a new coefficient and up to eight correction bits

/// New coefficients while they come, each with the correction bits that may follow it: whether they do
/// is a matter of chance, so no branch asks for it. The bytes where they would be are read at any rate,
/// and a mask of ones or zeros keeps them. Both records count as they do one by one.
void encodeNewCoefficients(PackedReader& in, ScanGatherer& gatherer, const EncodeHuffmanSpec& table,
                           int32_t& units) {
    while (units > 1 && in.holds(kNewBytes)) {
        const uint32_t symbol = in.ahead(0);
        const uint32_t corrected = 0u - static_cast<uint32_t>(in.ahead(2) == PACK_ESC_BITS8);
        const uint32_t count = corrected & in.ahead(3);
        if ((symbol & 15) != 1 || count > 8)
            return;
        const uint32_t corrections = corrected & in.ahead(4);
        const uint32_t entry = table.entry[symbol];
        const uint32_t code = (entry & 0xFFFF) << 1 | in.ahead(1);
        gatherer.put(code << count | corrections, static_cast<int32_t>((entry >> 16) + 1 + count));
        in.pass(static_cast<int32_t>(2 + (corrected & 3)));
        units -= static_cast<int32_t>(1 + (corrected & 1));
    }
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
    PackedReader::Tail tail;
    PackedReader in(*scanBuf, tail);
    ScanOutput output(out, st);
    while (in.more()) {
        const Status status = output.makeRoom();
        if (status != ENC_STATUS_OK)
            return status;
        ScanGatherer gatherer = output.gather();
        uint32_t symbol = 0;
        for (int32_t units = output.unitsWithoutFlush(kMaxSymbolBytes); units > 0 && in.more();
             units--) {
            symbol = in.next();
            if (symbol == kRecordMarker)
                break;
            encodeSymbol(symbol, in, gatherer, *acTable);
        }
        output.settle(gatherer);
        if (in.atMarker())
            symbol = in.next();
        if (symbol == kRecordMarker)
            output.copyMarker(in.next());
    }
    output.finish();
    return ENC_STATUS_OK;
}

Status velaEncodeScanData_ACRefine_JPEG(Bitstream_JPEG* out, const Bitstream_JPEG* scanBuf,
                                        const EncodeHuffmanSpec* acTable, EncoderState_JPEG* st) {
    PackedReader::Tail tail;
    PackedReader in(*scanBuf, tail);
    ScanOutput output(out, st);
    while (in.more()) {
        Status status = output.makeRoom();
        if (status != ENC_STATUS_OK)
            return status;
        ScanGatherer gatherer = output.gather();
        uint32_t symbol = 0;
        for (int32_t units = output.unitsWithoutFlush(kMaxSymbolBytes); units > 0 && in.more();
             units--) {
            encodeNewCoefficients(in, gatherer, *acTable, units);
            if (!in.more())
                break;
            symbol = in.next();
            if (symbol < PACK_ESC_BITS16) { // a new coefficient has one extra bit, its sign
                encodeSymbol(symbol, in, gatherer, *acTable);
            } else if (symbol == PACK_ESC_BITS8) {
                const uint32_t count = in.next();
                encodeShortRecord(count, in, gatherer);
                units -= static_cast<int32_t>(count / 32);
            } else {
                break;
            }
        }
        output.settle(gatherer);
        if (symbol == kRecordMarker)
            output.copyMarker(in.next());
        else if (symbol == PACK_ESC_BITS16)
            status = encodeLongRecord(static_cast<int32_t>(in.value(16)), in, output);
        if (status != ENC_STATUS_OK)
            return status;
    }
    output.finish();
    return ENC_STATUS_OK;
}

} // namespace vela
