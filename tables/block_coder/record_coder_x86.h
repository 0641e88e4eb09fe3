// The baseline coder of whole MCUs on wide registers. Nothing branches on what a coefficient is, and no step
// waits for the one before it.
//
// 1. Everything that has a code becomes a record of its value and its index (records_x86.h). EOB and ZRL are
//    records as well, of the zero coefficients that they stand at.
// 2. As many records as a register has 32-bit elements become code words with their lengths, by one look-up for
//    each in a prepared table, and are joined by fours.
// 3. Where a four starts among the bits is a sum of lengths. Each is moved there, with the bits before it in
//    its first byte, which are the last ones of the four before, and stored by itself.
// 4. The bytes of ones among what that gives are stuffed on the way to the output.
//
// What is coded is that of the plain version (plain.cpp).
#pragma once

#include "cpu/vectors_x86.h"
#include "state/encoder_state.h"
#include "tables/block_coder/bit_joiner.h"
#include "tables/block_coder/records_x86.h"
#include "tables/block_coder/stuffing_x86.h"

#ifdef __SSE4_1__

namespace vela::VELA_ISA {
namespace {

// What a record becomes:
//
//     31     27 26                                0
//     length    code, then the magnitude bits
constexpr int32_t kWordBits = 27;
constexpr int32_t kWordMask = (1 << kWordBits) - 1;

// The prepared table: by pair of tables, run (kDcRun for DC) and size, the word without its magnitude bits.
constexpr int32_t kPairEntries = 16 * (kDcRun + 1);
constexpr int32_t kPairDistance = 512; // entries; kOtherTables shifted down
static_assert(sizeof(uint32_t) * (kPairDistance + kPairEntries) <= sizeof(PreparedCodes));

inline void prepareEntries(const BlockSpec& blocks, PreparedCodes& codes) {
    const int32_t last = blocks.blockCount - 1;
    for (int32_t t = 0; t < 2; t++) {
        auto* const to = reinterpret_cast<uint32_t*>(codes.memory) + t * kPairDistance;
        const auto put = [to](int32_t place, uint32_t entry) {
            const auto size = static_cast<uint32_t>(place % 16);
            to[place] =
                ((entry >> 16) + size) << kWordBits | ((entry & 0xFFFF) << size & kWordMask);
        };
        for (int32_t symbol = 0; symbol < 256; symbol++)
            put(symbol, blocks.blockAcTable[t * last]->entry[symbol]);
        for (int32_t size = 0; size < 16; size++)
            put(16 * kDcRun + size, blocks.blockDcTable[t * last]->entry[size]);
    }
}

/// 128 bits: two vectors of four records make two fours.
struct FourRecords {
    using V = V128;
    static constexpr int32_t records = 4;

    /// Of values of 16 bits: the exponent of the float, which is 127 for 1.
    VELA_INLINE static V significantBits(V a) {
        const V exponents = shiftRight32<23>(V{_mm_castps_si128(_mm_cvtepi32_ps(a.raw))});
        return {_mm_max_epi32(sub32(exponents, V::set32(126)).raw, V::zero().raw)};
    }
    /// The power of two from the same exponent. Where value is 0, it has no bits in any case.
    VELA_INLINE static V lowBits(V value, V absolute, V) {
        const __m128 number = _mm_cvtepi32_ps(absolute.raw);
        const V power =
            add32(V{_mm_castps_si128(number)} & V::set32(0x7F800000), V::set32(0x00800000));
        return value & sub32(V{_mm_cvttps_epi32(_mm_castsi128_ps(power.raw))}, V::set32(1));
    }
    /// One by one: within a few percent of a gather where that is fast, and far from it where its microcode
    /// keeps it from leaking. The places go by way of memory, whence they are loaded as indices; without
    /// the asm they would be taken out of the register one by one, in twice as many steps.
    VELA_INLINE static V lookUp(const uint32_t* entries, V places) {
        alignas(16) uint32_t place[4];
        places.store(place);
        asm("" : "+m"(place));
        const auto at = [&](int32_t i) { return static_cast<int32_t>(entries[place[i]]); };
        return {_mm_setr_epi32(at(0), at(1), at(2), at(3))};
    }
    VELA_INLINE static V shiftLeft64(V a, V counts) {
        return {_mm_blend_epi16(_mm_sll_epi64(a.raw, counts.raw),
                                _mm_sll_epi64(a.raw, _mm_unpackhi_epi64(counts.raw, counts.raw)),
                                0xF0)};
    }
    VELA_INLINE static V keepFirst(V a, int32_t count) {
        return {_mm_and_si128(a.raw,
                              _mm_cmpgt_epi32(_mm_set1_epi32(count), _mm_setr_epi32(0, 1, 2, 3)))};
    }
    VELA_INLINE static V evenLanes(V a, V) { return a; }
    VELA_INLINE static V oddLanes(V, V b) { return b; }
    /// Of lengths.
    VELA_INLINE static bool anyAbove(V a, int32_t limit) {
        return _mm_movemask_epi8(_mm_cmpgt_epi32(a.raw, _mm_set1_epi32(limit))) != 0;
    }
    VELA_INLINE static V sumsBefore(V a) { return {_mm_bslli_si128(a.raw, 8)}; }
    VELA_INLINE static V elementsBefore(V a, V vectorBefore) {
        return {_mm_alignr_epi8(a.raw, vectorBefore.raw, 8)};
    }
    VELA_INLINE static V set64(int64_t x) { return {_mm_set1_epi64x(x)}; }
    VELA_INLINE static V add64(V a, V b) { return {_mm_add_epi64(a.raw, b.raw)}; }
    VELA_INLINE static V sub64(V a, V b) { return {_mm_sub_epi64(a.raw, b.raw)}; }
    VELA_INLINE static int64_t last(V a) { return _mm_extract_epi64(a.raw, 1); }
};

#ifdef __AVX2__
/// What wider registers have alike.
template <class V>
struct WideShifts {
    /// So many low bits of value.
    VELA_INLINE static V lowBits(V value, V, V sizes) {
        return andNot(value, shiftLeftBy32(V::set32(-1), sizes));
    }
    VELA_INLINE static V shiftLeft64(V a, V counts) { return shiftLeftBy64(a, counts); }
};

/// 256 bits: two vectors of eight records make four fours.
struct EightRecords : WideShifts<V256> {
    using V = V256;
    static constexpr int32_t records = 8;

    /// Of values of 16 bits: the exponent of the float, which is 127 for 1.
    VELA_INLINE static V significantBits(V a) {
        const V exponents = shiftRight32<23>(V{_mm256_castps_si256(_mm256_cvtepi32_ps(a.raw))});
        return {_mm256_max_epi32(sub32(exponents, V::set32(126)).raw, V::zero().raw)};
    }
    VELA_INLINE static V lookUp(const uint32_t* entries, V places) {
        alignas(32) uint32_t place[8];
        places.store(place);
        asm("" : "+m"(place));
        const auto at = [&](int32_t i) { return static_cast<int32_t>(entries[place[i]]); };
        return {_mm256_setr_epi32(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7))};
    }
    /// Of the elements from count on, none.
    VELA_INLINE static V keepFirst(V a, int32_t count) {
        const __m256i lanes =
            _mm256_cmpgt_epi32(_mm256_set1_epi32(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
        return {_mm256_and_si256(a.raw, lanes)};
    }
    /// The even and the odd 128-bit lanes of two vectors.
    VELA_INLINE static V evenLanes(V a, V b) {
        return {_mm256_permute2x128_si256(a.raw, b.raw, 0x20)};
    }
    VELA_INLINE static V oddLanes(V a, V b) {
        return {_mm256_permute2x128_si256(a.raw, b.raw, 0x31)};
    }
    VELA_INLINE static bool anyAbove(V a, int64_t limit) {
        const __m256i above = _mm256_cmpgt_epi64(a.raw, _mm256_set1_epi64x(limit));
        return _mm256_testz_si256(above, above) == 0;
    }
    /// Of 64-bit elements, the sums of those before each.
    VELA_INLINE static V sumsBefore(V a) {
        //     | 0 | a0 | 0 | a2 |   and   | 0 | 0 | a0 + a1 | a0 + a1 |
        const __m256i before = _mm256_bslli_epi128(a.raw, 8);
        const __m256i pairs = _mm256_add_epi64(a.raw, before);
        const __m256i low = _mm256_permute4x64_epi64(pairs, 0x55);
        return {_mm256_add_epi64(before, _mm256_blend_epi32(_mm256_setzero_si256(), low, 0xF0))};
    }
    /// The element before each, that before the first from the end of the vector before.
    VELA_INLINE static V elementsBefore(V a, V vectorBefore) {
        const __m256i lanes = _mm256_permute2x128_si256(vectorBefore.raw, a.raw, 0x21);
        return {_mm256_alignr_epi8(a.raw, lanes, 8)};
    }
    VELA_INLINE static V set64(int64_t x) { return {_mm256_set1_epi64x(x)}; }
    VELA_INLINE static V add64(V a, V b) { return {_mm256_add_epi64(a.raw, b.raw)}; }
    VELA_INLINE static V sub64(V a, V b) { return {_mm256_sub_epi64(a.raw, b.raw)}; }
    VELA_INLINE static int64_t last(V a) {
        return _mm_extract_epi64(_mm256_extracti128_si256(a.raw, 1), 1);
    }
};

#endif

#ifdef __AVX512BW__
/// 512 bits: two vectors of sixteen records make eight fours.
struct SixteenRecords : WideShifts<V512> {
    using V = V512;
    static constexpr int32_t records = 16;

    VELA_INLINE static V significantBits(V a) {
        return sub32(V::set32(32), V{_mm512_lzcnt_epi32(a.raw)});
    }
    VELA_INLINE static V lookUp(const uint32_t* entries, V places) {
        return V::join(EightRecords::lookUp(entries, places.low()),
                       EightRecords::lookUp(entries, places.high()));
    }
    VELA_INLINE static V keepFirst(V a, int32_t count) {
        const auto lanes =
            static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<uint32_t>(count < 0 ? 0 : count)));
        return {_mm512_maskz_mov_epi32(lanes, a.raw)};
    }
    VELA_INLINE static V evenLanes(V a, V b) { return {_mm512_shuffle_i64x2(a.raw, b.raw, 0x88)}; }
    VELA_INLINE static V oddLanes(V a, V b) { return {_mm512_shuffle_i64x2(a.raw, b.raw, 0xDD)}; }
    VELA_INLINE static bool anyAbove(V a, int64_t limit) {
        return _mm512_cmpgt_epi64_mask(a.raw, _mm512_set1_epi64(limit)) != 0;
    }
    VELA_INLINE static V sumsBefore(V a) {
        const __m512i zero = _mm512_setzero_si512();
        __m512i sums = _mm512_alignr_epi64(a.raw, zero, 7);
        sums = _mm512_add_epi64(sums, _mm512_alignr_epi64(sums, zero, 7));
        sums = _mm512_add_epi64(sums, _mm512_alignr_epi64(sums, zero, 6));
        return {_mm512_add_epi64(sums, _mm512_alignr_epi64(sums, zero, 4))};
    }
    VELA_INLINE static V elementsBefore(V a, V vectorBefore) {
        return {_mm512_alignr_epi64(a.raw, vectorBefore.raw, 7)};
    }
    VELA_INLINE static V set64(int64_t x) { return {_mm512_set1_epi64(x)}; }
    VELA_INLINE static V add64(V a, V b) { return {_mm512_add_epi64(a.raw, b.raw)}; }
    VELA_INLINE static V sub64(V a, V b) { return {_mm512_sub_epi64(a.raw, b.raw)}; }
    VELA_INLINE static int64_t last(V a) {
        return _mm_extract_epi64(_mm512_extracti32x4_epi32(a.raw, 3), 1);
    }
};
#endif

/// The words of a vector of records, of which there are `left`; what comes after them is nothing, of length 0.
template <class Isa, class V = typename Isa::V>
VELA_INLINE V wordsOf(const uint32_t* records, int32_t left, const PreparedCodes& codes) {
    const V record = V::load(records), before = V::load(records - 1);
    const V value = shiftRightSigned32<16>(record);
    const V absolute = absolute32(value);
    const V size = Isa::significantBits(absolute);
    const V run = sub32(record & V::set32(0xFF), shiftRight32<8>(before) & V::set32(0x7F));
    const V pair = shiftRight32<6>(record & V::set32(kOtherTables)); // 0 or kPairDistance
    const bool whole = left >= Isa::records;
    V place = add32(add32(pair, size), shiftLeft32<4>(run));
    if (__builtin_expect(!whole, false))
        place = Isa::keepFirst(place, left);
    // A negative value's bits are those of value - 1 (T.81 F.1.2.1).
    const V below = add32(value, shiftRightSigned32<31>(value));
    const V bits = Isa::lowBits(below, absolute, size);
    const V word = Isa::lookUp(reinterpret_cast<const uint32_t*>(codes.memory), place) | bits;
    return whole ? word : Isa::keepFirst(word, left);
}

/// Words joined by two: 64-bit elements of up to 2 * 27 bits, and their lengths.
///
///     words                 | w0                | w1 |        the low half of an element on the left
///     its low half, moved   | w0 << length of w1     |
///     its high half         | w1                | 0  |
template <class V>
struct Joined {
    V bits;
    V lengths;
};

template <class Isa, class V = typename Isa::V>
VELA_INLINE Joined<V> pairsOf(V words) {
    const V mask = Isa::set64(kWordMask);
    const V secondLengths = shiftRight64<32 + kWordBits>(words);
    const V firstLengths = shiftRight64<kWordBits>(words) & Isa::set64(31);
    return {Isa::shiftLeft64(words & mask, secondLengths) | (shiftRight64<32>(words) & mask),
            add32(firstLengths, secondLengths)};
}

/// Bits on their way to memory, without stuffing.
template <class V>
struct BitStream {
    uint8_t* bytes;
    int64_t position; // in bits
    V before; // whose last 64-bit element ends with the bits before the position in its byte
};

/// Where a four is too long to be stored with the bits before it. Of the pairs of even and odd number. By value,
/// so that nothing of it is in memory where this is not called.
template <class Isa, class V = typename Isa::V>
[[gnu::noinline]] BitStream<V> putPairs(BitStream<V> stream, Joined<V> even, Joined<V> odd) {
    constexpr int32_t kFours = Isa::records / 2;
    alignas(64) uint64_t bits[2][kFours], lengths[2][kFours], before[kFours];
    even.bits.store(bits[0]);
    odd.bits.store(bits[1]);
    even.lengths.store(lengths[0]);
    odd.lengths.store(lengths[1]);
    stream.before.store(before);
    const uint64_t held = static_cast<uint64_t>(stream.position) % 8;
    BitJoiner joiner{stream.bytes + stream.position / 8,
                     held == 0 ? 0 : before[kFours - 1] << (64 - held), held};
    for (int32_t i = 0; i < 2 * kFours; i++)
        joiner.put(bits[i % 2][i / 2], lengths[i % 2][i / 2]);
    stream.position = (joiner.out - stream.bytes) * 8 + static_cast<int64_t>(joiner.held);
    stream.before =
        Isa::set64(static_cast<int64_t>(joiner.held == 0 ? 0 : joiner.bits >> (64 - joiner.held)));
    return stream;
}

/// Puts the records of two vectors, of which there are `left`.
template <class Isa, class V = typename Isa::V>
VELA_INLINE BitStream<V> putRecords(BitStream<V> stream, const uint32_t* records, int32_t left,
                                    const PreparedCodes& codes) {
    constexpr int32_t kFours = Isa::records / 2;
    const V one = wordsOf<Isa>(records, left, codes);
    const V two = wordsOf<Isa>(records + Isa::records, left - Isa::records, codes);
    // Fours in order, each out of two pairs of one lane:
    //
    //     lanes of a        records  0..3  |  8..11 | ..     pairs  0, 1 | 4, 5 | ..
    //     lanes of b                 4..7  | 12..15 | ..            2, 3 | 6, 7 | ..
    //     even                                                      0, 2 | 4, 6 | ..
    //     odd                                                       1, 3 | 5, 7 | ..
    const Joined<V> a = pairsOf<Isa>(Isa::evenLanes(one, two));
    const Joined<V> b = pairsOf<Isa>(Isa::oddLanes(one, two));
    const Joined<V> even = {unpackLow64(a.bits, b.bits), unpackLow64(a.lengths, b.lengths)};
    const Joined<V> odd = {unpackHigh64(a.bits, b.bits), unpackHigh64(a.lengths, b.lengths)};
    const V lengths = add32(even.lengths, odd.lengths);
    if (__builtin_expect(Isa::anyAbove(lengths, BitJoiner::kMaxLength), false))
        return putPairs<Isa>(stream, even, odd);

    // A code has 2 bits at least, so a four has the 7 that the next one may need of it.
    const V fours = Isa::shiftLeft64(even.bits, odd.lengths) | odd.bits;
    const V starts = Isa::add64(Isa::sumsBefore(lengths), Isa::set64(stream.position));
    const V free = Isa::sub64(Isa::set64(64), starts & Isa::set64(7));
    const V placed = Isa::shiftLeft64(fours, Isa::sub64(free, lengths)) |
                     Isa::shiftLeft64(Isa::elementsBefore(fours, stream.before), free);
    alignas(64) uint64_t bytes[kFours], offsets[kFours];
    shuffle8(placed,
             V::toAllLanes({_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)}))
        .store(bytes);
    shiftRight64<3>(starts).store(offsets);
    const int32_t count = left >= 2 * Isa::records ? kFours : (left + 3) / 4;
#pragma GCC unroll 8
    for (int32_t i = 0; i < kFours; i++)
        if (i < count)
            __builtin_memcpy(stream.bytes + offsets[i], &bytes[i], 8);
    stream.position = Isa::last(starts) + Isa::last(lengths);
    stream.before = fours;
    return stream;
}

/// MCUs first..end - 1, of up to kGroupBlocks blocks altogether.
template <class Isa>
VELA_INLINE int32_t encodeGroup(const BlockSpec& blocks, const PreparedCodes& codes, int32_t first,
                                int32_t end, uint8_t* dst, int32_t bitPosition) {
    Records records;
    uint32_t* recordsEnd = records.first();
    for (int32_t mcu = first; mcu < end; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++) {
            const int16_t* const block = blockOf(blocks, mcu, i);
            int16_t* const predictor = blocks.blockPredictor[i];
            const bool other = blocks.blockAcTable[i] != blocks.blockAcTable[0];
            recordsEnd = addBlock(recordsEnd, block, *predictor, other ? kOtherTables : 0);
            *predictor = *block;
        }

    uint8_t plain[(7 + kMaxRecords * kWordBits) / 8 + 64];
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    BitStream<typename Isa::V> stream{plain, held, Isa::set64(held == 0 ? 0 : *out >> (8 - held))};
    // What is loaded after the last one is masked out, but not before it is looked at.
    Isa::V::zero().store(recordsEnd);
    Isa::V::zero().store(recordsEnd + Isa::records);
    for (const uint32_t* from = records.first(); from < recordsEnd; from += 2 * Isa::records)
        stream = putRecords<Isa>(stream, from, static_cast<int32_t>(recordsEnd - from), codes);

    const uint8_t* const plainEnd = plain + stream.position / 8;
    uint8_t* const last = stuff<typename Isa::V>(plain, plainEnd, out);
    const auto rest = static_cast<int32_t>(stream.position % 8);
    *last = rest == 0 ? uint8_t{0} : *plainEnd;
    return static_cast<int32_t>(last - dst) * 8 + rest;
}

template <class Isa>
VELA_INLINE int32_t encodeByRecords(const BlockSpec& blocks, const PreparedCodes& codes,
                                    int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    const int32_t atOnce = kGroupBlocks / blocks.blockCount;
    for (int32_t first = 0; first < mcuCount; first += atOnce) {
        const int32_t end = first + atOnce < mcuCount ? first + atOnce : mcuCount;
        bitPosition = encodeGroup<Isa>(blocks, codes, first, end, dst, bitPosition);
    }
    return bitPosition;
}

} // namespace
} // namespace vela::VELA_ISA

#endif
