// What is to be coded of some MCUs, as records: the first step of record_coder_x86.h.
#pragma once

#include <immintrin.h>

#include <bit>
#include <cstdint>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "state/encoder_state.h"
#include "tables/block_coder/record_positions.h"
#include "tables/block_coder/zigzag_x86.h"

#ifdef __SSE4_1__

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

/// The numbers of a byte's bits that are set, next to each other; zeros after them.
constexpr auto kSetBits = makeTable<uint8_t, 256 * 8>([](int32_t i) {
    int32_t mask = i / 8;
    for (int32_t n = i % 8; n > 0; n--)
        mask &= mask - 1;
    return mask == 0 ? 0 : std::countr_zero(static_cast<uint32_t>(mask));
});

/// How many of a byte's bits are set.
VELA_INLINE int32_t byteCount(uint32_t mask) {
#ifdef __POPCNT__
    return __builtin_popcount(mask);
#else
    static constexpr auto kCounts =
        makeTable<uint8_t, 256>([](int32_t i) { return std::popcount(static_cast<uint32_t>(i)); });
    return kCounts.of[mask];
#endif
}

/// A block's coefficients in zigzag order as bytes, 16 in each vector: the lower ones of their words, and where
/// they are not the lower ones' signs alone, the upper ones.
template <bool wide>
struct OrderedBytes {
    V128 low[4];
    V128 high[wide ? 4 : 1];
};

/// Those of a block that has coefficients of more than 7 bits.
VELA_INLINE OrderedBytes<true> wideBytes(const int16_t* block) {
    const V128 lowByte = V128::set16(0xFF);
    V128 low[4], high[4];
    for (int32_t i = 0; i < 4; i++) {
        const V128 one = V128::load(block + 16 * i), two = V128::load(block + 16 * i + 8);
        low[i] = packUnsigned16(one & lowByte, two & lowByte);
        high[i] = packSaturated16(shiftRightSigned16<8>(one), shiftRightSigned16<8>(two));
    }
    OrderedBytes<true> bytes;
    Scan128::order(low, bytes.low);
    Scan128::order(high, bytes.high);
    return bytes;
}

/// Moves those of eight coefficients that are in `taken` next to each other and adds their records:
///
///     coefficients 8 g ..   c0 c1 c2 c3 c4 c5 c6 c7     taken: bits 0, 1, 4 and 6
///     set bits               0  1  4  6  -  -  -  -
///     words of values       c0 c1 c4 c6  -  -  -  -     the upper halves of the records
///     words of indices       0  1  4  6  -  -  -  -     and of those + 1, + 8 g: the lower halves
template <int32_t g, bool wide>
VELA_INLINE uint32_t* addEight(uint32_t* to, const OrderedBytes<wide>& bytes, uint64_t taken,
                               V128 tables) {
    const auto mask = static_cast<uint32_t>(taken >> (8 * g)) & 0xFF;
    const V128 bits = {
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kSetBits.of + size_t{8} * mask))};
    const V128 from = g % 2 == 0 ? bits : V128{_mm_add_epi8(bits.raw, _mm_set1_epi8(8))};
    const V128 low = shuffle8(bytes.low[g / 2], from);
    const V128 values = wide ? unpackLow8(low, shuffle8(bytes.high[wide ? g / 2 : 0], from))
                             : V128{_mm_cvtepi8_epi16(low.raw)};
    const V128 indices = add16(unpackLow8(bits, bits), V128::set16(indexPart(8 * g))) | tables;
    unpackLow16(indices, values).store(to);
    unpackHigh16(indices, values).store(to + 4);
    return to + byteCount(mask);
}

template <bool wide>
VELA_INLINE uint32_t* addAll(uint32_t* to, const OrderedBytes<wide>& bytes, uint64_t taken,
                             uint32_t tables) {
    const V128 bit = V128::set16(static_cast<int32_t>(tables));
    to = addEight<0>(to, bytes, taken, bit);
    to = addEight<1>(to, bytes, taken, bit);
    to = addEight<2>(to, bytes, taken, bit);
    to = addEight<3>(to, bytes, taken, bit);
    if (taken >> 32 == 0)
        return to;
    to = addEight<4>(to, bytes, taken, bit);
    to = addEight<5>(to, bytes, taken, bit);
    to = addEight<6>(to, bytes, taken, bit);
    return addEight<7>(to, bytes, taken, bit);
}

/// The same, from coefficients that are bytes where those of the block are.
VELA_INLINE uint32_t* addBlock(uint32_t* to, const int16_t* block, int32_t predictor,
                               uint32_t tables) {
    const uint32_t dc = dcRecord(block[0] - predictor, to[-1], tables);
    OrderedBytes<false> bytes;
    if (!Scan128::orderedBytes(block, bytes.low)) {
        to[0] = dc;
        to[1] = tables | kIndexParts.of[1];
        return to + 2;
    }
    const uint64_t taken = recordPositions(~Scan128::equalBits(bytes.low, 0) & ~uint64_t{1});
    // Saturated ones are of magnitude 127 or 128.
    const __m128i ac = andNot(absolute8(bytes.low[0]), V128::lowest32(0xFF)).raw;
    const __m128i most =
        _mm_max_epu8(_mm_max_epu8(ac, absolute8(bytes.low[1]).raw),
                     _mm_max_epu8(absolute8(bytes.low[2]).raw, absolute8(bytes.low[3]).raw));
    uint32_t* end;
    if (__builtin_expect(isZero(V128{_mm_subs_epu8(most, _mm_set1_epi8(126))}), true))
        end = addAll(to, bytes, taken, tables);
    else
        end = addAll(to, wideBytes(block), taken, tables);
    *to = dc;
    return end;
}

#endif

} // namespace
} // namespace vela::VELA_ISA

#endif
