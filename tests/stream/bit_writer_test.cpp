// The bit writer.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "stream/bit_writer.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

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
    // Fault: bits in the wrong order, a 0xFF byte not stuffed, bits lost where the accumulator is full.
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

} // namespace
