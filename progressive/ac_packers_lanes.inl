// The AC packers that visit non-zero coefficients alone. Included by each instruction set's file,
// inside its anonymous namespace, behind words of masks and with an Isa that finds them:
//
//     CoefficientMasks Isa::masks(const int16_t* block, Isa::Order& order)
//
// (of the AC coefficients alone). Word w, of kMaskWords, of a mask is maskWord(mask, w), in which
// bitOf(k) stands for zigzag index w * kWordBits + k, whose coefficient is orderInWord(order,
// w)(k); firstIndex(word) is the least index of a word that is not 0, and throughLast(word) has the
// indices up to its greatest one. The records are those of the plain packers
// (progressive/block_packers.cpp).

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
void packFirst(const Order& order, const CoefficientMasks& masks, const vela::AcScan& scan) {
    uint32_t* const counts = scan.counts;
    uint8_t* out = scan.buffer->cursor;
    int32_t next = 1; // counted from the word's first index on, as k is: at the end 0 is behind 63
    for (int32_t w = 0; w < kMaskWords; w++, next -= kWordBits) {
        Word left = maskWord(masks.nonZero, w) & ~maskWord(masks.ones, w);
        if (left != 0 && scan.coder->eobRun > 0) {
            vela::packEobRun(*scan.buffer, counts, *scan.coder);
            out = scan.buffer->cursor;
        }
        const auto& coefficients = orderInWord(order, w);
        while (left != 0) {
            const int32_t k = firstIndex(left);
            left &= ~bitOf(k);
            int32_t run = k - next;
            next = k + 1;
            for (; __builtin_expect(run > 15, false); run -= 16)
                packSymbol(out, counts, vela::kSymbolZrl);
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
    if (next < 0 && ++scan.coder->eobRun == vela::kMaxEobRun)
        vela::packFullEobRun(*scan.buffer, counts, *scan.coder);
}

/// A block's own correction bits since its last symbol, 63 at the most, of which the last is bit 0.
struct OwnCorrections {
    uint64_t bits = 0;
    int32_t count = 0;

    void pack(uint8_t*& out) {
        if (count == 0)
            return;
        packByte(out, vela::PACK_ESC_BITS8);
        packByte(out, static_cast<uint32_t>(count));
        for (int32_t shift = (count - 1) & ~7; __builtin_expect(shift > 0, false); shift -= 8)
            packByte(out, static_cast<uint32_t>(bits >> shift));
        packByte(out, static_cast<uint32_t>(bits));
        bits = 0;
        count = 0;
    }
};

/// T.81 G.1.2.3 on lowest bits. Coefficients of magnitude 1 become non-zero; behind the last one no
/// run is written, and correction bits are left pending.
template <class Order>
void packRefine(const Order& order, const CoefficientMasks& masks, const vela::AcScan& scan) {
    vela::ScanCoderState& coder = *scan.coder;
    uint32_t* const counts = scan.counts;
    Word anyNew = 0;
    for (int32_t w = 0; w < kMaskWords; w++)
        anyNew |= maskWord(masks.ones, w);
    if (anyNew != 0 && coder.eobRun > 0)
        vela::packPending(*scan.buffer, counts, coder);

    uint8_t* out = scan.buffer->cursor;
    uint8_t* pending = coder.correctionBits + coder.correctionCount;
    OwnCorrections own;
    int32_t next = 1; // as above
    int32_t run = 0;
    for (int32_t w = 0; w < kMaskWords; w++, next -= kWordBits) {
        const Word nonZero = maskWord(masks.nonZero, w);
        const Word ones = maskWord(masks.ones, w);
        const bool newBehind = w + 1 < kMaskWords && maskWord(masks.ones, w + 1) != 0;
        Word left = newBehind ? nonZero : nonZero & throughLast(ones);
        Word late = nonZero & ~left;
        const auto& coefficients = orderInWord(order, w);
        while (left != 0) {
            const int32_t k = firstIndex(left);
            const Word bit = bitOf(k);
            left &= ~bit;
            run += k - next;
            next = k + 1;
            for (; __builtin_expect(run > 15, false); run -= 16) {
                packSymbol(out, counts, vela::kSymbolZrl);
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
        if (coder.correctionCount > vela::kMaxPendingCorrections ||
            coder.eobRun >= vela::kMaxEobRun)
            vela::packPending(*scan.buffer, counts, coder);
    }
}

template <class Isa>
void packAc(const int16_t* block, const vela::AcScan& first, const vela::AcScan& refine) {
    typename Isa::Order order;
    const CoefficientMasks masks = Isa::masks(block, order);
    packFirst(order, masks, first);
    packRefine(order, masks, refine);
}
