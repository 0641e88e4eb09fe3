// The AC packers in 512 bits, for processors with VBMI2: a block's coefficients as bytes, and all records
// of its first scan at once.
#pragma once

#include <immintrin.h>

#include <bit>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "progressive/ac_packers/masked.h"
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

///     x0 x1 .. x63      to   x63 x62 .. x0
constexpr Bytes kReversed = makeTable<uint8_t, 64>([](int32_t i) { return 63 - i; });

///     x0 x1 .., y0 y1 ..   to   x0 y0 x1 y1 ..   y being the second of two tables of 64
constexpr Bytes kInTurns = makeTable<uint8_t, 64>([](int32_t i) { return i / 2 + i % 2 * 64; });

/// Of a magnitude: its significant bits, and as many ones.
constexpr Bytes kSizes = makeTable<uint8_t, 64>(
    [](int32_t magnitude) { return std::bit_width(static_cast<uint32_t>(magnitude)); });
constexpr Bytes kLowBits = makeTable<uint8_t, 64>(
    [](int32_t magnitude) { return (1 << std::bit_width(static_cast<uint32_t>(magnitude))) - 1; });

/// Coefficients in zigzag order, those beyond -128..127 brought there.
struct ByteOrder {
    alignas(64) int8_t values[64];
    int32_t operator()(int32_t k) const { return values[k]; }
};

/// packFirst, all coefficients in one go. False, with nothing done, if there is none or a zero run
/// that takes a ZRL. Magnitudes are below 128. Writes up to 64 bytes after the records.
inline bool packFirstAtOnce(__m512i magnitudes, uint64_t negative, const CoefficientMasks& masks,
                            const AcScan& scan) {
    const uint64_t taken = masks.nonZero & ~masks.ones;
    const int32_t count = __builtin_popcountll(taken);
    const __m512i indices = _mm512_maskz_compress_epi8(taken, load(kIndices));
    const __m512i before =
        _mm512_maskz_permutexvar_epi8(~uint64_t{1}, load(kElementBefore), indices);
    const __m512i runs = _mm512_sub_epi8(_mm512_sub_epi8(indices, before), _mm512_set1_epi8(1));
    const uint64_t longRuns = _mm512_cmpgt_epu8_mask(runs, _mm512_set1_epi8(15));
    if (count == 0 || _bzhi_u64(longRuns, static_cast<uint32_t>(count)) != 0)
        return false;

    if (scan.coder->eobRun > 0)
        packEobRun(*scan.buffer, scan.counts, *scan.coder);
    const __m512i halved = _mm512_maskz_compress_epi8(
        taken, _mm512_and_si512(_mm512_srli_epi16(magnitudes, 1), _mm512_set1_epi8(63)));
    const __m512i sizes = lookUp(kSizes, halved);
    const __m512i symbols = _mm512_or_si512(_mm512_slli_epi16(runs, 4), sizes);
    // Of a negative value its magnitude's complement
    const uint64_t complemented = _pext_u64(negative, taken);
    const __m512i bits =
        _mm512_mask_sub_epi8(halved, complemented, lookUp(kLowBits, halved), halved);

    uint8_t* const out = scan.buffer->cursor;
    const __m512i turns = load(kInTurns);
    _mm512_storeu_si512(out, _mm512_permutex2var_epi8(symbols, turns, bits));
    if (count > 32) {
        const __m512i later = _mm512_add_epi8(turns, _mm512_set1_epi8(32));
        _mm512_storeu_si512(out + 64, _mm512_permutex2var_epi8(symbols, later, bits));
    }
    for (int32_t i = 0; i < count; i++)
        scan.counts[out[2 * i]]++;
    scan.buffer->cursor = out + 2 * count;
    if (taken >> 63 == 0)
        scan.coder->eobRun = 1; // the first of a run: what was pending has just been written
    return true;
}

/// Masks whose highest bit stands for zigzag index 0, so that bits extracted from them keep the order in
/// which they are coded.
struct RefinementMasks {
    uint64_t nonZero;
    uint64_t ones;
    uint64_t odd;
    uint64_t negative;
};

/// Adds what stands before a new coefficient, in a segment with more than 15 zeros: sixteen of them
/// before a non-zero coefficient take a ZRL, after which the correction bits so far are written. Leaves
/// the rest in own, and returns the run.
inline int32_t packLongSegment(uint64_t segment, uint64_t corrections, uint64_t odd,
                               OwnCorrections& own, uint8_t*& out, uint32_t* counts) {
    int32_t run = 0;
    const auto addZeros = [&](uint64_t zeros) {
        for (run += __builtin_popcountll(zeros); run > 15; run -= 16) {
            packSymbol(out, counts, kSymbolZrl);
            own.pack(out);
        }
    };
    while (corrections != 0) {
        const uint64_t bit = ~(~uint64_t{0} >> 1) >> __builtin_clzll(corrections);
        addZeros(segment & ~(bit | (bit - 1)));
        own.bits = (own.bits << 1) | ((odd & bit) != 0 ? 1 : 0);
        own.count++;
        segment &= bit - 1;
        corrections &= bit - 1;
    }
    addZeros(segment);
    return run;
}

/// packRefine, segment by segment between new coefficients. bits: the lowest bit of each coefficient.
inline void packSegments(const RefinementMasks& masks, uint64_t nonZero, __m512i bits,
                         const AcScan& scan) {
    ScanCoderState& coder = *scan.coder;
    if (masks.ones != 0 && coder.eobRun > 0)
        packPending(*scan.buffer, scan.counts, coder);

    uint8_t* out = scan.buffer->cursor;
    uint64_t ahead = ~uint64_t{0} >> 1;
    for (uint64_t ones = masks.ones; ones != 0; ones &= ahead) {
        const uint64_t bit = ~(~uint64_t{0} >> 1) >> __builtin_clzll(ones);
        const uint64_t segment = ahead & ~(bit | (bit - 1));
        const uint64_t corrections = masks.nonZero & segment;
        ahead = bit - 1;
        OwnCorrections own{_pext_u64(masks.odd, corrections), __builtin_popcountll(corrections)};
        int32_t run = __builtin_popcountll(segment) - own.count;
        if (__builtin_expect(run > 15, false)) {
            own = {};
            run = packLongSegment(segment, corrections, masks.odd, own, out, scan.counts);
        }
        packSymbol(out, scan.counts, static_cast<uint32_t>(16 * run + 1));
        packByte(out, (masks.negative & bit) != 0 ? 0 : 1);
        own.pack(out);
    }
    scan.buffer->cursor = out;
    if (ahead == 0)
        return;

    const int32_t next = 64 - __builtin_popcountll(ahead);
    const uint64_t late = nonZero & (~uint64_t{0} << next);
    const int32_t lateCount = __builtin_popcountll(late);
    _mm512_mask_storeu_epi8(coder.correctionBits + coder.correctionCount,
                            _bzhi_u64(~uint64_t{0}, static_cast<uint32_t>(lateCount)),
                            _mm512_maskz_compress_epi8(late, bits));
    coder.correctionCount += lateCount;
    coder.eobRun++;
    if (coder.correctionCount > kMaxPendingCorrections || coder.eobRun >= kMaxEobRun)
        packPending(*scan.buffer, scan.counts, coder);
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

    const uint64_t nonZero = _mm512_test_epi8_mask(values, values) & ac;
    const CoefficientMasks masks{nonZero,
                                 _mm512_cmpeq_epi8_mask(magnitudes, _mm512_set1_epi8(1)) & ac};
    if (!packFirstAtOnce(magnitudes, _mm512_movepi8_mask(values), masks, first)) {
        ByteOrder order;
        _mm512_store_si512(order.values, values);
        packFirst(order, masks, first);
    }

    constexpr uint64_t reversedAc = ~uint64_t{0} >> 1;
    const __m512i one = _mm512_set1_epi8(1);
    const __m512i reversed = _mm512_permutexvar_epi8(load(kReversed), values);
    const RefinementMasks refinement{
        _mm512_test_epi8_mask(reversed, reversed) & reversedAc,
        _mm512_cmpeq_epi8_mask(_mm512_abs_epi8(reversed), one) & reversedAc,
        _mm512_test_epi8_mask(reversed, one), _mm512_movepi8_mask(reversed)};
    packSegments(refinement, nonZero, _mm512_and_si512(values, one), refine);
}

} // namespace
} // namespace vela::VELA_ISA
