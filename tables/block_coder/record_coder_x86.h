// The baseline coder of whole MCUs on wide registers. Three steps, none of which branches on what a
// coefficient is:
//
// 1. Everything that has a code becomes a record of a value and of what else its code depends on, one
//    block's records after another's (records_x86.h). EOB and ZRL are records as well, of the zero
//    coefficients that they stand at.
// 2. As many records as a register has 32-bit elements become code words, which are joined by fours.
// 3. The words are put one after another, eight bytes being stored for each, and the bytes of ones
//    among what that gives are stuffed on the way to the output.
//
// What is coded is that of the plain version (plain.cpp).
#pragma once

#include "cpu/vectors_x86.h"
#include "state/encoder_state.h"
#include "tables/block_coder/bit_joiner.h"
#include "tables/block_coder/records_x86.h"
#include "tables/block_coder/stuffing_x86.h"

#ifdef __AVX2__

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kMaxRecordBits = 16 + 11;

/// Eight records in 256 bits: what 512 bits do otherwise.
struct EightRecords {
    using V = V256;
    using Lanes = V256; // all ones in each
    static constexpr int32_t records = 8;
    static constexpr int32_t bytes = 32;

    VELA_INLINE static Lanes firstLanes(int32_t count) {
        return {_mm256_cmpgt_epi32(V::set32(count).raw, _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7))};
    }
    VELA_INLINE static V keep(Lanes lanes, V a) { return a & lanes; }
    /// Of values below 2^24: the exponent of the float, which is 127 for 1.
    VELA_INLINE static V significantBits(V a) {
        const V exponents = shiftRight32<23>(V{_mm256_castps_si256(_mm256_cvtepi32_ps(a.raw))});
        return {_mm256_max_epi32(sub32(exponents, V::set32(126)).raw, V::zero().raw)};
    }
    VELA_INLINE static V gather(const uint32_t* base, V indices, Lanes lanes) {
        return {_mm256_mask_i32gather_epi32(V::zero().raw, reinterpret_cast<const int*>(base),
                                            indices.raw, lanes.raw, 4)};
    }
    ///     | a0 | a1 | a2 | a3 | ..   to   | a0 | 0 | a2 | 0 | ..
    VELA_INLINE static V lowHalves(V a) { return {_mm256_blend_epi32(a.raw, V::zero().raw, 0xAA)}; }
    VELA_INLINE static bool anyLowerOfTwoAbove(V a, int64_t limit) {
        const __m256i above = _mm256_cmpgt_epi64(a.raw, _mm256_set1_epi64x(limit));
        return (_mm256_movemask_epi8(above) & 0x00FF00FF) != 0;
    }
};

#ifdef __AVX512BW__
/// Sixteen records in 512 bits.
struct SixteenRecords {
    using V = V512;
    using Lanes = __mmask16;
    static constexpr int32_t records = 16;
    static constexpr int32_t bytes = 64;

    VELA_INLINE static Lanes firstLanes(int32_t count) {
        return static_cast<Lanes>(
            _bzhi_u32(0xFFFF, static_cast<uint32_t>(count < 16 ? count : 16)));
    }
    VELA_INLINE static V keep(Lanes lanes, V a) { return {_mm512_maskz_mov_epi32(lanes, a.raw)}; }
    VELA_INLINE static V significantBits(V a) {
        return sub32(V::set32(32), V{_mm512_lzcnt_epi32(a.raw)});
    }
    VELA_INLINE static V gather(const uint32_t* base, V indices, Lanes lanes) {
        return {_mm512_mask_i32gather_epi32(V::zero().raw, lanes, indices.raw, base, 4)};
    }
    VELA_INLINE static V lowHalves(V a) { return keep(0x5555, a); }
    VELA_INLINE static bool anyLowerOfTwoAbove(V a, int64_t limit) {
        return _mm512_mask_cmpgt_epi64_mask(0x55, a.raw, _mm512_set1_epi64(limit)) != 0;
    }
};
#endif

/// Code words with their lengths, in 64-bit elements.
template <class V>
struct Words {
    V bits;
    V lengths;
};

/// The code words of the records from `from` on, of which there are `left`, joined by pairs of up to
/// 2 * 27 bits. offsets: BlockSpec::codeOffset in the first four elements.
///
///     records, 32 bits each    | r0 | r1 | r2 | r3 | ..
///     code words               | w0 | w1 | w2 | w3 | ..
///     pairs, 64 bits each      | w0 then w1 | w2 then w3 | ..    the later word in the lower bits
template <class Isa, class V = typename Isa::V>
VELA_INLINE Words<V> codePairs(const Records& records, int32_t from, int32_t left,
                               const uint32_t* codes, V offsets) {
    const auto lanes = Isa::firstLanes(left);
    const V kinds = V::widenUnsigned8To32(records.kinds + from);
    const V values = V::widen16To32(records.values + from);
    const V sizes = Isa::significantBits(absolute32(values));
    // An element's table, 0..3, becomes that table's offset.
    const V starts = permute32(offsets, shiftRight32<4>(kinds));
    const V symbols = (shiftLeft32<4>(kinds) & V::set32(0xF0)) | sizes;
    const V entries = Isa::gather(codes, add32(starts, symbols), lanes);

    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1): the 2^size goes to the code.
    const V signs = shiftRightSigned32<31>(values); // -1 or 0
    const V code = sub32(entries & V::set32(0xFFFF), signs);
    const V words = Isa::keep(lanes, add32(shiftLeftBy32(code, sizes), add32(values, signs)));
    const V lengths = Isa::keep(lanes, add32(shiftRight32<16>(entries), sizes));

    // A 64-bit element, its low half on the left:
    //
    //     words                 | w0          | w1 |
    //     its low half, shifted | w0 << length of w1 |
    //     its high half         | w1          | 0  |
    const V secondLengths = shiftRight64<32>(lengths);
    return {shiftLeftBy64(Isa::lowHalves(words), secondLengths) | shiftRight64<32>(words),
            add32(Isa::lowHalves(lengths), secondLengths)};
}

/// Joins the pairs by two where that gives at most kMaxLength bits, as it mostly does.
///
///     pairs, 64 bits each          | p0 | p1 | p2 | p3 | ..
///     the upper one of each lane   | p1 | p1 | p3 | p3 | ..
///     fours, in the lower ones     | p0 then p1 | - | p2 then p3 | - | ..
template <class Isa, class V = typename Isa::V>
VELA_INLINE void putRecords(BitJoiner& joiner, const Records& records, int32_t from, int32_t left,
                            const uint32_t* codes, V offsets) {
    constexpr int32_t kPairs = Isa::records / 2;
    alignas(64) uint64_t bits[kPairs];
    alignas(64) uint64_t lengths[kPairs];
    const Words<V> pairs = codePairs<Isa>(records, from, left, codes, offsets);
    const V secondBits = unpackHigh64(pairs.bits, pairs.bits);
    const V secondLengths = unpackHigh64(pairs.lengths, pairs.lengths);
    const V fourLengths = add32(pairs.lengths, secondLengths);
    if (__builtin_expect(Isa::anyLowerOfTwoAbove(fourLengths, BitJoiner::kMaxLength), false)) {
        pairs.bits.store(bits);
        pairs.lengths.store(lengths);
        for (int32_t i = 0; i < kPairs; i++)
            joiner.put(bits[i], lengths[i]);
        return;
    }
    (shiftLeftBy64(pairs.bits, secondLengths) | secondBits).store(bits);
    fourLengths.store(lengths);
    for (int32_t i = 0; i < kPairs; i += 2)
        joiner.put(bits[i], lengths[i]);
}

/// MCUs first..end - 1, of up to kMaxBlocksPerMcu blocks altogether.
template <class Isa, AddBlock addBlock>
VELA_INLINE int32_t encodeGroup(const BlockSpec& blocks, int32_t first, int32_t end, uint8_t* dst,
                                int32_t bitPosition) {
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

    const auto offsets = Isa::V::toAllLanes(V128::load(blocks.codeOffset));
    uint8_t plain[(7 + kMaxRecords * kMaxRecordBits) / 8 + Isa::bytes];
    BitJoiner joiner{plain, 0, static_cast<uint64_t>(bitPosition % 8)};
    for (int32_t from = 0; from < count; from += Isa::records)
        putRecords<Isa>(joiner, records, from, count - from, blocks.codeBase, offsets);

    uint8_t* const out = dst + bitPosition / 8;
    if (bitPosition % 8 != 0)
        plain[0] = static_cast<uint8_t>(plain[0] | *out);
    uint8_t* const last = stuff<typename Isa::V>(plain, joiner.out, out);
    *last = *joiner.out;
    return static_cast<int32_t>(last - dst) * 8 + static_cast<int32_t>(joiner.held);
}

template <class Isa, AddBlock addBlock>
VELA_INLINE int32_t encodeByRecords(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                                    int32_t bitPosition) {
    const int32_t atOnce = kMaxBlocksPerMcu / blocks.blockCount;
    for (int32_t first = 0; first < mcuCount; first += atOnce) {
        const int32_t end = first + atOnce < mcuCount ? first + atOnce : mcuCount;
        bitPosition = encodeGroup<Isa, addBlock>(blocks, first, end, dst, bitPosition);
    }
    return bitPosition;
}

} // namespace
} // namespace vela::VELA_ISA

#endif
