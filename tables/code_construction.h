// Canonical Huffman codes from BITS and HUFFVAL (T.81 Annex C).
#pragma once

#include "state/code_counts.h"
#include "vela/primitives.h"

namespace vela {

/// vals has a symbol for every code, up to 256. Figures C.1 to C.3 in one pass: the codes of one
/// length count upwards, and the first one of the next length continues at twice the number.
constexpr EncodeHuffmanSpec buildCodeTable(const uint8_t bits[16], const uint8_t vals[]) {
    EncodeHuffmanSpec spec{};
    const CodeCounts counts = limitCodeCounts(bits);
    uint32_t code = 0;
    size_t k = 0;
    for (uint32_t length = 1; length <= 16; length++) {
        for (uint32_t i = 0; i < counts.bits[length - 1]; i++)
            spec.entry[vals[k++]] = (length << 16) | (code++ & 0xFFFF);
        code *= 2;
    }
    return spec;
}

} // namespace vela
