// Conversion of packed pixels on x86 vectors. Rounding is that of the plain version (packed_plain.cpp),
// and so are the results.
//
// Pixels are taken as a Row: a vector of 16-bit elements, one per pixel, for each of blue, green and red.
//
//     Row128      8 pixels of a row
//     Row256      16 pixels of a row
//     TwoRows256  8 pixels of each of two rows, one row to a lane
#pragma once

#include <cstddef>

#include "cpu/table.h"
#include "cpu/vectors_x86.h"
#include "pixel/input/color_weights.h"

namespace vela::VELA_ISA {
namespace {

/// Red, green and blue, 0..255, or sums of them.
template <class V>
struct Rgb {
    V r, g, b;
};

// ------------------------------------------------------------------------------------------ loading

/// Shuffle control that puts byte `channel` of four pixels, the first at byte `start`, into four 16-bit
/// elements from element `to` on, and zeros into the other four. With start = 0, channel = 1, to = 0:
///
///     from:  B0 G0 R0 B1 G1 R1 B2 G2 R2 B3 G3 R3  .  .  .  .
///     to:    G0  0 G1  0 G2  0 G3  0  0  0  0  0  0  0  0  0
template <int32_t start, int32_t channel, int32_t to>
constexpr Table<int8_t, 16> kEveryThird = makeTable<int8_t, 16>([](int32_t byte) {
    const int32_t element = byte / 2 - to;
    const bool taken = byte % 2 == 0 && element >= 0 && element < 4;
    return taken ? start + channel + 3 * element : -1;
});

template <int32_t start, int32_t channel, int32_t to>
VELA_INLINE V128 everyThird() {
    return V128::load(kEveryThird<start, channel, to>.of);
}

/// Eight pixels of a row.
struct Row128 {
    using V = V128;
    static constexpr int32_t pixels = 8;
    static constexpr int32_t rows = 1;

    static V readWords(const uint8_t* from, ptrdiff_t) { return V::load(from); }

    /// 24 bytes: pixels 0..3 in bytes 0..11 of the first load, 4..7 in bytes 4..15 of the second.
    static Rgb<V> readTriples(const uint8_t* from, ptrdiff_t) {
        const V first = V::load(from);
        const V second = V::load(from + 8);
        return {channel<2>(first, second), channel<1>(first, second), channel<0>(first, second)};
    }

    template <int32_t c>
    static V channel(V first, V second) {
        return shuffle8(first, everyThird<0, c, 0>()) | shuffle8(second, everyThird<4, c, 4>());
    }

    static void storeLuma(int16_t* to, V x) { x.store(to); }

    /// Four samples each.
    static void storeChroma(V cb32, V cr32, int16_t* cb, int16_t* cr) {
        const V packed = packSaturated32(cb32, cr32); // cb 0..3, cr 0..3
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), packed.raw);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cr), unpackHigh64(packed, packed).raw);
    }
};

#ifdef __AVX2__
/// Sixteen pixels of a row.
struct Row256 {
    using V = V256;
    static constexpr int32_t pixels = 16;

    static V readWords(const uint8_t* from, ptrdiff_t) { return V::load(from); }

    /// 48 bytes, four pixels from each of four loads; the last one starts four bytes early, so as not
    /// to reach past the sixteenth pixel.
    ///
    ///     first:   | pixels 0..3, 4 bytes | pixels 8..11, 4 bytes  |
    ///     second:  | pixels 4..7, 4 bytes | 4 bytes, pixels 12..15 |
    static Rgb<V> readTriples(const uint8_t* from, ptrdiff_t) {
        const V first = V::join(V128::load(from), V128::load(from + 24));
        const V second = V::join(V128::load(from + 12), V128::load(from + 32));
        return {channel<2>(first, second), channel<1>(first, second), channel<0>(first, second)};
    }

    template <int32_t c>
    static V channel(V first, V second) {
        return shuffle8(first, V::toAllLanes(everyThird<0, c, 0>())) |
               shuffle8(second, V::join(everyThird<0, c, 4>(), everyThird<4, c, 4>()));
    }

    /// To two blocks side by side.
    static void storeLuma(int16_t* to, V x) {
        x.low().store(to);
        x.high().store(to + 64);
    }

    /// Eight samples each.
    static void storeChroma(V cb32, V cr32, int16_t* cb, int16_t* cr) {
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

    static V readWords(const uint8_t* from, ptrdiff_t step) {
        return V::join(V128::load(from), V128::load(from + step));
    }

    static Rgb<V> readTriples(const uint8_t* from, ptrdiff_t step) {
        const V first = readWords(from, step);
        const V second = readWords(from + 8, step);
        return {channel<2>(first, second), channel<1>(first, second), channel<0>(first, second)};
    }

    template <int32_t c>
    static V channel(V first, V second) {
        return shuffle8(first, V::toAllLanes(everyThird<0, c, 0>())) |
               shuffle8(second, V::toAllLanes(everyThird<4, c, 4>()));
    }
};

using WidestRow = Row256;
using WidestOfEight = TwoRows256;
#else
using WidestRow = Row128;
using WidestOfEight = Row128;
#endif

// ------------------------------------------------------------------------------------ pixel layouts

struct Bgr888 {
    static constexpr int32_t bytes = 3;
    template <class Row>
    static Rgb<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        return Row::readTriples(pixels, step);
    }
};

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
    static Rgb<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        const auto words = Row::readWords(pixels, step); // rrrrrggg gggbbbbb
        return {field<-8>(words, 0xF8), field<-3>(words, 0xFC), field<3>(words, 0xF8)};
    }
};

struct Bgr555 {
    static constexpr int32_t bytes = 2;
    template <class Row>
    static Rgb<typename Row::V> read(const uint8_t* pixels, ptrdiff_t step) {
        const auto words = Row::readWords(pixels, step); // .rrrrrgg gggbbbbb
        return {field<-7>(words, 0xF8), field<-2>(words, 0xF8), field<3>(words, 0xF8)};
    }
};

// --------------------------------------------------------------------------------------- conversion

/// Weighed in 16 bits.
template <class V>
VELA_INLINE V weigh(const Rgb<V>& p, const ColorWeights& by) {
    return add16(add16(multiplyLow16(p.r, V::set16(by.r)), multiplyLow16(p.g, V::set16(by.g))),
                 multiplyLow16(p.b, V::set16(by.b)));
}

template <class V>
VELA_INLINE V luma(const Rgb<V>& p) { // the sum is at most 65280, unsigned
    return sub16(shiftRight16<8>(weigh(p, kLumaWeights)), V::set16(128));
}

/// Sums of neighbouring pixels, weighed, in 32 bits.
template <class V>
VELA_INLINE V weighPairs(const Rgb<V>& p, const ColorWeights& by) {
    return add32(
        add32(multiplyAddPairs(p.r, V::set16(by.r)), multiplyAddPairs(p.g, V::set16(by.g))),
        multiplyAddPairs(p.b, V::set16(by.b)));
}

/// One chroma sample for every two elements of p: Cb and Cr, shifted.
template <class Row, int32_t shift>
VELA_INLINE void storeChromaOfPairs(const Rgb<typename Row::V>& p, int16_t* cb, int16_t* cr) {
    Row::storeChroma(shiftRightSigned32<shift>(weighPairs(p, kCbWeights)),
                     shiftRightSigned32<shift>(weighPairs(p, kCrWeights)), cb, cr);
}

template <class Layout>
void convert444(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    using Row = WidestOfEight;
    const auto* pixels = static_cast<const uint8_t*>(src);
    const ptrdiff_t step = srcStep;
    for (int32_t y = 0; y < 8; y += Row::rows, pixels += Row::rows * step) {
        const auto p = Layout::template read<Row>(pixels, step);
        luma(p).store(dst[0] + 8 * y);
        shiftRightSigned16<8>(weigh(p, kCbWeights)).store(dst[1] + 8 * y);
        shiftRightSigned16<8>(weigh(p, kCrWeights)).store(dst[2] + 8 * y);
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
            Row::storeLuma(dst[0] + 8 * x + 8 * y, luma(p));
            storeChromaOfPairs<Row, 9>(p, dst[1] + 8 * y + x / 2, dst[2] + 8 * y + x / 2);
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
            Row::storeLuma(lumaRow + 8 * x, luma(p));
            Row::storeLuma(lumaRow + 8 * x + 8, luma(q));
            const Rgb<typename Row::V> sum = {add16(p.r, q.r), add16(p.g, q.g), add16(p.b, q.b)};
            storeChromaOfPairs<Row, 10>(sum, dst[1] + 8 * y + x / 2, dst[2] + 8 * y + x / 2);
        }
    }
}

} // namespace
} // namespace vela::VELA_ISA
