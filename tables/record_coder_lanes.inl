// The baseline coder of whole MCUs on wide registers. Three steps, none of which branches on what a
// coefficient is:
//
// 1. Everything that has a code becomes a record of a value and of what else its code depends on, the
//    blocks' records behind each other. EOB and ZRL are records as well, of the zero coefficients that
//    they stand at.
// 2. As many records as a register has 32-bit elements become code words, which are joined by fours.
// 3. The words are put behind each other, eight bytes being stored for each, and the bytes of ones
//    among what that gives are stuffed on the way to the output.
//
// Included by each instruction set's file, inside its anonymous namespace, with an Isa that names the
// operations on its vector type V (tables/record_coder_x86.h), and with
//
//     int32_t Records::addBlock(int32_t count, const int16_t* block, int32_t predictor,
//                               uint8_t tables)
//
// What is coded is that of the plain version (tables/block_coder.cpp).

constexpr int32_t kMaxRecordBits = 16 + 11;

/// The code tables of MCUs: those of the first block, and those of the others that differ. They lie in
/// one piece of memory, so that one base reaches them all.
template <class Isa>
struct Tables {
    const uint32_t* base;
    typename Isa::V offsets; // in elements from base, by the table of a record's kind

    explicit Tables(const vela::BlockSpec& blocks) : base(blocks.blockAcTable[0]->entry) {
        const int32_t last = blocks.blockCount - 1;
        const auto offset = [this](const EncodeHuffmanSpec* table) {
            return static_cast<int32_t>(table->entry - base);
        };
        offsets = Isa::setLow(0, offset(blocks.blockDcTable[0]), offset(blocks.blockAcTable[last]),
                              offset(blocks.blockDcTable[last]));
    }
};

/// Bits on their way to memory, without stuffing. Of the eight bytes that a put stores only whole ones
/// are passed; the up to 7 bits behind them are stored again by the next.
struct BitJoiner {
    static constexpr int64_t kMaxLength = 56;

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

/// Code words with their lengths, in 64-bit elements.
template <class Isa>
struct Words {
    typename Isa::V bits;
    typename Isa::V lengths;
};

/// The code words of the records from `from` on, of which there are `left`, joined by pairs of up to
/// 2 * 27 bits.
template <class Isa>
Words<Isa> codePairs(const Records& records, int32_t from, int32_t left,
                     const Tables<Isa>& tables) {
    using V = typename Isa::V;
    const auto lanes = Isa::firstLanes(left);
    const V kinds = Isa::loadBytes(records.kinds + from);
    const V values = Isa::loadWords(records.values + from);
    const V sizes = Isa::significantBits(Isa::absolute(values));
    const V offsets = Isa::permute(tables.offsets, Isa::template shiftRight<4>(kinds));
    const V symbols =
        Isa::bitOr(Isa::bitAnd(Isa::template shiftLeft<4>(kinds), Isa::set1(0xF0)), sizes);
    const V entries = Isa::gather(tables.base, Isa::add(offsets, symbols), lanes);

    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1): the 2^size goes to the code.
    const V signs = Isa::template shiftRightSigned<31>(values); // -1 or 0
    const V codes = Isa::sub(Isa::bitAnd(entries, Isa::set1(0xFFFF)), signs);
    const V words =
        Isa::keep(lanes, Isa::add(Isa::shiftLeftBy(codes, sizes), Isa::add(values, signs)));
    const V lengths = Isa::keep(lanes, Isa::add(Isa::template shiftRight<16>(entries), sizes));

    // A 64-bit element:  | second word | first word |, the low half on the right, becomes
    //                    | 0 .. first word, second word |
    const V secondLengths = Isa::template shiftRight64<32>(lengths);
    return {Isa::bitOr(Isa::shiftLeft64By(Isa::lowHalves(words), secondLengths),
                       Isa::template shiftRight64<32>(words)),
            Isa::add(Isa::lowHalves(lengths), secondLengths)};
}

template <class Isa>
void putRecords(BitJoiner& joiner, const Records& records, int32_t from, int32_t left,
                const Tables<Isa>& tables) {
    constexpr int32_t kPairs = Isa::records / 2;
    alignas(64) uint64_t bits[kPairs];
    alignas(64) uint64_t lengths[kPairs];
    const Words<Isa> pairs = codePairs<Isa>(records, from, left, tables);
    const typename Isa::V secondLengths = Isa::upperOfTwo(pairs.lengths);
    const typename Isa::V fourLengths = Isa::add(pairs.lengths, secondLengths);
    if (__builtin_expect(Isa::anyLowerOfTwoAbove(fourLengths, BitJoiner::kMaxLength), false)) {
        Isa::store(bits, pairs.bits);
        Isa::store(lengths, pairs.lengths);
        for (int32_t i = 0; i < kPairs; i++)
            joiner.put(bits[i], lengths[i]);
        return;
    }
    Isa::store(bits, Isa::bitOr(Isa::shiftLeft64By(pairs.bits, secondLengths),
                                Isa::upperOfTwo(pairs.bits)));
    Isa::store(lengths, fourLengths);
    for (int32_t i = 0; i < kPairs; i += 2)
        joiner.put(bits[i], lengths[i]);
}

/// Copies bytes and puts a zero behind every byte of ones (T.81 F.1.2.3); may write Isa::bytes more.
/// Returns the end.
template <class Isa>
uint8_t* stuff(const uint8_t* from, const uint8_t* end, uint8_t* out) {
    while (from < end) {
        int64_t count = std::min<int64_t>(end - from, Isa::bytes);
        const uint64_t ones =
            _bzhi_u64(Isa::copyAndFindOnes(from, out), static_cast<uint32_t>(count));
        if (__builtin_expect(ones != 0, false)) {
            count = __builtin_ctzll(ones) + 1;
            out[count] = 0;
            out++;
        }
        from += count;
        out += count;
    }
    return out;
}

/// MCUs first..end - 1, of up to kMaxBlocksPerMcu blocks altogether.
template <class Isa>
int32_t encodeGroup(const vela::BlockSpec& blocks, int32_t first, int32_t end,
                    const Tables<Isa>& tables, uint8_t* dst, int32_t bitPosition) {
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

    uint8_t plain[(7 + kMaxRecords * kMaxRecordBits) / 8 + Isa::bytes];
    BitJoiner joiner{plain, 0, static_cast<uint64_t>(bitPosition % 8)};
    for (int32_t from = 0; from < count; from += Isa::records)
        putRecords<Isa>(joiner, records, from, count - from, tables);

    uint8_t* const out = dst + bitPosition / 8;
    if (bitPosition % 8 != 0)
        plain[0] = static_cast<uint8_t>(plain[0] | *out);
    uint8_t* const last = stuff<Isa>(plain, joiner.out, out);
    *last = *joiner.out;
    return static_cast<int32_t>(last - dst) * 8 + static_cast<int32_t>(joiner.held);
}

template <class Isa>
int32_t encodeMcus(const vela::BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                   int32_t bitPosition) {
    const Tables<Isa> tables(blocks);
    const int32_t atOnce = vela::kMaxBlocksPerMcu / blocks.blockCount;
    for (int32_t first = 0; first < mcuCount; first += atOnce)
        bitPosition = encodeGroup<Isa>(blocks, first, std::min(first + atOnce, mcuCount), tables,
                                       dst, bitPosition);
    return bitPosition;
}
