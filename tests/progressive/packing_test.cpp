// The packed records.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "progressive/ac_packers/plain.h"
#include "progressive/coefficient_pack.h"
#include "progressive/dc_packer.h"
#include "progressive/packed_stream.h"
#include "support/differences.h"
#include "support/packed_scan.h"

namespace {

using namespace vela;
using test::PackedScan;
using test::sameBytes;
using Bytes = std::vector<uint8_t>;

struct TestBlock {
    int16_t samples[64] = {};
    TestBlock(std::initializer_list<std::pair<int, int>> coefficients) {
        for (const auto& [k, value] : coefficients)
            samples[_ntIZigZagIndex[k]] = static_cast<int16_t>(value);
    }
};

TEST(PackedRecords, DcDifferences) {
    // Fault: wrong sizes, wrong sign bits, predictors of unshifted values.
    PackedScan first, refine;
    int16_t predictor = 0;
    const auto pack = [&](int dc) {
        const TestBlock block{{0, dc}};
        velaCoeffPack_DC_JPEG(block.samples, first.counts, &first.buffer, &refine.buffer,
                              &refine.coder, &predictor, 1);
        return first.take();
    };
    EXPECT_EQ(pack(10), (Bytes{0x03, 0x05}));
    EXPECT_EQ(pack(12), (Bytes{0x01, 0x01}));
    EXPECT_EQ(refine.coder.bits.bitsUsed, 2);
    EXPECT_EQ(refine.coder.bits.bitAccumulator, 0u);
    EXPECT_EQ(pack(13), (Bytes{0x00, 0x00}));
    EXPECT_EQ(refine.coder.bits.bitAccumulator, 0x20000000u);
    EXPECT_EQ(pack(10), (Bytes{0x01, 0x00})); // -1
    EXPECT_EQ(pack(520), (Bytes{0x08, 0xFF}));
    EXPECT_EQ(pack(8), (Bytes{0x09, 0x00, 0xFF})); // -256
    EXPECT_EQ(pack(520), (Bytes{0x09, 0x01, 0x00}));
    EXPECT_EQ(first.counts[9], 2u);
    EXPECT_EQ(first.counts[0], 1u);
}

TEST(PackedRecords, AcCoefficients) {
    // Fault: wrong zero runs, a point transform that rounds the wrong way.
    const TestBlock block{{1, 3}, {3, -2}};
    PackedScan first, refine;
    first.packFirst(block.samples);
    refine.packRefine(block.samples);
    EXPECT_EQ(first.take(), (Bytes{0x01, 0x01, 0x11, 0x00}));
    EXPECT_EQ(first.coder.eobRun, 1);
    EXPECT_EQ(refine.take(), Bytes{});
    EXPECT_EQ(refine.coder.eobRun, 1);
    EXPECT_TRUE(sameBytes(Bytes{1, 0}, refine.corrections()));

    const TestBlock zeroRun{{18, 2}}; // 17 zeros
    first.packFirst(zeroRun.samples);
    EXPECT_EQ(first.take(), (Bytes{0x00, 0xF0, 0x11, 0x01}));
    const TestBlock wide{{1, -1000}}; // shifted magnitude 500
    first.packFirst(wide.samples);
    EXPECT_EQ(first.take(), (Bytes{0x00, 0x09, 0x00, 0x0B}));
}

TEST(PackedRecords, EndOfBandRuns) {
    // Fault: a wrong class or wrong bits of a run, a run beyond 32767.
    const TestBlock zero{};
    PackedScan scan;
    for (int i = 0; i < 32767; i++)
        scan.packFirst(zero.samples);
    EXPECT_EQ(scan.take(), (Bytes{0xE0, 0x7F, 0xFF}));
    EXPECT_EQ(scan.coder.eobRun, 0);
    const std::pair<int, Bytes> runs[] = {{1, {0x00}},
                                          {2, {0x10, 0x00}},
                                          {5, {0x20, 0x01}},
                                          {511, {0x80, 0xFF}},
                                          {600, {0x90, 0x00, 0x58}}};
    for (const auto& [run, bytes] : runs) {
        for (int i = 0; i < run; i++)
            scan.packFirst(zero.samples);
        velaCoeffPack_ACFirstFlush_JPEG(scan.counts, &scan.buffer, &scan.coder);
        EXPECT_EQ(scan.take(), bytes) << run;
    }
    EXPECT_EQ(scan.counts[0x20], 1u);
}

TEST(PackedRecords, CorrectionBits) {
    // Fault: correction bits before the symbol that they belong after.
    PackedScan scan;
    uint8_t bits[300] = {1, 0, 1};
    packCorrectionBits(scan.buffer, bits, 3);
    EXPECT_EQ(scan.take(), (Bytes{0xFE, 0x03, 0x05}));
    const uint8_t a5[8] = {1, 0, 1, 0, 0, 1, 0, 1};
    packCorrectionBits(scan.buffer, a5, 8);
    EXPECT_EQ(scan.take(), (Bytes{0xFE, 0x08, 0xA5}));
    packCorrectionBits(scan.buffer, bits, 300);
    Bytes expected(3 + 38);
    std::copy_n(Bytes{0xFD, 0x01, 0x2C, 0x0A}.begin(), 4, expected.begin());
    EXPECT_EQ(scan.take(), expected);

    packCorrectionBits(scan.buffer, bits, 255); // the most that one byte counts
    EXPECT_EQ(scan.take().size(), 2u + 32);
    packCorrectionBits(scan.buffer, bits, 256);
    EXPECT_EQ(scan.take().size(), 3u + 32);

    // A new coefficient after pending blocks and its own correction bits: the run, its bits, the
    // symbol, the sign, the own bits.
    const TestBlock pending{{2, 3}};
    const TestBlock mixed{{1, 2}, {3, 5}, {4, -1}, {5, 6}};
    scan.packRefine(pending.samples);
    scan.packRefine(mixed.samples);
    EXPECT_EQ(scan.take(), (Bytes{0x00, 0xFE, 0x01, 0x01, 0x11, 0x00, 0xFE, 0x02, 0x01}));
    EXPECT_TRUE(sameBytes(Bytes{0}, scan.corrections()));
    EXPECT_EQ(scan.coder.eobRun, 1);
    // The same with a zero run between, after which the position starts anew
    const TestBlock zeroRun{{1, 3}, {20, 7}, {21, 1}};
    scan.packRefine(zeroRun.samples);
    EXPECT_EQ(scan.take(), (Bytes{0x00, 0xFE, 0x01, 0x00, 0xF0, 0xFE, 0x01, 0x01, 0x21, 0x01, 0xFE,
                                  0x01, 0x01}));
}

TEST(PackedRecords, CorrectionBitsAreWrittenWhileTheNextBlocksFit) {
    // Fault: a run of blocks whose correction bits outgrow their memory.
    int16_t block[64];
    std::fill_n(block, 64, int16_t{3}); // 63 correction bits, all 1
    PackedScan scan;
    for (int i = 0; i < 15; i++)
        scan.packRefine(block);
    EXPECT_EQ(scan.take(), Bytes{});
    EXPECT_EQ(scan.coder.correctionCount, 945);
    scan.packRefine(block); // 1008 leave no room for 63 more
    Bytes expected(2 + 3 + 126, 0xFF);
    std::copy_n(Bytes{0x40, 0x00, 0xFD, 0x03, 0xF0}.begin(), 5, expected.begin());
    EXPECT_EQ(scan.take(), expected);
    EXPECT_EQ(scan.coder.correctionCount, 0);

    // 961 leave just that room.
    for (int i = 0; i < 15; i++)
        scan.packRefine(block);
    TestBlock sixteen{}, one{{1, 3}};
    for (int k = 1; k <= 16; k++)
        sixteen.samples[_ntIZigZagIndex[k]] = 3;
    scan.packRefine(sixteen.samples);
    EXPECT_EQ(scan.take(), Bytes{});
    EXPECT_EQ(scan.coder.correctionCount, 961);
    scan.packRefine(one.samples);
    EXPECT_EQ(scan.take().size(), 2u + 3 + 121);
}

TEST(PackedRecords, StayWithinTheirBoundsWhateverIsPending) {
    // Fault: a block's records longer than the room that is kept for them.
    std::mt19937 random(31);
    PackedScan first, refine;
    for (int round = 0; round < 20000; round++) {
        int16_t block[64];
        const unsigned kind = random() % 4; // the packers assert their bounds
        for (int16_t& c : block)
            c = static_cast<int16_t>(kind == 0   ? random() % 3 - 1
                                     : kind == 1 ? random() % 2047 - 1023
                                     : kind == 2 ? 2 + random() % 2
                                                 : (random() % 20 == 0 ? 1 : 0));
        first.packFirst(block);
        refine.packRefine(block);
        ASSERT_LE(first.take().size(), static_cast<size_t>(kMaxAcFirstBytes));
        ASSERT_LE(refine.take().size(), static_cast<size_t>(kMaxAcRefineBytes));
        ASSERT_LE(refine.coder.correctionCount, kMaxPendingCorrections);
    }
    EXPECT_TRUE(first.memory.intact() && refine.memory.intact());
}

} // namespace
