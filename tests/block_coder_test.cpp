// The baseline block and MCU coders, against codes of the standard's tables.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "baseline/mcu_coder.h"
#include "encoder/routine_choice.h"
#include "support/guarded.h"
#include "tables/block_coder.h"
#include "tables/default_tables.h"

namespace {

using test::Guarded;

struct CodedBlock {
    std::string bits; // without stuffing
    size_t stuffed = 0;
    int16_t predictor;
};

/// A block given as (zigzag index, value) pairs, coded with the luminance tables.
CodedBlock codeBlock(const std::vector<std::pair<int, int>>& coefficients, int16_t predictor = 0) {
    int16_t block[64] = {};
    for (const auto& [k, value] : coefficients)
        block[_ntIZigZagIndex[k]] = static_cast<int16_t>(value);
    EncodeHuffmanSpec dc{};
    std::copy(vela::DCLunmaTable.begin(), vela::DCLunmaTable.end(), dc.entry);
    Guarded memory(vela::kMaxBlockBytes);
    const uint8_t* const bytes = memory.data();
    int32_t position = 0;
    vela::veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, memory.data(), &position, &predictor,
                                                    &dc, &vela::ACLunmaTable);
    CodedBlock coded{"", 0, predictor};
    for (int32_t i = 0; i < position; i++) {
        if (i >= 8 && i % 8 == 0 && bytes[i / 8 - 1] == 0xFF) {
            EXPECT_EQ(bytes[i / 8], 0);
            coded.stuffed++;
            i += 7;
        } else {
            coded.bits += ((bytes[i / 8] >> (7 - i % 8)) & 1) != 0 ? '1' : '0';
        }
    }
    EXPECT_TRUE(memory.intact());
    return coded;
}

TEST(BlockCoder, CodesOfTheStandard) {
    const std::string eob = "1010";
    const std::string zrl = "11111111001";
    EXPECT_EQ(codeBlock({{0, 5}}).bits, "100101" + eob);
    EXPECT_EQ(codeBlock({{0, 5}}).predictor, 5);
    EXPECT_EQ(codeBlock({{0, 5}}, 5).bits, "00" + eob);
    EXPECT_EQ(codeBlock({{0, 4}}, 5).bits, "0100" + eob); // -1
    EXPECT_EQ(codeBlock({{0, 6}}, 5).bits, "0101" + eob);
    EXPECT_EQ(codeBlock({{0, -1024}}, 1023).bits, "11111111000000000000" + eob); // -2047
    EXPECT_EQ(codeBlock({{1, -3}}).bits, "000100" + eob);
    EXPECT_EQ(codeBlock({{17, 1}}).bits, "00" + zrl + "001" + eob); // 16 zeros, then run 0
    EXPECT_EQ(codeBlock({{63, 1}}).bits, // run 14 behind 48 zeros, and no EOB
              "00" + zrl + zrl + zrl + "11111111111010111");
}

TEST(BlockCoder, StaysWithinItsBoundAndStuffs) {
    std::vector<std::pair<int, int>> all = {{0, -1024}};
    for (int k = 1; k < 64; k++)
        all.emplace_back(k, 1023); // all magnitude bits 1, the longest codes
    const CodedBlock coded = codeBlock(all, 1023);
    EXPECT_EQ(coded.bits.size(), 20u + 63 * 26);
    EXPECT_GT(coded.stuffed, 50u);
}

/// Six blocks of coefficients that are no picture's, coded as an MCU into a buffer of some size.
struct CodedMcu {
    static inline std::vector<uint8_t> flushed;
    static inline bool flushTakes;
    static int32_t flush(uint8_t* start, uint32_t, int32_t used, uint32_t) {
        if (flushTakes)
            flushed.insert(flushed.end(), start, start + used);
        return flushTakes ? used : 0;
    }

    int32_t status;
    std::vector<uint8_t> bytes; // the partial one included
    uint32_t bitCount;

    CodedMcu(size_t size, bool takes) {
        EncoderState_JPEG state{};
        state.routines = &vela::kPlainRoutines;
        state.flush = flush;
        state.flushContext = 1;
        int16_t samples[6][64];
        state.blockSpec.blockCount = 6;
        for (int b = 0; b < 6; b++) {
            for (int k = 0; k < 64; k++)
                samples[b][k] = static_cast<int16_t>((k * k + b) % 7 == 0 ? -5 : 1023 - b * k);
            state.blockSpec.blockSamples[b] = samples[b];
            state.blockSpec.blockPredictor[b] = &state.dcPredictor[0];
            state.blockSpec.blockDcTable[b] = &vela::ACLunmaTable; // codes for sizes 1..10
            state.blockSpec.blockAcTable[b] = &vela::ACLunmaTable;
        }
        flushed.clear();
        flushTakes = takes;
        Guarded memory(size);
        Bitstream_JPEG stream{memory.data(), static_cast<int32_t>(size), memory.data(), 0};
        status = vela::velaHuffmanEncode_BLS_JPEG(&stream, &state.blockSpec, &state);
        bytes = flushed;
        bytes.insert(bytes.end(), stream.start, stream.cursor + (stream.bitCount != 0 ? 1 : 0));
        bitCount = stream.bitCount;
        EXPECT_TRUE(memory.intact());
    }
};

TEST(McuCoder, MakesExactlyTheRoomItNeeds) {
    const CodedMcu roomy(4096, false);
    EXPECT_EQ(roomy.status, ENC_STATUS_OK);
    EXPECT_GT(roomy.bytes.size(), 1000u); // more than the scan's reserve
    const CodedMcu tight(roomy.bytes.size(), false);
    EXPECT_EQ(tight.status, ENC_STATUS_OK);
    EXPECT_EQ(tight.bytes, roomy.bytes);
    EXPECT_EQ(CodedMcu(roomy.bytes.size() - 1, false).status, ENC_STATUS_OUTPUT_FULL);
    for (size_t size = 1; size < 1000; size++) {
        const CodedMcu coded(size, true);
        if (size > static_cast<size_t>(vela::kMaxBlockBytes)) {
            EXPECT_EQ(coded.status, ENC_STATUS_OK) << size;
        }
        if (coded.status == ENC_STATUS_OK) {
            EXPECT_EQ(coded.bytes, roomy.bytes) << size;
            EXPECT_EQ(coded.bitCount, roomy.bitCount) << size;
        }
    }
}

} // namespace
