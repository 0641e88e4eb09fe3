// Code words become bytes one after another.
#pragma once

#include <cstdint>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// Bits on their way to memory, without stuffing. Of the eight bytes that a put stores only whole ones
/// are passed; the up to 7 bits after them are stored again by the next.
struct BitJoiner {
    static constexpr int64_t kMaxLength = 56;

    uint8_t* out;
    uint64_t bits; // from bit 63 down
    uint64_t held; // 0..7

    /// Adds length (0..56) bits; word has no others.
    VELA_INLINE void put(uint64_t word, uint64_t length) {
        const uint64_t total = held + length;
        bits |= word << ((64 - total) % 64); // nothing is added where nothing is held
        const uint64_t bytes = __builtin_bswap64(bits);
        __builtin_memcpy(out, &bytes, 8);
        out += total / 8;
        bits <<= total / 8 * 8;
        held = total % 8;
    }
};

} // namespace
} // namespace vela::VELA_ISA
