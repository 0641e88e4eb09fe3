// The baseline coder of whole MCUs that visits non-zero coefficients alone. Included by each
// instruction set's file, inside its anonymous namespace, behind stream/bit_gatherer.inl, with an Isa
// that finds them:
//
//     uint64_t Isa::scan(const int16_t* block, Isa::Order& order)
//
// returns a bit for every non-zero AC coefficient, bit k for zigzag index k, and order(k) then is that
// coefficient. What is coded is that of the plain version (tables/block_coder.cpp).

/// Takes the bits before the position in its byte along.
inline BitGatherer gatherFrom(uint8_t* dst, int32_t bitPosition) {
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    return {out, held == 0 ? 0 : uint64_t{*out} >> (8 - held), 64 - held};
}

/// Stores everything, the partial byte without moving past it, and returns the bit position. Eight bytes
/// are stored where that does no harm: there is kCoderSlack behind the last one.
inline int32_t storeRest(BitGatherer& gatherer, const uint8_t* dst) {
    const int32_t held = 64 - gatherer.free;
    const uint64_t word = held == 0 ? 0 : gatherer.bits << gatherer.free;
    if (!BitGatherer::mayHoldOnes(word)) {
        gatherer.storePlain(word);
        gatherer.out += held / 8;
    } else {
        gatherer.storeBytes(held / 8);
        *gatherer.out = static_cast<uint8_t>(gatherer.bits << (8 - held % 8));
    }
    return static_cast<int32_t>(gatherer.out - dst) * 8 + held % 8;
}

inline int32_t significantBits(uint32_t magnitude) {
    return magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
}

/// A code word: a symbol's code with the magnitude bits of value behind it, both of no size for 0.
struct CodeWord {
    uint32_t bits;
    int32_t length;
};

inline CodeWord codeValue(const uint32_t* table, int32_t run, int32_t value) {
    const int32_t sign = value >> 31;   // -1 or 0
    const int32_t below = value + sign; // of a negative value its magnitude's complement
    const int32_t size = significantBits(static_cast<uint32_t>(below ^ sign));
    const uint32_t entry = table[16 * run + size];
    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1): the 2^size goes to the code.
    const uint32_t code = (entry & 0xFFFF) - static_cast<uint32_t>(sign);
    return {(code << size) + static_cast<uint32_t>(below),
            static_cast<int32_t>(entry >> 16) + size};
}

inline void putValue(BitGatherer& gatherer, const uint32_t* table, int32_t run, int32_t value) {
    const CodeWord word = codeValue(table, run, value);
    gatherer.put(word.bits, word.length);
}

inline void putCode(BitGatherer& gatherer, uint32_t entry) {
    gatherer.put(entry & 0xFFFF, static_cast<int32_t>(entry >> 16));
}

template <class Isa>
void encodeBlock(const int16_t* block, BitGatherer& gatherer, int16_t* predictor,
                 const uint32_t* dcTable, const uint32_t* acTable) {
    putValue(gatherer, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];

    typename Isa::Order order;
    uint64_t left = Isa::scan(block, order);
    int32_t next = 1; // the first coefficient that is not coded yet
    while (left != 0) {
        const int32_t k = __builtin_ctzll(left);
        left &= left - 1;
        int32_t run = k - next;
        for (; run >= 16; run -= 16)
            putCode(gatherer, acTable[0xF0]); // ZRL
        putValue(gatherer, acTable, run, order(k));
        next = k + 1;
    }
    if (next <= 63)
        putCode(gatherer, acTable[0x00]); // EOB
}

template <class Isa>
int32_t encodeMcus(const vela::BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                   int32_t bitPosition) {
    BitGatherer gatherer = gatherFrom(dst, bitPosition);
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            encodeBlock<Isa>(blockOf(blocks, mcu, i), gatherer, blocks.blockPredictor[i],
                             blocks.blockDcTable[i]->entry, blocks.blockAcTable[i]->entry);
    return storeRest(gatherer, dst);
}
