// Stuffing of bytes, on wide registers.
#pragma once

#include <cstdint>

#include "cpu/vectors_x86.h"

#ifdef __SSE4_1__

namespace vela::VELA_ISA {
namespace {

/// Copies bytes and puts a zero after every byte of ones (T.81 F.1.2.3); may write a register more.
/// Returns the end.
template <class V>
uint8_t* stuff(const uint8_t* from, const uint8_t* end, uint8_t* out) {
    while (from < end) {
        constexpr auto kBytes = static_cast<int64_t>(sizeof(V));
        int64_t count = end - from < kBytes ? end - from : kBytes;
        const V copied = V::load(from);
        copied.store(out);
        const uint64_t ones = equalBits8(copied, V::set8(-1)) & (~uint64_t{0} >> (64 - count));
        if (__builtin_expect(ones != 0, false)) {
            count = __builtin_ctzll(ones) + 1;
            out[count] = 0;
            out++;
        }
        from += count;
        out += count;
    }
    return out;
}

} // namespace
} // namespace vela::VELA_ISA

#endif
