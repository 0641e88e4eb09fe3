// The scan buffers' growth.
#include <cstring>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "stream/scan_buffers.h"

namespace {

using namespace vela;

struct GrowingHost {
    static inline int calls;
    static inline int failAt;
    static int32_t grow(void** inout, uint32_t oldSize, uint32_t newSize) {
        if (++calls == failAt)
            return 7;
        void* const moved = std::malloc(newSize);
        std::memcpy(moved, *inout, oldSize);
        std::free(*inout);
        *inout = moved;
        return 0;
    }
};

TEST(ScanBuffers, GrowWhereFewerThan768BytesAreFree) {
    // Fault: too late or too small a growth, a cursor left in the old block.
    for (const int32_t count : {4, 8}) {
        for (const int failAt : {0, 1, 3}) {
            EncoderState_JPEG state{};
            state.scanBufferCount = count;
            state.grow = GrowingHost::grow;
            GrowingHost::calls = 0;
            GrowingHost::failAt = failAt;
            for (int32_t i = 0; i < count;
                 i++) { // every second one is one byte short of the reserve
                auto* const start = static_cast<uint8_t*>(std::malloc(1000));
                std::memset(start, i, 1000);
                state.scanBuffer[i] = {start, 1000, start + 232 + i % 2, 0};
            }
            const Status status = velaCheckOverflow_JPEG(&state);
            EXPECT_EQ(status, failAt == 0 || failAt > count / 2 ? ENC_STATUS_OK : ENC_STATUS_NOMEM);
            for (int32_t i = 0; i < count; i++) {
                const Bitstream_JPEG& buffer = state.scanBuffer[i];
                const bool big = i == 0 || i == 1 || i == (count == 4 ? 3 : 5);
                const bool grown = i % 2 == 1 && (failAt == 0 || i / 2 + 1 < failAt);
                EXPECT_EQ(buffer.size, 1000 + (grown ? (big ? 4096 : 1024) : 0)) << count << i;
                EXPECT_EQ(buffer.cursor - buffer.start, 232 + i % 2);
                EXPECT_EQ(buffer.start[999], i);
                std::free(buffer.start);
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
    state.grow = GrowingHost::grow;
    state.scanBuffer[0] = {start, size, start + size, 0};
    EXPECT_EQ(velaCheckOverflow_JPEG(&state), ENC_STATUS_NOMEM);
    munmap(memory, size);
}

} // namespace
