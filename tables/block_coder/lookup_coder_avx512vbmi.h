// The baseline coder for processors with VBMI2: code tables are looked up by byte permutes, 64 records at a
// time, and no step waits for the one before it. Nothing branches on what a coefficient is.
//
// 1. Everything that has a code becomes a record of three bytes: its place in the code table, the low 8 bits
//    of its magnitude bits, and what is left of them beside the table's number (records_avx512vbmi.h).
// 2. Of 64 records the words are looked up, which hold length, code and room for the magnitude bits, and
//    joined by fours.
// 3. Where a four starts among the bits is a sum of lengths. Each is moved there, with the bits before it in
//    its first byte, which are the last ones of the four before, and stored by itself.
// 4. The bytes of ones among what that gives are stuffed on the way to the output.
//
// What is coded is that of the plain version (plain.cpp).
#pragma once

#include "tables/block_coder/bit_joiner.h"
#include "tables/block_coder/code_planes_avx512vbmi.h"
#include "tables/block_coder/records_avx512vbmi.h"
#include "tables/block_coder/stuffing_x86.h"

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kChunk = 64; // records

/// The words of 64 records, joined by pairs of up to 2 * 27 bits. Within each 128-bit lane of 16 records, pair
/// 2 k and 2 k + 1 are in pairs[k]:
///
///     lane 0 of pairs[0]   | record 0 then 1 | 2 then 3 |     of pairs[1]   | 4 then 5 | 6 then 7 |   ..
///     lane 1               | 16 then 17      | ..
///
/// The pairs' lengths are 16-bit elements in order.
struct Pairs {
    V512 words[4];
    V512 lengths;
};

VELA_INLINE Pairs pairsOf(const CodeWords& words) {
    Pairs pairs;
    for (int i = 0; i < 4; i++) {
        const __m512i word = words.entries[i].raw;
        const __m512i even = _mm512_maskz_and_epi32(0x5555, word, _mm512_set1_epi32(kWordMask));
        const __m512i odd = _mm512_srli_epi64(word, 32);
        const __m512i oddLength = _mm512_srli_epi64(word, 32 + kWordBits);
        const __m512i moved = _mm512_sllv_epi64(even, oddLength);
        // moved | (odd & mask)
        pairs.words[i].raw =
            _mm512_ternarylogic_epi64(moved, odd, _mm512_set1_epi64(kWordMask), 0xF8);
    }
    pairs.lengths.raw = _mm512_maddubs_epi16(words.lengths.raw, _mm512_set1_epi8(1));
    return pairs;
}

/// Sums of a vector's 32-bit elements: each of itself and those before it.
VELA_INLINE V512 sumsOf(V512 values) {
    __m512i sums = _mm512_add_epi32(values.raw, _mm512_bslli_epi128(values.raw, 4));
    sums = _mm512_add_epi32(sums, _mm512_bslli_epi128(sums, 8));
    const __m512i ofLane = _mm512_shuffle_epi32(sums, _MM_PERM_DDDD);
    //     | s0 | s1 | s2 | s3 |   to   | 0 | s0 | s1 | s2 |   to   | 0 | s0 | s0 + s1 | s1 + s2 |
    const __m512i zero = _mm512_setzero_si512();
    const __m512i before = _mm512_alignr_epi64(ofLane, zero, 6);
    const __m512i two = _mm512_add_epi32(before, _mm512_alignr_epi64(before, zero, 6));
    const __m512i all = _mm512_add_epi32(two, _mm512_alignr_epi64(two, zero, 4));
    return {_mm512_add_epi32(sums, all)};
}

/// Bits on their way to memory, without stuffing.
struct BitStream {
    uint8_t* bytes;
    int64_t position; // in bits
    V512 previous; // whose last 64-bit element ends with the bits before the position in its byte

    VELA_INLINE void setPending(uint64_t bits) {
        previous.raw = _mm512_maskz_set1_epi64(0x80, static_cast<int64_t>(bits));
    }
};

/// Fours in natural order are 32-bit elements; those of 64 bits are in two vectors, as pairs come:
///
///     first    | 0 | 1 | 4 | 5 | 8 | 9 | 12 | 13 |       second   | 2 | 3 | 6 | 7 | 10 | 11 | 14 | 15 |
VELA_INLINE V512 widenedFirst(__m512i fours) {
    return {_mm512_unpacklo_epi32(fours, _mm512_setzero_si512())};
}
VELA_INLINE V512 widenedSecond(__m512i fours) {
    return {_mm512_unpackhi_epi32(fours, _mm512_setzero_si512())};
}

/// Where a four is too long to be stored with the bits before it.
[[gnu::noinline]] inline void putPairs(BitStream& stream, const Pairs& pairs, int32_t count) {
    alignas(64) uint64_t words[4][8];
    alignas(64) uint16_t lengths[32];
    for (int i = 0; i < 4; i++)
        pairs.words[i].store(words[i]);
    pairs.lengths.store(lengths);
    const uint64_t held = static_cast<uint64_t>(stream.position) % 8;
    uint8_t* const out = stream.bytes + stream.position / 8;
    alignas(64) uint64_t previous[8];
    stream.previous.store(previous);
    BitJoiner joiner{out, held == 0 ? 0 : previous[7] << (64 - held), held};
    for (int32_t i = 0; i < count; i++)
        joiner.put(words[i / 2 % 4][i / 8 * 2 + i % 2], lengths[i]);
    stream.position = (joiner.out - stream.bytes) * 8 + static_cast<int64_t>(joiner.held);
    stream.setPending(joiner.held == 0 ? 0 : joiner.bits >> (64 - joiner.held));
}

/// Puts count (1..64) records.
VELA_INLINE void putChunk(BitStream& stream, const CodeWords& codeWords, int32_t count) {
    const Pairs pairs = pairsOf(codeWords);
    const __m512i lengths = _mm512_madd_epi16(pairs.lengths.raw, _mm512_set1_epi16(1));
    if (__builtin_expect(_mm512_cmpgt_epi32_mask(lengths, _mm512_set1_epi32(56)) != 0, false))
        return putPairs(stream, pairs, (count + 1) / 2);

    const __m512i secondLengths = _mm512_srli_epi32(pairs.lengths.raw, 16);
    const V512 first = {
        _mm512_or_si512(_mm512_sllv_epi64(unpackLow64(pairs.words[0], pairs.words[1]).raw,
                                          widenedFirst(secondLengths).raw),
                        unpackHigh64(pairs.words[0], pairs.words[1]).raw)};
    const V512 second = {
        _mm512_or_si512(_mm512_sllv_epi64(unpackLow64(pairs.words[2], pairs.words[3]).raw,
                                          widenedSecond(secondLengths).raw),
                        unpackHigh64(pairs.words[2], pairs.words[3]).raw)};

    // A code has 2 bits at least, so a four has the 7 that the next one may need of it.
    const __m512i sums = sumsOf({lengths}).raw;
    const __m512i starts = _mm512_add_epi32(
        _mm512_sub_epi32(sums, lengths), _mm512_set1_epi32(static_cast<int32_t>(stream.position)));
    const __m512i free =
        _mm512_sub_epi32(_mm512_set1_epi32(64), _mm512_and_si512(starts, _mm512_set1_epi32(7)));
    const __m512i shifts = _mm512_sub_epi32(free, lengths);
    //     those before first    | -1 | 0 | 3 | 4 | ..         before second   | 1 | 2 | 5 | 6 | ..
    const __m512i lastOfLanes = _mm512_alignr_epi64(second.raw, stream.previous.raw, 6);
    const __m512i beforeFirst = _mm512_alignr_epi8(first.raw, lastOfLanes, 8);
    const __m512i beforeSecond = _mm512_alignr_epi8(second.raw, first.raw, 8);
    const auto placed = [](V512 four, V512 shift, __m512i before, V512 beforeShift) {
        const __m512i bits = _mm512_or_si512(_mm512_sllv_epi64(four.raw, shift.raw),
                                             _mm512_sllv_epi64(before, beforeShift.raw));
        return V512{
            _mm512_shuffle_epi8(bits, _mm512_broadcast_i32x4(_mm_setr_epi8(
                                          7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)))};
    };
    alignas(64) uint64_t bytes[16];
    alignas(64) uint32_t offsets[16];
    placed(first, widenedFirst(shifts), beforeFirst, widenedFirst(free)).store(bytes);
    placed(second, widenedSecond(shifts), beforeSecond, widenedSecond(free)).store(bytes + 8);
    _mm512_store_si512(offsets, _mm512_srli_epi32(starts, 3));
    const auto put = [&](int32_t four) {
        const int32_t at = four / 2 % 2 * 8 + four / 4 * 2 + four % 2;
        __builtin_memcpy(stream.bytes + offsets[four], &bytes[at], 8);
    };
    if (__builtin_expect(count == kChunk, true)) {
#pragma GCC unroll 16
        for (int32_t four = 0; four < 16; four++)
            put(four);
    } else {
        for (int32_t four = 0; four < (count + 3) / 4; four++)
            put(four);
    }
    stream.position += _mm_extract_epi32(_mm512_extracti32x4_epi32(sums, 3), 3);
    stream.previous = second;
}

/// MCUs first..end - 1, of up to kGroupBlocks blocks altogether.
VELA_INLINE int32_t encodeGroup(const BlockSpec& blocks, const PreparedCodes& codes, int32_t first,
                                int32_t end, uint8_t* dst, int32_t bitPosition) {
    Records records;
    int32_t count = 0;
    for (int32_t mcu = first; mcu < end; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++) {
            const int16_t* const block = blockOf(blocks, mcu, i);
            int16_t* const predictor = blocks.blockPredictor[i];
            const bool other = blocks.blockAcTable[i] != blocks.blockAcTable[0];
            count = addBlock(records, count, block, *predictor, other ? kOtherTables : 0);
            *predictor = *block;
        }

    uint8_t plain[(7 + kMaxRecords * (kWordBits)) / 8 + 64];
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    BitStream stream{plain, held, {}};
    stream.setPending(held == 0 ? 0 : static_cast<uint64_t>(*out >> (8 - held)));
    for (int32_t from = 0; from < count; from += kChunk) {
        const int32_t left = count - from < kChunk ? count - from : kChunk;
        putChunk(stream, codeWordsOf(records, from, left, codes), left);
    }
    const uint8_t* const end8 = plain + stream.position / 8;
    uint8_t* const last = stuff<V512>(plain, end8, out);
    const int32_t rest = static_cast<int32_t>(stream.position % 8);
    *last = rest == 0 ? uint8_t{0} : *end8;
    return static_cast<int32_t>(last - dst) * 8 + rest;
}

VELA_INLINE int32_t encodeByLookup(const BlockSpec& blocks, const PreparedCodes& codes,
                                   int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    const int32_t atOnce = kGroupBlocks / blocks.blockCount;
    for (int32_t first = 0; first < mcuCount; first += atOnce) {
        const int32_t end = first + atOnce < mcuCount ? first + atOnce : mcuCount;
        bitPosition = encodeGroup(blocks, codes, first, end, dst, bitPosition);
    }
    return bitPosition;
}

} // namespace
} // namespace vela::VELA_ISA
