// The records of tables/record_coder_lanes.inl, and its operations on x86 vectors: in each instruction
// set's file, in its anonymous namespace, behind immintrin.h.

constexpr int32_t kMaxRecords = vela::kMaxBlocksPerMcu * vela::kBlockSamples;

// A record's kind: the zero run before it in bits 0..3, its table in bits 4 and 5
constexpr uint8_t kDcTable = 0x10;
constexpr uint8_t kOtherTables = 0x20;

/// What is to be coded, in order.
struct Records {
    int16_t values[kMaxRecords + 32];
    uint8_t kinds[kMaxRecords + 64];

    /// Adds a block's records behind count others. Returns how many there are.
    int32_t addBlock(int32_t count, const int16_t* block, int32_t predictor, uint8_t tables);
};

/// The coefficients of which there are records: DC and those given, which are not 0; of the others one
/// for every ZRL, the last of its sixteen, and the one behind the last non-zero one for EOB. All these
/// zeros then have the run and size of their codes.
inline uint64_t recordPositions(uint64_t nonZero) {
    nonZero |= 1;
    const uint64_t last = uint64_t{1} << (63 - __builtin_clzll(nonZero));
    const uint64_t zeros = ~nonZero & (last - 1);
    uint64_t runs = zeros & (zeros >> 1); // of 2 zeros, by their first
    runs &= runs >> 2;
    runs &= runs >> 4;
    runs &= runs >> 8;
    uint64_t positions = nonZero | (last << 1);
    while (__builtin_expect(runs != 0, false)) {
        const uint64_t zrl = (runs & -runs) << 15;
        positions |= zrl;
        runs &= ~(zrl | (zrl - 1));
    }
    return positions;
}

/// Records::addBlock one by one, with the coefficients that Scan finds. Four a turn, so that the number
/// of turns can mostly be foretold: those behind the last one are of no meaning and are overwritten.
template <class Scan>
int32_t addOneByOne(Records& records, int32_t count, const int16_t* block, int32_t predictor,
                    uint8_t tables) {
    typename Scan::Order order;
    uint64_t left = recordPositions(Scan::scan(block, order)) & ~uint64_t{1};
    records.values[count] = static_cast<int16_t>(block[0] - predictor);
    records.kinds[count++] = tables | kDcTable;
    const int32_t end = count + __builtin_popcountll(left);
    const int32_t step = 1 - tables;
    int32_t next = step; // behind the last record, less the tables' bits
    for (int32_t turn = count; turn < end; turn += 4)
        for (int32_t i = turn; i < turn + 4; i++) {
            const auto k = static_cast<int32_t>(_tzcnt_u64(left)); // 64 when none is left
            left &= left - 1;
            records.values[i] = static_cast<int16_t>(order(k & 63));
            records.kinds[i] = static_cast<uint8_t>(k - next);
            next = k + step;
        }
    return end;
}

#define VELA_RECORD_OPERATIONS(prefix, suffix)                         \
    static V add(V a, V b) {                                           \
        return prefix##_add_epi32(a, b);                               \
    }                                                                  \
    static V sub(V a, V b) {                                           \
        return prefix##_sub_epi32(a, b);                               \
    }                                                                  \
    static V bitAnd(V a, V b) {                                        \
        return prefix##_and_##suffix(a, b);                            \
    }                                                                  \
    static V bitOr(V a, V b) {                                         \
        return prefix##_or_##suffix(a, b);                             \
    }                                                                  \
    static V set1(int32_t x) {                                         \
        return prefix##_set1_epi32(x);                                 \
    }                                                                  \
    static V absolute(V a) {                                           \
        return prefix##_abs_epi32(a);                                  \
    }                                                                  \
    template <int32_t n>                                               \
    static V shiftLeft(V a) {                                          \
        return prefix##_slli_epi32(a, n);                              \
    }                                                                  \
    template <int32_t n>                                               \
    static V shiftRight(V a) {                                         \
        return prefix##_srli_epi32(a, n);                              \
    }                                                                  \
    template <int32_t n>                                               \
    static V shiftRightSigned(V a) {                                   \
        return prefix##_srai_epi32(a, n);                              \
    }                                                                  \
    static V shiftLeftBy(V a, V counts) {                              \
        return prefix##_sllv_epi32(a, counts);                         \
    }                                                                  \
    template <int32_t n>                                               \
    static V shiftRight64(V a) {                                       \
        return prefix##_srli_epi64(a, n);                              \
    }                                                                  \
    static V shiftLeft64By(V a, V counts) {                            \
        return prefix##_sllv_epi64(a, counts);                         \
    }                                                                  \
    static V upperOfTwo(V a) { /* in both 64-bit elements of a lane */ \
        return prefix##_unpackhi_epi64(a, a);                          \
    }

#ifdef __AVX2__
/// Eight records in 256 bits.
struct EightRecords {
    using V = __m256i;
    using Lanes = __m256i; // all ones in each
    static constexpr int32_t records = 8;
    static constexpr int32_t bytes = 32;
    VELA_RECORD_OPERATIONS(_mm256, si256)

    static Lanes firstLanes(int32_t count) {
        return _mm256_cmpgt_epi32(set1(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    }
    static V keep(Lanes lanes, V a) { return bitAnd(a, lanes); }
    static V setLow(int32_t a, int32_t b, int32_t c, int32_t d) {
        return _mm256_castsi128_si256(_mm_setr_epi32(a, b, c, d));
    }
    static V permute(V table, V indices) { return _mm256_permutevar8x32_epi32(table, indices); }
    static V loadBytes(const uint8_t* from) {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
    }
    static V loadWords(const int16_t* from) {
        return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    }
    /// Of values below 2^24: the exponent of the float, which is 127 for 1.
    static V significantBits(V a) {
        const V exponents = shiftRight<23>(_mm256_castps_si256(_mm256_cvtepi32_ps(a)));
        return _mm256_max_epi32(sub(exponents, set1(126)), _mm256_setzero_si256());
    }
    static V gather(const uint32_t* base, V indices, Lanes lanes) {
        return _mm256_mask_i32gather_epi32(_mm256_setzero_si256(),
                                           reinterpret_cast<const int*>(base), indices, lanes, 4);
    }
    static V lowHalves(V a) { return _mm256_blend_epi32(a, _mm256_setzero_si256(), 0xAA); }
    static bool anyLowerOfTwoAbove(V a, int64_t limit) {
        const V above = _mm256_cmpgt_epi64(a, _mm256_set1_epi64x(limit));
        return (_mm256_movemask_epi8(above) & 0x00FF00FF) != 0;
    }
    static void store(uint64_t* to, V a) { _mm256_store_si256(reinterpret_cast<V*>(to), a); }
    static uint64_t copyAndFindOnes(const uint8_t* from, uint8_t* to) {
        const V copied = _mm256_loadu_si256(reinterpret_cast<const V*>(from));
        _mm256_storeu_si256(reinterpret_cast<V*>(to), copied);
        return static_cast<uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(copied, _mm256_set1_epi8(-1))));
    }
};
#endif

#ifdef __AVX512BW__
/// Sixteen records in 512 bits.
struct SixteenRecords {
    using V = __m512i;
    using Lanes = __mmask16;
    static constexpr int32_t records = 16;
    static constexpr int32_t bytes = 64;
    VELA_RECORD_OPERATIONS(_mm512, si512)

    static Lanes firstLanes(int32_t count) {
        return static_cast<Lanes>(_bzhi_u32(0xFFFF, static_cast<uint32_t>(std::min(count, 16))));
    }
    static V keep(Lanes lanes, V a) { return _mm512_maskz_mov_epi32(lanes, a); }
    static V setLow(int32_t a, int32_t b, int32_t c, int32_t d) {
        return _mm512_castsi128_si512(_mm_setr_epi32(a, b, c, d));
    }
    static V permute(V table, V indices) { return _mm512_permutexvar_epi32(indices, table); }
    static V loadBytes(const uint8_t* from) {
        return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
    }
    static V loadWords(const int16_t* from) {
        return _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
    }
    static V significantBits(V a) { return sub(set1(32), _mm512_lzcnt_epi32(a)); }
    static V gather(const uint32_t* base, V indices, Lanes lanes) {
        return _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), lanes, indices, base, 4);
    }
    static V lowHalves(V a) { return _mm512_maskz_mov_epi32(0x5555, a); }
    static bool anyLowerOfTwoAbove(V a, int64_t limit) {
        return _mm512_mask_cmpgt_epi64_mask(0x55, a, _mm512_set1_epi64(limit)) != 0;
    }
    static void store(uint64_t* to, V a) { _mm512_store_si512(to, a); }
    static uint64_t copyAndFindOnes(const uint8_t* from, uint8_t* to) {
        const V copied = _mm512_loadu_si512(from);
        _mm512_storeu_si512(to, copied);
        return _mm512_cmpeq_epi8_mask(copied, _mm512_set1_epi8(-1));
    }
};
#endif

#undef VELA_RECORD_OPERATIONS
