// The baseline coder of whole MCUs in 512 bits, for processors with VBMI2: the non-zero coefficients
// of a block are moved together, and sixteen of them at a time become code words, which are joined in
// pairs; what is left to be done one after another is to put some thirty words per MCU behind each
// other.
#include <immintrin.h>

#include "state/encoder_state.h"
#include "state/zigzag.h"
#include "tables/x86_kernels.h"

namespace {

#include "tables/zigzag_scan_x86.h"

#include "stream/bit_gatherer.inl"

#include "tables/block_coder_lanes.inl"

// Of one block: DC, eight pairs for each of four batches of sixteen coefficients, EOB. A batch that is
// added one by one takes a word for each and one for ZRL, but the run of zeros that is the reason for
// it is a batch of coefficients less.
constexpr int32_t kMaxWords = 1 + 4 * 8 + 1;

/// Words on their way to the gatherer. One of length 0 has no bits.
struct WordList {
    alignas(64) uint64_t words[vela::kMaxBlocksPerMcu * kMaxWords + 8];
    uint8_t lengths[vela::kMaxBlocksPerMcu * kMaxWords + 8];
    int32_t count = 0;

    void add(uint64_t word, int32_t length) {
        words[count] = word;
        lengths[count++] = static_cast<uint8_t>(length);
    }
    void addCode(uint32_t entry) { add(entry & 0xFFFF, static_cast<int32_t>(entry >> 16)); }
};

inline void addValue(WordList& list, const uint32_t* table, int32_t run, int32_t value) {
    const CodeWord word = codeValue(table, run, value);
    list.add(word.bits, word.length);
}

/// The non-zero AC coefficients of a block: their zigzag indices, moved together behind one of 0, and
/// all coefficients in zigzag order to look them up in.
struct NonZero {
    Scan512::Ordered ordered;
    Scan512::Order order;
    uint8_t indices[1 + 64 + 16];
    int32_t count;

    explicit NonZero(const int16_t* block) : ordered(Scan512::ordered(block, order)) {
        const uint64_t mask = Scan512::nonZeroBits(ordered);
        count = __builtin_popcountll(mask);
        indices[0] = 0;
        _mm512_storeu_si512(indices + 1,
                            _mm512_maskz_compress_epi8(mask, _mm512_load_si512(kIndices.bytes)));
    }

    /// Sixteen indices from the one at `at` on.
    __m128i sixteen(int32_t at) const {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(indices + at));
    }
};

/// Adds the code words of coefficients from..from + 15, or those that there are. False, with nothing
/// added, if a run of sixteen zeros or more is among them.
inline bool addBatch(WordList& list, const NonZero& found, int32_t from, const uint32_t* table) {
    const int32_t left = found.count - from;
    const auto lanes = static_cast<__mmask16>(left >= 16 ? 0xFFFF : (1 << left) - 1);
    const __m512i one = _mm512_set1_epi32(1);
    const __m128i indices = found.sixteen(1 + from);
    const __m512i words16 = _mm512_permutex2var_epi16(
        found.ordered.first, _mm512_castsi256_si512(_mm256_cvtepu8_epi16(indices)),
        found.ordered.second);
    const __m512i values = _mm512_cvtepi16_epi32(_mm512_castsi512_si256(words16));
    const __m512i runs = _mm512_sub_epi32(
        _mm512_sub_epi32(_mm512_cvtepu8_epi32(indices), _mm512_cvtepu8_epi32(found.sixteen(from))),
        one);
    if (_mm512_mask_cmpgt_epi32_mask(lanes, runs, _mm512_set1_epi32(15)) != 0)
        return false;

    const __m512i sizes =
        _mm512_sub_epi32(_mm512_set1_epi32(32), _mm512_lzcnt_epi32(_mm512_abs_epi32(values)));
    const __m512i symbols = _mm512_or_si512(_mm512_slli_epi32(runs, 4), sizes);
    const __m512i entries =
        _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), lanes, symbols, table, 4);
    // As in codeValue, tables/block_coder_lanes.inl
    const __m512i signs = _mm512_srai_epi32(values, 31);
    const __m512i codes =
        _mm512_sub_epi32(_mm512_and_si512(entries, _mm512_set1_epi32(0xFFFF)), signs);
    const __m512i words = _mm512_maskz_add_epi32(lanes, _mm512_sllv_epi32(codes, sizes),
                                                 _mm512_add_epi32(values, signs));
    const __m512i lengths = _mm512_maskz_add_epi32(lanes, _mm512_srli_epi32(entries, 16), sizes);

    // Pairs: the even word, which comes first, above the odd one; at most 2 * 26 bits.
    const __m512i lowHalf = _mm512_set1_epi64(0xFFFFFFFF);
    const __m512i oddLengths = _mm512_srli_epi64(lengths, 32);
    const __m512i pairs =
        _mm512_or_si512(_mm512_sllv_epi64(_mm512_and_si512(words, lowHalf), oddLengths),
                        _mm512_srli_epi64(words, 32));
    const __m512i pairLengths = _mm512_add_epi64(_mm512_and_si512(lengths, lowHalf), oddLengths);
    _mm512_storeu_si512(list.words + list.count, pairs);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(list.lengths + list.count),
                     _mm512_cvtepi64_epi8(pairLengths));
    list.count += left >= 16 ? 8 : (left + 1) / 2;
    return true;
}

/// The same with zero runs of any length.
void addOneByOne(WordList& list, const NonZero& found, int32_t from, const uint32_t* table) {
    const int32_t end = found.count - from > 16 ? from + 16 : found.count;
    for (int32_t i = from; i < end; i++) {
        int32_t run = found.indices[i + 1] - found.indices[i] - 1;
        for (; run >= 16; run -= 16)
            list.addCode(table[0xF0]); // ZRL
        addValue(list, table, run, found.order(found.indices[i + 1]));
    }
}

inline void addBlock(WordList& list, const int16_t* block, int16_t* predictor,
                     const uint32_t* dcTable, const uint32_t* acTable) {
    addValue(list, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];
    const NonZero found(block);
    for (int32_t from = 0; from < found.count; from += 16)
        if (!addBatch(list, found, from, acTable))
            addOneByOne(list, found, from, acTable);
    if (found.indices[found.count] != 63)
        list.addCode(acTable[0x00]); // EOB
}

} // namespace

namespace vela {

int32_t encodeMcuAvx512Vbmi(const BlockSpec* blocks, uint8_t* dst, int32_t bitPosition) {
    // The steps to a word list take long one after another, and overlap from block to block: a single
    // block is coded faster in narrower registers.
    if (blocks->blockCount == 1)
        return encodeMcuAvx2(blocks, dst, bitPosition);

    WordList list;
    for (int32_t i = 0; i < blocks->blockCount; i++)
        addBlock(list, blocks->blockSamples[i], blocks->blockPredictor[i],
                 blocks->blockDcTable[i]->entry, blocks->blockAcTable[i]->entry);
    BitGatherer gatherer = gatherFrom(dst, bitPosition);
    for (int32_t i = 0; i < list.count; i++)
        gatherer.put(list.words[i], list.lengths[i]);
    return storeRest(gatherer, dst);
}

} // namespace vela
