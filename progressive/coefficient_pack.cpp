#include "progressive/coefficient_pack.h"

#include <algorithm>
#include <cassert>

#include "progressive/ac_packers/plain.h"
#include "progressive/dc_packer.h"
#include "progressive/packed_stream.h"
#include "stream/bit_writer.h"
#include "stream/markers.h"
#include "stream/scan_buffers.h"

namespace vela {
namespace {

// An MCU has at most two blocks for the same buffers.
static_assert(kMaxAcFirstBytes == 197 && 2 * kMaxAcFirstBytes + kPackerSlack <= kScanBufferReserve);
static_assert(kMaxAcRefineBytes == 299 &&
              2 * kMaxAcRefineBytes + kPackerSlack <= kScanBufferReserve);

void packAc(EncoderState_JPEG* st, const int16_t* samples, const BlockSpec& blocks, int32_t b) {
    const BlockScans& scan = blocks.blockScan[b];
    const BlockStats& stats = blocks.blockStats[b];
    const BlockCoders& coder = blocks.blockCoder[b];
    st->routines->packAc(
        samples,
        {st->scanStats[stats.acFirst], &st->scanBuffer[scan.acFirst], st->scanCoder[coder.acFirst]},
        {st->scanStats[stats.acRefine], &st->scanBuffer[scan.acRefine],
         st->scanCoder[coder.acRefine]});
    if (st->restartInterval > 0)
        velaRestartBitstream_JPEG(st, scan.acFirst, scan.acRefine, 1);
}

void packDc(EncoderState_JPEG* st, const BlockSpec& blocks) {
    for (int32_t b = 0; b < blocks.blockCount; b++)
        velaCoeffPack_DC_JPEG(blocks.blockSamples[b], st->scanStats[blocks.blockStats[b].dc],
                              &st->scanBuffer[blocks.blockScan[b].dcFirst],
                              &st->scanBuffer[blocks.blockScan[b].dcRefine],
                              st->scanCoder[blocks.blockCoder[b].dcRefine],
                              blocks.blockPredictor[b], kFirstAl);
    if (st->restartInterval > 0)
        velaRestartBitstream_JPEG(st, blocks.blockScan[0].dcFirst, blocks.blockScan[0].dcRefine, 0);
}

void packMarker(Bitstream_JPEG& buffer, uint32_t n) {
    packByte(buffer, 0xFF);
    packByte(buffer, kMarkerRst0 + n);
}

[[maybe_unused]] bool withinBuffers(const EncoderState_JPEG* st) {
    return std::all_of(st->scanBuffer, st->scanBuffer + st->scanBufferCount,
                       [](const Bitstream_JPEG& b) { return b.cursor - b.start <= b.size; });
}

} // namespace

Status velaCoeffPack_MCU_JPEG(EncoderState_JPEG* st, const BlockSpec* blocks,
                              const int32_t lumaPresent[4]) {
    const Status status = velaCheckOverflow_JPEG(st);
    if (status != ENC_STATUS_OK)
        return status;

    packDc(st, *blocks);
    const int32_t lumaBlocks = blocks->blockCount - blocks->chromaBlocks;
    for (int32_t b = 0; b < lumaBlocks; b++) {
        if (lumaPresent[b] == 0)
            continue;
        if (b < 2) {
            packAc(st, blocks->blockSamples[b], *blocks, b);
        } else {
            velaStoreCoeff_JPEG(blocks->blockSamples[b], st->deferredCursor);
            st->deferredCursor += kBlockSamples;
        }
    }
    for (int32_t b = lumaBlocks; b < blocks->blockCount; b++)
        packAc(st, blocks->blockSamples[b], *blocks, b);
    assert(withinBuffers(st));
    return ENC_STATUS_OK;
}

Status velaCoeffPack411Final_JPEG(const int16_t* deferredBlocks, EncoderState_JPEG* st) {
    for (const int16_t* block = deferredBlocks; block < st->deferredCursor;
         block += kBlockSamples) {
        const Status status = velaCheckOverflow_JPEG(st);
        if (status != ENC_STATUS_OK)
            return status;
        packAc(st, block, st->blockSpec, 0);
    }
    assert(withinBuffers(st));
    return ENC_STATUS_OK;
}

Status velaCoeffPackEnd_JPEG(const BlockSpec* blocks, EncoderState_JPEG* st) {
    const Status status = velaCheckOverflow_JPEG(st);
    if (status != ENC_STATUS_OK)
        return status;

    velaCoeffPack_DCRefineFlush_JPEG(&st->scanBuffer[blocks->blockScan[0].dcRefine],
                                     st->scanCoder[blocks->blockCoder[0].dcRefine]);
    // The last luminance block, Cb and Cr stand for their components.
    for (int32_t b = blocks->blockCount - blocks->chromaBlocks - 1; b < blocks->blockCount; b++) {
        const BlockScans& scan = blocks->blockScan[b];
        velaCoeffPack_ACFirstFlush_JPEG(st->scanStats[blocks->blockStats[b].acFirst],
                                        &st->scanBuffer[scan.acFirst],
                                        st->scanCoder[blocks->blockCoder[b].acFirst]);
        velaCoeffPack_ACRefineFlush_JPEG(st->scanStats[blocks->blockStats[b].acRefine],
                                         &st->scanBuffer[scan.acRefine],
                                         st->scanCoder[blocks->blockCoder[b].acRefine]);
    }
    assert(withinBuffers(st));
    return ENC_STATUS_OK;
}

int32_t velaRestartBitstream_JPEG(EncoderState_JPEG* st, int32_t first, int32_t second,
                                  int32_t isAC) {
    RestartCounter& counter = st->restartCounter;
    if (--counter.scanIntervalLeft[first] != 0)
        return ENC_STATUS_OK;

    Bitstream_JPEG& firstBuffer = st->scanBuffer[first];
    Bitstream_JPEG& secondBuffer = st->scanBuffer[second];
    if (isAC != 0) { // an AC scan's counts and coder have the scan's own number
        velaCoeffPack_ACFirstFlush_JPEG(st->scanStats[first], &firstBuffer, st->scanCoder[first]);
        velaCoeffPack_ACRefineFlush_JPEG(st->scanStats[second], &secondBuffer,
                                         st->scanCoder[second]);
    } else {
        velaCoeffPack_DCRefineFlush_JPEG(&secondBuffer, st->scanCoder[second]);
        std::fill_n(st->dcPredictor, kMaxComponents, int16_t{0});
    }
    const uint32_t n = counter.scanRstIndex[first] & 7;
    packMarker(firstBuffer, n);
    packMarker(secondBuffer, n);
    counter.scanIntervalLeft[first] = st->restartInterval;
    counter.scanRstIndex[first] = (n + 1) & 7;
    return ENC_STATUS_OK;
}

void takeBackLastMarkers(EncoderState_JPEG* st) {
    if (st->restartInterval == 0)
        return;
    const auto takeBack = [st](int32_t first, int32_t second) {
        // Every unit counts down, so a full countdown means that the last one closed an interval.
        if (st->restartCounter.scanIntervalLeft[first] != st->restartInterval)
            return;
        st->scanBuffer[first].cursor -= kMarkerBytes;
        st->scanBuffer[second].cursor -= kMarkerBytes;
    };
    const BlockSpec& blocks = st->blockSpec;
    takeBack(blocks.blockScan[0].dcFirst, blocks.blockScan[0].dcRefine);
    for (int32_t b = blocks.blockCount - blocks.chromaBlocks - 1; b < blocks.blockCount; b++)
        takeBack(blocks.blockScan[b].acFirst, blocks.blockScan[b].acRefine);
}

int32_t velaCoeffPack_DCRefineFlush_JPEG(Bitstream_JPEG* buf, ScanCoderState* coder) {
    int32_t added = 0;
    velaFlushStreamBits_JPEG(buf->cursor, &added, &coder->bits);
    buf->cursor += added;
    return ENC_STATUS_OK;
}

int32_t velaCoeffPack_ACFirstFlush_JPEG(uint32_t* counts, Bitstream_JPEG* buf,
                                        ScanCoderState* coder) {
    packEobRun(*buf, counts, *coder);
    return ENC_STATUS_OK;
}

int32_t velaCoeffPack_ACRefineFlush_JPEG(uint32_t* counts, Bitstream_JPEG* buf,
                                         ScanCoderState* coder) {
    if (coder->eobRun >= 1) {
        packEobRun(*buf, counts, *coder);
        packCorrectionBits(*buf, coder->correctionBits, coder->correctionCount);
    }
    coder->correctionCount = 0;
    return ENC_STATUS_OK;
}

int32_t velaStoreCoeff_JPEG(const int16_t* block, int16_t* dst) {
    std::copy_n(block, kBlockSamples, dst);
    return ENC_STATUS_OK;
}

} // namespace vela
