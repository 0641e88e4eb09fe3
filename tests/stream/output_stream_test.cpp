// The output stream: room making through flush, the byte writer.
#include <vector>

#include <gtest/gtest.h>

#include "stream/markers.h"
#include "stream/output_stream.h"
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
    // Fault: a partial byte lost, completed with 0-bits or not stuffed before a marker; room counted one short.
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
    // Fault: a flush count taken on trust, or a stream that a failure has changed.
    for (const int32_t answer : {0, 1, -1, 11, INT32_MIN, INT32_MAX}) {
        StreamOver s(12, 10, 3);
        const Bytes before(s.stream.start, s.stream.start + 12);
        toTake = answer;
        EXPECT_EQ(czFlushStreamBytes_JPEGENC(&s.stream, 4, sink, 1), ENC_STATUS_OUTPUT_FULL);
        EXPECT_EQ(s.used(), 10);
        EXPECT_EQ(s.stream.bitCount, 3u);
        EXPECT_EQ(Bytes(s.stream.start, s.stream.start + 12), before);
    }
    for (const int32_t size : {0, -5, INT32_MIN}) { // less than what is said to be used
        StreamOver s(12, 10);
        s.stream.size = size;
        toTake = 10;
        EXPECT_EQ(velaWriteMarker_JPEG(0xD8, &s.stream, sink, 1), ENC_STATUS_OUTPUT_FULL);
        EXPECT_EQ(s.used(), 10);
    }
}

TEST(OutputStream, OverwritesWithoutAFlushContext) {
    // Fault: flush called without a context, or a write beyond the buffer there.
    StreamOver s(4, 4);
    const uint8_t bytes[] = {9, 8, 7};
    EXPECT_EQ(czWriteStreamBytes_JPEGENC(bytes, 3, &s.stream, sink, 0), ENC_STATUS_OK);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(s.bytes(), (Bytes{9, 8, 7}));
    EXPECT_EQ(czWriteStreamBytes_JPEGENC(bytes, 5, &s.stream, sink, 0), ENC_STATUS_OUTPUT_FULL);
    EXPECT_EQ(czWriteStreamBytes_JPEGENC(bytes, -1, &s.stream, sink, 0), ENC_STATUS_OK);
    EXPECT_EQ(s.bytes(), (Bytes{9, 8, 7}));
}

TEST(OutputStream, ReadsBack) {
    // Fault: a read beyond the buffer.
    StreamOver s(5, 2);
    uint8_t out[3];
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 4, &s.stream), ENC_STATUS_NODATA);
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 3, &s.stream), ENC_STATUS_OK);
    EXPECT_EQ(Bytes(out, out + 3), (Bytes{3, 4, 5}));
    EXPECT_EQ(czReadStreamBytes_JPEGENC(out, 0, &s.stream), ENC_STATUS_OK);
    EXPECT_EQ(s.used(), 5);
}

} // namespace
