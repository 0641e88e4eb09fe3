// Huffman codes, of the default tables and of any counts.
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "stream/markers.h"
#include "support/guarded.h"
#include "tables/default_tables.h"
#include "tables/huffman_tables.h"
#include "vela/primitives.h"

namespace {

std::string codeOf(uint32_t entry) {
    std::string bits;
    for (uint32_t i = entry >> 16; i-- > 0;)
        bits += ((entry >> i) & 1) != 0 ? '1' : '0';
    return bits;
}

/// Every code of a table by itself, none the beginning of another, none of 1-bits only.
void expectDecodable(const uint32_t* entries, size_t count) {
    std::set<std::string> codes;
    for (size_t s = 0; s < count; s++) {
        if (entries[s] != 0) {
            EXPECT_TRUE(codes.insert(codeOf(entries[s])).second);
        }
    }
    for (auto code = codes.begin(); code != codes.end(); ++code) {
        EXPECT_NE(code->find('0'), std::string::npos) << *code;
        if (std::next(code) != codes.end()) { // in order: a prefix stands right before
            EXPECT_NE(std::next(code)->compare(0, code->size(), *code), 0) << *code;
        }
    }
}

TEST(DefaultTables, CodesAreThoseThatAnnexKPrints) {
    // Fault: codes that do not follow from the tables that DHT announces.
    using namespace vela;
    EXPECT_EQ(codeOf(DCLunmaTable[0]), "00");
    EXPECT_EQ(codeOf(DCLunmaTable[5]), "110");
    EXPECT_EQ(codeOf(DCLunmaTable[11]), "111111110");
    EXPECT_EQ(codeOf(DCChromaTable[1]), "01");
    EXPECT_EQ(codeOf(DCChromaTable[11]), "11111111110");
    EXPECT_EQ(codeOf(ACLunmaTable.entry[0x00]), "1010");
    EXPECT_EQ(codeOf(ACLunmaTable.entry[0x01]), "00");
    EXPECT_EQ(codeOf(ACLunmaTable.entry[0x0A]), "1111111110000011");
    EXPECT_EQ(codeOf(ACLunmaTable.entry[0xF0]), "11111111001");
    EXPECT_EQ(codeOf(ACLunmaTable.entry[0xFA]), "1111111111111110");
    EXPECT_EQ(codeOf(ACChromaTable.entry[0x00]), "00");
    EXPECT_EQ(codeOf(ACChromaTable.entry[0x3A]), "1111111110010110");
    EXPECT_EQ(codeOf(ACChromaTable.entry[0xF0]), "1111111010");
    EXPECT_EQ(ACLunmaTable.entry[0x0B], 0u);
    expectDecodable(DCLunmaTable.data(), 12);
    expectDecodable(DCChromaTable.data(), 12);
    expectDecodable(ACLunmaTable.entry, 256);
    expectDecodable(ACChromaTable.entry, 256);
}

TEST(HuffmanTables, AreInstalledAsAnnounced) {
    // Fault: a table in another place than DHT says, an identifier that no place belongs to, custom counts dropped.
    uint8_t bytes[600];
    vela::HuffmanSpecWork own{};
    own.BITS[1] = 2;
    own.HUFFVAL[0] = 7;
    own.HUFFVAL[1] = 3;
    for (const int32_t id : {-1, 0, 1, 2, INT32_MAX}) {
        for (const bool isAc : {false, true}) {
            EncodeHuffmanSpec tables[4]{};
            EncoderState_JPEG state{};
            for (size_t i = 0; i < 4; i++)
                state.huffSpecStore[i] = &tables[i];
            Bitstream_JPEG stream{bytes, sizeof bytes, bytes, 0};
            ASSERT_EQ(vela::velaBuildEncodeHuffTable_JPEG(id, isAc, &own, &stream, &state),
                      ENC_STATUS_OK);
            const size_t table = id > 0 ? 1 : 0;
            EXPECT_EQ(bytes[4], (isAc ? 0x10 : 0) + table);
            EXPECT_EQ(bytes[21], 7);
            EXPECT_EQ(codeOf(tables[(isAc ? 2 : 0) + table].entry[3]), "01");
            ASSERT_EQ(vela::velaBuildEncodeHuffTable_JPEG(id, isAc, nullptr, &stream, &state),
                      ENC_STATUS_OK);
            EXPECT_EQ(codeOf(tables[(isAc ? 2 : 0) + table].entry[0]),
                      isAc ? (table == 0 ? "1010" : "00") : "00");
        }
    }
}

TEST(CodeConstruction, GivesDecodableTablesForAnyValidCounts) {
    // Fault: codes of which one begins another, or of 1-bits only.
    std::mt19937 random(2024);
    for (int round = 0; round < 500; round++) {
        uint8_t bits[16] = {};
        int total = 0;
        int space = 1; // codes left of the current length, one of them reserved for 1-bits only
        for (uint8_t& count : bits) {
            space *= 2;
            const int most = std::min({space - 1, 256 - total, 255});
            count = static_cast<uint8_t>(random() % static_cast<unsigned>(most / 2 + 1));
            space -= count;
            space = std::min(space, 1 << 12);
            total += count;
        }
        std::vector<uint8_t> vals(static_cast<size_t>(total));
        for (size_t i = 0; i < vals.size(); i++)
            vals[i] = static_cast<uint8_t>(i * 5 + 7);
        EncodeHuffmanSpec spec;
        veliEncodeHuffmanSpecInit_JPEGENC_8u(bits, vals.data(), &spec);
        expectDecodable(spec.entry, 256);
        for (size_t i = 1; i < vals.size(); i++) // lengths rise in the order of HUFFVAL
            EXPECT_LE(spec.entry[vals[i - 1]] >> 16, spec.entry[vals[i]] >> 16);
    }
}

TEST(CodeConstruction, StaysInsideItsTablesOnAnyCounts) {
    // Fault: a write beyond the table on counts that no code can have.
    uint8_t vals[256];
    for (size_t i = 0; i < 256; i++)
        vals[i] = static_cast<uint8_t>(255 - i);
    for (const int count : {0, 20, 255}) {
        uint8_t bits[16];
        std::memset(bits, count, sizeof bits);
        test::Guarded table(sizeof(EncodeHuffmanSpec), 4);
        auto* const spec = reinterpret_cast<EncodeHuffmanSpec*>(table.data());
        veliEncodeHuffmanSpecInit_JPEGENC_8u(bits, vals, spec);
        int codes = 0;
        for (const uint32_t entry : spec->entry)
            codes += entry != 0 ? 1 : 0;
        EXPECT_EQ(codes, std::min(256, 16 * count));
        EXPECT_TRUE(table.intact());

        uint8_t out[512];
        Bitstream_JPEG stream{out, sizeof out, out, 0};
        EXPECT_EQ(vela::velaWrite_DHT_JPEG(0, 0, bits, vals, &stream, nullptr, 0), ENC_STATUS_OK);
        EXPECT_EQ(stream.cursor - out, 21 + codes);
    }
}

} // namespace
