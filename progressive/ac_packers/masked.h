// The AC packers that visit non-zero coefficients alone, for all instruction sets. The records are those of
// the plain packers (plain.cpp). Each instruction set has its own
//
//     Scan                     finds the AC coefficients that are not 0, and those of magnitude 1:
//                              CoefficientMasks Scan::masks(block, Scan::Order& order)
//     Word, kWordBits          masks are visited a word at a time, kMaskWords of them:
//     maskWord(mask, w)        word w of a mask. In it
//     bitOf(k)                 stands for zigzag index w * kWordBits + k, whose coefficient is
//     orderInWord(order, w)(k)
//     firstIndex(word)         the least index of a word that is not 0
//     throughLast(word)        all indices up to the greatest one of a word
#pragma once

#include <cstdint>

#include "cpu/isa.h"
#include "progressive/ac_packers/plain.h"
#include "progressive/packed_stream.h"
#include "progressive/record_writers.h"
#ifdef __ARM_NEON
#include "tables/block_coder/zigzag_neon.h"
#else
#include "progressive/ac_packers/mask_words_x86.h"
#include "tables/block_coder/zigzag_x86.h"
#endif

namespace vela::VELA_ISA {
namespace {

inline void packByte(uint8_t*& out, uint32_t byte) {
    *out++ = static_cast<uint8_t>(byte);
}

inline void packSymbol(uint8_t*& out, uint32_t* counts, uint32_t symbol) {
    counts[symbol]++;
    packByte(out, symbol);
}

inline uint32_t magnitudeOf(int32_t value) {
    return static_cast<uint32_t>(value < 0 ? -value : value);
}

/// T.81 G.1.2.2 on magnitudes without their lowest bit.
template <class Order>
void packFirst(const Order& order, const CoefficientMasks& masks, const AcScan& scan) {
    uint32_t* const counts = scan.counts;
    uint8_t* out = scan.buffer->cursor;
    int32_t next = 1; // counted from the word's first index on, as k is: at the end 0 is after 63
    for (int32_t w = 0; w < kMaskWords; w++, next -= kWordBits) {
        Word left = maskWord(masks.nonZero, w) & ~maskWord(masks.ones, w);
        if (left != 0 && scan.coder->eobRun > 0) {
            packEobRun(*scan.buffer, counts, *scan.coder);
            out = scan.buffer->cursor;
        }
        const auto& coefficients = orderInWord(order, w);
        while (left != 0) {
            const int32_t k = firstIndex(left);
            left &= ~bitOf(k);
            int32_t run = k - next;
            next = k + 1;
            for (; __builtin_expect(run > 15, false); run -= 16)
                packSymbol(out, counts, kSymbolZrl);
            const int32_t value = coefficients(k);
            const uint32_t magnitude = magnitudeOf(value) >> 1;
            const int32_t size = 32 - __builtin_clz(magnitude);
            const uint32_t bits = (value < 0 ? ~magnitude : magnitude) & ((1u << size) - 1);
            packSymbol(out, counts, static_cast<uint32_t>(16 * run + size));
            if (__builtin_expect(size > 8, false))
                packByte(out, bits >> 8);
            packByte(out, bits);
        }
    }
    scan.buffer->cursor = out;
    if (next < 0 && ++scan.coder->eobRun == kMaxEobRun)
        packFullEobRun(*scan.buffer, counts, *scan.coder);
}

/// A block's own correction bits since its last symbol, 63 at the most, of which the last is bit 0.
struct OwnCorrections {
    uint64_t bits = 0;
    int32_t count = 0;

    void pack(uint8_t*& out) {
        if (count == 0)
            return;
        packByte(out, PACK_ESC_BITS8);
        packByte(out, static_cast<uint32_t>(count));
        for (int32_t shift = (count - 1) & ~7; __builtin_expect(shift > 0, false); shift -= 8)
            packByte(out, static_cast<uint32_t>(bits >> shift));
        packByte(out, static_cast<uint32_t>(bits));
        bits = 0;
        count = 0;
    }
};

/// T.81 G.1.2.3 on lowest bits. Coefficients of magnitude 1 become non-zero; after the last one no
/// run is written, and correction bits are left pending.
template <class Order>
void packRefine(const Order& order, const CoefficientMasks& masks, const AcScan& scan) {
    ScanCoderState& coder = *scan.coder;
    uint32_t* const counts = scan.counts;
    Word anyNew = 0;
    for (int32_t w = 0; w < kMaskWords; w++)
        anyNew |= maskWord(masks.ones, w);
    if (anyNew != 0 && coder.eobRun > 0)
        packPending(*scan.buffer, counts, coder);

    uint8_t* out = scan.buffer->cursor;
    uint8_t* pending = coder.correctionBits + coder.correctionCount;
    OwnCorrections own;
    int32_t next = 1; // as above
    int32_t run = 0;
    for (int32_t w = 0; w < kMaskWords; w++, next -= kWordBits) {
        const Word nonZero = maskWord(masks.nonZero, w);
        const Word ones = maskWord(masks.ones, w);
        const bool newLater = w + 1 < kMaskWords && maskWord(masks.ones, w + 1) != 0;
        Word left = newLater ? nonZero : nonZero & throughLast(ones);
        Word late = nonZero & ~left;
        const auto& coefficients = orderInWord(order, w);
        while (left != 0) {
            const int32_t k = firstIndex(left);
            const Word bit = bitOf(k);
            left &= ~bit;
            run += k - next;
            next = k + 1;
            for (; __builtin_expect(run > 15, false); run -= 16) {
                packSymbol(out, counts, kSymbolZrl);
                own.pack(out);
            }
            const auto value = static_cast<uint32_t>(coefficients(k));
            if ((ones & bit) == 0) {
                own.bits = (own.bits << 1) | (value & 1);
                own.count++;
                continue;
            }
            packSymbol(out, counts, static_cast<uint32_t>(16 * run + 1));
            packByte(out, (value >> 31) ^ 1);
            own.pack(out);
            run = 0;
        }
        while (late != 0) {
            const int32_t k = firstIndex(late);
            late &= ~bitOf(k);
            *pending++ = static_cast<uint8_t>(coefficients(k) & 1);
        }
    }
    scan.buffer->cursor = out;
    if (next < 0) {
        coder.eobRun++;
        coder.correctionCount = static_cast<int32_t>(pending - coder.correctionBits);
        if (coder.correctionCount > kMaxPendingCorrections || coder.eobRun >= kMaxEobRun)
            packPending(*scan.buffer, counts, coder);
    }
}

template <class Scan>
void packMasked(const int16_t* block, const AcScan& first, const AcScan& refine) {
    typename Scan::Order order;
    const CoefficientMasks masks = Scan::masks(block, order);
    packFirst(order, masks, first);
    packRefine(order, masks, refine);
}

} // namespace
} // namespace vela::VELA_ISA
