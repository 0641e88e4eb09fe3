// The baseline block coder, against codes of the standard's tables.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/guarded.h"
#include "tables/block_coder/plain.h"
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
    // Fault: wrong categories, zero runs, EOB, sign bits or predictors.
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
    EXPECT_EQ(codeBlock({{63, 1}}).bits, // run 14 after 48 zeros, and no EOB
              "00" + zrl + zrl + zrl + "11111111111010111");
}

TEST(BlockCoder, StaysWithinItsBoundAndStuffs) {
    // Fault: a block longer than the room that is kept for it.
    std::vector<std::pair<int, int>> all = {{0, -1024}};
    for (int k = 1; k < 64; k++)
        all.emplace_back(k, 1023); // all magnitude bits 1, the longest codes
    const CodedBlock coded = codeBlock(all, 1023);
    EXPECT_EQ(coded.bits.size(), 20u + 63 * 26);
    EXPECT_GT(coded.stuffed, 50u);
}

} // namespace
