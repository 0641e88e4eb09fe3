// The DC scans, and the choice of a scan's encoder.
#include "progressive/scan_encoders.h"
#include "progressive/scan_io.h"
#include "progressive/scan_script.h"

namespace vela {
namespace {

/// A difference's size is 0..11; nothing in a byte sequence from elsewhere makes it more than the
/// 15 bits that may follow a code.
constexpr uint32_t kMaxDifferenceSize = 15;

void encodeDifference(uint32_t symbol, PackedReader& in, ScanGatherer& gatherer,
                      const EncodeHuffmanSpec& table) {
    const uint32_t size = std::min(symbol, kMaxDifferenceSize);
    const auto bits = static_cast<int32_t>(size);
    putSymbol(gatherer, table, size, in.value(bits), bits);
}

} // namespace

Status velaEncodeScanData_Progressive_JPEG(Bitstream_JPEG* out, EncoderState_JPEG* st) {
    const auto scans = static_cast<uint32_t>(st->scanBufferCount);
    const uint32_t index = st->restartCounter.scanIndex - 1;
    if (index >= scans)
        return ENC_STATUS_ERR;
    const Bitstream_JPEG* const scanBuf = &st->scanBuffer[index];
    const EncodeHuffmanSpec* const dcTables[2] = {st->huffSpecStore[0], st->huffSpecStore[1]};
    const EncodeHuffmanSpec* const acTable =
        st->huffSpecStore[2 + st->scanSpec.component[0]->acSelector];
    switch (kindOf(st->scanSpec)) {
    case ScanKind::dcFirst:
        return velaEncodeScanData_DCFirst_JPEG(out, scanBuf, dcTables, st);
    case ScanKind::dcRefine:
        return velaEncodeScanData_DCRefine_JPEG(out, scanBuf, st);
    case ScanKind::acFirst:
        return velaEncodeScanData_ACFirst_JPEG(out, scanBuf, acTable, st);
    case ScanKind::acRefine:
        return velaEncodeScanData_ACRefine_JPEG(out, scanBuf, acTable, st);
    }
    return ENC_STATUS_ERR;
}

Status velaEncodeScanData_DCFirst_JPEG(Bitstream_JPEG* out, const Bitstream_JPEG* scanBuf,
                                       const EncodeHuffmanSpec* const dcTables[2],
                                       EncoderState_JPEG* st) {
    PackedReader::Tail tail;
    PackedReader in(*scanBuf, tail);
    ScanOutput output(out, st);
    const int32_t lumaBlocks = st->blockSpec.blockCount - st->blockSpec.chromaBlocks;
    const int32_t blocks = st->blockSpec.blockCount;
    while (in.more()) {
        const Status status = output.makeRoom();
        if (status != ENC_STATUS_OK)
            return status;
        ScanGatherer gatherer = output.gather();
        int32_t mcus = output.unitsWithoutFlush(kMaxBlocksPerMcu * kMaxSymbolBytes);
        uint32_t symbol = 0;
        for (; mcus > 0 && in.more() && symbol != kRecordMarker; mcus--) {
            for (int32_t b = 0; b < blocks && in.more(); b++) {
                symbol = in.next();
                if (symbol == kRecordMarker)
                    break;
                encodeDifference(symbol, in, gatherer, *dcTables[b < lumaBlocks ? 0 : 1]);
            }
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

Status velaEncodeScanData_DCRefine_JPEG(Bitstream_JPEG* out, const Bitstream_JPEG* scanBuf,
                                        EncoderState_JPEG* st) {
    ScanOutput output(out, st);
    const uint8_t* from = scanBuf->start;
    int64_t left = scanBuf->cursor - scanBuf->start;
    Status status = output.makeRoom();
    const int64_t portion = left <= streamRoom(*out) ? left : kUnitReserve;
    while (status == ENC_STATUS_OK && left > 0) {
        const int64_t bytes = std::min(left, portion);
        std::memcpy(out->cursor, from, static_cast<size_t>(bytes));
        out->cursor += bytes;
        from += bytes;
        left -= bytes;
        status = output.makeRoom();
    }
    return status;
}

} // namespace vela
