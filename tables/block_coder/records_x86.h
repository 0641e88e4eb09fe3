// What is to be coded of some MCUs, as records: the first step of record_coder_x86.h.
#pragma once

#include <immintrin.h>

#include <bit>
#include <cstdint>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "state/encoder_state.h"
#include "tables/block_coder/record_positions.h"
#include "tables/block_coder/zigzag_x86.h"

#ifdef __SSE4_1__

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kGroupBlocks = kMaxBatchBlocks;
constexpr int32_t kMaxRecords = kGroupBlocks * kBlockSamples;

/// What is to be coded, in order. A record:
///
///     31        16  15      14      8  7          0
///     value         other   after      index
///
/// The run of zeros before it is its index less the after of the record before it, which is that one's index
/// + 1. DC has the index that makes this kDcRun, and is index 0 to what comes after it. other: it is coded with
/// the tables of the last block.
struct Records {
    uint32_t memory[1 + kMaxRecords + 64]; // of the first, what is before the first

    VELA_INLINE Records() { memory[0] = 0; }
    VELA_INLINE uint32_t* first() { return memory + 1; }
};
constexpr int32_t kDcRun = 16;
constexpr uint32_t kOtherTables = 0x8000;

/// A coefficient's record without its value, by zigzag index.
constexpr uint32_t indexPart(int32_t k) {
    return static_cast<uint32_t>((k + 1) << 8 | k);
}
constexpr auto kIndexParts = makeTable<uint32_t, 64>(indexPart);

VELA_INLINE uint32_t dcRecord(int32_t difference, uint32_t before, uint32_t tables) {
    const uint32_t after = before >> 8 & 0x7F;
    return static_cast<uint32_t>(difference) << 16 | tables | 1 << 8 | (kDcRun + after);
}

#ifdef __AVX512BW__

/// From two vectors of a block's coefficients to zigzag order, such that unpacking gives it: words 0..3 of the four
/// lanes are coefficients 0..15, words 4..7 are 16..31.
constexpr auto kUnpackedZigzag = makeTable<int16_t, 64>([](int32_t i) {
    const int32_t lane = i % 32 / 8, word = i % 8;
    const int32_t k = i / 32 * 32 + word / 4 * 16 + lane * 4 + word % 4;
    return kTransposedZigzag[static_cast<size_t>(k)];
});

/// Adds a block's records after others, with tables (kOtherTables or 0) in them. Returns their end.
VELA_INLINE uint32_t* addBlock(uint32_t* to, const int16_t* block, int32_t predictor,
                               uint32_t tables) {
    const __m512i low = _mm512_loadu_si512(block), high = _mm512_loadu_si512(block + 32);
    const __m512i zero = _mm512_setzero_si512();
    __m512i values[4];
    uint64_t nonZero = 0;
    for (int i = 0; i < 2; i++) {
        const __m512i order = _mm512_load_si512(kUnpackedZigzag.of + 32 * i);
        const __m512i words = _mm512_permutex2var_epi16(low, order, high);
        values[2 * i] = _mm512_unpacklo_epi16(zero, words); // in the upper halves
        values[2 * i + 1] = _mm512_unpackhi_epi16(zero, words);
    }
    for (int i = 0; i < 4; i++)
        nonZero |= static_cast<uint64_t>(_mm512_test_epi32_mask(values[i], values[i])) << (16 * i);
    const uint64_t taken = recordPositions(nonZero & ~uint64_t{1});
    const uint32_t dc = dcRecord(block[0] - predictor, to[-1], tables);
    uint32_t* end = to;
    for (int i = 0; i < 4; i++) {
        const auto here = static_cast<__mmask16>(taken >> (16 * i));
        const __m512i whole = _mm512_or_si512(
            _mm512_or_si512(values[i], _mm512_set1_epi32(static_cast<int32_t>(tables))),
            _mm512_load_si512(kIndexParts.of + 16 * i));
        _mm512_storeu_si512(end, _mm512_maskz_compress_epi32(here, whole));
        end += __builtin_popcount(here);
    }
    *to = dc;
    return end;
}

#else

/// The numbers of a byte's bits that are set, next to each other; zeros after them.
constexpr auto kSetBits = makeTable<uint8_t, 256 * 8>([](int32_t i) {
    int32_t mask = i / 8;
    for (int32_t n = i % 8; n > 0; n--)
        mask &= mask - 1;
    return mask == 0 ? 0 : std::countr_zero(static_cast<uint32_t>(mask));
});

/// How many of a byte's bits are set.
VELA_INLINE int32_t byteCount(uint32_t mask) {
#ifdef __POPCNT__
    return __builtin_popcount(mask);
#else
    static constexpr auto kCounts =
        makeTable<uint8_t, 256>([](int32_t i) { return std::popcount(static_cast<uint32_t>(i)); });
    return kCounts.of[mask];
#endif
}

/// A block's coefficients in zigzag order as bytes: the lower ones of their words, and where they are not the
/// lower ones' signs alone, the upper ones.
template <bool wide>
struct OrderedBytes {
    ByteScan::Bytes low;
    ByteVector high[wide ? ByteScan::kVectors : 1];
};

/// Those of a block that has coefficients of more than 7 bits.
VELA_INLINE OrderedBytes<true> wideBytes(const int16_t* block) {
    using V = ByteVector;
    constexpr int32_t kBytes = ByteScan::kVectorBytes;
    const V lowByte = V::set16(0xFF);
    ByteScan::Bytes low, high;
    for (int32_t i = 0; i < ByteScan::kVectors; i++) {
        const V one = V::load(block + kBytes * i), two = V::load(block + kBytes * i + kBytes / 2);
        low[i] = packUnsigned16(one & lowByte, two & lowByte);
        high[i] = packSaturated16(shiftRightSigned16<8>(one), shiftRightSigned16<8>(two));
    }
    OrderedBytes<true> bytes;
    putInOrder(low, bytes.low);
    putInOrder(high, bytes.high);
    return bytes;
}

constexpr int32_t kOctets = ByteScan::kVectorBytes / 8; // in a vector

/// What a vector's octets add to their bits: by vector, and for its octets of even and of odd number.
constexpr auto kOctetParts = makeTable<uint16_t, 2 * kBlockSamples>([](int32_t i) {
    const int32_t octet = i % (4 * kOctets) / 8 * 2 + i / (4 * kOctets) % 2;
    return indexPart(8 * (i / (8 * kOctets) * kOctets + octet));
});

/// The set bits of a vector's octets, each octet's by itself.
VELA_INLINE V128 setBits(V128, uint32_t mask) {
    const auto of = [](uint32_t octet) {
        int64_t bits;
        __builtin_memcpy(&bits, kSetBits.of + size_t{8} * (octet & 0xFF), sizeof bits);
        return bits;
    };
    return {_mm_set_epi64x(of(mask >> 8), of(mask))};
}
#ifdef __AVX2__
VELA_INLINE V256 setBits(V256, uint32_t mask) {
    return V256::join(setBits(V128{}, mask), setBits(V128{}, mask >> 16));
}
#endif

/// Moves those of each eight coefficients of a vector that are in `taken` next to each other and adds their
/// records. Of an octet:
///
///     coefficients           c0 c1 c2 c3 c4 c5 c6 c7     taken: bits 0, 1, 4 and 6
///     set bits               0  1  4  6  -  -  -  -
///     words of values       c0 c1 c4 c6  -  -  -  -     the upper halves of the records
///     words of indices       0  1  4  6  -  -  -  -     and of those + 1, + 8 for every octet: the lower halves
template <int32_t vector, bool wide>
VELA_INLINE uint32_t* addVector(uint32_t* to, const OrderedBytes<wide>& bytes, uint64_t taken,
                                ByteVector tables) {
    using V = ByteVector;
    auto mask = static_cast<uint32_t>(taken >> (8 * kOctets * vector));
    const V bits = setBits(V{}, mask);
    const V from = add8(bits, V::toAllLanes({_mm_set_epi64x(0x0808080808080808, 0)}));
    const V low = shuffle8(bytes.low[vector], from);
    const V high = wide ? shuffle8(bytes.high[wide ? vector : 0], from) : signs8(low);
    const uint16_t* const parts = kOctetParts.of + 8 * kOctets * vector;
    const V evenIndices = add16(unpackLow8(bits, bits), V::load(parts)) | tables;
    const V oddIndices = add16(unpackHigh8(bits, bits), V::load(parts + 4 * kOctets)) | tables;
    const V evenValues = unpackLow8(low, high), oddValues = unpackHigh8(low, high);
    const V records[4] = {unpackLow16(evenIndices, evenValues),
                          unpackHigh16(evenIndices, evenValues), unpackLow16(oddIndices, oddValues),
                          unpackHigh16(oddIndices, oddValues)};
    for (int32_t octet = 0; octet < kOctets; octet++) {
        records[octet % 2 * 2].lane(octet / 2).store(to);
        records[octet % 2 * 2 + 1].lane(octet / 2).store(to + 4);
        to += byteCount(mask & 0xFF);
        mask >>= 8;
    }
    return to;
}

template <bool wide>
VELA_INLINE uint32_t* addAll(uint32_t* to, const OrderedBytes<wide>& bytes, uint64_t taken,
                             uint32_t tables) {
    const ByteVector bit = ByteVector::set16(static_cast<int32_t>(tables));
    to = addVector<0>(to, bytes, taken, bit);
#ifdef __AVX2__
    return taken >> 32 == 0 ? to : addVector<1>(to, bytes, taken, bit);
#else
    to = addVector<1>(to, bytes, taken, bit);
    if (taken >> 32 == 0)
        return to;
    to = addVector<2>(to, bytes, taken, bit);
    return addVector<3>(to, bytes, taken, bit);
#endif
}

/// The same, from coefficients that are bytes where those of the block are.
VELA_INLINE uint32_t* addBlock(uint32_t* to, const int16_t* block, int32_t predictor,
                               uint32_t tables) {
    const uint32_t dc = dcRecord(block[0] - predictor, to[-1], tables);
    OrderedBytes<false> bytes;
    if (!ByteScan::orderedBytes(block, bytes.low)) {
        to[0] = dc;
        to[1] = tables | kIndexParts.of[1];
        return to + 2;
    }
    const uint64_t taken = recordPositions(~ByteScan::equalBits(bytes.low, 0) & ~uint64_t{1});
    // Saturated ones are of magnitude 127 or 128.
    ByteVector most = andNot(absolute8(bytes.low[0]), ByteVector::lowest32(0xFF));
    for (int32_t i = 1; i < ByteScan::kVectors; i++)
        most = maxUnsigned8(most, absolute8(bytes.low[i]));
    const bool narrow = signBits8(addSaturated8(most, ByteVector::set8(1))) == 0;
    uint32_t* end;
    if (__builtin_expect(narrow, true))
        end = addAll(to, bytes, taken, tables);
    else
        end = addAll(to, wideBytes(block), taken, tables);
    *to = dc;
    return end;
}

#endif

} // namespace
} // namespace vela::VELA_ISA

#endif
