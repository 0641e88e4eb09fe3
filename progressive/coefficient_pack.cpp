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

constexpr bool kPairsAlone = kColorPlan.paired && kGrayPlan.paired;

/// Whether each component's AC scans are the pair that the kernels pack.
bool hasPairs(const EncoderState_JPEG& st) {
    return kPairsAlone || scanPlanOf(st.scanBufferCount).paired;
}

/// Calls use(index, row) for each AC scan of a component.
template <class Use>
void forEachAc(const EncoderState_JPEG& st, int32_t component, Use use) {
    const ScanPlan& plan = scanPlanOf(st.scanBufferCount);
    for (int32_t i = 0; i < plan.count; i++)
        if (plan.rows[i].component == component)
            use(i, plan.rows[i]);
}

// An AC scan's counts and coder have the scan's own number.

void packScan(EncoderState_JPEG* st, const int16_t* samples, int32_t i, const ScanRow& row) {
    const auto pack = row.kind == ScanKind::acFirst ? velaPackACFirst_JPEG : velaPackACRefine_JPEG;
    pack(samples, st->scanStats[i], &st->scanBuffer[i], st->scanCoder[i], row.Ss, row.Se, row.Al);
}

void flushScan(EncoderState_JPEG* st, int32_t i, ScanKind kind) {
    const auto flush = kind == ScanKind::acFirst ? velaCoeffPack_ACFirstFlush_JPEG
                                                 : velaCoeffPack_ACRefineFlush_JPEG;
    flush(st->scanStats[i], &st->scanBuffer[i], st->scanCoder[i]);
}

void packMarker(Bitstream_JPEG& buffer, uint32_t n) {
    packByte(buffer, 0xFF);
    packByte(buffer, kMarkerRst0 + n);
}

/// Counts a unit of a group of scans, by the group's first one; 0 where it completes their interval.
uint32_t countDown(EncoderState_JPEG* st, int32_t first) {
    return --st->restartCounter.scanIntervalLeft[first];
}

/// Begins the group's next interval; the number of the marker between the two.
uint32_t beginInterval(EncoderState_JPEG* st, int32_t first) {
    RestartCounter& counter = st->restartCounter;
    const uint32_t n = counter.scanRstIndex[first] & 7;
    counter.scanIntervalLeft[first] = st->restartInterval;
    counter.scanRstIndex[first] = (n + 1) & 7;
    return n;
}

/// A component's AC scans one by one: of a script whose bands or bits are others than the kernels'.
void packBands(EncoderState_JPEG* st, const int16_t* samples, int32_t component) {
    forEachAc(*st, component,
              [&](int32_t i, const ScanRow& row) { packScan(st, samples, i, row); });
    const int32_t first = scanPlanOf(st->scanBufferCount).scansOf[component].acFirst;
    if (st->restartInterval == 0 || countDown(st, first) != 0)
        return;
    const uint32_t n = beginInterval(st, first);
    forEachAc(*st, component, [&](int32_t i, const ScanRow& row) {
        flushScan(st, i, row.kind);
        packMarker(st->scanBuffer[i], n);
    });
}

void packAc(EncoderState_JPEG* st, const int16_t* samples, const BlockSpec& blocks, int32_t b) {
    if (!hasPairs(*st)) {
        const int32_t lumaBlocks = blocks.blockCount - blocks.chromaBlocks;
        packBands(st, samples, b < lumaBlocks ? 0 : b - lumaBlocks + 1);
        return;
    }
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
    const BlockScans& luma = st->blockSpec.blockScan[0];
    for (const int16_t* block = deferredBlocks; block < st->deferredCursor;
         block += kBlockSamples) {
        // The first one comes after an MCU, which may have added to any buffer; the others after a block
        // of luminance.
        const Status status = block == deferredBlocks || !hasPairs(*st)
                                  ? velaCheckOverflow_JPEG(st)
                                  : checkOverflowOf(st, luma.acFirst, luma.acRefine);
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
    const ScanPlan& plan = scanPlanOf(st->scanBufferCount);
    for (int32_t i = 0; i < plan.count; i++)
        if (isAc(plan.rows[i]))
            flushScan(st, i, plan.rows[i].kind);
    assert(withinBuffers(st));
    return ENC_STATUS_OK;
}

int32_t velaRestartBitstream_JPEG(EncoderState_JPEG* st, int32_t first, int32_t second,
                                  int32_t isAC) {
    if (countDown(st, first) != 0)
        return ENC_STATUS_OK;
    if (isAC != 0) {
        flushScan(st, first, ScanKind::acFirst);
        flushScan(st, second, ScanKind::acRefine);
    } else {
        velaCoeffPack_DCRefineFlush_JPEG(&st->scanBuffer[second], st->scanCoder[second]);
        std::fill_n(st->dcPredictor, kMaxComponents, int16_t{0});
    }
    const uint32_t n = beginInterval(st, first);
    packMarker(st->scanBuffer[first], n);
    packMarker(st->scanBuffer[second], n);
    return ENC_STATUS_OK;
}

void takeBackLastMarkers(EncoderState_JPEG* st) {
    if (st->restartInterval == 0)
        return;
    const ScanPlan& plan = scanPlanOf(st->scanBufferCount);
    for (int32_t i = 0; i < plan.count; i++) {
        const ScanRow& row = plan.rows[i];
        const int32_t first =
            isAc(row) ? plan.scansOf[row.component].acFirst : plan.scansOf[0].dcFirst;
        // Every unit counts down, so a full countdown means that the last one closed an interval.
        if (st->restartCounter.scanIntervalLeft[first] == st->restartInterval)
            st->scanBuffer[i].cursor -= kMarkerBytes;
    }
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
