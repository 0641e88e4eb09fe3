#include "encoder/working_memory.h"

#include <cassert>
#include <cstring>
#include <limits>

#include "state/aligned.h"
#include "state/color_format.h"
#include "stream/scan_buffers.h"

namespace vela {
namespace {

constexpr int64_t kBlockBytes = kBlockSamples * int64_t{sizeof(int16_t)};
constexpr int64_t kAlignmentSlack = kTableAlignment - 1;
constexpr uint32_t kWorkAlignment = 8;
constexpr uint32_t kHuffmanAreaBytes = 1359; // 1328 of a coder state, and slack
constexpr int64_t kScanStatsBytes = kScanStatsEntries * int64_t{sizeof(uint32_t)}; // 1028

// The working memory, in this order; a start on a 32-byte boundary unless another is given:
//
//     Huffman tables DC 0, DC 1, AC 0, AC 1   4 x 1359 bytes, each on an 8-byte boundary
//     MCU block area                          blockBytes
//     edge buffer                             edgeBytes, where a partial MCU exists
//   and in progressive mode, n being the number of scans:
//     coder states of the scans that have one (n - 1) x 1359 bytes
//     symbol counts of all scans              n x 1028 bytes
//     deferred blocks                         extraBytes, 4:2:0 only
//
// Every area counts with its slack, so that the sum holds the boundaries too. Baseline:
constexpr int64_t kBaselineFixedBytes = 6835;
// Progressive: the tables, and for each scan a coder state, if it has one, and its counts:
constexpr int64_t kTablesBytes = 4 * kHuffmanAreaBytes;
constexpr int64_t kScanStatsRoom = 1087; // the counts and slack

/// Takes areas from the working memory, one after another.
class Carver {
public:
    explicit Carver(void* start) : at_(static_cast<uint8_t*>(start)) {}

    uint8_t* take(int64_t bytes, size_t alignment) {
        uint8_t* const area = alignUp(at_, alignment);
        at_ = area + bytes;
        return area;
    }

    const uint8_t* end() const { return at_; }

private:
    uint8_t* at_;
};

bool hasDeferredBlocks(const ImageSpec& image, const EncoderState_JPEG& state) {
    return state.mode == ENC_MODE_PROGRESSIVE && image.subsampling == ENC_SUBSAMPLE_420;
}

/// The lower two luminance blocks of every MCU of a row.
int64_t deferredBytes(const MCUSpec& mcu) {
    return (mcu.mcusAcross + (mcu.widthRemainder > 0 ? 1 : 0)) * 2 * kBlockBytes;
}

void* allocate(const EncoderState_JPEG& state, uint32_t bytes, uint32_t alignment) {
    void* block = nullptr;
    state.allocate(&block, bytes, alignment);
    return block;
}

/// Coder states, symbol counts and deferred blocks of the progressive scans.
void carveScanAreas(Carver& carver, BufSpec* bufSpec, EncoderState_JPEG* state) {
    const ScanPlan& plan = scanPlanOf(state->scanBufferCount);
    for (int32_t i = 0; i < plan.count; i++) {
        if (!hasCoder(plan.rows[i]))
            continue;
        uint8_t* const area = carver.take(kHuffmanAreaBytes, kTableAlignment);
        veliEncodeHuffmanStateInit_JPEGENC_8u(reinterpret_cast<uint32_t*>(area));
        state->scanCoder[i] = reinterpret_cast<ScanCoderState*>(area);
    }
    for (int32_t i = 0; i < plan.count; i++) {
        uint8_t* const area = carver.take(kScanStatsBytes, kTableAlignment);
        std::memset(area, 0, kScanStatsBytes);
        state->scanStats[i] = reinterpret_cast<uint32_t*>(area);
    }
    if (bufSpec->extraBytes > 0) {
        bufSpec->deferredBlocks =
            reinterpret_cast<int16_t*>(carver.take(deferredBytes(state->mcuSpec), kTableAlignment));
        state->deferredCursor = bufSpec->deferredBlocks;
    }
    // The output's bit writer uses the coder state of the DC refinement scan, which is done with
    // it.
    state->scanWorkArea = state->scanCoder[plan.scansOf[0].dcRefine];
}

/// One block of the MCU: where it lies, and its component's predictor and tables.
void describeBlock(BlockSpec* blockSpec, int32_t block, int16_t* samples, int32_t component,
                   EncoderState_JPEG* state) {
    blockSpec->blockSamples[block] = samples;
    blockSpec->blockPredictor[block] = &state->dcPredictor[component];
    blockSpec->blockDcTable[block] = state->dcCodeTable[component];
    blockSpec->blockAcTable[block] = state->acCodeTable[component];
    blockSpec->blockQuant[block] = state->blockQuantTable[component];

    // Counts and coders have the scans' numbers; chrominance DC symbols are counted in the place of the
    // DC refinement scan, which has no symbols of its own.
    const ScanPlan& plan = blockSpec->chromaBlocks == 0 ? kGrayPlan : kColorPlan;
    const BlockScans& scan = plan.scansOf[component];
    blockSpec->blockScan[block] = scan;
    blockSpec->blockStats[block] = {component == 0 ? scan.dcFirst : scan.dcRefine, scan.acFirst,
                                    scan.acRefine};
    blockSpec->blockCoder[block] = {scan.dcRefine, scan.acFirst, scan.acRefine};
}

/// The code tables as offsets from the first of them: all lie in the working memory, on boundaries of
/// their entries.
void describeCodeTables(BlockSpec* blockSpec, const EncoderState_JPEG& state) {
    static_assert(kWorkAlignment % sizeof(uint32_t) == 0);
    const EncodeHuffmanSpec* const first = state.huffSpecStore[0];
    const auto offset = [first](const EncodeHuffmanSpec* table) {
        const ptrdiff_t bytes =
            reinterpret_cast<const uint8_t*>(table) - reinterpret_cast<const uint8_t*>(first);
        return static_cast<int32_t>(bytes) / static_cast<int32_t>(sizeof(uint32_t));
    };
    const int32_t last = blockSpec->blockCount - 1;
    blockSpec->codeBase = first->entry;
    blockSpec->codeOffset[0] = offset(blockSpec->blockAcTable[0]);
    blockSpec->codeOffset[1] = offset(blockSpec->blockDcTable[0]);
    blockSpec->codeOffset[2] = offset(blockSpec->blockAcTable[last]);
    blockSpec->codeOffset[3] = offset(blockSpec->blockDcTable[last]);
}

} // namespace

Status velaInitBufSpec_JPEG(BufSpec* bufSpec, const Picture_JPEG* picture, const MCUSpec* mcuSpec,
                            const ImageSpec* imageSpec, EncoderState_JPEG* state) {
    const bool progressive = state->mode == ENC_MODE_PROGRESSIVE;
    if (progressive) {
        const Status status = velaInitScanBitstream_JPEG(mcuSpec, imageSpec, state);
        if (status != ENC_STATUS_OK)
            return status;
    }

    *bufSpec = {};
    const bool singlePlane =
        colorFormatOf(imageSpec->colorFormat)->layout == PlaneLayout::singlePlane;
    const int32_t planes = singlePlane ? 1 : 3;
    for (int32_t p = 0; p < planes; p++) {
        bufSpec->planeBase[p] = picture->plane[p];
        bufSpec->planeCursor[p] = picture->plane[p];
        bufSpec->planeStep[p] = picture->step[p];
    }

    // At most a few MB (a row of deferred blocks), so 32 bits hold every size.
    const int64_t blockBytes = mcuSpec->blocksPerMcu * kBlockBytes + kAlignmentSlack;
    const bool partialMcus = mcuSpec->widthRemainder > 0 || mcuSpec->heightRemainder > 0;
    const int64_t edgeBytes =
        partialMcus ? mcuSpec->mcuHeight * mcuSpec->mcuRowBytes + kAlignmentSlack : 0;
    const int64_t extraBytes =
        hasDeferredBlocks(*imageSpec, *state) ? deferredBytes(*mcuSpec) + kAlignmentSlack : 0;
    const int64_t scans = state->scanBufferCount;
    const int64_t fixedBytes =
        progressive ? kTablesBytes + kHuffmanAreaBytes * (scans - 1) + kScanStatsRoom * scans
                    : kBaselineFixedBytes;
    bufSpec->blockBytes = static_cast<uint32_t>(blockBytes);
    bufSpec->edgeBytes = static_cast<uint32_t>(edgeBytes);
    bufSpec->huffSpecBytes[0] = kHuffmanAreaBytes;
    bufSpec->huffSpecBytes[1] = kHuffmanAreaBytes;
    bufSpec->extraBytes = static_cast<uint32_t>(extraBytes);
    bufSpec->workBytes = static_cast<uint32_t>(blockBytes + edgeBytes + fixedBytes + extraBytes);
    return ENC_STATUS_OK;
}

Status velaInitScanBitstream_JPEG(const MCUSpec* mcuSpec, const ImageSpec* imageSpec,
                                  EncoderState_JPEG* state) {
    const int64_t blocks = int64_t{mcuSpec->blocksPerMcu} * mcuSpec->mcuCount;
    const ScanPlan& plan =
        colorFormatOf(imageSpec->colorFormat)->componentCount == 1 ? kGrayPlan : kColorPlan;
    state->scanBufferCount = plan.count;
    for (int32_t i = 0; i < plan.count; i++) {
        const int64_t size = blocks * plan.rows[i].initialEighths / 8 + kScanBufferReserve;
        if (size > std::numeric_limits<int32_t>::max())
            return ENC_STATUS_NOMEM;
        void* const block = allocate(*state, static_cast<uint32_t>(size), kTableAlignment);
        if (block == nullptr)
            return ENC_STATUS_NOMEM;
        auto* const start = static_cast<uint8_t*>(block);
        state->scanBuffer[i] = {start, static_cast<int32_t>(size), start, 0};
    }
    return ENC_STATUS_OK;
}

Status velaInitBufferPointer_JPEG(const MCUSpec* mcuSpec, const ImageSpec* imageSpec,
                                  BufSpec* bufSpec, EncoderState_JPEG* state) {
    state->workBuffer = allocate(*state, bufSpec->workBytes, kWorkAlignment);
    if (state->workBuffer == nullptr)
        return ENC_STATUS_NOMEM;
    if (imageSpec->componentCount != 1 && imageSpec->componentCount != 3)
        return ENC_STATUS_NOTSUPPORTED;

    Carver carver(state->workBuffer);
    for (EncodeHuffmanSpec*& table : state->huffSpecStore)
        table =
            reinterpret_cast<EncodeHuffmanSpec*>(carver.take(kHuffmanAreaBytes, kWorkAlignment));
    auto* const blockArea =
        reinterpret_cast<int16_t*>(carver.take(bufSpec->blockBytes, kTableAlignment));
    if (bufSpec->edgeBytes > 0) {
        bufSpec->edgeBuffer[0] = carver.take(bufSpec->edgeBytes, kTableAlignment);
        bufSpec->edgeBuffer[1] = bufSpec->edgeBuffer[0];
    }
    if (state->mode == ENC_MODE_PROGRESSIVE)
        carveScanAreas(carver, bufSpec, state);
    assert(carver.end() <= static_cast<uint8_t*>(state->workBuffer) + bufSpec->workBytes);

    int32_t firstBlock = 0;
    for (int32_t k = 0; k < imageSpec->componentCount; k++) {
        const int32_t table = k == 0 ? 0 : 1; // of luminance or chrominance
        state->dcCodeTable[k] = state->huffSpecStore[table];
        state->acCodeTable[k] = state->huffSpecStore[2 + table];
        state->blockQuantTable[k] =
            reinterpret_cast<const int16_t*>(state->dctQuantTables) + kBlockSamples * table;
        firstBlock += mcuSpec->compBlockOffset[k];
        for (auto& components : bufSpec->compBlocks)
            components[k] = blockArea + kBlockSamples * firstBlock;
    }
    return ENC_STATUS_OK;
}

Status velaInitBlockSpec_JPEG(BlockSpec* blockSpec, const MCUSpec* mcuSpec, const BufSpec* bufSpec,
                              EncoderState_JPEG* state) {
    const int32_t count = mcuSpec->blocksPerMcu;
    if (count != 1 && count != 3 && count != 4 && count != 6)
        return 1;

    blockSpec->blockCount = count;
    blockSpec->chromaBlocks = count == 1 ? 0 : 2;
    const int32_t lumaBlocks = count - blockSpec->chromaBlocks;
    int16_t* const* const first = bufSpec->compBlocks[0];
    for (int32_t i = 0; i < lumaBlocks; i++)
        describeBlock(blockSpec, i, first[0] + kBlockSamples * i, 0, state);
    for (int32_t k = 1; k <= blockSpec->chromaBlocks; k++)
        describeBlock(blockSpec, lumaBlocks + k - 1, first[k], k, state);
    describeCodeTables(blockSpec, *state);
    return ENC_STATUS_OK;
}

} // namespace vela
