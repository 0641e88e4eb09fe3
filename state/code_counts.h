// The BITS list of a Huffman table (T.81 B.2.4.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vela {

struct CodeCounts {
    std::array<uint8_t, 16> bits; ///< codes of length i + 1
    int32_t total;                ///< 0..256
};

/// A BITS list cut after its 256th code: there are no more symbols than that.
constexpr CodeCounts limitCodeCounts(const uint8_t bits[16]) {
    CodeCounts counts{};
    for (size_t i = 0; i < 16; i++) {
        const int32_t left = 256 - counts.total;
        counts.bits[i] = bits[i] < left ? bits[i] : static_cast<uint8_t>(left);
        counts.total += counts.bits[i];
    }
    return counts;
}

} // namespace vela
