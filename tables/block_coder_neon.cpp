// The baseline coder of whole MCUs that visits non-zero coefficients alone, which NEON finds. Masks and
// bits are gathered in words of 64 bits on AArch64 and of 32 on ARMv7-A, where 64 take two registers.
// What is coded is that of the plain version (tables/block_coder.cpp).
#include <arm_neon.h>

#include "state/encoder_state.h"
#include "state/zigzag.h"
#include "tables/neon_kernels.h"

namespace {

#ifdef __aarch64__
using Word = uint64_t;
#else
using Word = uint32_t;
#endif
constexpr int32_t kWordBytes = sizeof(Word);
constexpr int32_t kWordBits = 8 * kWordBytes;

/// Of a word that is not 0.
inline int32_t leadingZeros(Word word) {
    if constexpr (kWordBits == 64)
        return __builtin_clzll(word);
    else
        return __builtin_clz(static_cast<uint32_t>(word));
}

// -------------------------------------------------------------------- masks of zero coefficients

/// A byte for each coefficient of two rows of a block, all ones where it is 0. The rows' bytes lie in
/// turn: 00 10 01 11 02 12 03 13 04 14 05 15 06 16 07 17 (row and column digits, from byte 0 on).
inline uint8x16_t zeroBytes(const int16_t* twoRows) {
    const uint16x8_t upper = vceqq_s16(vld1q_s16(twoRows), vdupq_n_s16(0));
    const uint16x8_t lower = vceqq_s16(vld1q_s16(twoRows + 8), vdupq_n_s16(0));
    return vreinterpretq_u8_u16(vsliq_n_u16(upper, lower, 8));
}

/// Where in a block's 64 such bytes those for a mask are: slice s of byte i of the mask, in lane i,
/// becomes its bit s. The mask's words have zigzag index k in bit kWordBits - 1 - k % kWordBits of word
/// k / kWordBits.
///
///     slices[s]     lanes 0..7: bit s of bytes 0..7     lanes 8..15: bit s + 4 of bytes 0..7
struct MaskOrder {
    alignas(16) uint8_t slices[4][16];

    constexpr MaskOrder() : slices() {
        for (size_t s = 0; s < 4; s++) {
            for (size_t lane = 0; lane < 16; lane++) {
                const size_t bit = 8 * (lane % 8) + s + (lane < 8 ? 0 : 4); // of 64
                const size_t position = vela::makeTransposedZigzag()[bit ^ (kWordBits - 1)];
                const size_t row = position / 8;
                slices[s][lane] =
                    static_cast<uint8_t>(16 * (row / 2) + 2 * (position % 8) + row % 2);
            }
        }
    }
};
constexpr MaskOrder kMaskOrder;

/// The mask of a block's zero coefficients. Each insertion replaces what the slices before it have left
/// above their bits.
#ifdef __aarch64__

inline uint8x8_t zeroMask(const int16_t* block) {
    const uint8x16x4_t bytes = {
        {zeroBytes(block), zeroBytes(block + 16), zeroBytes(block + 32), zeroBytes(block + 48)}};
    uint8x16_t fours = vqtbl4q_u8(bytes, vld1q_u8(kMaskOrder.slices[0]));
    fours = vsliq_n_u8(fours, vqtbl4q_u8(bytes, vld1q_u8(kMaskOrder.slices[1])), 1);
    fours = vsliq_n_u8(fours, vqtbl4q_u8(bytes, vld1q_u8(kMaskOrder.slices[2])), 2);
    fours = vsliq_n_u8(fours, vqtbl4q_u8(bytes, vld1q_u8(kMaskOrder.slices[3])), 3);
    return vsli_n_u8(vget_low_u8(fours), vget_high_u8(fours), 4);
}

#else

/// Four rows' bytes as a table.
inline uint8x8x4_t zeroTable(const int16_t* fourRows) {
    const uint8x16x2_t bytes = {{zeroBytes(fourRows), zeroBytes(fourRows + 16)}};
    return __builtin_bit_cast(uint8x8x4_t, bytes);
}

/// Half a slice. Of positions in the lower table the upper one yields zeros; those in the upper one wrap
/// for the lower one, and leave what is there.
inline uint8x8_t pick(uint8x8x4_t upper, uint8x8x4_t lower, const uint8_t positions[8]) {
    const uint8x8_t at = vld1_u8(positions);
    return vtbx4_u8(vtbl4_u8(upper, at), lower, vsub_u8(at, vdup_n_u8(32)));
}

inline uint8x8_t zeroMask(const int16_t* block) {
    const uint8x8x4_t upper = zeroTable(block);
    const uint8x8x4_t lower = zeroTable(block + 32);
    uint8x8_t mask = pick(upper, lower, kMaskOrder.slices[0]);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[1]), 1);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[2]), 2);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[3]), 3);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[0] + 8), 4);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[1] + 8), 5);
    mask = vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[2] + 8), 6);
    return vsli_n_u8(mask, pick(upper, lower, kMaskOrder.slices[3] + 8), 7);
}

#endif

// ------------------------------------------------------------------------------------------ coding

/// Bits on their way to memory, gathered from the low end of a word and stored a word at a time.
/// Invariant: spare is kWordBits - 1 minus the bits held, and not negative. Bits above those held are
/// left over.
struct WordGatherer {
    uint8_t* out;
    Word bits;
    int32_t spare;

    /// Takes the bits before the position in its byte along.
    WordGatherer(uint8_t* dst, int32_t bitPosition) {
        const int32_t held = bitPosition % 8;
        out = dst + bitPosition / 8;
        bits = held == 0 ? 0 : Word{*out} >> (8 - held);
        spare = kWordBits - 1 - held;
    }

    /// Adds length (1..27) bits; word has no others.
    void put(Word word, int32_t length) {
        const int32_t room = spare + 1;
        spare -= length;
        if (spare >= 0) {
            bits = (bits << length) | word;
            return;
        }
        const int32_t rest = length - room; // bits that do not fit
        storeWord((bits << room) | (word >> rest));
        bits = word; // those of it that are stored are left over
        spare += kWordBits;
    }

    /// All bits of a word, most significant first, stuffed where there is a byte of ones (T.81 F.1.2.3).
    void storeWord(Word word) {
        // Bit 7 of a byte of ones is set, and clear once 1 is added to it, with or without a carry
        // from below. Other bytes that are found by this only take the longer way.
        constexpr Word ones = static_cast<Word>(0x0101010101010101);
        if (__builtin_expect((word & ~(word + ones) & (ones << 7)) == 0, true)) {
            for (int32_t i = 0; i < kWordBytes; i++) // one store of the reversed bytes
                out[i] = static_cast<uint8_t>(word >> (kWordBits - 8 - 8 * i));
            out += kWordBytes;
            return;
        }
        out = storeStuffed(out, word);
    }

    [[gnu::noinline]] static uint8_t* storeStuffed(uint8_t* to, Word word) {
        for (int32_t i = 0; i < kWordBytes; i++, word <<= 8)
            to = storeByte(to, word >> (kWordBits - 8));
        return to;
    }

    static uint8_t* storeByte(uint8_t* to, Word byte) {
        *to++ = static_cast<uint8_t>(byte);
        if (static_cast<uint8_t>(byte) == 0xFF)
            *to++ = 0;
        return to;
    }

    /// Stores everything, the partial byte without moving past it, and returns the bit position.
    int32_t finish(const uint8_t* dst) {
        int32_t held = kWordBits - 1 - spare;
        for (; held >= 8; held -= 8)
            out = storeByte(out, bits >> (held - 8));
        *out = static_cast<uint8_t>(bits << (8 - held));
        return static_cast<int32_t>(out - dst) * 8 + held;
    }
};

inline void putCode(WordGatherer& gatherer, uint32_t entry) {
    gatherer.put(entry & 0xFFFF, static_cast<int32_t>(entry >> 16));
}

/// A symbol with the bits of value behind it; mayBeZero: value may be 0, which has none.
template <bool mayBeZero>
void putValue(WordGatherer& gatherer, const uint32_t* table, int32_t run, int32_t value) {
    const int32_t below = value + (value >> 31); // of a negative value the magnitude's complement
    const auto magnitude = static_cast<uint32_t>(below ^ (below >> 31));
    const int32_t size = mayBeZero && magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
    const uint32_t entry = table[16 * run + size];
    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1).
    const uint32_t code = (entry & 0xFFFF) - static_cast<uint32_t>(below >> 31);
    gatherer.put((code << size) + static_cast<uint32_t>(below),
                 static_cast<int32_t>(entry >> 16) + size);
}

/// Offsets in bytes of the coefficients in a block of transposed order, by zigzag index.
struct ByteOffsets {
    uint8_t of[64];

    constexpr ByteOffsets() : of() {
        for (size_t k = 0; k < 64; k++)
            of[k] = static_cast<uint8_t>(sizeof(int16_t) * vela::makeTransposedZigzag()[k]);
    }
};
constexpr ByteOffsets kByteOffsets;

/// Codes those of the coefficients from first on that have a bit in left, from its highest one on. next:
/// the first coefficient that is not coded yet, there or before; returns the new one. first and next
/// are places in kByteOffsets.
inline const uint8_t* codeCoefficients(WordGatherer& gatherer, const int16_t* block, Word left,
                                       const uint8_t* first, const uint8_t* next,
                                       const uint32_t* table) {
    if (left == 0)
        return next;
    int32_t run = leadingZeros(left);
    left <<= run;
    run += static_cast<int32_t>(first - next);
    for (;;) {
        next += run;
        for (; __builtin_expect(run >= 16, false); run -= 16)
            putCode(gatherer, table[0xF0]); // ZRL
        const auto* const value = reinterpret_cast<const unsigned char*>(block) + *next++;
        putValue<false>(gatherer, table, run, *reinterpret_cast<const int16_t*>(value));
        left <<= 1;
        if (left == 0)
            return next;
        run = leadingZeros(left);
        left <<= run;
    }
}

inline void encodeBlock(const int16_t* block, WordGatherer& gatherer, int16_t* predictor,
                        const uint32_t* dcTable, const uint32_t* acTable) {
    const uint8x8_t mask = vmvn_u8(zeroMask(block));
    putValue<true>(gatherer, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];

    const uint8_t* const offsets = kByteOffsets.of;
    const uint8_t* next = offsets + 1;
#ifdef __aarch64__
    const Word left = vget_lane_u64(vreinterpret_u64_u8(mask), 0);
    next = codeCoefficients(gatherer, block, left << 1, next, next, acTable);
#else
    const Word left = vget_lane_u32(vreinterpret_u32_u8(mask), 0);
    next = codeCoefficients(gatherer, block, left << 1, next, next, acTable);
    const Word last = vget_lane_u32(vreinterpret_u32_u8(mask), 1);
    next = codeCoefficients(gatherer, block, last, offsets + kWordBits, next, acTable);
#endif
    if (next != offsets + 64)
        putCode(gatherer, acTable[0x00]); // EOB
}

} // namespace

namespace vela {

int32_t encodeMcusNeon(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                       int32_t bitPosition) {
    WordGatherer gatherer(dst, bitPosition);
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            encodeBlock(blockOf(blocks, mcu, i), gatherer, blocks.blockPredictor[i],
                        blocks.blockDcTable[i]->entry, blocks.blockAcTable[i]->entry);
    return gatherer.finish(dst);
}

} // namespace vela
