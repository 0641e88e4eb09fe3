// The coder of MCUs whose values are put one by one. Included inside an anonymous namespace behind
// stream/word_gatherer.inl and the choice of its word, Word.

using Gatherer = WordGatherer<Word>;

/// Takes the bits before the position in its byte along.
inline Gatherer gatherFrom(uint8_t* dst, int32_t bitPosition) {
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    return {out, held == 0 ? 0 : Word{*out} >> (8 - held), held};
}

/// Stores everything, the partial byte without moving past it, and returns the bit position.
inline int32_t storeRest(Gatherer& gatherer, const uint8_t* dst) {
    gatherer.storeBytes(gatherer.held() / 8);
    *gatherer.out = static_cast<uint8_t>(gatherer.bits << (8 - gatherer.held()));
    return static_cast<int32_t>(gatherer.out - dst) * 8 + gatherer.held();
}

inline void putCode(Gatherer& gatherer, uint32_t entry) {
    gatherer.put(entry & 0xFFFF, static_cast<int32_t>(entry >> 16));
}

/// A symbol with the bits of value behind it; mayBeZero: value may be 0, which has none.
template <bool mayBeZero>
void putValue(Gatherer& gatherer, const uint32_t* table, int32_t run, int32_t value) {
    const int32_t below = value + (value >> 31); // of a negative value the magnitude's complement
    const auto magnitude = static_cast<uint32_t>(below ^ (below >> 31));
    const int32_t size = mayBeZero && magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
    const uint32_t entry = table[16 * run + size];
    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1).
    const uint32_t code = (entry & 0xFFFF) - static_cast<uint32_t>(below >> 31);
    gatherer.put((code << size) + static_cast<uint32_t>(below),
                 static_cast<int32_t>(entry >> 16) + size);
}

/// encodeBlock(block, gatherer, predictor, dcTable, acTable) codes one block, and makes its DC the
/// predictor.
template <class EncodeBlock>
[[gnu::always_inline]] inline int32_t encodeMcus(const vela::BlockSpec& blocks, int32_t mcuCount,
                                                 uint8_t* dst, int32_t bitPosition,
                                                 EncodeBlock encodeBlock) {
    Gatherer gatherer = gatherFrom(dst, bitPosition);
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            encodeBlock(blockOf(blocks, mcu, i), gatherer, blocks.blockPredictor[i],
                        blocks.blockDcTable[i]->entry, blocks.blockAcTable[i]->entry);
    return storeRest(gatherer, dst);
}
