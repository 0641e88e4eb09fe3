// The scan encoders.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "progressive/scan_encoders.h"
#include "support/differences.h"
#include "support/guarded.h"
#include "support/packed_scan.h"
#include "tables/default_tables.h"

namespace {

using namespace vela;

/// As much of an encoder's state as the scan encoders look at, and a flush that takes everything.
struct ScanState : EncoderState_JPEG {
    ScanCoderState coder{};

    ScanState() : EncoderState_JPEG{} {
        scanWorkArea = &coder;
        blockSpec.blockCount = 6;
        blockSpec.chromaBlocks = 2;
        restartInterval = 1;
        flushContext = 1;
        flush = [](uint8_t* start, uint32_t, int32_t used, uint32_t) {
            flushed.insert(flushed.end(), start, start + used);
            return used;
        };
    }

    static inline std::vector<uint8_t> flushed;
};

TEST(ScanEncoders, CorrectionBitsCountAgainstTheRoom) {
    // Fault: a record of many correction bits counted as one symbol, so that a batch of them outgrows
    // the output. Four blocks of 63 correction bits and one with a new coefficient, over and over, are a
    // legal picture.
    int16_t corrections[64], fresh[64] = {};
    std::fill_n(corrections, 64, int16_t{3});
    fresh[9] = 1;
    test::PackedScan scan;
    for (int i = 0; i < 5000; i++)
        scan.packRefine(i % 5 < 4 ? corrections : fresh);
    EncodeHuffmanSpec table{};
    std::fill_n(table.entry, 256, 16u << 16 | 0xFFFF); // every byte is stuffed
    const auto encode = [&](size_t size) {
        test::Guarded memory(size);
        Bitstream_JPEG out{memory.data(), static_cast<int32_t>(size), memory.data(), 0};
        ScanState state;
        ScanState::flushed.clear();
        EXPECT_EQ(velaEncodeScanData_ACRefine_JPEG(&out, &scan.buffer, &table, &state),
                  ENC_STATUS_OK);
        EXPECT_TRUE(memory.intact()) << size;
        ScanState::flushed.insert(ScanState::flushed.end(), out.start, out.cursor);
        return ScanState::flushed;
    };
    const std::vector<uint8_t> whole = encode(1 << 20);
    EXPECT_GT(whole.size(), 65536u);
    for (const size_t size : {200u, 1000u, 4000u, 65536u})
        EXPECT_TRUE(test::sameBytes(whole, encode(size))) << size;
}

TEST(ScanEncoders, NeverWritePastTheOutputWhateverTheStream) {
    // Fault: room counted in fewer bytes than a unit may take.
    std::mt19937 random(32);
    EncodeHuffmanSpec table = ACLunmaTable;
    ScanState state;
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

TEST(ScanEncoders, WhatACutRecordLacksIsZero) {
    // Fault: bits of the stack in the stream.
    const auto encode = [](std::vector<uint8_t> records) {
        std::vector<uint8_t> bytes(1000);
        uint8_t* const start = records.data();
        const auto count = static_cast<int32_t>(records.size());
        const Bitstream_JPEG in{start, count, start + count, 0};
        Bitstream_JPEG out{bytes.data(), static_cast<int32_t>(bytes.size()), bytes.data(), 0};
        ScanState state;
        EXPECT_EQ(velaEncodeScanData_ACFirst_JPEG(&out, &in, &ACLunmaTable, &state), ENC_STATUS_OK);
        bytes.resize(static_cast<size_t>(out.cursor - out.start));
        return bytes;
    };
    const auto useStack = [] {
        volatile uint8_t used[4096];
        for (volatile uint8_t& byte : used)
            byte = 0xFF;
    };
    const std::vector<std::vector<uint8_t>> wholes = {{1, 1, 1, 0, 0x05, 0}, {1, 1, 0x1A, 0, 0}};
    for (const auto& whole : wholes) { // the last record's value takes a byte, or two
        std::vector<uint8_t> cut = whole;
        for (cut.pop_back(); cut.back() == 0; cut.pop_back())
            ;
        useStack();
        EXPECT_TRUE(test::sameBytes(encode(whole), encode(cut)));
    }
}

} // namespace
