// The baseline coder of whole MCUs in 512 bits, for processors with VBMI2. Three steps, none of which
// branches on what a coefficient is:
//
// 1. Everything that has a code becomes a record of a zigzag index and a value, the blocks' records
//    behind each other. EOB and ZRL are records as well, of the zero coefficients that they stand at.
// 2. Sixteen records at a time become code words, which are joined by fours.
// 3. The words are put behind each other, eight bytes being stored for each, and the bytes of ones
//    among what that gives are stuffed on the way to the output.
#include <immintrin.h>

#include <algorithm>

#include "state/encoder_state.h"
#include "state/zigzag.h"
#include "tables/x86_kernels.h"

namespace {

#include "tables/zigzag_scan_x86.h"

constexpr int32_t kMaxRecords = vela::kMaxBlocksPerMcu * vela::kBlockSamples;
constexpr int32_t kMaxRecordBits = 16 + 11;

/// The code tables of an MCU: those of its first block, and those of the others that differ. They lie
/// in one piece of memory, so that one base reaches them all.
struct Tables {
    const uint32_t* base;
    __m512i offsets; // from base, by the table of a record's kind

    explicit Tables(const vela::BlockSpec& blocks) : base(blocks.blockAcTable[0]->entry) {
        const int32_t last = blocks.blockCount - 1;
        const auto offset = [this](const EncodeHuffmanSpec* table) {
            return static_cast<int32_t>(table->entry - base);
        };
        offsets = _mm512_castsi128_si512(_mm_set_epi32(offset(blocks.blockDcTable[last]),
                                                       offset(blocks.blockAcTable[last]),
                                                       offset(blocks.blockDcTable[0]), 0));
    }
};

// A record's kind: the zero run before it in bits 0..3, its table in bits 4 and 5
constexpr uint8_t kDcTable = 0x10;
constexpr uint8_t kOtherTables = 0x20;

/// The element before each.
struct OneLower {
    alignas(64) uint8_t bytes[64];

    constexpr OneLower() : bytes() {
        for (size_t i = 1; i < 64; i++)
            bytes[i] = static_cast<uint8_t>(i - 1);
    }
};
constexpr OneLower kOneLower;

/// What is to be coded, in order.
struct Records {
    int16_t values[kMaxRecords + 32];
    uint8_t kinds[kMaxRecords + 64];

    /// Adds a block's records behind count others. Returns how many there are.
    int32_t addBlock(int32_t count, const int16_t* block, int32_t predictor, uint8_t tables);
};

/// Marks the zero coefficients at which a ZRL stands: the last of sixteen before one that is not 0. No
/// zeros behind the last coefficient that is not 0 are given.
inline uint64_t zrlPositions(uint64_t zeros) {
    uint64_t runs = zeros & (zeros >> 1); // of 2 zeros, by their first
    runs &= runs >> 2;
    runs &= runs >> 4;
    runs &= runs >> 8;
    uint64_t positions = 0;
    while (runs != 0)
        [[unlikely]] {
            const uint64_t last = (runs & -runs) << 15;
            positions |= last;
            runs &= ~(last | (last - 1));
        }
    return positions;
}

inline int32_t Records::addBlock(int32_t count, const int16_t* block, int32_t predictor,
                                 uint8_t tables) {
    const auto [first, second] = Scan512::ordered(block);
    const uint64_t nonZero = Scan512::nonZeroBits({first, second}) | 1;
    // A coefficient of 0 behind the last one that is not 0 takes EOB: it has run 0 and size 0.
    const uint64_t last = uint64_t{1} << (63 - __builtin_clzll(nonZero));
    const uint64_t taken = nonZero | (last << 1) | zrlPositions(~nonZero & (last - 1));

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

/// Four words of up to 64 bits.
struct FourWords {
    alignas(32) uint64_t bits[4];
    alignas(32) uint64_t lengths[4];
};

/// Bits on their way to memory, without stuffing. Of the eight bytes that a put stores only whole ones
/// are passed; the up to 7 bits behind them are stored again by the next.
struct BitJoiner {
    static constexpr uint64_t kMaxLength = 56;

    uint8_t* out;
    uint64_t bits; // from bit 63 down
    uint64_t held; // 0..7

    /// Adds length (0..56) bits; word has no others.
    void put(uint64_t word, uint64_t length) {
        const uint64_t total = held + length;
        bits |= word << ((64 - total) % 64); // nothing is added where nothing is held
        const uint64_t bytes = __builtin_bswap64(bits);
        __builtin_memcpy(out, &bytes, 8);
        out += total / 8;
        bits <<= total / 8 * 8;
        held = total % 8;
    }
};

/// Joins neighbouring words: the one in the lower element comes first.
struct Words {
    __m512i bits;
    __m512i lengths;
};

/// The code words of sixteen records from `from` on, or of those that there are, joined by pairs of up
/// to 2 * 27 bits.
inline Words codePairs(const Records& records, int32_t from, int32_t left, const Tables& tables) {
    const auto lanes = static_cast<__mmask16>(_bzhi_u32(0xFFFF, left >= 16 ? 16 : left));
    const __m512i kinds = _mm512_cvtepu8_epi32(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(records.kinds + from)));
    const __m512i values = _mm512_cvtepi16_epi32(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(records.values + from)));

    const __m512i sizes =
        _mm512_sub_epi32(_mm512_set1_epi32(32), _mm512_lzcnt_epi32(_mm512_abs_epi32(values)));
    const __m512i offsets = _mm512_permutexvar_epi32(_mm512_srli_epi32(kinds, 4), tables.offsets);
    const __m512i symbols = _mm512_or_si512(
        _mm512_and_si512(_mm512_slli_epi32(kinds, 4), _mm512_set1_epi32(0xF0)), sizes);
    const __m512i entryIndices = _mm512_add_epi32(offsets, symbols);
    const __m512i entries =
        _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), lanes, entryIndices, tables.base, 4);

    // As in codeValue, tables/block_coder_lanes.inl
    const __m512i signs = _mm512_srai_epi32(values, 31);
    const __m512i codes =
        _mm512_sub_epi32(_mm512_and_si512(entries, _mm512_set1_epi32(0xFFFF)), signs);
    const __m512i words = _mm512_maskz_add_epi32(lanes, _mm512_sllv_epi32(codes, sizes),
                                                 _mm512_add_epi32(values, signs));
    const __m512i lengths = _mm512_maskz_add_epi32(lanes, _mm512_srli_epi32(entries, 16), sizes);

    const __m512i lowHalf = _mm512_set1_epi64(0xFFFFFFFF);
    const __m512i secondLengths = _mm512_srli_epi64(lengths, 32);
    return {_mm512_or_si512(_mm512_sllv_epi64(_mm512_and_si512(words, lowHalf), secondLengths),
                            _mm512_srli_epi64(words, 32)),
            _mm512_add_epi64(_mm512_and_si512(lengths, lowHalf), secondLengths)};
}

inline void putRecords(BitJoiner& joiner, const Records& records, int32_t from, int32_t left,
                       const Tables& tables) {
    const Words pairs = codePairs(records, from, left, tables);
    const __m512i secondLengths = _mm512_unpackhi_epi64(pairs.lengths, pairs.lengths);
    const __m512i lengths = _mm512_add_epi64(pairs.lengths, secondLengths);
    if (_mm512_mask_cmpgt_epi64_mask(0x55, lengths, _mm512_set1_epi64(BitJoiner::kMaxLength)) != 0)
        [[unlikely]] {
        alignas(64) uint64_t bits[8];
        alignas(64) uint64_t pairLengths[8];
        _mm512_store_si512(bits, pairs.bits);
        _mm512_store_si512(pairLengths, pairs.lengths);
        for (int32_t i = 0; i < 8; i++)
            joiner.put(bits[i], pairLengths[i]);
        return;
    }
    const __m512i fours = _mm512_or_si512(_mm512_sllv_epi64(pairs.bits, secondLengths),
                                          _mm512_unpackhi_epi64(pairs.bits, pairs.bits));
    FourWords words;
    const auto store = [](uint64_t* to, __m512i x) { // elements 0, 2, 4 and 6
        _mm256_store_si256(reinterpret_cast<__m256i*>(to),
                           _mm512_castsi512_si256(_mm512_maskz_compress_epi64(0x55, x)));
    };
    store(words.bits, fours);
    store(words.lengths, lengths);
    for (int32_t i = 0; i < 4; i++)
        joiner.put(words.bits[i], words.lengths[i]);
}

/// Copies bytes and puts a zero behind every byte of ones. Returns the end.
inline uint8_t* stuff(const uint8_t* from, const uint8_t* end, uint8_t* out) {
    while (from < end) {
        const __mmask64 lanes =
            _bzhi_u64(~uint64_t{0}, end - from >= 64 ? 64 : static_cast<uint32_t>(end - from));
        const __m512i bytes = _mm512_maskz_loadu_epi8(lanes, from);
        const uint64_t ones = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(-1));
        _mm512_mask_storeu_epi8(out, lanes, bytes);
        int64_t count = end - from >= 64 ? 64 : end - from;
        if (ones != 0) [[unlikely]] {
            count = __builtin_ctzll(ones) + 1;
            out[count] = 0;
            out++;
        }
        from += count;
        out += count;
    }
    return out;
}

/// Up to kMaxBlocksPerMcu blocks: those of MCUs first..end - 1.
inline int32_t encodeBlocks(const vela::BlockSpec& blocks, int32_t first, int32_t end,
                            const Tables& tables, uint8_t* dst, int32_t bitPosition) {
    Records records;
    int32_t count = 0;
    for (int32_t mcu = first; mcu < end; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++) {
            const int16_t* const block = blockOf(blocks, mcu, i);
            int16_t* const predictor = blocks.blockPredictor[i];
            const bool other = blocks.blockAcTable[i] != blocks.blockAcTable[0];
            count = records.addBlock(count, block, *predictor, other ? kOtherTables : 0);
            *predictor = *block;
        }

    uint8_t plain[(7 + kMaxRecords * kMaxRecordBits) / 8 + 8];
    BitJoiner joiner{plain, 0, static_cast<uint64_t>(bitPosition % 8)};
    for (int32_t from = 0; from < count; from += 16)
        putRecords(joiner, records, from, count - from, tables);

    uint8_t* const out = dst + bitPosition / 8;
    if (bitPosition % 8 != 0)
        plain[0] = static_cast<uint8_t>(plain[0] | *out);
    uint8_t* const last = stuff(plain, joiner.out, out);
    *last = *joiner.out;
    return static_cast<int32_t>(last - dst) * 8 + static_cast<int32_t>(joiner.held);
}

} // namespace

namespace vela {

int32_t encodeMcusAvx512Vbmi(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                             int32_t bitPosition) {
    const Tables tables(blocks);
    const int32_t atOnce = kMaxBlocksPerMcu / blocks.blockCount;
    for (int32_t first = 0; first < mcuCount; first += atOnce)
        bitPosition = encodeBlocks(blocks, first, std::min(first + atOnce, mcuCount), tables, dst,
                                   bitPosition);
    return bitPosition;
}

} // namespace vela
