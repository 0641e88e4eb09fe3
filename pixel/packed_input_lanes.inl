// Conversion of packed pixels on x86 vectors. Included by each instruction set's file, inside its
// anonymous namespace, behind pixel/color_weights.h. Rounding is that of the plain version
// (pixel/packed_input.cpp), and so are the results.
//
// Row is a vector of 16-bit elements, one per pixel: 8 pixels of a row in 128 bits; in 256 bits 16 of
// a row, or 8 of each of two rows.

/// Red, green and blue, 0..255, or sums of them.
template <class Row>
struct Rgb {
    typename Row::V r, g, b;
};

struct Bgr888 {
    static constexpr int32_t bytes = 3;
    template <class Row>
    static Rgb<Row> read(const uint8_t* pixels, ptrdiff_t step) {
        return Row::readTriples(pixels, step);
    }
};

/// The bits of a field, as mask says, behind a shift to the left (or, negative, to the right).
template <class Row, int32_t shift>
typename Row::V field(typename Row::V words, int32_t mask) {
    if constexpr (shift >= 0)
        return Row::bitAnd(Row::template shiftLeft<shift>(words), Row::set1(mask));
    else
        return Row::bitAnd(Row::template shiftRight<-shift>(words), Row::set1(mask));
}

struct Bgr565 {
    static constexpr int32_t bytes = 2;
    template <class Row>
    static Rgb<Row> read(const uint8_t* pixels, ptrdiff_t step) {
        const typename Row::V words = Row::readWords(pixels, step);
        return {field<Row, -8>(words, 0xF8), field<Row, -3>(words, 0xFC),
                field<Row, 3>(words, 0xF8)};
    }
};

struct Bgr555 {
    static constexpr int32_t bytes = 2;
    template <class Row>
    static Rgb<Row> read(const uint8_t* pixels, ptrdiff_t step) {
        const typename Row::V words = Row::readWords(pixels, step);
        return {field<Row, -7>(words, 0xF8), field<Row, -2>(words, 0xF8),
                field<Row, 3>(words, 0xF8)};
    }
};

/// Weighed in 16 bits.
template <class Row>
typename Row::V weigh(const Rgb<Row>& p, const vela::ColorWeights& by) {
    return Row::add(
        Row::add(Row::multiply(p.r, Row::set1(by.r)), Row::multiply(p.g, Row::set1(by.g))),
        Row::multiply(p.b, Row::set1(by.b)));
}

template <class Row>
typename Row::V luma(const Rgb<Row>& p) { // the sum is at most 65280, unsigned
    return Row::sub(Row::template shiftRight<8>(weigh<Row>(p, vela::kLumaWeights)), Row::set1(128));
}

/// Sums of neighbouring pixels, weighed, in 32 bits.
template <class Row>
typename Row::V weighPairs(const Rgb<Row>& p, const vela::ColorWeights& by) {
    return Row::add32(Row::add32(Row::multiplyAddPairs(p.r, Row::set1(by.r)),
                                 Row::multiplyAddPairs(p.g, Row::set1(by.g))),
                      Row::multiplyAddPairs(p.b, Row::set1(by.b)));
}

/// One chroma sample for every two elements of p: Cb and Cr, shifted.
template <class Row, int32_t shift>
void storeChromaPairs(const Rgb<Row>& p, int16_t* cb, int16_t* cr) {
    Row::storePacked(Row::template shiftRight32<shift>(weighPairs<Row>(p, vela::kCbWeights)),
                     Row::template shiftRight32<shift>(weighPairs<Row>(p, vela::kCrWeights)), cb,
                     cr);
}

/// 4:4:4: Row covers Row::rows rows of 8 pixels.
template <class Layout, class Row>
void convert444(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* pixels = static_cast<const uint8_t*>(src);
    const ptrdiff_t step = srcStep;
    for (int32_t y = 0; y < 8; y += Row::rows, pixels += Row::rows * step) {
        const Rgb<Row> p = Layout::template read<Row>(pixels, step);
        Row::store(dst[0] + 8 * y, luma<Row>(p));
        Row::store(dst[1] + 8 * y,
                   Row::template shiftRightSigned<8>(weigh<Row>(p, vela::kCbWeights)));
        Row::store(dst[2] + 8 * y,
                   Row::template shiftRightSigned<8>(weigh<Row>(p, vela::kCrWeights)));
    }
}

/// 4:2:2: Row covers Row::pixels of a row's 16.
template <class Layout, class Row>
void convert422(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++) {
        for (int32_t x = 0; x < 16; x += Row::pixels) {
            const Rgb<Row> p =
                Layout::template read<Row>(corner + ptrdiff_t{y} * srcStep + x * Layout::bytes, 0);
            Row::storeLuma(dst[0] + 8 * x + 8 * y, luma<Row>(p));
            storeChromaPairs<Row, 9>(p, dst[1] + 8 * y + x / 2, dst[2] + 8 * y + x / 2);
        }
    }
}

/// 4:2:0: two rows at a time.
template <class Layout, class Row>
void convert420(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++) {
        int16_t* const lumaRow = dst[0] + (y / 4) * 128 + (2 * y % 8) * 8;
        for (int32_t x = 0; x < 16; x += Row::pixels) {
            const uint8_t* const upper = corner + ptrdiff_t{2 * y} * srcStep + x * Layout::bytes;
            const Rgb<Row> p = Layout::template read<Row>(upper, 0);
            const Rgb<Row> q = Layout::template read<Row>(upper + srcStep, 0);
            Row::storeLuma(lumaRow + 8 * x, luma<Row>(p));
            Row::storeLuma(lumaRow + 8 * x + 8, luma<Row>(q));
            const Rgb<Row> sum = {Row::add(p.r, q.r), Row::add(p.g, q.g), Row::add(p.b, q.b)};
            storeChromaPairs<Row, 10>(sum, dst[1] + 8 * y + x / 2, dst[2] + 8 * y + x / 2);
        }
    }
}
