// The Row types of pixel/packed_input_lanes.inl: in each instruction set's file, in its anonymous
// namespace, behind immintrin.h.

#define VELA_ROW_OPERATIONS(prefix, suffix)                  \
    static V add(V a, V b) {                                 \
        return prefix##_add_epi16(a, b);                     \
    }                                                        \
    static V sub(V a, V b) {                                 \
        return prefix##_sub_epi16(a, b);                     \
    }                                                        \
    static V multiply(V a, V b) {                            \
        return prefix##_mullo_epi16(a, b);                   \
    }                                                        \
    static V bitAnd(V a, V b) {                              \
        return prefix##_and_##suffix(a, b);                  \
    }                                                        \
    static V set1(int32_t x) {                               \
        return prefix##_set1_epi16(static_cast<int16_t>(x)); \
    }                                                        \
    static V add32(V a, V b) {                               \
        return prefix##_add_epi32(a, b);                     \
    }                                                        \
    static V multiplyAddPairs(V a, V b) {                    \
        return prefix##_madd_epi16(a, b);                    \
    }                                                        \
    template <int32_t n>                                     \
    static V shiftLeft(V a) {                                \
        return prefix##_slli_epi16(a, n);                    \
    }                                                        \
    template <int32_t n>                                     \
    static V shiftRight(V a) {                               \
        return prefix##_srli_epi16(a, n);                    \
    }                                                        \
    template <int32_t n>                                     \
    static V shiftRightSigned(V a) {                         \
        return prefix##_srai_epi16(a, n);                    \
    }                                                        \
    template <int32_t n>                                     \
    static V shiftRight32(V a) {                             \
        return prefix##_srai_epi32(a, n);                    \
    }

inline __m128i load128(const uint8_t* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
inline void store128(int16_t* to, __m128i x) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), x);
}

/// Shuffle control that puts byte `channel` of four pixels, the first at byte `start`, into four 16-bit
/// elements from element `to` on, and zeros into the other four.
inline __m128i everyThird(int32_t start, int32_t channel, int32_t to) {
    alignas(16) int8_t control[16];
    for (int32_t i = 0; i < 16; i++) {
        const int32_t element = i / 2 - to;
        const bool taken = i % 2 == 0 && element >= 0 && element < 4;
        control[i] = static_cast<int8_t>(taken ? start + channel + 3 * element : -1);
    }
    return _mm_load_si128(reinterpret_cast<const __m128i*>(control));
}

/// Eight pixels of a row.
struct Row128 {
    using V = __m128i;
    static constexpr int32_t pixels = 8;
    static constexpr int32_t rows = 1;
    VELA_ROW_OPERATIONS(_mm, si128)

    static V readWords(const uint8_t* from, ptrdiff_t) { return load128(from); }

    /// 24 bytes: pixels 0..3 in bytes 0..11 of the first load, 4..7 in bytes 4..15 of the second.
    static Rgb<Row128> readTriples(const uint8_t* from, ptrdiff_t) {
        const V first = load128(from);
        const V second = load128(from + 8);
        const auto channel = [=](int32_t c) {
            return _mm_or_si128(_mm_shuffle_epi8(first, everyThird(0, c, 0)),
                                _mm_shuffle_epi8(second, everyThird(4, c, 4)));
        };
        return {channel(2), channel(1), channel(0)};
    }

    static void store(int16_t* to, V x) { store128(to, x); }
    static void storeLuma(int16_t* to, V x) { store128(to, x); }

    /// Four samples each.
    static void storePacked(V cb32, V cr32, int16_t* cb, int16_t* cr) {
        const V packed = _mm_packs_epi32(cb32, cr32);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), packed);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cr), _mm_unpackhi_epi64(packed, packed));
    }
};

#ifdef __AVX2__
struct Ops256 {
    using V = __m256i;
    VELA_ROW_OPERATIONS(_mm256, si256)

    static V join(__m128i low, __m128i high) { return _mm256_set_m128i(high, low); }
    static V both(__m128i x) { return _mm256_broadcastsi128_si256(x); }
    static V shuffle(V x, V control) { return _mm256_shuffle_epi8(x, control); }
    static V bitOr(V a, V b) { return _mm256_or_si256(a, b); }
};

/// Sixteen pixels of a row.
struct Row256 : Ops256 {
    static constexpr int32_t pixels = 16;

    static V readWords(const uint8_t* from, ptrdiff_t) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    }

    /// 48 bytes, four pixels from each of four loads; the last one starts four bytes early, so as not
    /// to reach past the sixteenth pixel.
    static Rgb<Row256> readTriples(const uint8_t* from, ptrdiff_t) {
        const V first = join(load128(from), load128(from + 24));       // pixels 0..3 | 8..11
        const V second = join(load128(from + 12), load128(from + 32)); // pixels 4..7 | -, 12..15
        const auto channel = [=](int32_t c) {
            return bitOr(shuffle(first, both(everyThird(0, c, 0))),
                         shuffle(second, join(everyThird(0, c, 4), everyThird(4, c, 4))));
        };
        return {channel(2), channel(1), channel(0)};
    }

    /// To two blocks side by side.
    static void storeLuma(int16_t* to, V x) {
        store128(to, _mm256_castsi256_si128(x));
        store128(to + 64, _mm256_extracti128_si256(x, 1));
    }

    /// Eight samples each. Packing leaves cb 0..3, cr 0..3 | cb 4..7, cr 4..7.
    static void storePacked(V cb32, V cr32, int16_t* cb, int16_t* cr) {
        const V packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(cb32, cr32), 0xD8);
        store128(cb, _mm256_castsi256_si128(packed));
        store128(cr, _mm256_extracti128_si256(packed, 1));
    }
};

/// Eight pixels of each of two rows.
struct TwoRows256 : Ops256 {
    static constexpr int32_t rows = 2;

    static V readWords(const uint8_t* from, ptrdiff_t step) {
        return join(load128(from), load128(from + step));
    }

    static Rgb<TwoRows256> readTriples(const uint8_t* from, ptrdiff_t step) {
        const V first = join(load128(from), load128(from + step));
        const V second = join(load128(from + 8), load128(from + step + 8));
        const auto channel = [=](int32_t c) {
            return bitOr(shuffle(first, both(everyThird(0, c, 0))),
                         shuffle(second, both(everyThird(4, c, 4))));
        };
        return {channel(2), channel(1), channel(0)};
    }

    static void store(int16_t* to, V x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), x); }
};
#endif

#undef VELA_ROW_OPERATIONS
