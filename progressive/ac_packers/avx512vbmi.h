// The AC packers in 512 bits, for processors with VBMI2: a block's coefficients as bytes, and all records
// of its first scan at once.
#pragma once

#include <immintrin.h>

#include <bit>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "progressive/ac_packers/segments_x86.h"
#include "state/zigzag.h"

namespace vela::VELA_ISA {
namespace {

using Bytes = Table<uint8_t, 64>;

VELA_INLINE __m512i load(const Bytes& bytes) {
    return _mm512_load_si512(bytes.of);
}

/// Element i is table[indices[i]].
VELA_INLINE __m512i lookUp(const Bytes& table, __m512i indices) {
    return _mm512_permutexvar_epi8(indices, load(table));
}

/// From the block's halves, 32 coefficients each, which packing them to bytes leaves in lanes of 16
///
///     first  0..7 | second 0..7 | first 8..15 | second 8..15 | first 16..23 | ..
///
/// to zigzag order.
constexpr Bytes kPackedPositions = makeTable<uint8_t, 64>([](int32_t k) {
    const int32_t position = makeTransposedZigzag()[static_cast<size_t>(k)];
    return 16 * (position % 32 / 8) + 8 * (position / 32) + position % 8;
});

///     x0 x1 x2 .. x63   to   - x0 x1 .. x62, the first element being masked out
constexpr Bytes kElementBefore = makeTable<uint8_t, 64>([](int32_t i) { return i - 1; });

///     x0 x1 .., y0 y1 ..   to   x0 y0 x1 y1 ..   y being the second of two tables of 64
constexpr Bytes kInTurns = makeTable<uint8_t, 64>([](int32_t i) { return i / 2 + i % 2 * 64; });

/// Of a magnitude: its significant bits, and as many ones.
constexpr Bytes kSizes = makeTable<uint8_t, 64>(
    [](int32_t magnitude) { return std::bit_width(static_cast<uint32_t>(magnitude)); });
constexpr Bytes kLowBits = makeTable<uint8_t, 64>(
    [](int32_t magnitude) { return (1 << std::bit_width(static_cast<uint32_t>(magnitude))) - 1; });

/// Of a number of bits: its ones, in the lower of two bytes and in the upper one.
constexpr Bytes kLowerOnes =
    makeTable<uint8_t, 64>([](int32_t n) { return n < 8 ? (1 << n) - 1 : 0xFF; });
constexpr Bytes kUpperOnes = makeTable<uint8_t, 64>([](int32_t n) {
    return n < 8 ? 0 : n < 16 ? (1 << (n - 8)) - 1 : 0xFF;
});

/// Symbols that no scan has, of different counters: they stand where there is none.
constexpr Bytes kNoSymbols = makeTable<uint8_t, 64>([](int32_t i) { return 16 * (i % 16) + 15; });

/// New coefficients, eight at once, with up to 16 correction bits each, in eight bytes of which some are
/// left out: the last two always, the upper bits where 8 suffice, all from 0xFE on where there are none.
/// The positions are those in  symbols and signs in turns | numbers and lower bits in turns | upper bits
///
///     symbol  sign  0xFE  number  upper bits  lower bits  -  -
constexpr Bytes kNewPositions = makeTable<uint8_t, 64>([](int32_t i) {
    const int32_t positions[8] = {0, 1, 0, 16, 32, 17, 0, 0}, steps[8] = {2, 2, 0, 2, 1, 2, 0, 0};
    return positions[i % 8] + steps[i % 8] * (i / 8);
});
constexpr Bytes kNumberPositions = makeTable<uint8_t, 64>([](int32_t i) { return 16 + i / 8 * 2; });
constexpr Table<int8_t, 64> kLeftOutUpTo = makeTable<int8_t, 64>([](int32_t i) {
    const int32_t numbers[8] = {-1, -1, 0, 0, 8, 0, 127, 127};
    return numbers[i % 8];
});

/// Coefficients in zigzag order, those beyond -128..127 brought there.
struct ByteOrder {
    alignas(64) int8_t values[64];
    int32_t operator()(int32_t k) const { return values[k]; }
};

/// Counts the first eight symbols, or as many as there are: whether there is one decides what is added,
/// not where the processor goes on.
VELA_INLINE void countEight(__m512i symbols, uint32_t number, uint32_t* counts) {
    auto eight = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm512_castsi512_si128(symbols)));
    for (uint32_t i = 0; i < 8; i++, eight >>= 8)
        counts[eight & 0xFF] += number > i;
}

/// In all elements but the first count: symbols that are counted nowhere.
VELA_INLINE __m512i padded(__m512i symbols, uint32_t count) {
    return _mm512_mask_mov_epi8(load(kNoSymbols), _bzhi_u64(~uint64_t{0}, count), symbols);
}

/// The elements from the ninth on come to the front.
VELA_INLINE __m512i withoutEight(__m512i a) {
    return _mm512_alignr_epi64(a, a, 1);
}

VELA_INLINE void countSymbols(__m512i symbols, uint32_t number, uint32_t* counts) {
    symbols = padded(symbols, number);
    countEight(symbols, number, counts);
    for (uint32_t counted = 8; __builtin_expect(counted < number, false); counted += 8) {
        symbols = withoutEight(symbols);
        countEight(symbols, number - counted, counts);
    }
}

/// packFirst, all coefficients in one go. False, with nothing done, if there is a zero run that takes a
/// ZRL, or a long run of blocks is pending. Magnitudes are below 128. Writes up to 64 bytes after the
/// records.
inline bool packFirstAtOnce(__m512i magnitudes, uint64_t negative, const CoefficientMasks& masks,
                            const AcScan& scan) {
    const uint64_t taken = masks.nonZero & ~masks.ones;
    const auto count = static_cast<uint32_t>(__builtin_popcountll(taken));
    const __m512i indices = _mm512_maskz_compress_epi8(taken, load(kIndices));
    const __m512i before =
        _mm512_maskz_permutexvar_epi8(~uint64_t{1}, load(kElementBefore), indices);
    const __m512i runs = _mm512_sub_epi8(_mm512_sub_epi8(indices, before), _mm512_set1_epi8(1));
    const uint64_t longRuns = _mm512_cmpgt_epu8_mask(runs, _mm512_set1_epi8(15));
    ScanCoderState& coder = *scan.coder;
    const auto pending = static_cast<uint32_t>(coder.eobRun);
    if (__builtin_expect((_bzhi_u64(longRuns, count) != 0) | (pending > kMaxShortRun), false))
        return false;

    uint8_t* const out = packShortRun(scan.buffer->cursor, count > 0 ? pending : 0, scan.counts);
    const __m512i halved = _mm512_maskz_compress_epi8(
        taken, _mm512_and_si512(_mm512_srli_epi16(magnitudes, 1), _mm512_set1_epi8(63)));
    const __m512i sizes = lookUp(kSizes, halved);
    const __m512i symbols = _mm512_or_si512(_mm512_slli_epi16(runs, 4), sizes);
    // Of a negative value its magnitude's complement
    const uint64_t complemented = _pext_u64(negative, taken);
    const __m512i bits =
        _mm512_mask_sub_epi8(halved, complemented, lookUp(kLowBits, halved), halved);

    const __m512i turns = load(kInTurns);
    _mm512_storeu_si512(out, _mm512_permutex2var_epi8(symbols, turns, bits));
    if (__builtin_expect(count > 32, false)) {
        const __m512i later = _mm512_add_epi8(turns, _mm512_set1_epi8(32));
        _mm512_storeu_si512(out + 64, _mm512_permutex2var_epi8(symbols, later, bits));
    }
    countSymbols(symbols, count, scan.counts);
    scan.buffer->cursor = out + 2 * count;
    // With one more, if the block has ended before its last coefficient; the limit is far.
    coder.eobRun = static_cast<int32_t>((count > 0 ? 0 : pending) + (taken >> 63 ^ 1));
    return true;
}

/// packPending of up to 64 correction bits and a short run, or of nothing. Writes some bytes after the end.
VELA_INLINE uint8_t* packShortPending(uint8_t* out, uint32_t run, uint32_t number,
                                      const ScanCoderState& coder, uint32_t* counts) {
    out = packShortRun(out, run, counts);
    // The last one becomes bit 0.
    const __m512i fromLast =
        _mm512_sub_epi8(_mm512_set1_epi8(static_cast<char>(number - 1)), load(kIndices));
    const __m512i corrections = _mm512_loadu_si512(coder.correctionBits);
    const __m512i reversed = _mm512_permutexvar_epi8(fromLast, corrections);
    const uint64_t bits = _bzhi_u64(_mm512_test_epi8_mask(reversed, reversed), number);
    const uint32_t bytes = (number + 7) / 8;
    const uint64_t stored = __builtin_bswap64(bits << (64 - 8 * bytes) % 64);
    out[0] = PACK_ESC_BITS8;
    out[1] = static_cast<uint8_t>(number);
    __builtin_memcpy(out + 2, &stored, 8);
    return out + (number > 0 ? 2 + bytes : 0);
}

/// packRefine, all new coefficients in one go. False, with nothing done, if one of them comes after a zero
/// run that takes a ZRL or after more than 16 correction bits, or much is pending. Writes up to 64 bytes
/// after the records.
///
/// With a position for each new coefficient, from what stands before it:
///
///     number of non-zero coefficients, less that of new ones     = correction bits so far
///     index - 1, less the number of non-zero coefficients        = zeros so far
///
/// and each of these, less that of the new coefficient before, is its own.
inline bool packRefineAtOnce(__m512i values, uint64_t negative, const CoefficientMasks& masks,
                             const AcScan& scan) {
    const __m512i indices = load(kIndices);
    const auto count = static_cast<uint32_t>(__builtin_popcountll(masks.ones));
    const uint64_t present = _bzhi_u64(~uint64_t{0}, count);
    const __m512i ranks =
        _mm512_maskz_compress_epi8(masks.ones, _mm512_maskz_expand_epi8(masks.nonZero, indices));
    const __m512i places = _mm512_maskz_compress_epi8(masks.ones, indices);
    const __m512i bitsSoFar = _mm512_sub_epi8(ranks, indices);
    const __m512i zerosSoFar = _mm512_sub_epi8(_mm512_sub_epi8(places, ranks), _mm512_set1_epi8(1));
    const auto own = [](__m512i soFar) {
        return _mm512_sub_epi8(
            soFar, _mm512_maskz_permutexvar_epi8(~uint64_t{1}, load(kElementBefore), soFar));
    };
    const __m512i runs = own(zerosSoFar);
    const __m512i numbers = own(bitsSoFar);
    const uint64_t beyond = (_mm512_cmpgt_epu8_mask(runs, _mm512_set1_epi8(15)) |
                             _mm512_cmpgt_epu8_mask(numbers, _mm512_set1_epi8(16))) &
                            present;
    ScanCoderState& coder = *scan.coder;
    const auto run = static_cast<uint32_t>(coder.eobRun);
    const auto pending = static_cast<uint32_t>(coder.correctionCount);
    if (__builtin_expect((beyond != 0) | (run > kMaxShortRun) | (pending > 64), false))
        return false;

    const bool any = count > 0;
    uint8_t* out =
        packShortPending(scan.buffer->cursor, any ? run : 0, any ? pending : 0, coder, scan.counts);

    // All correction bits in a word, the last one as bit 0; those of each new coefficient end so many
    // bits above that.
    const uint64_t corrections = masks.nonZero & ~masks.ones;
    const auto all = static_cast<char>(__builtin_popcountll(corrections));
    const __m512i fromLast = _mm512_sub_epi8(_mm512_set1_epi8(all - 1), indices);
    const __m512i lastFirst =
        _mm512_permutexvar_epi8(fromLast, _mm512_maskz_compress_epi8(corrections, values));
    const __m512i word = _mm512_set1_epi64(
        static_cast<int64_t>(_mm512_test_epi8_mask(lastFirst, _mm512_set1_epi8(1))));
    const __m512i ends = _mm512_sub_epi8(_mm512_set1_epi8(all), bitsSoFar);
    __m512i lower =
        _mm512_and_si512(_mm512_multishift_epi64_epi8(ends, word), lookUp(kLowerOnes, numbers));
    __m512i upper = _mm512_and_si512(
        _mm512_multishift_epi64_epi8(_mm512_add_epi8(ends, _mm512_set1_epi8(8)), word),
        lookUp(kUpperOnes, numbers));
    __m512i symbols =
        padded(_mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(runs, _mm512_set1_epi8(15)), 4),
                               _mm512_set1_epi8(1)),
               count);
    __m512i signs = _mm512_maskz_set1_epi8(~_pext_u64(negative, masks.ones), 1);
    __m512i own8 = numbers;

    for (uint32_t left = count;;) {
        const __m128i heads =
            _mm_unpacklo_epi8(_mm512_castsi512_si128(symbols), _mm512_castsi512_si128(signs));
        const __m128i tails =
            _mm_unpacklo_epi8(_mm512_castsi512_si128(own8), _mm512_castsi512_si128(lower));
        const __m512i parts =
            _mm512_inserti32x4(_mm512_inserti32x4(_mm512_castsi128_si512(heads), tails, 1),
                               _mm512_castsi512_si128(upper), 2);
        const __m512i records =
            _mm512_mask_set1_epi8(_mm512_permutexvar_epi8(load(kNewPositions), parts),
                                  0x0404040404040404, static_cast<char>(PACK_ESC_BITS8));
        const uint64_t kept =
            _bzhi_u64(_mm512_cmpgt_epi8_mask(_mm512_permutexvar_epi8(load(kNumberPositions), parts),
                                             _mm512_load_si512(kLeftOutUpTo.of)),
                      8 * (left < 8 ? left : 8));
        _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(kept, records));
        out += __builtin_popcountll(kept);
        countEight(symbols, left, scan.counts);
        if (__builtin_expect(left <= 8, true))
            break;
        left -= 8;
        symbols = withoutEight(symbols);
        signs = withoutEight(signs);
        own8 = withoutEight(own8);
        lower = withoutEight(lower);
        upper = withoutEight(upper);
    }
    scan.buffer->cursor = out;

    const uint32_t before = any ? 0 : pending;
    const uint64_t late = masks.nonZero & ~throughLast(masks.ones);
    _mm512_storeu_si512(
        coder.correctionBits + before,
        _mm512_and_si512(_mm512_maskz_compress_epi8(late, values), _mm512_set1_epi8(1)));
    coder.correctionCount = static_cast<int32_t>(before) + __builtin_popcountll(late);
    coder.eobRun = static_cast<int32_t>((any ? 0 : run) + (masks.ones >> 63 ^ 1));
    return true;
}

/// A block without AC coefficients.
inline void packNothing(const AcScan& first, const AcScan& refine) {
    if (++first.coder->eobRun == kMaxEobRun)
        packFullEobRun(*first.buffer, first.counts, *first.coder);
    if (++refine.coder->eobRun == kMaxEobRun)
        packPending(*refine.buffer, refine.counts, *refine.coder);
}

/// All records of a block.
inline void packBytes(const int16_t* block, const AcScan& first, const AcScan& refine) {
    const __m512i packed = packSaturated16(Scan512::half(block), Scan512::half(block + 32)).raw;
    const __m512i values = _mm512_permutexvar_epi8(load(kPackedPositions), packed);
    const __m512i magnitudes = _mm512_abs_epi8(values);
    constexpr uint64_t ac = ~uint64_t{1};
    const uint64_t large = _mm512_cmpgt_epu8_mask(magnitudes, _mm512_set1_epi8(126)) & ac;
    if (__builtin_expect(large != 0, false)) {
        packMasked<Scan512>(block, first, refine); // some value may have been beyond a byte
        return;
    }

    const CoefficientMasks masks{_mm512_test_epi8_mask(values, values) & ac,
                                 _mm512_cmpeq_epi8_mask(magnitudes, _mm512_set1_epi8(1)) & ac};
    if (masks.nonZero == 0) {
        packNothing(first, refine);
        return;
    }
    const uint64_t negative = _mm512_movepi8_mask(values);
    if (!packFirstAtOnce(magnitudes, negative, masks, first)) {
        ByteOrder order;
        _mm512_store_si512(order.values, values);
        packFirst(order, masks, first);
    }
    if (!packRefineAtOnce(values, negative, masks, refine))
        packSegments({masks.nonZero, masks.ones, _mm512_test_epi8_mask(values, _mm512_set1_epi8(1)),
                      negative},
                     refine);
}

} // namespace
} // namespace vela::VELA_ISA
