// Bits on their way to memory, gathered from the low end of a 64-bit word and stored eight bytes at a
// time; every byte of ones is followed by a zero (T.81 F.1.2.3). Included, inside an anonymous
// namespace, by the files whose inner loops write bits, so that each has it compiled for itself.
//
// Invariant: free is 64 minus the bits held, 1..64. Bits above those held are left over.
struct BitGatherer {
    uint8_t* out;
    uint64_t bits;
    int32_t free;

    /// Adds length (0..32) bits; word has no others.
    void put(uint64_t word, int32_t length) {
        if (length < free) {
            bits = (bits << length) | word;
            free -= length;
            return;
        }
        const int32_t rest = length - free; // bits that do not fit
        storeEight((bits << free) | (word >> rest));
        bits = word; // those of it that are stored are left over
        free = 64 - rest;
    }

    /// 64 bits, most significant first.
    void storeEight(uint64_t word) {
        if (!mayHoldOnes(word)) {
            storePlain(word);
            out += 8;
            return;
        }
        for (int32_t shift = 56; shift >= 0; shift -= 8)
            storeByte(word >> shift);
    }

    /// Whether a byte of ones may be among the eight: bit 7 of such a byte is set, and clear once 1 is
    /// added to it, with or without a carry from below. Other bytes that are found by this only take
    /// the longer way.
    static bool mayHoldOnes(uint64_t word) {
        constexpr uint64_t ones = 0x0101010101010101;
        return (word & ~(word + ones) & (ones << 7)) != 0;
    }

    void storePlain(uint64_t word) const {
        for (int32_t i = 0; i < 8; i++) // one store of the reversed bytes
            out[i] = static_cast<uint8_t>(word >> (56 - 8 * i));
    }

    void storeByte(uint64_t byte) {
        *out++ = static_cast<uint8_t>(byte);
        if (static_cast<uint8_t>(byte) == 0xFF)
            *out++ = 0;
    }

    /// Stores the oldest count bytes; at least as many are held.
    void storeBytes(int32_t count) {
        for (; count > 0; count--, free += 8)
            storeByte(bits >> (56 - free));
    }
};
