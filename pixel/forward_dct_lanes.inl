// The forward transform on vectors of 16-bit elements, several blocks at once: one block per 128-bit
// lane. Included by each instruction set's file, inside its anonymous namespace, with an Isa that
// names the operations on its vector type V. The functions are inlined, so that a compiler sees where
// wide registers have been used and cleans their upper halves up before other code runs.
//
// Steps and constants are those of the plain version (pixel/forward_dct.cpp), and so are the results
// for level-shifted samples. Two of the steps are written differently:
//
// - The product floor(x * c / 2^15) is the upper half of x * 2c. Where 2c does not fit 16 bits the
//   factor is 2c - 2^16, and x is added back: floor(x * (2c - 2^16) / 2^16) + x.
// - Quantization scales each coefficient by 2^shift in 16 bits before one multiplication takes the
//   upper half. No coefficient gets above 23400 that way: 128 * 8 a(u) a(v) times the sums of the
//   magnitudes of the two basis functions, times the power of two, is at most 23329.

/// floor(x * c / 2^15) for a constant 0 < c < 2^15.
template <class Isa, int32_t c>
typename Isa::V mulQ15(typename Isa::V x) {
    if constexpr (2 * c < 32768)
        return Isa::mulHigh(x, Isa::set1(2 * c));
    else
        return Isa::add(Isa::mulHigh(x, Isa::set1(2 * c - 65536)), x);
}

/// One 8-point transform: output k becomes d[k], in all elements alike.
template <class Isa>
[[gnu::always_inline]] inline void transform8(typename Isa::V d[8]) {
    using V = typename Isa::V;
    const V t0 = Isa::add(d[0], d[7]);
    const V t7 = Isa::sub(d[0], d[7]);
    const V t1 = Isa::add(d[1], d[6]);
    const V t6 = Isa::sub(d[1], d[6]);
    const V t2 = Isa::add(d[2], d[5]);
    const V t5 = Isa::sub(d[2], d[5]);
    const V t3 = Isa::add(d[3], d[4]);
    const V t4 = Isa::sub(d[3], d[4]);

    const V t10 = Isa::add(t0, t3);
    const V t13 = Isa::sub(t0, t3);
    const V t11 = Isa::add(t1, t2);
    const V t12 = Isa::sub(t1, t2);
    const V z1 = mulQ15<Isa, vela::kCosPi4>(Isa::add(t12, t13));
    d[0] = Isa::add(t10, t11);
    d[4] = Isa::sub(t10, t11);
    d[2] = Isa::add(t13, z1);
    d[6] = Isa::sub(t13, z1);

    const V p10 = Isa::add(t4, t5);
    const V p11 = Isa::add(t5, t6);
    const V p12 = Isa::add(t6, t7);
    const V z5 = mulQ15<Isa, vela::kSinPi8>(Isa::sub(p10, p12));
    const V z2 = Isa::add(mulQ15<Isa, vela::kDifference>(p10), z5);
    const V z4 = Isa::add(mulQ15<Isa, vela::kHalfSum>(Isa::addSaturated(p12, p12)), z5);
    const V z3 = mulQ15<Isa, vela::kCosPi4>(p11);
    const V z11 = Isa::add(t7, z3);
    const V z13 = Isa::sub(t7, z3);
    d[5] = Isa::add(z13, z2);
    d[3] = Isa::sub(z13, z2);
    d[1] = Isa::add(z11, z4);
    d[7] = Isa::sub(z11, z4);
}

/// Transposes the 8 x 8 elements of each lane. Names: row and column digits, as they stand in a lane.
template <class Isa>
[[gnu::always_inline]] inline void transposeLanes(typename Isa::V d[8]) {
    using V = typename Isa::V;
    const V a0 = Isa::unpackLow16(d[0], d[1]);  // 00 10 01 11 02 12 03 13
    const V a1 = Isa::unpackHigh16(d[0], d[1]); // 04 14 05 15 06 16 07 17
    const V a2 = Isa::unpackLow16(d[2], d[3]);  // 20 30 21 31 22 32 23 33
    const V a3 = Isa::unpackHigh16(d[2], d[3]); // 24 34 25 35 26 36 27 37
    const V a4 = Isa::unpackLow16(d[4], d[5]);
    const V a5 = Isa::unpackHigh16(d[4], d[5]);
    const V a6 = Isa::unpackLow16(d[6], d[7]);
    const V a7 = Isa::unpackHigh16(d[6], d[7]);
    const V b0 = Isa::unpackLow32(a0, a2);  // 00 10 20 30 01 11 21 31
    const V b1 = Isa::unpackHigh32(a0, a2); // 02 12 22 32 03 13 23 33
    const V b2 = Isa::unpackLow32(a1, a3);  // 04 14 24 34 05 15 25 35
    const V b3 = Isa::unpackHigh32(a1, a3); // 06 16 26 36 07 17 27 37
    const V b4 = Isa::unpackLow32(a4, a6);  // 40 50 60 70 41 51 61 71
    const V b5 = Isa::unpackHigh32(a4, a6);
    const V b6 = Isa::unpackLow32(a5, a7);
    const V b7 = Isa::unpackHigh32(a5, a7);
    d[0] = Isa::unpackLow64(b0, b4); // 00 10 20 30 40 50 60 70
    d[1] = Isa::unpackHigh64(b0, b4);
    d[2] = Isa::unpackLow64(b1, b5);
    d[3] = Isa::unpackHigh64(b1, b5);
    d[4] = Isa::unpackLow64(b2, b6);
    d[5] = Isa::unpackHigh64(b2, b6);
    d[6] = Isa::unpackLow64(b3, b7);
    d[7] = Isa::unpackHigh64(b3, b7);
}

/// Powers of two by which the coefficients of horizontal frequency u are scaled up, for v = 0..7.
template <class Isa>
typename Isa::V preScale(int32_t u) {
    return u == 7 ? Isa::setLanes(2, 8) : u >= 5 ? Isa::setLanes(1, 4) : Isa::setLanes(1, 2);
}

/// Transforms and quantizes Isa::blocks blocks in place. The same block may be given more than once.
template <class Isa>
[[gnu::always_inline]] inline void transformBlocks(int16_t* const blocks[], const int16_t* quant) {
    typename Isa::V d[8];
    for (int32_t y = 0; y < 8; y++)
        d[y] = Isa::load(blocks, 8 * y);
    transform8<Isa>(d);
    transposeLanes<Isa>(d);
    transform8<Isa>(d);
    for (int32_t u = 0; u < 8; u++) {
        const typename Isa::V scaled = Isa::multiply(d[u], preScale<Isa>(u));
        const typename Isa::V product = Isa::mulHigh(scaled, Isa::loadToAll(quant + 8 * u));
        Isa::store(blocks, 8 * u, Isa::halve(Isa::add(product, Isa::set1(1))));
    }
}

/// Fewer blocks than Isa takes.
template <class Isa>
void transformRest(int16_t* blocks[], int32_t count, const int16_t* quant) {
    using Half = typename Isa::Half;
    if (count > Half::blocks) { // the lanes left over do the last block's work once more
        for (int32_t i = count; i < Isa::blocks; i++)
            blocks[i] = blocks[count - 1];
        transformBlocks<Isa>(blocks, quant);
    } else if (count == Half::blocks) {
        transformBlocks<Half>(blocks, quant);
    } else if constexpr (Half::blocks > 1) {
        transformRest<Half>(blocks, count, quant);
    }
}

/// Blocks first..end - 1 of each MCU, which share their reciprocals, Isa::blocks at a time.
template <class Isa>
void transformAlike(const vela::BlockSpec& blocks, int32_t mcuCount, int32_t first, int32_t end) {
    int16_t* group[Isa::blocks];
    int32_t grouped = 0;
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = first; i < end; i++) {
            group[grouped++] = blockOf(blocks, mcu, i);
            if (grouped == Isa::blocks) {
                transformBlocks<Isa>(group, blocks.blockQuant[first]);
                grouped = 0;
            }
        }
    if constexpr (Isa::blocks > 1)
        transformRest<Isa>(group, grouped, blocks.blockQuant[first]);
}

template <class Isa>
void transformMcus(const vela::BlockSpec& blocks, int32_t mcuCount) {
    const int32_t luma = blocks.blockCount - blocks.chromaBlocks;
    transformAlike<Isa>(blocks, mcuCount, 0, luma);
    transformAlike<Isa>(blocks, mcuCount, luma, blocks.blockCount);
}
