// The plain AC packers: every coefficient of the band in turn, as T.81 Annex G tells it.
#include "progressive/ac_packers/plain.h"

#include <cassert>
#include <cstdlib>

#include "progressive/packed_stream.h"
#include "progressive/record_writers.h"
#include "state/zigzag.h"

namespace vela {

int32_t velaPackACFirst_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* buf,
                             ScanCoderState* coder, int32_t Ss, int32_t Se, int32_t Al) {
    [[maybe_unused]] const uint8_t* const before = buf->cursor;
    uint32_t run = 0;
    for (int32_t k = Ss; k <= Se; k++) {
        const int32_t value = block[kTransposedZigzag[static_cast<size_t>(k)]];
        const uint32_t magnitude = static_cast<uint32_t>(std::abs(value)) >> Al;
        if (magnitude == 0) {
            run++;
            continue;
        }
        packEobRun(*buf, counts, *coder);
        for (; run >= 16; run -= 16)
            packSymbol(*buf, counts, kSymbolZrl);
        const int32_t size = magnitudeSize(magnitude);
        packSymbol(*buf, counts, (run << 4) + static_cast<uint32_t>(size));
        packValue(*buf, value < 0 ? ~magnitude : magnitude, size);
        run = 0;
    }
    if (run > 0 && ++coder->eobRun == kMaxEobRun)
        packFullEobRun(*buf, counts, *coder);
    assert(buf->cursor - before <= kMaxAcFirstBytes);
    return ENC_STATUS_OK;
}

int32_t velaPackACRefine_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* buf,
                              ScanCoderState* coder, int32_t Ss, int32_t Se, int32_t Al) {
    [[maybe_unused]] const uint8_t* const before = buf->cursor;
    uint32_t magnitudes[kBlockSamples];
    int32_t lastNew = 0; // after it the band holds no new coefficient: no zero run is written
    for (int32_t k = Ss; k <= Se; k++) {
        const int32_t value = block[kTransposedZigzag[static_cast<size_t>(k)]];
        magnitudes[k] = static_cast<uint32_t>(std::abs(value)) >> Al;
        if (magnitudes[k] == 1)
            lastNew = k;
    }

    // The block's own correction bits are gathered after those that are pending already. Once the
    // pending ones are written, the next ones start at the buffer's beginning.
    uint8_t* own = coder->correctionBits + coder->correctionCount;
    int32_t ownCount = 0;
    const auto packOwn = [&] {
        packCorrectionBits(*buf, own, ownCount);
        own = coder->correctionBits;
        ownCount = 0;
    };

    uint32_t run = 0;
    for (int32_t k = Ss; k <= Se; k++) {
        if (magnitudes[k] == 0) {
            run++;
            continue;
        }
        for (; run > 15 && k <= lastNew; run -= 16) {
            packPending(*buf, counts, *coder);
            packSymbol(*buf, counts, kSymbolZrl);
            packOwn();
        }
        if (magnitudes[k] > 1) {
            own[ownCount++] = magnitudes[k] & 1;
            continue;
        }
        packPending(*buf, counts, *coder);
        packSymbol(*buf, counts, (run << 4) + 1);
        packByte(*buf, block[kTransposedZigzag[static_cast<size_t>(k)]] > 0 ? 1 : 0);
        packOwn();
        run = 0;
    }

    if (run > 0 || ownCount > 0) {
        coder->eobRun++;
        coder->correctionCount += ownCount;
        if (coder->correctionCount > kMaxPendingCorrections || coder->eobRun >= kMaxEobRun)
            packPending(*buf, counts, *coder);
    }
    assert(buf->cursor - before <= kMaxAcRefineBytes);
    return ENC_STATUS_OK;
}

void packAcBlock(const int16_t* block, const AcScan& first, const AcScan& refine) {
    velaPackACFirst_JPEG(block, first.counts, first.buffer, first.coder, 1, 63, kFirstAl);
    velaPackACRefine_JPEG(block, refine.counts, refine.buffer, refine.coder, 1, 63, kRefineAl);
}

} // namespace vela
