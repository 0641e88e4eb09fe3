// Bits on their way to memory, gathered from the low end of a word and stored a word at a time;
// every byte of ones is followed by a zero (T.81 F.1.2.3). For all inner loops that write bits, of
// kernels and others: each has it compiled for itself.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// Invariant: spare is kBits - 1 minus the bits held, and not negative: its sign then tells what
/// fits. Bits above those held are left over.
template <class Word>
struct WordGatherer {
    static constexpr int32_t kBytes = sizeof(Word);
    static constexpr int32_t kBits = 8 * kBytes;

    uint8_t* out;
    Word bits;
    int32_t spare;

    /// Takes held (fewer than kBits) bits along.
    WordGatherer(uint8_t* to, Word pending, int32_t held)
        : out(to), bits(pending), spare(kBits - 1 - held) {}

    int32_t held() const { return kBits - 1 - spare; }

    /// Adds length (0..31) bits; word has no others.
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
        spare += kBits;
    }

    /// All bits of a word, most significant first.
    void storeWord(Word word) {
        if (__builtin_expect(!mayHoldOnes(word), true)) {
            storePlain(word);
            out += kBytes;
        } else {
            out = storeStuffed(out, word);
        }
    }

    /// Whether a byte of ones may be in the word: bit 7 of such a byte is set, and clear once 1 is
    /// added to it, with or without a carry from below. Other bytes that are found by this only
    /// take the longer way.
    static bool mayHoldOnes(Word word) {
        constexpr Word ones = static_cast<Word>(0x0101010101010101);
        return (word & ~(word + ones) & (ones << 7)) != 0;
    }

    void storePlain(Word word) const {
        if constexpr (std::endian::native == std::endian::little) {
            if constexpr (kBytes == 8)
                word = __builtin_bswap64(word);
            else
                word = __builtin_bswap32(word);
        }
        std::memcpy(out, &word, kBytes);
    }

    [[gnu::noinline]] static uint8_t* storeStuffed(uint8_t* to, Word word) {
        for (int32_t i = 0; i < kBytes; i++, word <<= 8)
            to = storeByte(to, word >> (kBits - 8));
        return to;
    }

    static uint8_t* storeByte(uint8_t* to, Word byte) {
        *to++ = static_cast<uint8_t>(byte);
        if (static_cast<uint8_t>(byte) == 0xFF)
            *to++ = 0;
        return to;
    }

    /// Stores the oldest count bytes of those held.
    void storeBytes(int32_t count) {
        int32_t left = held();
        for (; count > 0; count--, left -= 8)
            out = storeByte(out, bits >> (left - 8));
        spare = kBits - 1 - left;
    }
};

} // namespace
} // namespace vela::VELA_ISA
