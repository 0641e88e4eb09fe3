// What is to be coded of some MCUs, as records of bytes, for processors with VBMI2: the first step of
// lookup_coder_avx512vbmi.h.
#pragma once

#include <immintrin.h>

#include <bit>

#include "cpu/table.h"
#include "state/encoder_state.h"
#include "tables/block_coder/record_positions.h"
#include "tables/block_coder/zigzag_x86.h"

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kGroupBlocks = kMaxBatchBlocks;
constexpr int32_t kMaxRecords = kGroupBlocks * kBlockSamples;

// A record's place in the table of its pair: AC symbols by run and size, then DC categories.
constexpr int32_t kSizes = 11; // 0..10
constexpr int32_t kDcPlaces = 16 * kSizes;

/// Of rest: which pair of tables. Below it, bits 2..0: the magnitude bits 10..8.
constexpr uint8_t kOtherTables = 0x80;

/// What is to be coded, in order.
struct Records {
    uint8_t places[kMaxRecords + 64];
    uint8_t bits[kMaxRecords + 64]; // magnitude bits 7..0 (T.81 F.1.2.1)
    uint8_t rest[kMaxRecords + 64];
};

/// From the bytes of two vectors of words, packed lane by lane, to zigzag order.
constexpr auto kPackedZigzag = makeTable<uint8_t, 64>([](int32_t k) {
    const int32_t position = kTransposedZigzag[static_cast<size_t>(k)];
    return position % 32 / 8 * 16 + position / 32 * 8 + position % 8;
});

/// From the low bytes of words in zigzag order (of two vectors) to bytes; the high ones are one further.
constexpr auto kEvenBytes = makeTable<uint8_t, 64>([](int32_t k) { return 2 * k; });

/// How many bits a byte below 128 has, and a mask of so many.
constexpr auto kSizeOf =
    makeTable<uint8_t, 128>([](int32_t x) { return std::bit_width(static_cast<uint32_t>(x)); });
constexpr auto kMaskOf = makeTable<uint8_t, 128>(
    [](int32_t x) { return (1 << std::bit_width(static_cast<uint32_t>(x))) - 1; });

/// A zigzag index's part of the place, without its size, modulo 256; and what is taken off for the record
/// before, whose place is one run further.
constexpr auto kIndexPlace = makeTable<uint8_t, 64>([](int32_t k) { return kSizes * k; });
constexpr auto kPlaceBefore = makeTable<uint8_t, 64>([](int32_t k) { return kSizes * (k + 1); });

///     x0 x1 x2 .. x63   to   x0 x0 x1 .. x62: the element before each
constexpr auto kElementBefore =
    makeTable<uint8_t, 64>([](int32_t i) { return i == 0 ? 0 : i - 1; });

VELA_INLINE __m512i lookUp128(const Table<uint8_t, 128>& table, __m512i bytes) {
    return _mm512_permutex2var_epi8(_mm512_loadu_si512(table.of), bytes,
                                    _mm512_loadu_si512(table.of + 64));
}

/// A block's coefficients in zigzag order: their magnitude bits and sizes.
struct Magnitudes {
    __m512i bits;  // 7..0
    __m512i sizes; // modulo 256 for DC
    uint64_t nonZero;
};

/// Those of a block that has coefficients of more than 7 bits; their bits from 8 on as well.
[[gnu::noinline]] inline Magnitudes wideMagnitudes(const int16_t* block, __m512i& highBits) {
    const auto [first, second] = Scan512::ordered(block);
    const __m512i even = _mm512_load_si512(kEvenBytes.of);
    const __m512i odd = _mm512_add_epi8(even, _mm512_set1_epi8(1));
    const __m512i firstAbsolute = _mm512_abs_epi16(first.raw);
    const __m512i secondAbsolute = _mm512_abs_epi16(second.raw);
    const __m512i low = _mm512_permutex2var_epi8(firstAbsolute, even, secondAbsolute);
    const __m512i high = _mm512_permutex2var_epi8(firstAbsolute, odd, secondAbsolute);
    const __mmask64 negative =
        _mm512_movepi8_mask(_mm512_permutex2var_epi8(first.raw, odd, second.raw));

    const __mmask64 hasHigh = _mm512_test_epi8_mask(high, high);
    const __mmask64 eightBits = _mm512_movepi8_mask(low) | hasHigh;
    __m512i sizes = _mm512_mask_mov_epi8(lookUp128(kSizeOf, low), eightBits, _mm512_set1_epi8(8));
    sizes = _mm512_add_epi8(sizes, lookUp128(kSizeOf, high));
    const __m512i lowMask =
        _mm512_mask_mov_epi8(lookUp128(kMaskOf, low), eightBits, _mm512_set1_epi8(-1));
    highBits = _mm512_xor_si512(high, _mm512_maskz_mov_epi8(negative, lookUp128(kMaskOf, high)));
    return {_mm512_xor_si512(low, _mm512_maskz_mov_epi8(negative, lowMask)), sizes,
            Scan512::nonZeroBits({first, second})};
}

/// Adds a block's records after count others. Returns how many there are. Elements with a bit in `taken` move
/// down next to each other, for example with bits 0, 1, 4 and 6:
///
///     indices   0  1  2  3  4  5  6 ..   to   0  1  4  6
///     before                                  0  0  1  4
///     runs, indices - before - 1              -  0  2  1
VELA_INLINE int32_t addBlock(Records& records, int32_t count, const int16_t* block,
                             int32_t predictor, uint8_t tables) {
    const __m512i packed =
        _mm512_packs_epi16(_mm512_loadu_si512(block), _mm512_loadu_si512(block + 32));
    const __m512i values = _mm512_permutexvar_epi8(_mm512_load_si512(kPackedZigzag.of), packed);
    const __m512i absolute = _mm512_abs_epi8(values);
    const __m512i mask =
        _mm512_maskz_mov_epi8(_mm512_movepi8_mask(values), lookUp128(kMaskOf, absolute));
    Magnitudes magnitudes{_mm512_xor_si512(absolute, mask), lookUp128(kSizeOf, absolute),
                          _mm512_test_epi8_mask(values, values) & ~uint64_t{1}};
    __m512i rest = _mm512_set1_epi8(static_cast<char>(tables));
    const bool wide = (_mm512_cmpgt_epu8_mask(absolute, _mm512_set1_epi8(126)) & ~uint64_t{1}) != 0;
    __m512i highBits;
    if (__builtin_expect(wide, false))
        magnitudes = wideMagnitudes(block, highBits);
    const uint64_t taken = recordPositions(magnitudes.nonZero);
    if (__builtin_expect(wide, false))
        rest = _mm512_or_si512(rest, _mm512_maskz_compress_epi8(taken, highBits));

    const __m512i places = _mm512_add_epi8(_mm512_load_si512(kIndexPlace.of), magnitudes.sizes);
    const __m512i before = _mm512_permutexvar_epi8(
        _mm512_load_si512(kElementBefore.of),
        _mm512_maskz_compress_epi8(taken, _mm512_load_si512(kPlaceBefore.of)));
    _mm512_storeu_si512(records.places + count,
                        _mm512_sub_epi8(_mm512_maskz_compress_epi8(taken, places), before));
    _mm512_storeu_si512(records.bits + count, _mm512_maskz_compress_epi8(taken, magnitudes.bits));
    _mm512_storeu_si512(records.rest + count, rest);

    // DC's difference may have 11 bits.
    const int32_t difference = block[0] - predictor;
    const auto size =
        32 - _lzcnt_u32(static_cast<uint32_t>(difference < 0 ? -difference : difference));
    const uint32_t bits = _bzhi_u32(static_cast<uint32_t>(difference + (difference >> 31)), size);
    records.places[count] = static_cast<uint8_t>(kDcPlaces + static_cast<int32_t>(size));
    records.bits[count] = static_cast<uint8_t>(bits);
    records.rest[count] = static_cast<uint8_t>(tables | bits >> 8);
    return count + __builtin_popcountll(taken);
}

} // namespace
} // namespace vela::VELA_ISA
