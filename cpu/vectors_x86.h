// Vectors of 128, 256 and 512 bits on x86: the same operations by the same names at every width, so that
// a kernel is written once for all of them. Numbers in names are the bits of an element; a lane is 128
// bits. Functions are found by their arguments, as friends.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// What all widths have. prefix and suffix: of the intrinsics' names.
#define VELA_VECTOR_OPERATIONS(V, prefix, suffix)                                     \
    VELA_INLINE static V zero() {                                                     \
        return {prefix##_setzero_##suffix()};                                         \
    }                                                                                 \
    VELA_INLINE static V set8(int32_t x) {                                            \
        return {prefix##_set1_epi8(static_cast<int8_t>(x))};                          \
    }                                                                                 \
    VELA_INLINE static V set16(int32_t x) {                                           \
        return {prefix##_set1_epi16(static_cast<int16_t>(x))};                        \
    }                                                                                 \
    VELA_INLINE static V set32(int32_t x) {                                           \
        return {prefix##_set1_epi32(x)};                                              \
    }                                                                                 \
    VELA_INLINE friend V operator&(V a, V b) {                                        \
        return {prefix##_and_##suffix(a.raw, b.raw)};                                 \
    }                                                                                 \
    VELA_INLINE friend V operator|(V a, V b) {                                        \
        return {prefix##_or_##suffix(a.raw, b.raw)};                                  \
    }                                                                                 \
    VELA_INLINE friend V andNot(V a, V b) {                                           \
        return {prefix##_andnot_##suffix(b.raw, a.raw)};                              \
    }                                                                                 \
    VELA_INLINE friend V absolute8(V a) {                                             \
        return {prefix##_abs_epi8(a.raw)};                                            \
    }                                                                                 \
    VELA_INLINE friend V add8(V a, V b) {                                             \
        return {prefix##_add_epi8(a.raw, b.raw)};                                     \
    }                                                                                 \
    /* of unsigned bytes; 255 at the most */                                          \
    VELA_INLINE friend V addSaturated8(V a, V b) {                                    \
        return {prefix##_adds_epu8(a.raw, b.raw)};                                    \
    }                                                                                 \
    VELA_INLINE friend V maxUnsigned8(V a, V b) {                                     \
        return {prefix##_max_epu8(a.raw, b.raw)};                                     \
    }                                                                                 \
    VELA_INLINE friend V add16(V a, V b) {                                            \
        return {prefix##_add_epi16(a.raw, b.raw)};                                    \
    }                                                                                 \
    VELA_INLINE friend V sub16(V a, V b) {                                            \
        return {prefix##_sub_epi16(a.raw, b.raw)};                                    \
    }                                                                                 \
    VELA_INLINE friend V multiplyLow16(V a, V b) {                                    \
        return {prefix##_mullo_epi16(a.raw, b.raw)};                                  \
    }                                                                                 \
    VELA_INLINE friend V multiplyHigh16(V a, V b) {                                   \
        return {prefix##_mulhi_epi16(a.raw, b.raw)};                                  \
    }                                                                                 \
    /* (a * b / 2^14 + 1) / 2, both rounded down */                                   \
    VELA_INLINE friend V multiplyRounded16(V a, V b) {                                \
        return {prefix##_mulhrs_epi16(a.raw, b.raw)};                                 \
    }                                                                                 \
    VELA_INLINE friend V absolute16(V a) {                                            \
        return {prefix##_abs_epi16(a.raw)};                                           \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftLeft16(V a) {                                           \
        return {prefix##_slli_epi16(a.raw, n)};                                       \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftRight16(V a) {                                          \
        return {prefix##_srli_epi16(a.raw, n)};                                       \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftRightSigned16(V a) {                                    \
        return {prefix##_srai_epi16(a.raw, n)};                                       \
    }                                                                                 \
    /* products of 16-bit elements, added by neighbours to 32-bit ones */             \
    VELA_INLINE friend V multiplyAddPairs(V a, V b) {                                 \
        return {prefix##_madd_epi16(a.raw, b.raw)};                                   \
    }                                                                                 \
    /* of bytes, those of a unsigned, those of b signed; saturated to 16 bits */      \
    VELA_INLINE friend V multiplyAddPairs8(V a, V b) {                                \
        return {prefix##_maddubs_epi16(a.raw, b.raw)};                                \
    }                                                                                 \
    VELA_INLINE friend V add32(V a, V b) {                                            \
        return {prefix##_add_epi32(a.raw, b.raw)};                                    \
    }                                                                                 \
    VELA_INLINE friend V sub32(V a, V b) {                                            \
        return {prefix##_sub_epi32(a.raw, b.raw)};                                    \
    }                                                                                 \
    VELA_INLINE friend V absolute32(V a) {                                            \
        return {prefix##_abs_epi32(a.raw)};                                           \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftLeft32(V a) {                                           \
        return {prefix##_slli_epi32(a.raw, n)};                                       \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftRight32(V a) {                                          \
        return {prefix##_srli_epi32(a.raw, n)};                                       \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftRightSigned32(V a) {                                    \
        return {prefix##_srai_epi32(a.raw, n)};                                       \
    }                                                                                 \
    template <int n>                                                                  \
    VELA_INLINE friend V shiftRight64(V a) {                                          \
        return {prefix##_srli_epi64(a.raw, n)};                                       \
    }                                                                                 \
    /* of each lane, the lower or upper halves of a and b in turns: a0 b0 a1 b1 .. */ \
    VELA_INLINE friend V unpackLow8(V a, V b) {                                       \
        return {prefix##_unpacklo_epi8(a.raw, b.raw)};                                \
    }                                                                                 \
    VELA_INLINE friend V unpackHigh8(V a, V b) {                                      \
        return {prefix##_unpackhi_epi8(a.raw, b.raw)};                                \
    }                                                                                 \
    VELA_INLINE friend V unpackLow16(V a, V b) {                                      \
        return {prefix##_unpacklo_epi16(a.raw, b.raw)};                               \
    }                                                                                 \
    VELA_INLINE friend V unpackHigh16(V a, V b) {                                     \
        return {prefix##_unpackhi_epi16(a.raw, b.raw)};                               \
    }                                                                                 \
    VELA_INLINE friend V unpackLow32(V a, V b) {                                      \
        return {prefix##_unpacklo_epi32(a.raw, b.raw)};                               \
    }                                                                                 \
    VELA_INLINE friend V unpackHigh32(V a, V b) {                                     \
        return {prefix##_unpackhi_epi32(a.raw, b.raw)};                               \
    }                                                                                 \
    VELA_INLINE friend V unpackLow64(V a, V b) {                                      \
        return {prefix##_unpacklo_epi64(a.raw, b.raw)};                               \
    }                                                                                 \
    VELA_INLINE friend V unpackHigh64(V a, V b) {                                     \
        return {prefix##_unpackhi_epi64(a.raw, b.raw)};                               \
    }                                                                                 \
    /* of each lane, 16-bit elements saturated to 8: those of a, then those of b */   \
    VELA_INLINE friend V packSaturated16(V a, V b) {                                  \
        return {prefix##_packs_epi16(a.raw, b.raw)};                                  \
    }                                                                                 \
    /* the same to unsigned ones */                                                   \
    VELA_INLINE friend V packUnsigned16(V a, V b) {                                   \
        return {prefix##_packus_epi16(a.raw, b.raw)};                                 \
    }                                                                                 \
    /* the same from 32 bits to 16 */                                                 \
    VELA_INLINE friend V packSaturated32(V a, V b) {                                  \
        return {prefix##_packs_epi32(a.raw, b.raw)};                                  \
    }                                                                                 \
    /* of each lane, the bytes that control names; 0 where it is negative */          \
    VELA_INLINE friend V shuffle8(V a, V control) {                                   \
        return {prefix##_shuffle_epi8(a.raw, control.raw)};                           \
    }

/// And what 256 and 512 bits have.
#define VELA_WIDE_OPERATIONS(V, prefix)                  \
    VELA_INLINE friend V shiftLeftBy32(V a, V counts) {  \
        return {prefix##_sllv_epi32(a.raw, counts.raw)}; \
    }                                                    \
    VELA_INLINE friend V shiftLeftBy64(V a, V counts) {  \
        return {prefix##_sllv_epi64(a.raw, counts.raw)}; \
    }

struct V128 {
    __m128i raw;

    VELA_INLINE static V128 load(const void* from) {
        return {_mm_loadu_si128(static_cast<const __m128i*>(from))};
    }
    VELA_INLINE static V128 toAllLanes(V128 x) { return x; }
    /// x, then zeros.
    VELA_INLINE static V128 lowest32(int32_t x) { return {_mm_cvtsi32_si128(x)}; }
    VELA_INLINE void store(void* to) const { _mm_storeu_si128(static_cast<__m128i*>(to), raw); }
    VELA_INLINE void storeLow64(void* to) const {
        _mm_storel_epi64(static_cast<__m128i*>(to), raw);
    }
    VELA_INLINE void storeHigh64(void* to) const {
        _mm_storel_epi64(static_cast<__m128i*>(to), _mm_unpackhi_epi64(raw, raw));
    }
    /// Of each lane, the 32-bit elements 0 and 2, or 1 and 3, of a, then of b; so for other widths.
    VELA_INLINE friend V128 evenWords32(V128 a, V128 b) {
        return {_mm_castps_si128(
            _mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0x88))};
    }
    VELA_INLINE friend V128 oddWords32(V128 a, V128 b) {
        return {_mm_castps_si128(
            _mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0xDD))};
    }
    VELA_INLINE friend bool isZero(V128 a) { return _mm_testz_si128(a.raw, a.raw) != 0; }
    /// -1 where a byte is negative, else 0; so for 256 bits.
    VELA_INLINE friend V128 signs8(V128 a) { return {_mm_cmpgt_epi8(zero().raw, a.raw)}; }
    /// A bit for every byte that is negative, bit 0 for the first; so for 256 bits.
    VELA_INLINE friend uint64_t signBits8(V128 a) {
        return static_cast<uint32_t>(_mm_movemask_epi8(a.raw));
    }
    VELA_INLINE V128 lane(int32_t) const { return *this; }
    /// A bit for every byte that is the same in a and b, bit 0 for the first; so for other widths.
    VELA_INLINE friend uint64_t equalBits8(V128 a, V128 b) {
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a.raw, b.raw)));
    }
    VELA_VECTOR_OPERATIONS(V128, _mm, si128)
};

#ifdef __AVX2__
struct V256 {
    __m256i raw;

    VELA_INLINE static V256 load(const void* from) {
        return {_mm256_loadu_si256(static_cast<const __m256i*>(from))};
    }
    VELA_INLINE static V256 toAllLanes(V128 x) { return {_mm256_broadcastsi128_si256(x.raw)}; }
    VELA_INLINE static V256 widenUnsigned8To32(const uint8_t* from) {
        return {_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)))};
    }
    VELA_INLINE static V256 widen16To32(const int16_t* from) {
        return {_mm256_cvtepi16_epi32(V128::load(from).raw)};
    }
    VELA_INLINE static V256 join(V128 low, V128 high) {
        return {_mm256_set_m128i(high.raw, low.raw)};
    }
    VELA_INLINE V128 low() const { return {_mm256_castsi256_si128(raw)}; }
    VELA_INLINE V128 high() const { return {_mm256_extracti128_si256(raw, 1)}; }
    VELA_INLINE V128 lane(int32_t i) const { return i == 0 ? low() : high(); }
    VELA_INLINE static V256 lowest32(int32_t x) {
        return {_mm256_zextsi128_si256(V128::lowest32(x).raw)};
    }
    VELA_INLINE friend bool isZero(V256 a) { return _mm256_testz_si256(a.raw, a.raw) != 0; }
    VELA_INLINE friend V256 signs8(V256 a) { return {_mm256_cmpgt_epi8(zero().raw, a.raw)}; }
    VELA_INLINE friend uint64_t signBits8(V256 a) {
        return static_cast<uint32_t>(_mm256_movemask_epi8(a.raw));
    }
    VELA_INLINE void store(void* to) const { _mm256_storeu_si256(static_cast<__m256i*>(to), raw); }
    VELA_INLINE friend uint64_t equalBits8(V256 a, V256 b) {
        return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(a.raw, b.raw)));
    }
    VELA_INLINE friend V256 evenWords32(V256 a, V256 b) {
        return {_mm256_castps_si256(
            _mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), 0x88))};
    }
    VELA_INLINE friend V256 oddWords32(V256 a, V256 b) {
        return {_mm256_castps_si256(
            _mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), 0xDD))};
    }
    /// Element i is table[indices[i]].
    VELA_INLINE friend V256 permute32(V256 table, V256 indices) {
        return {_mm256_permutevar8x32_epi32(table.raw, indices.raw)};
    }
    VELA_VECTOR_OPERATIONS(V256, _mm256, si256)
    VELA_WIDE_OPERATIONS(V256, _mm256)
};
#endif

#ifdef __AVX512BW__
struct V512 {
    __m512i raw;

    VELA_INLINE static V512 load(const void* from) { return {_mm512_loadu_si512(from)}; }
    VELA_INLINE static V512 toAllLanes(V128 x) { return {_mm512_broadcast_i32x4(x.raw)}; }
    VELA_INLINE static V512 widenUnsigned8To32(const uint8_t* from) {
        return {_mm512_cvtepu8_epi32(V128::load(from).raw)};
    }
    VELA_INLINE static V512 widen16To32(const int16_t* from) {
        return {_mm512_cvtepi16_epi32(V256::load(from).raw)};
    }
    VELA_INLINE static V512 join(V256 low, V256 high) {
        return {_mm512_inserti64x4(_mm512_castsi256_si512(low.raw), high.raw, 1)};
    }
    VELA_INLINE V256 low() const { return {_mm512_castsi512_si256(raw)}; }
    VELA_INLINE V256 high() const { return {_mm512_extracti64x4_epi64(raw, 1)}; }
    VELA_INLINE void store(void* to) const { _mm512_storeu_si512(to, raw); }
    VELA_INLINE friend uint64_t equalBits8(V512 a, V512 b) {
        return _mm512_cmpeq_epi8_mask(a.raw, b.raw);
    }
    VELA_INLINE friend uint64_t equalBits16(V512 a, V512 b) {
        return _mm512_cmpeq_epi16_mask(a.raw, b.raw);
    }
    VELA_INLINE friend uint64_t nonZeroBits16(V512 a) {
        return _mm512_test_epi16_mask(a.raw, a.raw);
    }
    VELA_INLINE friend V512 evenWords32(V512 a, V512 b) {
        return {_mm512_castps_si512(
            _mm512_shuffle_ps(_mm512_castsi512_ps(a.raw), _mm512_castsi512_ps(b.raw), 0x88))};
    }
    VELA_INLINE friend V512 oddWords32(V512 a, V512 b) {
        return {_mm512_castps_si512(
            _mm512_shuffle_ps(_mm512_castsi512_ps(a.raw), _mm512_castsi512_ps(b.raw), 0xDD))};
    }
    /// Element i is table[indices[i]].
    VELA_INLINE friend V512 permute32(V512 table, V512 indices) {
        return {_mm512_permutexvar_epi32(indices.raw, table.raw)};
    }
    /// The same with a table of 64 elements.
    VELA_INLINE friend V512 permute16(V512 low, V512 indices, V512 high) {
        return {_mm512_permutex2var_epi16(low.raw, indices.raw, high.raw)};
    }
#ifdef __AVX512VBMI__
    /// Byte i is bytes[indices[i]] where the mask has bit i, else 0.
    VELA_INLINE friend V512 chooseBytes(V512 bytes, V512 indices, uint64_t mask) {
        return {_mm512_maskz_permutexvar_epi8(mask, indices.raw, bytes.raw)};
    }
#endif
#ifdef __AVX512VNNI__
    /// sum + multiplyAddPairs(a, b).
    VELA_INLINE friend V512 addMultiplyAddPairs(V512 sum, V512 a, V512 b) {
        return {_mm512_dpwssd_epi32(sum.raw, a.raw, b.raw)};
    }
#endif
    VELA_VECTOR_OPERATIONS(V512, _mm512, si512)
    VELA_WIDE_OPERATIONS(V512, _mm512)
};
#endif

#undef VELA_VECTOR_OPERATIONS
#undef VELA_WIDE_OPERATIONS

} // namespace
} // namespace vela::VELA_ISA
