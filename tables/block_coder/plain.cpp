// The block coder as T.81 describes it: the zigzag order, one coefficient after another.
#include "tables/block_coder/plain.h"

#include <bit>
#include <cassert>
#include <cstdlib>

#include "state/zigzag.h"

namespace vela {
namespace {

constexpr uint32_t kEob = 0x00;
constexpr uint32_t kZrl = 0xF0;

/// Bits on their way to memory. Invariant between puts: at most 31 bits are held, from bit 63 down,
/// and the free bits below them are 0. A put adds at most 27 (a 16-bit code and 11 magnitude bits).
class BitAccumulator {
public:
    BitAccumulator(uint8_t* out, int32_t heldBits) : out_(out), free_(64 - heldBits) {
        if (heldBits > 0)
            bits_ = uint64_t{*out} << 56;
    }

    void put(uint32_t word, uint32_t length) {
        assert(length >= 1 && length <= 27);
        free_ -= static_cast<int32_t>(length);
        bits_ |= uint64_t{word} << free_;
    }

    /// Stores the whole bytes once there are four or more.
    void emptyIfNeeded() {
        if (free_ <= 32)
            storeWholeBytes();
    }

    void storeWholeBytes() {
        while (free_ <= 56) {
            const auto byte = static_cast<uint8_t>(bits_ >> 56);
            *out_++ = byte;
            if (byte == 0xFF)
                *out_++ = 0x00;
            bits_ <<= 8;
            free_ += 8;
        }
    }

    /// Stores everything, the partial byte without moving past it, and returns the bit position.
    int32_t finish(const uint8_t* dst) {
        storeWholeBytes();
        *out_ = static_cast<uint8_t>(bits_ >> 56);
        return static_cast<int32_t>(out_ - dst) * 8 + (64 - free_);
    }

private:
    uint8_t* out_;
    uint64_t bits_ = 0;
    int32_t free_;
};

uint32_t magnitudeCategory(int32_t value) {
    return static_cast<uint32_t>(std::bit_width(static_cast<uint32_t>(std::abs(value))));
}

/// Puts the code of symbol, then the size magnitude bits of value (T.81 F.1.2.1: a negative value
/// counts as its one's complement).
void putSymbol(BitAccumulator& bits, const EncodeHuffmanSpec& table, uint32_t symbol, int32_t value,
               uint32_t size) {
    const uint32_t entry = table.entry[symbol];
    const uint32_t code = entry & 0xFFFF;
    const uint32_t codeLength = entry >> 16;
    const uint32_t magnitude =
        static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1u << size) - 1);
    bits.put((code << size) | magnitude, codeLength + size);
}

} // namespace

int32_t veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* src, uint8_t* dst,
                                                  int32_t* pBitPos, int16_t* pDcPred,
                                                  const EncodeHuffmanSpec* dcTable,
                                                  const EncodeHuffmanSpec* acTable) {
    BitAccumulator bits(dst + *pBitPos / 8, *pBitPos % 8);

    const int32_t difference = src[0] - *pDcPred;
    *pDcPred = src[0];
    const uint32_t category = magnitudeCategory(difference);
    putSymbol(bits, *dcTable, category, difference, category);
    bits.emptyIfNeeded();

    uint32_t run = 0;
    for (size_t k = 1; k < 64; k++) {
        const int32_t value = src[kTransposedZigzag[k]];
        if (value == 0) {
            run++;
            continue;
        }
        for (; run >= 16; run -= 16) {
            putSymbol(bits, *acTable, kZrl, 0, 0);
            bits.emptyIfNeeded();
        }
        const uint32_t size = magnitudeCategory(value);
        putSymbol(bits, *acTable, run * 16 + size, value, size);
        bits.emptyIfNeeded();
        run = 0;
    }
    if (run > 0)
        putSymbol(bits, *acTable, kEob, 0, 0);

    *pBitPos = bits.finish(dst);
    return ENC_STATUS_OK;
}

int32_t encodeMcuBlocks(const BlockSpec& blocks, const PreparedCodes&, int32_t mcuCount,
                        uint8_t* dst, int32_t bitPosition) {
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(
                blockOf(blocks, mcu, i), dst, &bitPosition, blocks.blockPredictor[i],
                blocks.blockDcTable[i], blocks.blockAcTable[i]);
    return bitPosition;
}

} // namespace vela
