// The scan buffers' growth.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "stream/scan_buffers.h"

namespace {

using namespace vela;

TEST(ScanBuffers, KeepTheirBytesAndGrowWhereFewerThan768AreFree) {
    // Fault: a buffer that grows one byte too late, or whose cursor stays in the old block; buffers after
    // one that cannot grow.
    static uint8_t old[4][1000], moved[4][1000 + 4096];
    static int calls, failAt;
    for (failAt = 0; failAt <= 3; failAt++) {
        EncoderState_JPEG state{};
        state.scanBufferCount = 4;
        state.grow = [](void** inout, uint32_t, uint32_t) {
            *inout = moved[calls];
            return ++calls == failAt ? 7 : 0;
        };
        calls = 0;
        for (int32_t i = 0; i < 4; i++) // 768 bytes free, then 767 in the others
            state.scanBuffer[i] = {old[i], 1000, old[i] + 232 + (i > 0 ? 1 : 0), 0};
        EXPECT_EQ(velaCheckOverflow_JPEG(&state), failAt == 0 ? ENC_STATUS_OK : ENC_STATUS_NOMEM);
        EXPECT_EQ(calls, failAt == 0 ? 3 : failAt);
        for (int32_t i = 0; i < 4; i++) {
            const bool grown = i > 0 && (failAt == 0 || i < failAt);
            EXPECT_EQ(state.scanBuffer[i].size > 1000, grown) << i;
            if (grown || i == 0) {
                EXPECT_EQ(state.scanBuffer[i].start, i == 0 ? old[0] : moved[i - 1]) << i;
                EXPECT_EQ(state.scanBuffer[i].cursor - state.scanBuffer[i].start,
                          i == 0 ? 232 : 233);
            }
        }
    }
}

TEST(ScanBuffers, DoNotGrowBeyond32Bits) {
    // Fault: a buffer's size that overflows.
    constexpr int32_t size = INT32_MAX - 4095;
    void* const memory = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const start = static_cast<uint8_t*>(memory);
    EncoderState_JPEG state{};
    state.scanBufferCount = 4;
    state.grow = [](void**, uint32_t, uint32_t) { return 0; };
    state.scanBuffer[0] = {start, size, start + size, 0};
    EXPECT_EQ(velaCheckOverflow_JPEG(&state), ENC_STATUS_NOMEM);
    munmap(memory, size);
}

} // namespace
