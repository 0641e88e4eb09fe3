// The packed symbol stream: what the coefficient pass leaves for each scan and its encoder reads.
//
// A sequence of records. A symbol byte is never 0xFF, so 0xFF in its place starts a restart marker.
//
//   DC first    size s (0..11), then the s low bits of the difference: one byte for s <= 8 (0 for
//               s = 0), else two, high byte first
//   AC          (run << 4) + s, run 0..15, s 1..10, then the s low bits of the value, likewise
//               0xF0: a run of 16 zeros
//               r << 4, r 0..14: an end-of-band run of 2^r + the r bits that follow, in no byte
//               (r = 0), one (r <= 8) or two
//   AC refine   (run << 4) + 1, then 1 for a coefficient that became positive, 0 for negative
//               0xFE n or 0xFD n n: n correction bits in the ceil(n / 8) bytes that follow, the
//               earliest bit most significant; the first byte holds n mod 8 of them (8 for 0)
//   all         0xFF 0xD0..0xD7: restart marker
//
// The DC refinement scan is not packed: its buffer holds its final bytes. A value is a magnitude in
// T.81's form: a negative one counts as its one's complement. Bits that a value does not use are 0.
#pragma once

#include <array>
#include <cstddef>

#include "progressive/record_writers.h"
#include "state/encoder_state.h"

namespace vela {

inline constexpr uint8_t PACK_ESC_BITS8 = 0xFE;
inline constexpr uint8_t PACK_ESC_BITS16 = 0xFD;
inline constexpr uint8_t kRecordMarker = 0xFF;

/// Entry i: significant bits of i.
inline constexpr std::array<uint8_t, 256> _csizetable1 = [] {
    std::array<uint8_t, 256> sizes{};
    for (size_t i = 1; i < sizes.size(); i++)
        sizes[i] = static_cast<uint8_t>(sizes[i / 2] + 1);
    return sizes;
}();

/// Entry i: floor(log2 i), the class of an end-of-band run; 0 for 0.
inline constexpr std::array<uint8_t, 512> _eobsizetable1 = [] {
    std::array<uint8_t, 512> classes{};
    for (size_t i = 2; i < classes.size(); i++)
        classes[i] = static_cast<uint8_t>(classes[i / 2] + 1);
    return classes;
}();

/// Significant bits of a magnitude below 2^16.
inline int32_t magnitudeSize(uint32_t m) {
    return m < 256 ? _csizetable1[m] : _csizetable1[m >> 8] + 8;
}

/// Class of an end-of-band run of 1..32767 blocks.
inline int32_t eobRunClass(uint32_t n) {
    return n < 256 ? _eobsizetable1[n] : _eobsizetable1[n >> 8] + 8;
}

// Writing: the buffer has room (kScanBufferReserve).

inline void packByte(Bitstream_JPEG& buffer, uint32_t byte) {
    *buffer.cursor++ = static_cast<uint8_t>(byte);
}

/// The bits (0..16) low bits of a value, in one byte or two.
inline void packValue(Bitstream_JPEG& buffer, uint32_t value, int32_t bits) {
    value &= (1u << bits) - 1;
    if (bits > 8)
        packByte(buffer, value >> 8);
    packByte(buffer, value & 0xFF);
}

/// A Huffman symbol, counted for the scan's table.
inline void packSymbol(Bitstream_JPEG& buffer, uint32_t* counts, uint32_t symbol) {
    counts[symbol]++;
    packByte(buffer, symbol);
}

} // namespace vela
