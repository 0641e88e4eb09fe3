// Which coefficients of a block have a code.
#pragma once

#include <cstdint>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// The coefficients of which there are records: DC and those given, which are not 0; of the others one
/// for every ZRL, the last of its sixteen, and the one after the last non-zero one for EOB. All these
/// zeros then have the run and size of their codes.
VELA_INLINE uint64_t recordPositions(uint64_t nonZero) {
    nonZero |= 1;
    const uint64_t last = uint64_t{1} << (63 - __builtin_clzll(nonZero));
    const uint64_t zeros = ~nonZero & (last - 1);
    uint64_t runs = zeros & (zeros >> 1); // of 2 zeros, by their first
    runs &= runs >> 2;
    runs &= runs >> 4;
    runs &= runs >> 8;
    uint64_t positions = nonZero | (last << 1);
    while (__builtin_expect(runs != 0, false)) {
        const uint64_t zrl = (runs & -runs) << 15;
        positions |= zrl;
        runs &= ~(zrl | (zrl - 1));
    }
    return positions;
}

} // namespace
} // namespace vela::VELA_ISA
