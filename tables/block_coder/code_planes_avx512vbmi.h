// Code tables as byte permutes look them up, for processors with VBMI.
#pragma once

#include <immintrin.h>

#include "cpu/isa.h"
#include "cpu/vectors_x86.h"
#include "state/encoder_state.h"
#include "tables/block_coder/records_avx512vbmi.h"

namespace vela::VELA_ISA {
namespace {

// What a record becomes:
//
//     31     27 26                                0
//     length    code, then room for the magnitude bits
constexpr int32_t kWordBits = 27;
constexpr int32_t kWordMask = (1 << kWordBits) - 1;

/// The words of both pairs of tables, byte by byte: three registers hold a byte of all places of a pair.
constexpr int32_t kPlaces = 192;
constexpr int32_t kNoPlace = kPlaces - 1; // nothing, of length 0; no DC difference has 15 bits
static_assert(2 * 4 * kPlaces <= sizeof(PreparedCodes));

/// Byte p of the words of pair t.
template <class Codes>
VELA_INLINE auto* planeOf(Codes& codes, int32_t t, int32_t p) {
    return codes.memory + (4 * t + p) * kPlaces;
}

/// The words of sixteen entries, of symbols whose sizes are 0..15.
VELA_INLINE __m512i wordsOf(const uint32_t* entries) {
    const __m512i sizes = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m512i entry = _mm512_loadu_si512(entries);
    const __m512i length = _mm512_add_epi32(_mm512_srli_epi32(entry, 16), sizes);
    const __m512i code =
        _mm512_sllv_epi32(_mm512_and_si512(entry, _mm512_set1_epi32(0xFFFF)), sizes);
    return _mm512_or_si512(_mm512_and_si512(code, _mm512_set1_epi32(kWordMask)),
                           _mm512_slli_epi32(length, kWordBits));
}

inline void preparePlanes(const BlockSpec& blocks, PreparedCodes& codes) {
    const int32_t last = blocks.blockCount - 1;
    for (int32_t t = 0; t < 2; t++) {
        const uint32_t* const ac = blocks.blockAcTable[t * last]->entry;
        const uint32_t* const dc = blocks.blockDcTable[t * last]->entry;
        const auto put = [&](__m512i words, int32_t place) {
            for (int32_t p = 0; p < 4; p++, words = _mm512_srli_epi32(words, 8))
                _mm_storeu_si128(reinterpret_cast<__m128i*>(planeOf(codes, t, p) + place),
                                 _mm512_cvtepi32_epi8(words));
        };
        for (int32_t run = 0; run < 16;
             run++) // those of larger sizes than there are: of the next run
            put(wordsOf(ac + 16 * run), kSizes * run);
        put(wordsOf(dc), kDcPlaces);
        for (int32_t p = 0; p < 4; p++)
            planeOf(codes, t, p)[kNoPlace] = 0;
    }
}

/// The words of 64 records: 16 of them in each vector, 4 in each of its lanes, lane by lane those of 16 records.
///
///     lane 0 of entries[0]   | 0 | 1 | 2 | 3 |     of entries[1]   | 4 | 5 | 6 | 7 |   ..
///     lane 1                 | 16 | 17 ..
///
/// Their lengths are bytes in order. What comes after the last record is nothing, of length 0.
struct CodeWords {
    V512 entries[4];
    V512 lengths;
};

VELA_INLINE CodeWords codeWordsOf(const Records& records, int32_t from, int32_t left,
                                  const PreparedCodes& codes) {
    const uint64_t lanes = _bzhi_u64(~uint64_t{0}, static_cast<uint32_t>(left));
    const __m512i places = _mm512_mask_loadu_epi8(_mm512_set1_epi8(static_cast<char>(kNoPlace)),
                                                  lanes, records.places + from);
    const __m512i rest = _mm512_maskz_loadu_epi8(lanes, records.rest + from);
    const __m512i bits = _mm512_maskz_loadu_epi8(lanes, records.bits + from);
    const __mmask64 upper = _mm512_movepi8_mask(places); // places from 128 on
    const __mmask64 other = _mm512_movepi8_mask(rest);

    const auto lookUp = [&](int32_t p) {
        const uint8_t* const one = planeOf(codes, 0, p);
        const uint8_t* const two = planeOf(codes, 1, p);
        const __m512i lower =
            _mm512_permutex2var_epi8(_mm512_load_si512(one), places, _mm512_load_si512(one + 64));
        const __m512i lowerOfTwo =
            _mm512_permutex2var_epi8(_mm512_load_si512(two), places, _mm512_load_si512(two + 64));
        __m512i found = _mm512_mask_mov_epi8(lower, other, lowerOfTwo);
        found = _mm512_mask_permutexvar_epi8(found, upper & ~other, places,
                                             _mm512_load_si512(one + 128));
        return _mm512_mask_permutexvar_epi8(found, upper & other, places,
                                            _mm512_load_si512(two + 128));
    };
    // 0x07: the rest without the table's number
    const __m512i high = _mm512_and_si512(rest, _mm512_set1_epi8(7));
    const __m512i plane0 = _mm512_or_si512(lookUp(0), bits);
    const __m512i plane1 = _mm512_or_si512(lookUp(1), high);
    const __m512i plane2 = lookUp(2);
    const __m512i plane3 = lookUp(3);

    const __m512i low01 = _mm512_unpacklo_epi8(plane0, plane1);
    const __m512i high01 = _mm512_unpackhi_epi8(plane0, plane1);
    const __m512i low23 = _mm512_unpacklo_epi8(plane2, plane3);
    const __m512i high23 = _mm512_unpackhi_epi8(plane2, plane3);
    return {{{_mm512_unpacklo_epi16(low01, low23)},
             {_mm512_unpackhi_epi16(low01, low23)},
             {_mm512_unpacklo_epi16(high01, high23)},
             {_mm512_unpackhi_epi16(high01, high23)}},
            {_mm512_and_si512(_mm512_srli_epi16(plane3, kWordBits - 24), _mm512_set1_epi8(31))}};
}

} // namespace
} // namespace vela::VELA_ISA
