// The operations of pixel/forward_dct_lanes.inl on x86 vectors: in each instruction set's file, in its
// anonymous namespace, behind immintrin.h.

#define VELA_LANES_OPERATIONS(prefix, suffix)                  \
    static V add(V a, V b) {                                   \
        return prefix##_add_epi16(a, b);                       \
    }                                                          \
    static V sub(V a, V b) {                                   \
        return prefix##_sub_epi16(a, b);                       \
    }                                                          \
    static V addSaturated(V a, V b) {                          \
        return prefix##_adds_epi16(a, b);                      \
    }                                                          \
    static V multiply(V a, V b) {                              \
        return prefix##_mullo_epi16(a, b);                     \
    }                                                          \
    static V mulHigh(V a, V b) {                               \
        return prefix##_mulhi_epi16(a, b);                     \
    }                                                          \
    static V halve(V a) {                                      \
        return prefix##_srai_epi16(a, 1);                      \
    }                                                          \
    static V set1(int32_t x) {                                 \
        return prefix##_set1_epi16(static_cast<int16_t>(x));   \
    }                                                          \
    static V unpackLow16(V a, V b) {                           \
        return prefix##_unpacklo_epi16(a, b);                  \
    }                                                          \
    static V unpackHigh16(V a, V b) {                          \
        return prefix##_unpackhi_epi16(a, b);                  \
    }                                                          \
    static V unpackLow32(V a, V b) {                           \
        return prefix##_unpacklo_epi32(a, b);                  \
    }                                                          \
    static V unpackHigh32(V a, V b) {                          \
        return prefix##_unpackhi_epi32(a, b);                  \
    }                                                          \
    static V unpackLow64(V a, V b) {                           \
        return prefix##_unpacklo_epi64(a, b);                  \
    }                                                          \
    static V unpackHigh64(V a, V b) {                          \
        return prefix##_unpackhi_epi64(a, b);                  \
    }                                                          \
    /* elements 0..3 of each lane, then 4..7 */                \
    static V setLanes(int16_t low, int16_t high) {             \
        return prefix##_unpacklo_epi64(set1(low), set1(high)); \
    }

inline const __m128i* at(const int16_t* block, int32_t element) {
    return reinterpret_cast<const __m128i*>(block + element);
}

/// One block in 128 bits.
struct OneBlock {
    using V = __m128i;
    static constexpr int32_t blocks = 1;
    VELA_LANES_OPERATIONS(_mm, si128)

    static V load(int16_t* const block[], int32_t element) {
        return _mm_loadu_si128(at(block[0], element));
    }
    static V loadToAll(const int16_t* from) { return _mm_loadu_si128(at(from, 0)); }
    static void store(int16_t* const block[], int32_t element, V x) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(block[0] + element), x);
    }
};

#ifdef __AVX2__
/// Two blocks in 256 bits.
struct TwoBlocks {
    using V = __m256i;
    using Half = OneBlock;
    static constexpr int32_t blocks = 2;
    VELA_LANES_OPERATIONS(_mm256, si256)

    static V load(int16_t* const block[], int32_t element) {
        return _mm256_loadu2_m128i(at(block[1], element), at(block[0], element));
    }
    static V loadToAll(const int16_t* from) {
        return _mm256_broadcastsi128_si256(OneBlock::loadToAll(from));
    }
    static void store(int16_t* const block[], int32_t element, V x) {
        OneBlock::store(block, element, _mm256_castsi256_si128(x));
        OneBlock::store(block + 1, element, _mm256_extracti128_si256(x, 1));
    }
};
#endif

#ifdef __AVX512BW__
/// Four blocks in 512 bits.
struct FourBlocks {
    using V = __m512i;
    using Half = TwoBlocks;
    static constexpr int32_t blocks = 4;
    VELA_LANES_OPERATIONS(_mm512, si512)

    static V load(int16_t* const block[], int32_t element) {
        return _mm512_inserti64x4(_mm512_castsi256_si512(TwoBlocks::load(block, element)),
                                  TwoBlocks::load(block + 2, element), 1);
    }
    static V loadToAll(const int16_t* from) {
        return _mm512_broadcast_i32x4(OneBlock::loadToAll(from));
    }
    static void store(int16_t* const block[], int32_t element, V x) {
        TwoBlocks::store(block, element, _mm512_castsi512_si256(x));
        TwoBlocks::store(block + 2, element, _mm512_extracti64x4_epi64(x, 1));
    }
};
#endif

#undef VELA_LANES_OPERATIONS
