// The scan encoders.
#include <random>

#include <gtest/gtest.h>

#include "progressive/scan_encoders.h"
#include "support/guarded.h"
#include "tables/default_tables.h"

namespace {

using namespace vela;

TEST(ScanEncoders, NeverWritePastTheOutputWhateverTheStream) {
    // Fault: room counted in fewer bytes than a unit may take.
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

} // namespace
