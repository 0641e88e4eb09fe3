// The baseline MCU coder: the room it makes, restart intervals.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "baseline/mcu_coder.h"
#include "encoder/routine_choice.h"
#include "support/differences.h"
#include "support/guarded.h"
#include "tables/block_coder/plain.h"
#include "tables/default_tables.h"

namespace {

using test::Guarded;

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
    vela::RestartCounter counter;
    int predictors = 0; // those that are not 0

    CodedMcu(size_t size, bool takes, uint32_t restartInterval = 0) {
        EncoderState_JPEG state{};
        state.routines = &vela::kPlainRoutines;
        state.flush = flush;
        state.flushContext = 1;
        state.restartInterval = restartInterval;
        state.restartCounter.mcusToGo = restartInterval;
        state.restartCounter.rstIndex = 7;
        int16_t samples[6][64];
        state.blockSpec.blockCount = 6;
        for (int b = 0; b < 6; b++) {
            for (int k = 0; k < 64; k++)
                samples[b][k] = static_cast<int16_t>((k * k + b) % 7 == 0 ? -5 : 1023 - b * k);
            state.blockSpec.blockSamples[b] = samples[b];
            state.blockSpec.blockPredictor[b] = &state.dcPredictor[b < 4 ? 0 : b - 3];
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
        counter = state.restartCounter;
        predictors = 3 - static_cast<int>(std::count(state.dcPredictor, state.dcPredictor + 3, 0));
        EXPECT_TRUE(memory.intact());
    }
};

TEST(McuCoder, MakesExactlyTheRoomItNeeds) {
    // Fault: a write beyond the output, room asked for that is not needed, predictors that advance twice.
    const CodedMcu roomy(4096, false);
    EXPECT_EQ(roomy.status, ENC_STATUS_OK);
    EXPECT_GT(roomy.bytes.size(), 1000u); // more than the scan's reserve
    const CodedMcu tight(roomy.bytes.size(), false);
    EXPECT_EQ(tight.status, ENC_STATUS_OK);
    EXPECT_TRUE(test::sameBytes(roomy.bytes, tight.bytes));
    EXPECT_EQ(CodedMcu(roomy.bytes.size() - 1, false).status, ENC_STATUS_OUTPUT_FULL);
    for (size_t size = 1; size < 1000; size++) {
        const CodedMcu coded(size, true);
        if (size > static_cast<size_t>(vela::kMaxBlockBytes)) {
            EXPECT_EQ(coded.status, ENC_STATUS_OK) << size;
        }
        if (coded.status == ENC_STATUS_OK) {
            EXPECT_TRUE(test::sameBytes(roomy.bytes, coded.bytes)) << size;
            EXPECT_EQ(coded.bitCount, roomy.bitCount) << size;
        }
    }
}

TEST(McuCoder, EndsItsRestartInterval) {
    // Fault: the marker's status dropped; its number, the countdown or a predictor not advanced or reset.
    const CodedMcu open(4096, false, 2);
    EXPECT_EQ(open.status, ENC_STATUS_OK);
    EXPECT_EQ(open.counter.mcusToGo, 1u);
    EXPECT_EQ(open.predictors, 3);
    const CodedMcu closed(4096, false, 1);
    EXPECT_EQ(closed.status, ENC_STATUS_OK);
    EXPECT_EQ(closed.counter.mcusToGo, 1u);
    EXPECT_EQ(closed.counter.rstIndex, 0u);
    EXPECT_EQ(closed.predictors, 0);
    ASSERT_EQ(closed.bytes.size(), open.bytes.size() + 2);
    EXPECT_EQ(closed.bytes[closed.bytes.size() - 2], 0xFF);
    EXPECT_EQ(closed.bytes.back(), 0xD7);
    for (size_t less = 0; less <= 2; less++) { // the MCU fits, its marker does not
        const size_t size = closed.bytes.size() - less;
        EXPECT_EQ(CodedMcu(size, false, 1).status,
                  less == 0 ? ENC_STATUS_OK : ENC_STATUS_OUTPUT_FULL);
        EXPECT_TRUE(test::sameBytes(closed.bytes, CodedMcu(size, true, 1).bytes));
    }
}

} // namespace
