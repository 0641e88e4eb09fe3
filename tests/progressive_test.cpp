// The progressive process from the inside: the packed records, the fitted Huffman tables, the scan
// script. Whole progressive streams are in encode_test.cpp.
#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "progressive/block_packers.h"
#include "progressive/coefficient_pack.h"
#include "progressive/packed_stream.h"
#include "progressive/scan_encoders.h"
#include "progressive/scan_tables.h"
#include "support/host.h"
#include "support/jpeg_check.h"
#include "tables/default_tables.h"
#include "tables/huffman_tables.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

/// One scan's buffer, counts and coder.
struct Scan {
    test::Guarded memory{1 << 16};
    Bitstream_JPEG buffer{memory.data(), 1 << 16, memory.data(), 0};
    uint32_t counts[257] = {};
    ScanCoderState coder{};

    /// What has been packed since the last time.
    Bytes take() {
        const Bytes bytes(buffer.start, buffer.cursor);
        buffer.cursor = buffer.start;
        return bytes;
    }
    void packFirst(const int16_t* block) {
        velaPackACFirst_JPEG(block, counts, &buffer, &coder, 1, 63, 1);
    }
    void packRefine(const int16_t* block) {
        velaPackACRefine_JPEG(block, counts, &buffer, &coder, 1, 63, 0);
    }
    std::vector<int> corrections() const {
        return std::vector<int>(coder.correctionBits, coder.correctionBits + coder.correctionCount);
    }
};

struct TestBlock {
    int16_t samples[64] = {};
    TestBlock(std::initializer_list<std::pair<int, int>> coefficients) {
        for (const auto& [k, value] : coefficients)
            samples[_ntIZigZagIndex[k]] = static_cast<int16_t>(value);
    }
};

TEST(PackedRecords, DcDifferences) {
    Scan first, refine;
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
    const TestBlock block{{1, 3}, {3, -2}};
    Scan first, refine;
    first.packFirst(block.samples);
    refine.packRefine(block.samples);
    EXPECT_EQ(first.take(), (Bytes{0x01, 0x01, 0x11, 0x00}));
    EXPECT_EQ(first.coder.eobRun, 1);
    EXPECT_EQ(refine.take(), Bytes{});
    EXPECT_EQ(refine.coder.eobRun, 1);
    EXPECT_EQ(refine.corrections(), (std::vector<int>{1, 0}));

    const TestBlock zeroRun{{18, 2}}; // 17 zeros
    first.packFirst(zeroRun.samples);
    EXPECT_EQ(first.take(), (Bytes{0x00, 0xF0, 0x11, 0x01}));
    const TestBlock wide{{1, -1000}}; // shifted magnitude 500
    first.packFirst(wide.samples);
    EXPECT_EQ(first.take(), (Bytes{0x00, 0x09, 0x00, 0x0B}));
}

TEST(PackedRecords, EndOfBandRuns) {
    const TestBlock zero{};
    Scan scan;
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
    Scan scan;
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

    // A new coefficient behind pending blocks and its own correction bits: the run, its bits, the
    // symbol, the sign, the own bits.
    const TestBlock pending{{2, 3}};
    const TestBlock mixed{{1, 2}, {3, 5}, {4, -1}, {5, 6}};
    scan.packRefine(pending.samples);
    scan.packRefine(mixed.samples);
    EXPECT_EQ(scan.take(), (Bytes{0x00, 0xFE, 0x01, 0x01, 0x11, 0x00, 0xFE, 0x02, 0x01}));
    EXPECT_EQ(scan.corrections(), (std::vector<int>{0}));
    EXPECT_EQ(scan.coder.eobRun, 1);
    // The same with a zero run between, behind which the position starts anew
    const TestBlock zeroRun{{1, 3}, {20, 7}, {21, 1}};
    scan.packRefine(zeroRun.samples);
    EXPECT_EQ(scan.take(), (Bytes{0x00, 0xFE, 0x01, 0x00, 0xF0, 0xFE, 0x01, 0x01, 0x21, 0x01, 0xFE,
                                  0x01, 0x01}));
}

TEST(PackedRecords, CorrectionBitsAreWrittenWhileTheNextBlocksFit) {
    int16_t block[64];
    std::fill_n(block, 64, int16_t{3}); // 63 correction bits, all 1
    Scan scan;
    for (int i = 0; i < 15; i++)
        scan.packRefine(block);
    EXPECT_EQ(scan.take(), Bytes{});
    EXPECT_EQ(scan.coder.correctionCount, 945);
    scan.packRefine(block); // 1008 leave no room for 63 more
    Bytes expected(2 + 3 + 126, 0xFF);
    std::copy_n(Bytes{0x40, 0x00, 0xFD, 0x03, 0xF0}.begin(), 5, expected.begin());
    EXPECT_EQ(scan.take(), expected);
    EXPECT_EQ(scan.coder.correctionCount, 0);
}

TEST(PackedRecords, StayWithinTheirBoundsBehindWhateverIsPending) {
    std::mt19937 random(31);
    Scan first, refine;
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

TEST(ScanEncoders, NeverWritePastTheOutputWhateverTheStream) {
    std::mt19937 random(32);
    ScanCoderState coder{};
    EncodeHuffmanSpec table = ACLunmaTable;
    EncoderState_JPEG state{};
    state.scanWorkArea = &coder;
    state.blockSpec.blockCount = 6;
    state.blockSpec.chromaBlocks = 2;
    state.restartInterval = 1;
    state.flushContext = 1;
    state.flush = [](uint8_t*, uint32_t, int32_t used, uint32_t) { return used; };
    const EncodeHuffmanSpec* const dcTables[2] = {&table, &table};
    for (int round = 0; round < 2000; round++) {
        const size_t size = random() % 300;
        test::Guarded packed(size), memory(400 + random() % 200);
        for (size_t i = 0; i < size; i++)
            packed.data()[i] =
                static_cast<uint8_t>(random() % 3 == 0 ? 0xFD + random() % 3 : random());
        const Bitstream_JPEG in{packed.data(), static_cast<int32_t>(size), packed.data() + size, 0};
        Bitstream_JPEG out{memory.data(), static_cast<int32_t>(memory.size()), memory.data(), 0};
        const int32_t results[] = {velaEncodeScanData_DCFirst_JPEG(&out, &in, dcTables, &state),
                                   velaEncodeScanData_DCRefine_JPEG(&out, &in, &state),
                                   velaEncodeScanData_ACFirst_JPEG(&out, &in, &table, &state),
                                   velaEncodeScanData_ACRefine_JPEG(&out, &in, &table, &state)};
        for (const int32_t status : results)
            ASSERT_TRUE(status == ENC_STATUS_OK || status == ENC_STATUS_OUTPUT_FULL);
        ASSERT_TRUE(packed.intact() && memory.intact());
    }
}

// ------------------------------------------------------------------------- fitted Huffman tables

/// A table for counts; checks that it can be decoded and has a code for every symbol that occurs.
HuffmanSpecWork fitted(std::vector<uint32_t> counts) {
    counts.resize(257);
    const std::vector<uint32_t> original = counts;
    HuffmanSpecWork work{};
    velaHuffmanTableSpecInit_JPEG_8u(counts.data(), work.codesize, work.others, work.bitsWork,
                                     work.BITS, work.HUFFVAL);
    int64_t space = 0; // in codes of 16 bits
    size_t total = 0;
    for (int length = 1; length <= 16; length++) {
        space += int64_t{work.BITS[length - 1]} << (16 - length);
        total += work.BITS[length - 1];
    }
    EXPECT_LT(space, 1 << 16); // the code of 1-bits only is free
    std::vector<bool> has(256);
    for (size_t i = 0; i < total; i++) {
        EXPECT_FALSE(has[work.HUFFVAL[i]]);
        has[work.HUFFVAL[i]] = true;
    }
    for (size_t s = 0; s < 256; s++)
        EXPECT_EQ(has[s], original[s] != 0) << s;
    return work;
}

TEST(FittedTables, SmallOnes) {
    std::vector<uint32_t> counts(257);
    EXPECT_EQ(fitted(counts).BITS[0], 0);
    counts[0x21] = 12345;
    HuffmanSpecWork one = fitted(counts);
    EXPECT_EQ(one.BITS[0], 1);
    EXPECT_EQ(one.HUFFVAL[0], 0x21);

    // Of equal counts the higher symbol is merged first, the reserved one before all.
    HuffmanSpecWork three = fitted({1, 1, 1});
    EXPECT_EQ(Bytes(three.BITS, three.BITS + 3), (Bytes{0, 3, 0}));
    HuffmanSpecWork tie = fitted({5, 2, 2, 1});
    EXPECT_EQ(Bytes(tie.BITS, tie.BITS + 4), (Bytes{1, 1, 1, 1}));
    EXPECT_EQ(Bytes(tie.HUFFVAL, tie.HUFFVAL + 4), (Bytes{0, 1, 2, 3}));
}

TEST(FittedTables, LongCodesAreLimited) {
    for (const int symbols : {20, 40, 250}) { // the rarer half's sum grows with every merge
        std::vector<uint32_t> counts = {1, 1};
        while (static_cast<int>(counts.size()) < symbols)
            counts.push_back(
                std::min(counts.end()[-1] + counts.end()[-2], 400000000u)); // Fibonacci
        fitted(counts);
    }
    fitted(std::vector<uint32_t>(256, 0xFFFFFFFF));
    std::vector<uint32_t> lopsided(256, 1); // 256 codes of nine bits, the reserved one among them
    lopsided[7] = 1000000;
    EXPECT_EQ(fitted(lopsided).BITS[8], 255);
}

TEST(FittedTables, CostNoMoreThanTheEntropyAllows) {
    std::mt19937 random(8);
    for (int round = 0; round < 200; round++) {
        std::vector<uint32_t> counts(257);
        for (size_t i = 0; i < 256; i++)
            counts[i] =
                random() % 3 == 0 ? static_cast<uint32_t>(random() % (1u << (random() % 20))) : 0;
        double sum = 0;
        for (const uint32_t c : counts)
            sum += c;
        const HuffmanSpecWork work = fitted(counts);
        double bits = 0, entropy = 0;
        size_t k = 0;
        for (int length = 1; length <= 16; length++)
            for (int i = 0; i < work.BITS[length - 1]; i++)
                bits += double(length) * counts[work.HUFFVAL[k++]];
        for (const uint32_t c : counts)
            entropy += c == 0 ? 0 : c * std::log2(sum / c);
        EXPECT_GE(bits, entropy - 1e-6 * entropy);
        EXPECT_LE(bits, entropy + 1.02 * sum);
    }
}

// --------------------------------------------------------------------------------- whole streams

/// The markers of a stream with their segments, entropy-coded data left out.
struct Segment {
    uint8_t marker;
    Bytes body;
};
std::vector<Segment> segments(const Bytes& jpeg) {
    std::vector<Segment> found;
    for (size_t i = 0; i + 1 < jpeg.size(); i++) {
        const uint8_t marker = jpeg[i + 1];
        if (jpeg[i] != 0xFF || marker == 0 || (marker >= 0xD0 && marker <= 0xD8))
            continue;
        Segment segment{marker, {}};
        if (marker != 0xD9) {
            const size_t length = 256u * jpeg[i + 2] + jpeg[i + 3];
            segment.body.assign(jpeg.begin() + static_cast<ptrdiff_t>(i + 4),
                                jpeg.begin() + static_cast<ptrdiff_t>(i + 2 + length));
            i += 1 + length;
        }
        found.push_back(segment);
    }
    return found;
}

TEST(ScanScript, OrderTablesAndParameters) {
    const auto outline = [](const test::Format& format) {
        const test::TestPicture picture(format, 50, 40, test::Content::noise, 3);
        std::vector<std::pair<int, Bytes>> lines;
        for (const Segment& s : segments(encodeWhole(
                 test::params(format, 75, 0, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE),
                 picture))) {
            if (s.marker == 0xC4)
                lines.emplace_back(s.marker, Bytes{s.body[0]}); // class and number
            else if (s.marker >= 0xC0 && s.marker != 0xDB && s.marker != 0xE0)
                lines.emplace_back(s.marker, s.marker == 0xDA ? s.body : Bytes{});
        }
        return lines;
    };
    const Bytes dcFirst = {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 0, 0x01};
    const Bytes dcRefine = {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 0, 0x10};
    const auto ac = [](uint8_t component, uint8_t approximation) {
        const uint8_t tables = component == 1 ? 0x00 : 0x11;
        return std::pair<int, Bytes>{0xDA, {1, component, tables, 1, 63, approximation}};
    };
    const auto dht = [](uint8_t table) { return std::pair<int, Bytes>{0xC4, {table}}; };
    EXPECT_EQ(outline(test::kFormats[11]), (std::vector<std::pair<int, Bytes>>{{0xC2, {}},
                                                                               dht(0x00),
                                                                               dht(0x01),
                                                                               {0xDA, dcFirst},
                                                                               dht(0x10),
                                                                               ac(1, 0x01),
                                                                               dht(0x11),
                                                                               ac(2, 0x01),
                                                                               dht(0x11),
                                                                               ac(3, 0x01),
                                                                               {0xDA, dcRefine},
                                                                               dht(0x10),
                                                                               ac(1, 0x10),
                                                                               dht(0x11),
                                                                               ac(2, 0x10),
                                                                               dht(0x11),
                                                                               ac(3, 0x10),
                                                                               {0xD9, {}}}));
    EXPECT_EQ(outline(test::kFormats[12]),
              (std::vector<std::pair<int, Bytes>>{{0xC2, {}},
                                                  dht(0x00),
                                                  {0xDA, {1, 1, 0x00, 0, 0, 0x01}},
                                                  dht(0x10),
                                                  ac(1, 0x01),
                                                  {0xDA, {1, 1, 0x00, 0, 0, 0x10}},
                                                  dht(0x10),
                                                  ac(1, 0x10),
                                                  {0xD9, {}}}));
}

TEST(ScanBuffersOfAPicture, CorrectionBitsThatLookLikeAMarkerStay) {
    const test::Format grey = test::kFormats[12];
    int found = 0;
    for (uint32_t seed = 46000; seed < 60000 && found < 1; seed++) {
        const test::TestPicture picture(grey, 8, 8, test::Content::noise, seed);
        const EncoderParams_JPEG p =
            test::params(grey, 97, 50, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE);
        test::Host host;
        uint8_t output[2048];
        Bitstream_JPEG stream{output, sizeof output, nullptr, 0};
        const Picture_JPEG record = picture.record();
        const CallbackTable_JPEG callbacks = host.callbacks();
        EncoderState_JPEG* state = nullptr;
        ASSERT_EQ(EncoderInitAlloc_JPEG(&p, &record, &stream, &callbacks, &state), 0);
        ASSERT_EQ(Encode_JPEG(nullptr, &stream, state), 0);
        const uint8_t* const end = state->scanBuffer[3].cursor; // AC refinement
        if (end[-2] == 0xFF && end[-1] >= 0xD0 && end[-1] <= 0xD7) {
            found++;
            const int16_t* const block = state->blockSpec.blockSamples[0];
            const auto expectBlock = [&](const test::DecodedJpeg& decoded) {
                for (size_t i = 0; i < 64; i++)
                    ASSERT_EQ(decoded.components[0].blocks[0][i], block[8 * (i % 8) + i / 8]);
            };
            test::expectReads(Bytes(stream.start, stream.cursor), test::describe(picture),
                              expectBlock);
        }
        EncoderFree_JPEG(&state);
    }
    EXPECT_EQ(found, 1);
}

} // namespace
