#include "tables/huffman_tables.h"

#include <algorithm>
#include <cstring>

#include "stream/markers.h"
#include "tables/code_construction.h"
#include "tables/default_tables.h"

namespace vela {
namespace {

constexpr int32_t kDecodeSpecBytes = 1644;
constexpr int32_t kDecodeStateWords = 3;
constexpr int32_t kEncodeStateBytes = 1328;
constexpr int32_t kEncodeStateResetWords = 4;
static_assert(sizeof(ScanCoderState) <= kEncodeStateBytes);
static_assert(sizeof(EncodeHuffmanSpec) == 1024);

struct TableSource {
    const uint8_t* bits;
    const uint8_t* vals;
};

TableSource defaultTable(int32_t tableId, bool isAC) {
    if (isAC)
        return tableId == 0
                   ? TableSource{_DefLumACHuffBits_JPEGENC, _DefLumACHuffValues_JPEGENC}
                   : TableSource{_DefChromACHuffBits_JPEGENC, _DefChromACHuffValues_JPEGENC};
    return tableId == 0 ? TableSource{_DefLumDCHuffBits_JPEGENC, _DefLumDCHuffValues_JPEGENC}
                        : TableSource{_DefChromDCHuffBits_JPEGENC, _DefChromDCHuffValues_JPEGENC};
}

/// Writes the DHT segments of a DC and an AC table of Annex K.3.
Status writeDefaultPair(int32_t tableId, Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    for (const uint32_t tableClass : {0u, 1u}) {
        const TableSource table = defaultTable(tableId, tableClass == 1);
        const Status status =
            velaWrite_DHT_JPEG(static_cast<uint32_t>(tableId), tableClass, table.bits, table.vals,
                               stream, state->flush, state->flushContext);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

} // namespace

Status velaBuildEncodeHuffTable_JPEG(int32_t tableId, int32_t isAC, const HuffmanSpecWork* custom,
                                     Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    tableId = std::clamp<int32_t>(tableId, 0, 1);
    const TableSource table = custom != nullptr ? TableSource{custom->BITS, custom->HUFFVAL}
                                                : defaultTable(tableId, isAC != 0);
    EncodeHuffmanSpec* const store = state->huffSpecStore[isAC != 0 ? 2 + tableId : tableId];
    veliEncodeHuffmanSpecInit_JPEGENC_8u(table.bits, table.vals, store);
    return velaWrite_DHT_JPEG(static_cast<uint32_t>(tableId), isAC != 0 ? 1 : 0, table.bits,
                              table.vals, stream, state->flush, state->flushContext);
}

Status velaBuildScanHuffTables_BLS_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    EncodeHuffmanSpec* const* const store = state->huffSpecStore;

    std::memcpy(store[0], DCLunmaTable.data(), sizeof DCLunmaTable);
    *store[2] = ACLunmaTable;
    state->dcCodeTable[0] = store[0];
    state->acCodeTable[0] = store[2];
    const Status status = writeDefaultPair(0, stream, state);
    if (status != ENC_STATUS_OK || state->imageSpec.componentCount <= 1)
        return status;

    std::memcpy(store[1], DCChromaTable.data(), sizeof DCChromaTable);
    *store[3] = ACChromaTable;
    for (const int32_t component : {1, 2}) {
        state->dcCodeTable[component] = store[1];
        state->acCodeTable[component] = store[3];
    }
    return writeDefaultPair(1, stream, state);
}

} // namespace vela

int32_t veliEncodeHuffmanSpecInit_JPEGENC_8u(const uint8_t bits[16], const uint8_t vals[],
                                             EncodeHuffmanSpec* spec) {
    *spec = vela::buildCodeTable(bits, vals);
    return ENC_STATUS_OK;
}

int32_t veliEncodeHuffmanSpecGetBufSize_JPEGENC_8u(int32_t* size) {
    *size = sizeof(EncodeHuffmanSpec);
    return ENC_STATUS_OK;
}

int32_t veliEncodeHuffmanStateGetBufSize_JPEGENC_8u(int32_t* size) {
    *size = vela::kEncodeStateBytes;
    return ENC_STATUS_OK;
}

int32_t veliEncodeHuffmanStateInit_JPEGENC_8u(uint32_t* state) {
    std::fill_n(state, vela::kEncodeStateResetWords, 0u);
    return ENC_STATUS_OK;
}

int32_t veliDecodeHuffmanSpecGetBufSize_JPEGENC_8u(int32_t* size) {
    *size = vela::kDecodeSpecBytes;
    return ENC_STATUS_OK;
}

int32_t veliDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size) {
    *size = vela::kDecodeStateWords * 4;
    return ENC_STATUS_OK;
}

int32_t veliDecodeHuffmanStateInit_JPEG_8u(uint32_t* state) {
    std::fill_n(state, vela::kDecodeStateWords, 0u);
    return ENC_STATUS_OK;
}
