// The quantization tables.
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

#include "support/host.h"
#include "tables/default_tables.h"
#include "tables/quant_tables.h"
#include "vela/primitives.h"

namespace {

TEST(QuantTables, ScaleFactors) {
    // Fault: another rounding of the scale than the one promised.
    const std::pair<int, int> factors[] = {{-5, 6400}, {0, 6400}, {1, 6400}, {2, 3200}, {3, 2132},
                                           {7, 913},   {10, 640}, {25, 256}, {30, 212}, {33, 193},
                                           {49, 130},  {50, 128}, {51, 125}, {60, 102}, {75, 64},
                                           {90, 25},   {95, 12},  {99, 2},   {100, 0},  {101, 0}};
    for (const auto& [quality, factor] : factors)
        EXPECT_EQ(velaCalcQuantQualityFactor_JPEG(quality), factor) << quality;
}

TEST(QuantTables, AreScaledAndClamped) {
    // Fault: entries of 0 or above 255, which baseline streams cannot hold.
    const auto firstRow = [](int quality) {
        uint8_t table[64];
        czBuildEnQuantTable(velaCalcQuantQualityFactor_JPEG(quality),
                            vela::_DefLumQuantTable_JPEGENC, table);
        return std::vector<int>(table, table + 8);
    };
    EXPECT_EQ(firstRow(75), (std::vector<int>{8, 6, 5, 8, 12, 20, 26, 31}));
    EXPECT_EQ(firstRow(10), (std::vector<int>{80, 55, 50, 80, 120, 200, 255, 255}));
    EXPECT_EQ(firstRow(90), (std::vector<int>{3, 2, 2, 3, 5, 8, 10, 12}));
    EXPECT_EQ(firstRow(100), std::vector<int>(8, 1));
    EXPECT_EQ(firstRow(0), std::vector<int>(8, 255));
}

TEST(QuantTables, OfOnesOwn) {
    // Fault: the same table for luminance and chrominance, reciprocals of another table than the announced one.
    int16_t base[128];
    for (int i = 0; i < 128; i++)
        base[i] = static_cast<int16_t>(i + 1);
    EncoderState_JPEG state{};
    uint8_t quantizers[128], bytes[200];
    uint16_t reciprocals[128], expected[64];
    state.qualityFactor = 128; // as they are
    state.precision = 8;
    state.quantTables = quantizers;
    state.dctQuantTables = reciprocals;
    Bitstream_JPEG stream{bytes, sizeof bytes, bytes, 0};
    ASSERT_EQ(vela::velaBuildEncodeQuantTables_JPEG(3, base, &stream, &state), ENC_STATUS_OK);
    ASSERT_EQ(stream.cursor - bytes, 2 * 69);
    for (const int table : {0, 1}) {
        EXPECT_EQ(bytes[69 * table + 4], table);
        EXPECT_EQ(bytes[69 * table + 5], base[64 * table]);
        EXPECT_EQ(bytes[69 * table + 68], base[64 * table + 63]);
        for (int i = 0; i < 64; i++)
            EXPECT_EQ(quantizers[64 * table + i], base[64 * table + i]);
        veliDCTQuantFwdTableInit_JPEGENC_8u16u(quantizers + 64 * table, expected);
        EXPECT_EQ(std::memcmp(reciprocals + 64 * table, expected, sizeof expected), 0);
    }
    stream.cursor = bytes;
    EXPECT_EQ(vela::velaBuildEncodeQuantTables_JPEG(1, base, &stream, &state), ENC_STATUS_OK);
    EXPECT_EQ(stream.cursor - bytes, 69);
}

TEST(QuantTables, EveryConstant) {
    // Fault: one of the constants off by one. They are near the textbook's, and rounded in a way of their
    // own, which the checksums hold.
    const auto a = [](int k) { // the scale that the transform leaves in frequency k
        return k == 0 ? 1 : std::numbers::sqrt2 * std::cos(k * std::numbers::pi / 16);
    };
    std::vector<uint8_t> forwardBytes, inverseBytes;
    for (int quantizer = 1; quantizer < 256; quantizer++) {
        uint8_t q[64];
        uint16_t forward[64];
        uint32_t inverse[64];
        std::memset(q, quantizer, sizeof q);
        veliDCTQuantFwdTableInit_JPEGENC_8u16u(q, forward);
        veliDCTQuantInvTableInit_JPEGENC_8u16u(q, inverse);
        for (int i = 0; i < 64; i++) {
            EXPECT_NEAR(inverse[i] / 131072.0, quantizer / (a(i / 8) * a(i % 8)), 2e-4 * quantizer)
                << i;
            for (int shift = 0; shift < 32; shift += 8) {
                forwardBytes.push_back(static_cast<uint8_t>(uint32_t{forward[i]} >> shift));
                inverseBytes.push_back(static_cast<uint8_t>(inverse[i] >> shift));
            }
        }
    }
    EXPECT_EQ(test::checksum(forwardBytes), 0xDB0F8389C78AE82E);
    EXPECT_EQ(test::checksum(inverseBytes), 0x83793F3191C7E4C9);
}

TEST(QuantTables, ReciprocalsAreTransposedAndRounded) {
    // Fault: natural order where transposed order belongs, a rounding off by one.
    uint8_t q[64];
    uint16_t forward[64];
    czBuildEnQuantTable(64, vela::_DefLumQuantTable_JPEGENC, q); // quality 75
    veliDCTQuantFwdTableInit_JPEGENC_8u16u(q, forward);
    EXPECT_EQ((std::vector<int>(forward, forward + 10)),
              (std::vector<int>{2048, 1969, 1792, 1990, 910, 869, 605, 825, 1969, 1419}));
    std::memset(q, 255, sizeof q);
    veliDCTQuantFwdTableInit_JPEGENC_8u16u(q, forward);
    EXPECT_EQ(forward[8 * 5 + 4], 20); // (5213 + 127) / 255

    std::memset(q, 2, sizeof q);
    uint32_t inverse[64];
    veliDCTQuantInvTableInit_JPEGENC_8u16u(q, inverse);
    EXPECT_EQ(inverse[0], 2 * 131072u);
    EXPECT_EQ(inverse[1], 2 * 94496u); // natural order
    EXPECT_EQ(inverse[8 * 7 + 5], 2 * 604640u);
    EXPECT_EQ(inverse[63], 2 * 1721920u);
}

} // namespace
