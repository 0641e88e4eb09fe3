// Conversion of packed pixels on x86 vectors. Rounding is that of the plain version (packed_plain.cpp),
// and so are the results.
//
// The weights of chrominance add up to 0, so that it follows from two differences instead of three colours:
//
//     256 Cb = 128 (B - G) - 43 (R - G)
//     256 Cr = 128 (R - G) - 21 (B - G)
//
// A layout reads pixels as a Row, whose vectors have a 16-bit element per pixel:
//
//     Row128        8 pixels of a row
//     Row256        16 pixels of a row
//     TwoRows256    8 pixels of each of two rows, one row to a lane
#pragma once

#include <cstddef>

#include "cpu/table.h"
#include "cpu/vectors_x86.h"
#include "pixel/input/color_weights.h"

namespace vela::VELA_ISA {
namespace {

/// Luminance, level-shifted, and the differences of which chrominance is made.
template <class V>
struct Pixels {
    V luma, blueGreen, redGreen; // B - G and R - G
};

static_assert(kCbWeights.r + kCbWeights.g + kCbWeights.b == 0);
static_assert(kCrWeights.r + kCrWeights.g + kCrWeights.b == 0);

// -------------------------------------------------------------------------------------------- rows

/// Shuffle control for four pixels of three bytes, the first at byte `start`:
///
///     from:  B0 G0 R0 B1 G1 R1 B2 G2 R2 B3 G3 R3  .  .  .  .
///     to:    B0 G0 B1 G1 B2 G2 B3 G3 R0 G0 R1 G1 R2 G2 R3 G3
template <int32_t start>
constexpr Table<int8_t, 16> kPairsWithGreen = makeTable<int8_t, 16>([](int32_t byte) {
    const int32_t pixel = byte % 8 / 2;
    const bool green = byte % 2 == 1;
    return start + 3 * pixel + (green ? 1 : byte < 8 ? 0 : 2);
});

template <int32_t start>
VELA_INLINE V128 pairsWithGreen() {
    return V128::load(kPairsWithGreen<start>.of);
}

/// Pixels of bytes with green: eight pairs to a lane.
template <class V>
struct BytePairs {
    V blue, red; // B0 G0 B1 G1 .. and R0 G0 R1 G1 ..

    /// From the first and the second four pixels of each lane, as kPairsWithGreen orders them.
    VELA_INLINE BytePairs(V first, V second)
        : blue(unpackLow64(first, second)), red(unpackHigh64(first, second)) {}
};

/// Eight pixels of a row.
struct Row128 {
    using V = V128;
    static constexpr int32_t pixels = 8;
    static constexpr int32_t rows = 1;

    VELA_INLINE static V readWords(const uint8_t* from, ptrdiff_t) { return V::load(from); }

    /// 24 bytes: pixels 0..3 in bytes 0..11 of the first load, 4..7 in bytes 4..15 of the second.
    VELA_INLINE static BytePairs<V> readTriples(const uint8_t* from, ptrdiff_t) {
        return {shuffle8(V::load(from), pairsWithGreen<0>()),
                shuffle8(V::load(from + 8), pairsWithGreen<4>())};
    }

    VELA_INLINE static void storeLuma(int16_t* to, V x) { x.store(to); }

    /// Four samples each.
    VELA_INLINE static void storeChroma(V cb32, V cr32, int16_t* cb, int16_t* cr) {
        const V packed = packSaturated32(cb32, cr32); // cb 0..3, cr 0..3
        packed.storeLow64(cb);
        packed.storeHigh64(cr);
    }
};

#ifdef __AVX2__
/// Sixteen pixels of a row.
struct Row256 {
    using V = V256;
    static constexpr int32_t pixels = 16;

    VELA_INLINE static V readWords(const uint8_t* from, ptrdiff_t) { return V::load(from); }

    /// 48 bytes, four pixels from each of four loads; the last one starts four bytes early, so as not
    /// to reach past the sixteenth pixel.
    ///
    ///     first:   | pixels 0..3, 4 bytes | pixels 8..11, 4 bytes  |
    ///     second:  | pixels 4..7, 4 bytes | 4 bytes, pixels 12..15 |
    VELA_INLINE static BytePairs<V> readTriples(const uint8_t* from, ptrdiff_t) {
        const V first = V::join(V128::load(from), V128::load(from + 24));
        const V second = V::join(V128::load(from + 12), V128::load(from + 32));
        return {shuffle8(first, V::toAllLanes(pairsWithGreen<0>())),
                shuffle8(second, V::join(pairsWithGreen<0>(), pairsWithGreen<4>()))};
    }

    /// To two blocks side by side.
    VELA_INLINE static void storeLuma(int16_t* to, V x) {
        x.low().store(to);
        x.high().store(to + 64);
    }

    /// Eight samples each.
    VELA_INLINE static void storeChroma(V cb32, V cr32, int16_t* cb, int16_t* cr) {
        // | cb 0..3, cr 0..3 | cb 4..7, cr 4..7 |  to  | cb 0..7 | cr 0..7 |
        const V packed = {_mm256_permute4x64_epi64(packSaturated32(cb32, cr32).raw, 0xD8)};
        packed.low().store(cb);
        packed.high().store(cr);
    }
};

/// Eight pixels of each of two rows, a row to a lane, as Row128 has them.
struct TwoRows256 {
    using V = V256;
    static constexpr int32_t rows = 2;

    VELA_INLINE static V readWords(const uint8_t* from, ptrdiff_t step) {
        return V::join(V128::load(from), V128::load(from + step));
    }

    VELA_INLINE static BytePairs<V> readTriples(const uint8_t* from, ptrdiff_t step) {
        return {shuffle8(readWords(from, step), V::toAllLanes(pairsWithGreen<0>())),
                shuffle8(readWords(from + 8, step), V::toAllLanes(pairsWithGreen<4>()))};
    }
};

using WidestRow = Row256;
using WidestOfEight = TwoRows256;
#else
using WidestRow = Row128;
using WidestOfEight = Row128;
#endif

// ------------------------------------------------------------------------------------ pixel layouts

/// Level-shifted luminance from 256 times it, which takes all 16 bits.
template <class V>
VELA_INLINE V lumaOf(V sum) {
    return sub16(shiftRight16<8>(sum), V::set16(128));
}

/// The weights of a pair of bytes, as a 16-bit element.
constexpr int32_t pairWeights(int32_t first, int32_t green) {
    return (first & 0xFF) | (green & 0xFF) << 8;
}

struct Bgr888 {
    static constexpr int32_t bytes = 3;

    template <class Row>
    VELA_INLINE static Pixels<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        using V = typename Row::V;
        const BytePairs<V> pairs = Row::readTriples(pixels, step);
        // The instruction's sum of two products saturates at 32767. Green's weight is shared out, so that
        // the weights of neither pair add up to more than 128.
        constexpr int32_t kGreenOfBlue = 99, kGreenOfRed = kLumaWeights.g - kGreenOfBlue;
        static_assert(255 * (kLumaWeights.b + kGreenOfBlue) <= 32767 && kGreenOfBlue < 128);
        static_assert(255 * (kLumaWeights.r + kGreenOfRed) <= 32767 && kGreenOfRed < 128);
        const V blue = V::set16(pairWeights(kLumaWeights.b, kGreenOfBlue));
        const V red = V::set16(pairWeights(kLumaWeights.r, kGreenOfRed));
        const V difference = V::set16(pairWeights(1, -1));
        return {
            lumaOf(add16(multiplyAddPairs8(pairs.blue, blue), multiplyAddPairs8(pairs.red, red))),
            multiplyAddPairs8(pairs.blue, difference), multiplyAddPairs8(pairs.red, difference)};
    }
};

/// From red, green and blue, 0..255.
template <class V>
VELA_INLINE Pixels<V> pixelsOf(V r, V g, V b) {
    const V sum = add16(add16(multiplyLow16(r, V::set16(kLumaWeights.r)),
                              multiplyLow16(g, V::set16(kLumaWeights.g))),
                        multiplyLow16(b, V::set16(kLumaWeights.b)));
    return {lumaOf(sum), sub16(b, g), sub16(r, g)};
}

/// The bits of a field, as mask says, after a shift to the left (or, negative, to the right).
template <int32_t shift, class V>
VELA_INLINE V field(V words, int32_t mask) {
    if constexpr (shift >= 0)
        return shiftLeft16<shift>(words) & V::set16(mask);
    else
        return shiftRight16<-shift>(words) & V::set16(mask);
}

struct Bgr565 {
    static constexpr int32_t bytes = 2;
    template <class Row>
    VELA_INLINE static Pixels<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        const auto words = Row::readWords(pixels, step); // rrrrrggg gggbbbbb
        return pixelsOf(field<-8>(words, 0xF8), field<-3>(words, 0xFC), field<3>(words, 0xF8));
    }
};

struct Bgr555 {
    static constexpr int32_t bytes = 2;
    template <class Row>
    VELA_INLINE static Pixels<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        const auto words = Row::readWords(pixels, step); // .rrrrrgg gggbbbbb
        return pixelsOf(field<-7>(words, 0xF8), field<-2>(words, 0xF8), field<3>(words, 0xF8));
    }
};

// --------------------------------------------------------------------------------------- conversion

/// 128 x - weight y of one pixel: within 16 bits, as chrominance is within +-127.5.
template <int32_t weight, class V>
VELA_INLINE V chroma(V x, V y) {
    return shiftRightSigned16<8>(sub16(shiftLeft16<7>(x), multiplyLow16(y, V::set16(weight))));
}

/// The same of neighbouring pixels together, in 32 bits, shifted right.
template <int32_t weight, int32_t shift, class V>
VELA_INLINE V chromaOfPairs(V x, V y) {
    return shiftRightSigned32<shift>(
        add32(multiplyAddPairs(x, V::set16(128)), multiplyAddPairs(y, V::set16(-weight))));
}

static_assert(kCbWeights.b == 128 && kCrWeights.r == 128);
constexpr int32_t kCbRed = -kCbWeights.r;
constexpr int32_t kCrBlue = -kCrWeights.b;

/// One chroma sample of each component for every two elements.
template <class Row, int32_t shift>
VELA_INLINE void storeChromaOfPairs(typename Row::V blueGreen, typename Row::V redGreen,
                                    int16_t* cb, int16_t* cr) {
    Row::storeChroma(chromaOfPairs<kCbRed, shift>(blueGreen, redGreen),
                     chromaOfPairs<kCrBlue, shift>(redGreen, blueGreen), cb, cr);
}

template <class Layout>
void convert444(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    using Row = WidestOfEight;
    const auto* pixels = static_cast<const uint8_t*>(src);
    const ptrdiff_t step = srcStep;
    for (int32_t y = 0; y < 8; y += Row::rows, pixels += Row::rows * step) {
        const auto p = Layout::template read<Row>(pixels, step);
        p.luma.store(dst[0] + 8 * y);
        chroma<kCbRed>(p.blueGreen, p.redGreen).store(dst[1] + 8 * y);
        chroma<kCrBlue>(p.redGreen, p.blueGreen).store(dst[2] + 8 * y);
    }
}

template <class Layout>
void convert422(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    using Row = WidestRow;
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++) {
        for (int32_t x = 0; x < 16; x += Row::pixels) {
            const auto p =
                Layout::template read<Row>(corner + ptrdiff_t{y} * srcStep + x * Layout::bytes, 0);
            Row::storeLuma(dst[0] + 8 * x + 8 * y, p.luma);
            storeChromaOfPairs<Row, 9>(p.blueGreen, p.redGreen, dst[1] + 8 * y + x / 2,
                                       dst[2] + 8 * y + x / 2);
        }
    }
}

/// 4:2:0: two rows at a time.
template <class Layout>
void convert420(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    using Row = WidestRow;
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y++) {
        int16_t* const lumaRow = dst[0] + (y / 4) * 128 + (2 * y % 8) * 8;
        for (int32_t x = 0; x < 16; x += Row::pixels) {
            const uint8_t* const upper = corner + ptrdiff_t{2 * y} * srcStep + x * Layout::bytes;
            const auto p = Layout::template read<Row>(upper, 0);
            const auto q = Layout::template read<Row>(upper + srcStep, 0);
            Row::storeLuma(lumaRow + 8 * x, p.luma);
            Row::storeLuma(lumaRow + 8 * x + 8, q.luma);
            storeChromaOfPairs<Row, 10>(add16(p.blueGreen, q.blueGreen),
                                        add16(p.redGreen, q.redGreen), dst[1] + 8 * y + x / 2,
                                        dst[2] + 8 * y + x / 2);
        }
    }
}

} // namespace
} // namespace vela::VELA_ISA
