// The coder of MCUs whose values are put one by one: the coefficients that are not 0 are found, and no others are
// visited.
#pragma once

#include <cstdint>

#include "cpu/isa.h"
#include "state/encoder_state.h"
#include "stream/word_gatherer.h"

namespace vela::VELA_ISA {
namespace {

using Gatherer = WordGatherer<uintptr_t>; // of the processor's registers

/// Takes the bits before the position in its byte along.
inline Gatherer gatherFrom(uint8_t* dst, int32_t bitPosition) {
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    return {out, held == 0 ? 0 : uintptr_t{*out} >> (8 - held), held};
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

/// A symbol, then the bits of value; mayBeZero: value may be 0, which has none.
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

/// Codes one block, and makes its DC the predictor.
using EncodeBlock = void(const int16_t* block, Gatherer& gatherer, int16_t* predictor,
                         const uint32_t* dcTable, const uint32_t* acTable);

template <EncodeBlock encodeBlock>
VELA_INLINE int32_t encodeByValues(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                                   int32_t bitPosition) {
    Gatherer gatherer = gatherFrom(dst, bitPosition);
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            encodeBlock(blockOf(blocks, mcu, i), gatherer, blocks.blockPredictor[i],
                        blocks.blockDcTable[i]->entry, blocks.blockAcTable[i]->entry);
    return storeRest(gatherer, dst);
}

} // namespace
} // namespace vela::VELA_ISA
