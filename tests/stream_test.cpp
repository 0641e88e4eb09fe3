// The output stream, the bit writer, the scan buffers and the marker segments.
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "stream/bit_writer.h"
#include "stream/markers.h"
#include "stream/output_stream.h"
#include "stream/scan_buffers.h"
#include "support/guarded.h"
#include "vela/primitives.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

int32_t toTake; // what the sink answers
int32_t offered;
int calls;

int32_t sink(uint8_t*, uint32_t, int32_t used, uint32_t) {
    offered = used;
    calls++;
    return toTake;
}

/// A stream over exactly size bytes that hold 1, 2, 3, ... with used of them finished.
struct StreamOver {
    test::Guarded memory;
    Bitstream_JPEG stream;

    StreamOver(int32_t size, int32_t used, uint32_t bitCount = 0)
        : memory(static_cast<size_t>(size)) {
        for (int32_t i = 0; i < size; i++)
            memory.data()[i] = static_cast<uint8_t>(i + 1);
        stream = {memory.data(), size, memory.data() + used, bitCount};
        if (bitCount != 0)
            *stream.cursor = 0xA0; // 101 and zeros
        calls = 0;
        offered = -1;
    }
    int32_t used() const { return static_cast<int32_t>(stream.cursor - stream.start); }
    Bytes bytes() const { return Bytes(stream.start, stream.cursor); }
};

TEST(OutputStream, CompletesThePartialByteBeforeAMarker) {
    StreamOver s(12, 10, 3);
    toTake = 6;
    EXPECT_EQ(velaWriteMarker_JPEG(0xD9, &s.stream, sink, 1), ENC_STATUS_OK);
    EXPECT_EQ(offered, 10);
    EXPECT_EQ(s.bytes(), (Bytes{7, 8, 9, 10, 0xBF, 0xFF, 0xD9}));
    EXPECT_EQ(s.stream.bitCount, 0u);

    StreamOver roomy(13, 10, 3);
    EXPECT_EQ(velaWriteMarker_JPEG(0xD9, &roomy.stream, sink, 1), ENC_STATUS_OK);
    EXPECT_EQ(calls, 0);

    StreamOver ones(14, 10, 5); // completes to 0xFF, which takes a byte more
    *ones.stream.cursor = 0xF8;
    EXPECT_EQ(velaWriteMarker_JPEG(0xD9, &ones.stream, sink, 1), ENC_STATUS_OK);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Bytes(ones.stream.start + 10, ones.stream.cursor), (Bytes{0xFF, 0x00, 0xFF, 0xD9}));
    EXPECT_TRUE(s.memory.intact() && roomy.memory.intact() && ones.memory.intact());
}

TEST(OutputStream, FailsUnchangedWhenFlushTakesTooLittleOrLies) {
    for (const int32_t answer : {0, 1, -1, 11, INT32_MIN, INT32_MAX}) {
        StreamOver s(12, 10, 3);
        const Bytes before(s.stream.start, s.stream.start + 12);
        toTake = answer;
        EXPECT_EQ(czFlushStreamBytes_JPEGENC(&s.stream, 4, sink, 1), ENC_STATUS_OUTPUT_FULL);
        EXPECT_EQ(s.used(), 10);
        EXPECT_EQ(s.stream.bitCount, 3u);
        EXPECT_EQ(Bytes(s.stream.start, s.stream.start + 12), before);
    }
    for (const int32_t size : {0, -5}) {
        uint8_t nothing;
        Bitstream_JPEG empty{&nothing, size, &nothing, 0};
        toTake = 0;
        EXPECT_EQ(velaWriteMarker_JPEG(0xD8, &empty, sink, 1), ENC_STATUS_OUTPUT_FULL);
    }
}

TEST(OutputStream, OverwritesWithoutAFlushContext) {
    StreamOver s(4, 4);
    const uint8_t bytes[] = {9, 8, 7};
    EXPECT_EQ(czWriteStreamBytes_JPEGENC(bytes, 3, &s.stream, sink, 0), ENC_STATUS_OK);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(s.bytes(), (Bytes{9, 8, 7}));
    EXPECT_EQ(czWriteStreamBytes_JPEGENC(bytes, 5, &s.stream, sink, 0), ENC_STATUS_OUTPUT_FULL);
}

TEST(OutputStream, ReadsBack) {
    StreamOver s(5, 2);
    uint8_t out[3];
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 4, &s.stream), ENC_STATUS_NODATA);
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 3, &s.stream), ENC_STATUS_OK);
    EXPECT_EQ(Bytes(out, out + 3), (Bytes{3, 4, 5}));
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 0, &s.stream), ENC_STATUS_OK);
    EXPECT_EQ(s.used(), 5);
}

/// The same bits as text, completed with ones, in bytes with stuffing.
Bytes packText(std::string bits) {
    while (bits.size() % 8 != 0)
        bits += '1';
    Bytes bytes;
    for (size_t i = 0; i < bits.size(); i += 8) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
        if (bytes.back() == 0xFF)
            bytes.push_back(0);
    }
    return bytes;
}

TEST(BitWriter, WritesWhatTextWould) {
    std::mt19937 random(5);
    for (int round = 0; round < 300; round++) {
        std::string text;
        std::vector<uint8_t> out(4096);
        int32_t pos = 0;
        BitWriterState state{0, 0};
        const int count = static_cast<int>(random() % 200);
        const bool ones = round % 2 == 0; // many bytes to stuff
        for (int i = 0; i < count; i++) {
            const int32_t nbits = static_cast<int32_t>(random() % 33) - 1;
            const auto code = ones ? int32_t{-1} : static_cast<int32_t>(random());
            velaWriteStreamBits_JPEG(code, std::min(nbits, 31), out.data(), &pos, &state);
            ASSERT_LT(state.bitsUsed, 32);
            for (int32_t b = std::min(nbits, 31) - 1; b >= 0; b--)
                text += ((code >> b) & 1) != 0 ? '1' : '0';
        }
        velaFlushStreamBits_JPEG(out.data(), &pos, &state);
        EXPECT_EQ(state.bitsUsed, 0);
        EXPECT_EQ(state.bitAccumulator, 0u);
        EXPECT_EQ(Bytes(out.begin(), out.begin() + pos), packText(text)) << "round " << round;
    }
}

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

TEST(Markers, SegmentsByteByByte) {
    const auto bytesOf = [](auto&& writer) {
        StreamOver s(600, 0);
        EXPECT_EQ(writer(&s.stream), ENC_STATUS_OK);
        return s.bytes();
    };
    const auto startOf = [](Bytes bytes, size_t count) {
        bytes.resize(count);
        return bytes;
    };
    EXPECT_EQ(bytesOf([](auto* s) { return velaWrite_RST_JPEG(9, s, sink, 1); }),
              (Bytes{0xFF, 0xD1}));
    EXPECT_EQ(
        bytesOf([](auto* s) { return velaWrite_APP0_JFIF_JPEG(0, 72, 72, 0x0102, s, sink, 1); }),
        (Bytes{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 72, 0, 72, 0, 0}));
    EXPECT_EQ(bytesOf([](auto* s) { return velaWrite_DRI_JPEG(65535, s, sink, 1); }),
              (Bytes{0xFF, 0xDD, 0, 4, 0xFF, 0xFF}));

    const auto* const text = reinterpret_cast<const uint8_t*>("ten letter");
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(text, 10, s, sink, 1); }),
              (Bytes{0xFF, 0xFE, 0, 12, 't', 'e', 'n', ' ', 'l', 'e', 't', 't', 'e', 'r'}));
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(text, 0, s, sink, 1); }), Bytes{});
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(nullptr, 5, s, sink, 1); }),
              Bytes{});

    uint8_t table[64];
    for (size_t i = 0; i < 64; i++)
        table[i] = static_cast<uint8_t>(i + 1);
    const Bytes dqt =
        bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(17, 8, table, s, sink, 1); });
    EXPECT_EQ(dqt.size(), 69u);
    EXPECT_EQ(startOf(dqt, 9), (Bytes{0xFF, 0xDB, 0, 67, 0x01, 1, 2, 9, 17}));
    const Bytes wide =
        bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(1, 16, table, s, sink, 1); });
    EXPECT_EQ(wide.size(), 133u);
    EXPECT_EQ(startOf(wide, 9), (Bytes{0xFF, 0xDB, 0, 131, 0x11, 0, 1, 0, 2}));
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(1, 12, table, s, sink, 1); }),
              Bytes{});

    const ComponentSpec cb{1, 1, 1, 1, 1, 1, 1};
    const ScanSpec scan{1, 5, 3, 2, 1, {&cb}};
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_SOS_JPEG(&scan, s, sink, 1); }),
              (Bytes{0xFF, 0xDA, 0, 8, 1, 2, 0x11, 1, 5, 0x32}));
    const ComponentSpec four[4] = {{0, 2, 2, 4, 0, 0, 0}, cb, cb, cb};
    const FrameSpec frame{0xC0, 8, 0x1234, 0x0567, 4};
    const Bytes sof =
        bytesOf([&](auto* s) { return velaWrite_SOF_JPEG(&frame, four, s, sink, 1); });
    EXPECT_EQ(sof.size(), 22u);
    EXPECT_EQ(startOf(sof, 16),
              (Bytes{0xFF, 0xC0, 0, 20, 8, 0x12, 0x34, 0x05, 0x67, 4, 1, 0x22, 0, 2, 0x11, 1}));
}

} // namespace
