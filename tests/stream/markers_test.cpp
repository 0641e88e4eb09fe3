// The marker segments.
#include <vector>

#include <gtest/gtest.h>

#include "stream/markers.h"
#include "support/guarded.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

int32_t takesNothing(uint8_t*, uint32_t, int32_t, uint32_t) {
    return 0;
}

TEST(Markers, SegmentsByteByByte) {
    // Fault: a status dropped; a segment's length, order of fields or zigzag order that decoders do not expect.
    const auto bytesOf = [](auto&& writer) {
        test::Guarded memory(600);
        Bitstream_JPEG stream{memory.data(), 600, memory.data(), 0};
        EXPECT_EQ(writer(&stream), ENC_STATUS_OK);
        const Bytes bytes(stream.start, stream.cursor);
        for (size_t size = 0; size < bytes.size(); size++) { // flush takes nothing
            stream = {memory.data(), static_cast<int32_t>(size), memory.data(), 0};
            EXPECT_EQ(writer(&stream), ENC_STATUS_OUTPUT_FULL) << "into " << size << " bytes";
        }
        return bytes;
    };
    const auto startOf = [](Bytes bytes, size_t count) {
        bytes.resize(count);
        return bytes;
    };
    EXPECT_EQ(bytesOf([](auto* s) { return velaWrite_RST_JPEG(9, s, takesNothing, 1); }),
              (Bytes{0xFF, 0xD1}));
    EXPECT_EQ(bytesOf([](auto* s) {
                  return velaWrite_APP0_JFIF_JPEG(1, 72, 300, 0x0102, s, takesNothing, 1);
              }),
              (Bytes{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 2, 1, 0, 72, 1, 44, 0, 0}));
    EXPECT_EQ(bytesOf([](auto* s) { return velaWrite_DRI_JPEG(65535, s, takesNothing, 1); }),
              (Bytes{0xFF, 0xDD, 0, 4, 0xFF, 0xFF}));

    const auto* const text = reinterpret_cast<const uint8_t*>("ten letter");
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(text, 10, s, takesNothing, 1); }),
              (Bytes{0xFF, 0xFE, 0, 12, 't', 'e', 'n', ' ', 'l', 'e', 't', 't', 'e', 'r'}));
    // Its text would fit where its head does not.
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(text, 2, s, takesNothing, 1); }),
              (Bytes{0xFF, 0xFE, 0, 4, 't', 'e'}));
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(text, 0, s, takesNothing, 1); }),
              Bytes{});
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_COM_JPEG(nullptr, 5, s, takesNothing, 1); }),
              Bytes{});

    uint8_t table[64];
    for (size_t i = 0; i < 64; i++)
        table[i] = static_cast<uint8_t>(i + 1);
    const Bytes dqt =
        bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(17, 8, table, s, takesNothing, 1); });
    EXPECT_EQ(dqt.size(), 69u);
    EXPECT_EQ(startOf(dqt, 9), (Bytes{0xFF, 0xDB, 0, 67, 0x01, 1, 2, 9, 17}));
    const Bytes wide =
        bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(1, 16, table, s, takesNothing, 1); });
    EXPECT_EQ(wide.size(), 133u);
    EXPECT_EQ(startOf(wide, 9), (Bytes{0xFF, 0xDB, 0, 131, 0x11, 0, 1, 0, 2}));
    EXPECT_EQ(
        bytesOf([&](auto* s) { return velaWrite_DQT_JPEG(1, 12, table, s, takesNothing, 1); }),
        Bytes{});

    const ComponentSpec cb{1, 1, 1, 1, 1, 1, 1};
    const ScanSpec scan{1, 5, 3, 2, 1, {&cb}};
    EXPECT_EQ(bytesOf([&](auto* s) { return velaWrite_SOS_JPEG(&scan, s, takesNothing, 1); }),
              (Bytes{0xFF, 0xDA, 0, 8, 1, 2, 0x11, 1, 5, 0x32}));
    const ComponentSpec four[4] = {{0, 2, 2, 4, 0, 0, 0}, cb, cb, cb};
    const FrameSpec frame{0xC0, 8, 0x1234, 0x0567, 4};
    const Bytes sof =
        bytesOf([&](auto* s) { return velaWrite_SOF_JPEG(&frame, four, s, takesNothing, 1); });
    EXPECT_EQ(sof.size(), 22u);
    EXPECT_EQ(startOf(sof, 16),
              (Bytes{0xFF, 0xC0, 0, 20, 8, 0x12, 0x34, 0x05, 0x67, 4, 1, 0x22, 0, 2, 0x11, 1}));
}

} // namespace
