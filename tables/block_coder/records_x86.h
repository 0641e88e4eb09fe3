// What is to be coded of some MCUs, as records: the first step of record_coder_x86.h.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "state/encoder_state.h"
#include "tables/block_coder/record_positions.h"
#include "tables/block_coder/zigzag_x86.h"

#ifdef __AVX2__

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kGroupBlocks = kMaxBatchBlocks;
constexpr int32_t kMaxRecords = kGroupBlocks * kBlockSamples;

/// What is to be coded, in order. A record:
///
///     31        16  15      14      8  7          0
///     value         other   after      index
///
/// The run of zeros before it is its index less the after of the record before it, which is that one's index
/// + 1. DC has the index that makes this kDcRun, and is index 0 to what comes after it. other: it is coded with
/// the tables of the last block.
struct Records {
    uint32_t memory[1 + kMaxRecords + 64]; // of the first, what is before the first

    VELA_INLINE Records() { memory[0] = 0; }
    VELA_INLINE uint32_t* first() { return memory + 1; }
};
constexpr int32_t kDcRun = 16;
constexpr uint32_t kOtherTables = 0x8000;

/// A coefficient's record without its value, by zigzag index.
constexpr uint32_t indexPart(int32_t k) {
    return static_cast<uint32_t>((k + 1) << 8 | k);
}
constexpr auto kIndexParts = makeTable<uint32_t, 64>(indexPart);

VELA_INLINE uint32_t dcRecord(int32_t difference, uint32_t before, uint32_t tables) {
    const uint32_t after = before >> 8 & 0x7F;
    return static_cast<uint32_t>(difference) << 16 | tables | 1 << 8 | (kDcRun + after);
}

#ifdef __AVX512BW__

/// From two vectors of a block's coefficients to zigzag order, such that unpacking gives it: words 0..3 of the four
/// lanes are coefficients 0..15, words 4..7 are 16..31.
constexpr auto kUnpackedZigzag = makeTable<int16_t, 64>([](int32_t i) {
    const int32_t lane = i % 32 / 8, word = i % 8;
    const int32_t k = i / 32 * 32 + word / 4 * 16 + lane * 4 + word % 4;
    return kTransposedZigzag[static_cast<size_t>(k)];
});

/// Adds a block's records after others, with tables (kOtherTables or 0) in them. Returns their end.
VELA_INLINE uint32_t* addBlock(uint32_t* to, const int16_t* block, int32_t predictor,
                               uint32_t tables) {
    const __m512i low = _mm512_loadu_si512(block), high = _mm512_loadu_si512(block + 32);
    const __m512i zero = _mm512_setzero_si512();
    __m512i values[4];
    uint64_t nonZero = 0;
    for (int i = 0; i < 2; i++) {
        const __m512i order = _mm512_load_si512(kUnpackedZigzag.of + 32 * i);
        const __m512i words = _mm512_permutex2var_epi16(low, order, high);
        values[2 * i] = _mm512_unpacklo_epi16(zero, words); // in the upper halves
        values[2 * i + 1] = _mm512_unpackhi_epi16(zero, words);
    }
    for (int i = 0; i < 4; i++)
        nonZero |= static_cast<uint64_t>(_mm512_test_epi32_mask(values[i], values[i])) << (16 * i);
    const uint64_t taken = recordPositions(nonZero & ~uint64_t{1});
    const uint32_t dc = dcRecord(block[0] - predictor, to[-1], tables);
    uint32_t* end = to;
    for (int i = 0; i < 4; i++) {
        const auto here = static_cast<__mmask16>(taken >> (16 * i));
        const __m512i whole = _mm512_or_si512(
            _mm512_or_si512(values[i], _mm512_set1_epi32(static_cast<int32_t>(tables))),
            _mm512_load_si512(kIndexParts.of + 16 * i));
        _mm512_storeu_si512(end, _mm512_maskz_compress_epi32(here, whole));
        end += __builtin_popcount(here);
    }
    *to = dc;
    return end;
}

#else

/// The same one by one, four a turn, so that the number of turns can mostly be predicted: those after the last
/// one are of no meaning and are overwritten.
VELA_INLINE uint32_t* addBlock(uint32_t* to, const int16_t* block, int32_t predictor,
                               uint32_t tables) {
    TransposedOrder order;
    uint64_t left = recordPositions(Scan128::scan(block, order)) & ~uint64_t{1};
    *to = dcRecord(block[0] - predictor, to[-1], tables);
    uint32_t* const end = to + 1 + __builtin_popcountll(left);
    while (++to < end) {
        for (int32_t i = 0; i < 4; i++) {
            const auto k = static_cast<int32_t>(_tzcnt_u64(left)) & 63; // 64 when none is left
            left &= left - 1;
            to[i] = static_cast<uint32_t>(order(k)) << 16 | tables | kIndexParts.of[k];
        }
        to += 3;
    }
    return end;
}

#endif

} // namespace
} // namespace vela::VELA_ISA

#endif
