// The baseline coder in 512 bits, for processors with VBMI2: a block's records are moved together in
// registers.
#include <immintrin.h>

#include <algorithm>

#include "state/encoder_state.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_x86.h"

#include "tables/record_coder_x86.h"

/// The element before each.
struct OneLower {
    alignas(64) uint8_t bytes[64];

    constexpr OneLower() : bytes() {
        for (size_t i = 1; i < 64; i++)
            bytes[i] = static_cast<uint8_t>(i - 1);
    }
};
constexpr OneLower kOneLower;

inline int32_t Records::addBlock(int32_t count, const int16_t* block, int32_t predictor,
                                 uint8_t tables) {
    const auto [first, second] = Scan512::ordered(block);
    const uint64_t taken = recordPositions(Scan512::nonZeroBits({first, second}));

    const __m512i difference =
        _mm512_sub_epi16(first, _mm512_zextsi128_si512(_mm_cvtsi32_si128(predictor & 0xFFFF)));
    const auto low = static_cast<uint32_t>(taken);
    _mm512_storeu_si512(values + count, _mm512_maskz_compress_epi16(low, difference));
    _mm512_storeu_si512(values + count + __builtin_popcount(low),
                        _mm512_maskz_compress_epi16(static_cast<uint32_t>(taken >> 32), second));
    const __m512i indices = _mm512_maskz_compress_epi8(taken, _mm512_load_si512(kIndices.bytes));
    const __m512i before = _mm512_permutexvar_epi8(_mm512_load_si512(kOneLower.bytes), indices);
    const __m512i runs =
        _mm512_maskz_sub_epi8(~uint64_t{1}, indices, _mm512_add_epi8(before, _mm512_set1_epi8(1)));
    const __m512i tableBits =
        _mm512_mask_mov_epi8(_mm512_set1_epi8(static_cast<int8_t>(tables)), 1,
                             _mm512_set1_epi8(static_cast<int8_t>(tables | kDcTable)));
    _mm512_storeu_si512(kinds + count, _mm512_or_si512(runs, tableBits));
    return count + __builtin_popcountll(taken);
}

#include "tables/record_coder_lanes.inl"

} // namespace

namespace vela::avx512vbmi {

int32_t encodeMcus(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    return ::encodeMcus<SixteenRecords>(blocks, mcuCount, dst, bitPosition);
}

} // namespace vela::avx512vbmi
