// The AC packers that visit non-zero coefficients alone. Included by each instruction set's file,
// inside its anonymous namespace, with an Isa that finds them:
//
//     CoefficientMasks Isa::masks(const int16_t* block, Isa::Order& order)
//
// (of the AC coefficients alone); order(k) then is the coefficient of zigzag index k. The records are those of the plain packers
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
void packFirst(const Order& order, uint64_t left, const vela::AcScan& scan) {
    uint8_t* out = scan.buffer->cursor;
    if (left != 0 && scan.coder->eobRun > 0) {
        vela::packEobRun(*scan.buffer, scan.counts, *scan.coder);
        out = scan.buffer->cursor;
    }
    int32_t next = 1;
    while (left != 0) {
        const int32_t k = __builtin_ctzll(left);
        left &= left - 1;
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
    scan.buffer->cursor = out;
    if (next <= 63 && ++scan.coder->eobRun == vela::kMaxEobRun)
        vela::packFullEobRun(*scan.buffer, scan.counts, *scan.coder);
}

/// T.81 G.1.2.3 on lowest bits; ones: magnitude 1, which become non-zero.
template <class Order>
void packRefine(const Order& order, uint64_t left, uint64_t ones, const vela::AcScan& scan) {
    Bitstream_JPEG& buffer = *scan.buffer;
    vela::ScanCoderState& coder = *scan.coder;
    uint8_t* own = coder.correctionBits + coder.correctionCount;
    int32_t ownCount = 0;
    int32_t run = 0;
    int32_t next = 1;
    while (left != 0) {
        const int32_t k = __builtin_ctzll(left);
        left &= left - 1;
        run += k - next;
        next = k + 1;
        const uint64_t newToCome = ones >> k;
        for (; run > 15 && newToCome != 0; run -= 16) {
            vela::packPending(buffer, scan.counts, coder);
            packSymbol(buffer.cursor, scan.counts, vela::kSymbolZrl);
            vela::packCorrectionBits(buffer, own, ownCount);
            own = coder.correctionBits;
            ownCount = 0;
        }
        if ((newToCome & 1) == 0) {
            own[ownCount++] = static_cast<uint8_t>(order(k) & 1);
            continue;
        }
        vela::packPending(buffer, scan.counts, coder);
        packSymbol(buffer.cursor, scan.counts, static_cast<uint32_t>(16 * run + 1));
        packByte(buffer.cursor, order(k) > 0 ? 1 : 0);
        vela::packCorrectionBits(buffer, own, ownCount);
        own = coder.correctionBits;
        ownCount = 0;
        run = 0;
    }
    if (next <= 63 || run > 0 || ownCount > 0) {
        coder.eobRun++;
        coder.correctionCount += ownCount;
        if (coder.correctionCount > vela::kMaxPendingCorrections ||
            coder.eobRun >= vela::kMaxEobRun)
            vela::packPending(buffer, scan.counts, coder);
    }
}

template <class Isa>
void packAc(const int16_t* block, const vela::AcScan& first, const vela::AcScan& refine) {
    typename Isa::Order order;
    const CoefficientMasks masks = Isa::masks(block, order);
    packFirst(order, masks.nonZero & ~masks.ones, first);
    packRefine(order, masks.nonZero, masks.ones, refine);
}
