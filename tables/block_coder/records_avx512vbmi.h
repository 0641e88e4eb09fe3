// The records of a block moved together in registers, for processors with VBMI2.
#pragma once

#include <immintrin.h>

#include "cpu/table.h"
#include "tables/block_coder/records_x86.h"
#include "tables/block_coder/zigzag_x86.h"

namespace vela::VELA_ISA {
namespace {

///     x0 x1 x2 .. x63   to   x0 x0 x1 .. x62: the element before each
constexpr auto kElementBefore =
    makeTable<uint8_t, 64>([](int32_t i) { return i == 0 ? 0 : i - 1; });

/// AddBlock (records_x86.h). Elements with a bit in `taken` move down next to each other, for example
/// with bits 0, 1, 4 and 6:
///
///     values   c0 c1 c2 c3 c4 c5 c6 ..   to   c0 c1 c4 c6, less the predictor in c0
///     indices   0  1  2  3  4  5  6 ..   to    0  1  4  6
///     before                                   0  0  1  4
///     runs, indices - before - 1               0  0  2  1, the first masked out
VELA_INLINE int32_t addTogether(Records& records, int32_t count, const int16_t* block,
                                int32_t predictor, uint8_t tables) {
    const auto [first, second] = Scan512::ordered(block);
    const uint64_t taken = recordPositions(Scan512::nonZeroBits({first, second}));

    const auto low = static_cast<uint32_t>(taken);
    const __m512i difference =
        _mm512_sub_epi16(first.raw, _mm512_zextsi128_si512(_mm_cvtsi32_si128(predictor & 0xFFFF)));
    _mm512_storeu_si512(records.values + count, _mm512_maskz_compress_epi16(low, difference));
    _mm512_storeu_si512(
        records.values + count + __builtin_popcount(low),
        _mm512_maskz_compress_epi16(static_cast<uint32_t>(taken >> 32), second.raw));

    const __m512i indices = _mm512_maskz_compress_epi8(taken, _mm512_load_si512(kIndices.of));
    const __m512i before = _mm512_permutexvar_epi8(_mm512_load_si512(kElementBefore.of), indices);
    const __m512i runs =
        _mm512_maskz_sub_epi8(~uint64_t{1}, indices, _mm512_add_epi8(before, _mm512_set1_epi8(1)));
    const __m512i tableBits =
        _mm512_mask_mov_epi8(_mm512_set1_epi8(static_cast<int8_t>(tables)), 1,
                             _mm512_set1_epi8(static_cast<int8_t>(tables | kDcTable)));
    _mm512_storeu_si512(records.kinds + count, _mm512_or_si512(runs, tableBits));
    return count + __builtin_popcountll(taken);
}

} // namespace
} // namespace vela::VELA_ISA
