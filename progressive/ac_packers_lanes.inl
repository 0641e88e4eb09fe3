// The AC packers that visit non-zero coefficients alone. Included by each instruction set's file,
// inside its anonymous namespace, behind words of masks and with an Isa that finds them:
//
//     CoefficientMasks Isa::masks(const int16_t* block, Isa::Order& order)
//
// (of the AC coefficients alone); order(k) then is the coefficient of zigzag index k. Word w, of
// kMaskWords, of a mask is maskWord(mask, w), in which bitOf(k % kWordBits) stands for index k;
// firstIndex(word) is the least index of a word that is not 0. The records are those of the plain
// packers (progressive/block_packers.cpp).

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
    uint8_t* out = scan.buffer->cursor;
    int32_t next = 1;
    for (int32_t w = 0; w < kMaskWords; w++) {
        Word left = maskWord(masks.nonZero, w) & ~maskWord(masks.ones, w);
        if (left != 0 && scan.coder->eobRun > 0) {
            vela::packEobRun(*scan.buffer, scan.counts, *scan.coder);
            out = scan.buffer->cursor;
        }
        while (left != 0) {
            const int32_t inWord = firstIndex(left);
            left &= ~bitOf(inWord);
            const int32_t k = w * kWordBits + inWord;
            int32_t run = k - next;
            for (; run >= 16; run -= 16)
                packSymbol(out, scan.counts, vela::kSymbolZrl);
            const int32_t value = order(k);
            const uint32_t magnitude = magnitudeOf(value) >> 1;
            const int32_t size = 32 - __builtin_clz(magnitude);
            const uint32_t bits = (value < 0 ? ~magnitude : magnitude) & ((1u << size) - 1);
            packSymbol(out, scan.counts, static_cast<uint32_t>(16 * run + size));
            if (size > 8)
                packByte(out, bits >> 8);
            packByte(out, bits);
            next = k + 1;
        }
    }
    scan.buffer->cursor = out;
    if (next <= 63 && ++scan.coder->eobRun == vela::kMaxEobRun)
        vela::packFullEobRun(*scan.buffer, scan.counts, *scan.coder);
}

/// The count (0..63) correction bits of a block, of which the last is bit 0.
inline void packOwnCorrections(uint8_t*& out, uint64_t bits, int32_t count) {
    if (count == 0)
        return;
    packByte(out, vela::PACK_ESC_BITS8);
    packByte(out, static_cast<uint32_t>(count));
    for (int32_t shift = (count - 1) & ~7; shift > 0; shift -= 8)
        packByte(out, static_cast<uint32_t>(bits >> shift));
    packByte(out, static_cast<uint32_t>(bits));
}

/// T.81 G.1.2.3 on lowest bits.
template <class Order>
void packRefine(const Order& order, const CoefficientMasks& masks, const vela::AcScan& scan) {
    vela::ScanCoderState& coder = *scan.coder;
    Word anyNew = 0;
    for (int32_t w = 0; w < kMaskWords; w++)
        anyNew |= maskWord(masks.ones, w);
    if (anyNew != 0 && coder.eobRun > 0)
        vela::packPending(*scan.buffer, scan.counts, coder);

    uint8_t* out = scan.buffer->cursor;
    uint8_t* pending = coder.correctionBits + coder.correctionCount;
    int32_t next = 1;
    int32_t run = 0;
    uint64_t own = 0; // correction bits since the last symbol
    int32_t ownCount = 0;
    for (int32_t w = 0; w < kMaskWords; w++) {
        Word left = maskWord(masks.nonZero, w);
        Word ones = maskWord(masks.ones, w); // which become non-zero
        const bool onesBehind = w + 1 < kMaskWords && maskWord(masks.ones, w + 1) != 0;
        while (onesBehind ? left != 0 : ones != 0) {
            const int32_t inWord = firstIndex(left);
            const Word bit = bitOf(inWord);
            left &= ~bit;
            const int32_t k = w * kWordBits + inWord;
            run += k - next;
            next = k + 1;
            for (; run > 15; run -= 16) {
                packSymbol(out, scan.counts, vela::kSymbolZrl);
                packOwnCorrections(out, own, ownCount);
                own = 0;
                ownCount = 0;
            }
            const int32_t value = order(k);
            if ((ones & bit) == 0) {
                own = (own << 1) | (static_cast<uint32_t>(value) & 1);
                ownCount++;
                continue;
            }
            ones &= ~bit;
            packSymbol(out, scan.counts, static_cast<uint32_t>(16 * run + 1));
            packByte(out, value > 0 ? 1 : 0);
            packOwnCorrections(out, own, ownCount);
            own = 0;
            ownCount = 0;
            run = 0;
        }
        // No zero run is written behind the last new coefficient.
        while (left != 0) {
            const int32_t inWord = firstIndex(left);
            left &= ~bitOf(inWord);
            *pending++ = static_cast<uint8_t>(order(w * kWordBits + inWord) & 1);
        }
    }
    scan.buffer->cursor = out;
    if (next <= 63) {
        coder.eobRun++;
        coder.correctionCount = static_cast<int32_t>(pending - coder.correctionBits);
        if (coder.correctionCount > vela::kMaxPendingCorrections ||
            coder.eobRun >= vela::kMaxEobRun)
            vela::packPending(*scan.buffer, scan.counts, coder);
    }
}

template <class Isa>
void packAc(const int16_t* block, const vela::AcScan& first, const vela::AcScan& refine) {
    typename Isa::Order order;
    const CoefficientMasks masks = Isa::masks(block, order);
    packFirst(order, masks, first);
    packRefine(order, masks, refine);
}
