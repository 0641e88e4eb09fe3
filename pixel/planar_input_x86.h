// Level shift and block layout of planar, semi-planar and grey MCUs on x86 vectors: in each
// instruction set's file, in its anonymous namespace, behind pixel/packed_input_x86.h. Samples become
// what the plain versions (pixel/planar_input.cpp) make of them.

/// Eight samples in 16-bit elements, level-shifted.
inline __m128i levelShift(__m128i samples) {
    return _mm_sub_epi16(samples, _mm_set1_epi16(128));
}

inline __m128i widenEight(const uint8_t* samples) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples)));
}

inline void convertBlock(const uint8_t* src, ptrdiff_t step, int16_t* dst) {
    for (int32_t y = 0; y < 8; y++)
        store128(dst + 8 * y, levelShift(widenEight(src + y * step)));
}

/// Sixteen samples of a row, to two blocks side by side.
inline void convertSixteen(const uint8_t* src, int16_t* dst) {
#ifdef __AVX2__
    Row256::storeLuma(dst, Row256::sub(_mm256_cvtepu8_epi16(load128(src)), Row256::set1(128)));
#else
    const __m128i samples = load128(src);
    store128(dst, levelShift(_mm_cvtepu8_epi16(samples)));
    store128(dst + 64, levelShift(_mm_unpackhi_epi8(samples, _mm_setzero_si128())));
#endif
}

/// Luminance blocks of an MCU 16 pixels wide and 8 or 16 high.
inline void convertWideLuma(const uint8_t* src, ptrdiff_t step, int32_t height, int16_t* dst) {
    for (int32_t y = 0; y < height; y++)
        convertSixteen(src + y * step, dst + 128 * (y / 8) + 8 * (y % 8));
}

#include "pixel/planar_input_lanes.inl"

/// first and second: the components of the first and second bytes of the chroma pairs.
template <int32_t first, int32_t second>
void convertSemiPlanar(const uint8_t* const src[3], const int32_t step[3], int16_t* const dst[3]) {
    convertWideLuma(src[0], step[0], 16, dst[0]);
    for (int32_t y = 0; y < 8; y++) {
        const __m128i pairs = load128(src[1] + ptrdiff_t{y} * step[1]);
        store128(dst[first] + 8 * y, levelShift(_mm_and_si128(pairs, _mm_set1_epi16(0xFF))));
        store128(dst[second] + 8 * y, levelShift(_mm_srli_epi16(pairs, 8)));
    }
}
