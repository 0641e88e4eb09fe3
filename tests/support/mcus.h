// Blocks of some MCUs with the tables that code them, as the kernels take them.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include "state/encoder_state.h"
#include "support/guarded.h"
#include "tables/default_tables.h"
#include "tables/quant_tables.h"
#include "vela/primitives.h"

namespace test {

inline std::span<const int16_t> asWords(const Guarded& memory) {
    return {reinterpret_cast<const int16_t*>(memory.data()), memory.size() / 2};
}

/// The blocks of some MCUs one after another, with tables for luminance and chrominance.
struct Mcus {
    int32_t count;
    Guarded memory;
    int16_t predictors[3] = {};
    uint16_t reciprocals[2][64];
    EncodeHuffmanSpec tables[4] = {}; // DC of luminance and chrominance, AC of both
    vela::BlockSpec blocks{};

    Mcus(int32_t blockCount, int32_t mcuCount, int32_t quality)
        : count(mcuCount), memory(static_cast<size_t>(128 * blockCount * mcuCount), 2) {
        blocks.blockCount = blockCount;
        blocks.chromaBlocks = blockCount == 1 ? 0 : 2;
        const int16_t* const bases[2] = {vela::_DefLumQuantTable_JPEGENC,
                                         vela::_DefChromQuantTable_JPEGENC};
        for (int t = 0; t < 2; t++) {
            uint8_t q[64];
            czBuildEnQuantTable(velaCalcQuantQualityFactor_JPEG(quality), bases[t], q);
            veliDCTQuantFwdTableInit_JPEGENC_8u16u(q, reciprocals[t]);
        }
        using namespace vela;
        std::copy(DCLunmaTable.begin(), DCLunmaTable.end(), tables[0].entry);
        std::copy(DCChromaTable.begin(), DCChromaTable.end(), tables[1].entry);
        tables[2] = ACLunmaTable;
        tables[3] = ACChromaTable;
        for (int32_t i = 0; i < blockCount; i++) {
            const int component = i < blockCount - blocks.chromaBlocks ? 0 : i - (blockCount - 3);
            const int t = component == 0 ? 0 : 1;
            blocks.blockSamples[i] = reinterpret_cast<int16_t*>(memory.data()) + 64 * i;
            blocks.blockPredictor[i] = &predictors[component];
            blocks.blockDcTable[i] = &tables[t];
            blocks.blockAcTable[i] = &tables[2 + t];
            blocks.blockQuant[i] = reinterpret_cast<const int16_t*>(reciprocals[t]);
        }
        constexpr int32_t kEntries = sizeof(EncodeHuffmanSpec) / sizeof(uint32_t);
        const int32_t last = blockCount == 1 ? 0 : 1; // the last block's t
        blocks.codeBase = tables[0].entry;
        const int32_t order[4] = {2, 0, 2 + last, last};
        for (int k = 0; k < 4; k++)
            blocks.codeOffset[k] = order[k] * kEntries;
    }

    int32_t blockCount() const { return blocks.blockCount * count; }
    int16_t* block(int32_t i) const { return blocks.blockSamples[0] + 64 * i; }

    void copyFrom(const Mcus& other) {
        std::memcpy(memory.data(), other.memory.data(), memory.size());
        std::memcpy(predictors, other.predictors, sizeof predictors);
    }
    std::span<const int16_t> samples() const { return asWords(memory); }
};

} // namespace test
