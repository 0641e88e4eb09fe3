// The AC packers for processors with BMI2: the refinement segment by segment between new coefficients,
// without a branch on whether a segment has correction bits or on what is pending.
#pragma once

#include "progressive/ac_packers/masked.h"

#ifdef __BMI2__

#include <immintrin.h>

namespace vela::VELA_ISA {
namespace {

/// A bit per zigzag index of the AC coefficients, as in CoefficientMasks.
struct RefinementMasks {
    uint64_t nonZero;
    uint64_t ones;
    uint64_t odd; // that of DC is anything, here and below
    uint64_t negative;
};

constexpr uint64_t kAcBits = ~uint64_t{1};

#ifdef __AVX512BW__

/// False where the masks cannot be told from what the scan looks at.
VELA_INLINE bool refinementMasks(const int16_t* block, Scan512::Order& order,
                                 RefinementMasks& masks) {
    const auto [first, second] = Scan512::ordered(block, order);
    const V512 one = V512::set16(1);
    const auto bits = [](auto low, auto high) {
        return uint64_t{low} | static_cast<uint64_t>(high) << 32;
    };
    masks = {bits(nonZeroBits16(first), nonZeroBits16(second)) & kAcBits,
             bits(equalBits16(absolute16(first), one), equalBits16(absolute16(second), one)) &
                 kAcBits,
             bits(_mm512_test_epi16_mask(first.raw, one.raw),
                  _mm512_test_epi16_mask(second.raw, one.raw)),
             bits(_mm512_movepi16_mask(first.raw), _mm512_movepi16_mask(second.raw))};
    return true;
}

#endif

/// As above; of bytes, which a coefficient beyond -126..126 may have been brought to.
VELA_INLINE bool refinementMasks(const int16_t* block, ByteScan::Order& order,
                                 RefinementMasks& masks) {
    order.block = block;
    ByteScan::Bytes bytes, lowest, magnitudes, large;
    if (!ByteScan::orderedBytes(block, bytes)) {
        masks = {};
        return true;
    }
    masks.nonZero = ~ByteScan::equalBits(bytes, 0) & kAcBits;
    masks.negative = ByteScan::signBits(bytes);
    for (int32_t i = 0; i < ByteScan::kVectors; i++) {
        lowest[i] = shiftLeft16<7>(bytes[i]);
        magnitudes[i] = absolute8(bytes[i]);
        large[i] = addSaturated8(magnitudes[i], ByteVector::set8(1)); // from 127 on bit 7
    }
    masks.odd = ByteScan::signBits(lowest);
    masks.ones = ByteScan::equalBits(magnitudes, 1) & kAcBits;
    return (ByteScan::signBits(large) & kAcBits) == 0;
}

VELA_INLINE uint64_t reversedBits(uint64_t bits) {
    const auto swap = [&](int32_t by, uint64_t lower) {
        bits = (bits >> by & lower) | (bits & lower) << by;
    };
    bits = __builtin_bswap64(bits);
    swap(4, 0x0F0F0F0F0F0F0F0F);
    swap(2, 0x3333333333333333);
    swap(1, 0x5555555555555555);
    return bits;
}

/// The value where there is any of what number counts, else 0: compilers make branches of a condition.
VELA_INLINE uint32_t ifAny(uint32_t number, uint32_t value) {
    return value & static_cast<uint32_t>(-static_cast<int32_t>(number) >> 31);
}

/// A record of number (0..64) correction bits, the first of which is bit 63; none is written of none. Ten
/// bytes are stored.
VELA_INLINE uint8_t* packOwn(uint8_t* out, uint64_t bits, uint32_t number) {
    const uint32_t bytes = (number + 7) / 8;
    const uint64_t stored = __builtin_bswap64(bits >> (64 - number) % 64 << (64 - 8 * bytes) % 64);
    out[0] = PACK_ESC_BITS8;
    out[1] = static_cast<uint8_t>(number);
    __builtin_memcpy(out + 2, &stored, sizeof stored);
    return out + ifAny(number, 2 + bytes);
}

constexpr uint32_t kMaxShortRun = 511; // has one byte of bits at the most

/// packEobRun of a run of up to kMaxShortRun, or of none. Two bytes are stored.
VELA_INLINE uint8_t* packShortRun(uint8_t* out, uint32_t run, uint32_t* counts) {
    const uint32_t runClass = 31 - _lzcnt_u32(run | 1);
    const uint32_t any = run > 0;
    out[0] = static_cast<uint8_t>(runClass << 4);
    out[1] = static_cast<uint8_t>(run - (1u << runClass));
    counts[runClass << 4] += any;
    return out + any + (run > 1);
}

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
    for (; corrections != 0; corrections &= corrections - 1) {
        const uint64_t bit = _blsi_u64(corrections);
        addZeros(segment & (bit - 1));
        own.bits = (own.bits << 1) | ((odd & bit) != 0 ? 1 : 0);
        own.count++;
        segment &= ~(bit | (bit - 1));
    }
    addZeros(segment);
    return run;
}

/// Bytes 0 or 1 of the bits, from the lowest on.
VELA_INLINE void storeBits(uint64_t bits, uint8_t* out) {
    const __m256i selected = _mm256_set1_epi64x(static_cast<int64_t>(0x8040201008040201));
    const __m256i bytes =
        _mm256_setr_epi64x(0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303);
    for (int32_t half = 0; half < 2; half++, bits >>= 32) {
        const __m256i copies = _mm256_set1_epi32(static_cast<int32_t>(bits));
        const __m256i found = _mm256_and_si256(_mm256_shuffle_epi8(copies, bytes), selected);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * half),
                            _mm256_min_epu8(found, _mm256_set1_epi8(1)));
    }
}

/// Of bytes 0 or 1, the first one's becomes the highest.
VELA_INLINE uint64_t loadBits(const uint8_t* bytes) {
    uint64_t bits = 0;
    for (int32_t half = 0; half < 2; half++) {
        const __m256i some =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + 32 * half));
        const auto top = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_slli_epi16(some, 7)));
        bits |= uint64_t{top} << (32 * half);
    }
    return reversedBits(bits);
}

/// packPending, mostly of a short run and up to 64 correction bits.
VELA_INLINE void packPendingBefore(const AcScan& scan) {
    ScanCoderState& coder = *scan.coder;
    const auto run = static_cast<uint32_t>(coder.eobRun);
    const auto number = static_cast<uint32_t>(coder.correctionCount);
    if (__builtin_expect((run > kMaxShortRun) | (number > 64), false)) {
        packPending(*scan.buffer, scan.counts, coder);
        return;
    }
    uint8_t* const out = packShortRun(scan.buffer->cursor, run, scan.counts);
    scan.buffer->cursor = packOwn(out, loadBits(coder.correctionBits), number);
    coder.eobRun = 0;
    coder.correctionCount = 0;
}

/// packRefine.
inline void packSegments(const RefinementMasks& masks, const AcScan& scan) {
    ScanCoderState& coder = *scan.coder;
    if (masks.ones != 0)
        packPendingBefore(scan);

    uint8_t* out = scan.buffer->cursor;
    uint64_t bits = reversedBits(_pext_u64(masks.odd, masks.nonZero & ~masks.ones));
    uint64_t ahead = kAcBits;
    for (uint64_t ones = masks.ones; ones != 0; ones &= ones - 1) {
        const uint64_t bit = _blsi_u64(ones);
        const uint64_t segment = ahead & (bit - 1);
        const uint64_t corrections = masks.nonZero & segment;
        ahead &= ~(bit | (bit - 1));
        const int32_t number = __builtin_popcountll(corrections);
        int32_t run = __builtin_popcountll(segment) - number;
        const uint32_t sign = (masks.negative & bit) != 0 ? 0 : 1;
        if (__builtin_expect(run > 15, false)) {
            OwnCorrections own;
            run = packLongSegment(segment, corrections, masks.odd, own, out, scan.counts);
            packSymbol(out, scan.counts, static_cast<uint32_t>(16 * run + 1));
            packByte(out, sign);
            own.pack(out);
        } else {
            packSymbol(out, scan.counts, static_cast<uint32_t>(16 * run + 1));
            packByte(out, sign);
            out = packOwn(out, bits, static_cast<uint32_t>(number));
        }
        bits <<= number;
    }
    scan.buffer->cursor = out;
    if (ahead == 0)
        return;

    const uint64_t late = masks.nonZero & ahead;
    const uint64_t lateBits = _pext_u64(masks.odd, late);
    uint8_t* const to = coder.correctionBits + coder.correctionCount;
    const int32_t lateCount = __builtin_popcountll(late);
    if (__builtin_expect(coder.correctionCount + 64 <= int32_t{sizeof coder.correctionBits}, true))
        storeBits(lateBits, to);
    else
        for (int32_t i = 0; i < lateCount; i++)
            to[i] = static_cast<uint8_t>(lateBits >> i & 1);
    coder.correctionCount += lateCount;
    coder.eobRun++;
    if (coder.correctionCount > kMaxPendingCorrections || coder.eobRun >= kMaxEobRun)
        packPending(*scan.buffer, scan.counts, coder);
}

template <class Scan>
void packBySegments(const int16_t* block, const AcScan& first, const AcScan& refine) {
    typename Scan::Order order;
    RefinementMasks masks;
    if (__builtin_expect(!refinementMasks(block, order, masks), false)) {
        packMasked<Scan>(block, first, refine);
        return;
    }
    packFirst(order, {masks.nonZero, masks.ones}, first);
    packSegments(masks, refine);
}

} // namespace
} // namespace vela::VELA_ISA

#endif
