// RGB to YCbCr on x86, with vectors of 128, 256 or 512 bits. A chunk is 16 pixels per lane of 128 bits, in
// four vectors.
#pragma once

#include "cpu/isa.h"
#include "cpu/table.h"
#include "cpu/vectors_x86.h"
#include "easy/colour/rows.h"
#include "easy/colour/weights.h"

namespace vela::VELA_ISA {
namespace {

#if defined __AVX512BW__
using V = V512;
#elif defined __AVX2__
using V = V256;
#else
using V = V128;
#endif

inline constexpr int32_t kLanes = sizeof(V) / 16;

/// Pixels of four bytes each, of which a vector holds four per lane; of three, the lane's first 12 bytes.
///
///     lane k of vector i: pixels 4 * (kLanes * i + k) ..+3
///
/// as 16-bit elements: R0 G0 R1 G1 R2 G2 R3 G3, and B0 0 B1 0 B2 0 B3 0.
struct Pixels {
    V redGreen[4], blue[4];

    VELA_INLINE friend Pixels operator+(const Pixels& a, const Pixels& b) {
        Pixels sum;
        for (int i = 0; i < 4; i++) {
            sum.redGreen[i] = add16(a.redGreen[i], b.redGreen[i]);
            sum.blue[i] = add16(a.blue[i], b.blue[i]);
        }
        return sum;
    }
};

constexpr int32_t kNone = 0x80; // a shuffle's control for 0

/// A lane's shuffles, and which 32 bits of memory stand in which place before: those of lane k begin
/// 4 * Order::kSize bytes after those of lane k - 1.
template <class Order>
struct Controls {
    static constexpr Table<uint8_t, 16> kRedGreen = makeTable<uint8_t, 16>([](int32_t i) {
        const int32_t at = i / 4 * Order::kSize;
        return i % 4 == 0 ? at + Order::kRed : i % 4 == 2 ? at + Order::kGreen : kNone;
    });
    static constexpr Table<uint8_t, 16> kBlue = makeTable<uint8_t, 16>(
        [](int32_t i) { return i % 4 == 0 ? i / 4 * Order::kSize + Order::kBlue : kNone; });
    static constexpr Table<uint32_t, 16> kSpread =
        makeTable<uint32_t, 16>([](int32_t i) { return i / 4 * Order::kSize + i % 4; });
#ifdef __AVX512VBMI__
    // The same in one step: byte i of 64, where the masks below have it.
    static constexpr Table<uint8_t, 64> kWideRedGreen = makeTable<uint8_t, 64>([](int32_t i) {
        return i / 4 * Order::kSize + (i % 4 == 2 ? Order::kGreen : Order::kRed);
    });
    static constexpr Table<uint8_t, 64> kWideBlue =
        makeTable<uint8_t, 64>([](int32_t i) { return i / 4 * Order::kSize + Order::kBlue; });
#endif
};

template <class Order>
VELA_INLINE Pixels loadPixels(const uint8_t* from) {
    using C = Controls<Order>;
    Pixels pixels;
#ifdef __AVX512VBMI__
    const V redGreen = V::load(C::kWideRedGreen.of), blue = V::load(C::kWideBlue.of);
    for (int i = 0; i < 4; i++) {
        const V bytes = V::load(from + i * 4 * kLanes * Order::kSize);
        pixels.redGreen[i] = chooseBytes(bytes, redGreen, 0x5555555555555555);
        pixels.blue[i] = chooseBytes(bytes, blue, 0x1111111111111111);
    }
#else
    const V redGreen = V::toAllLanes(V128::load(C::kRedGreen.of));
    const V blue = V::toAllLanes(V128::load(C::kBlue.of));
    for (int i = 0; i < 4; i++) {
        V bytes = V::load(from + i * 4 * kLanes * Order::kSize);
#ifdef __AVX2__
        if constexpr (Order::kSize == 3)
            bytes = permute32(bytes, V::load(C::kSpread.of));
#endif
        pixels.redGreen[i] = shuffle8(bytes, redGreen);
        pixels.blue[i] = shuffle8(bytes, blue);
    }
#endif
    return pixels;
}

struct VectorWeights {
    V redGreen, blue;

    VELA_INLINE explicit VectorWeights(const weights::Weights& w)
        : redGreen(V::set32(static_cast<int32_t>(static_cast<uint16_t>(w.red) |
                                                 static_cast<uint32_t>(w.green) << 16))),
          blue(V::set32(static_cast<uint16_t>(w.blue))) {}
};

/// Weighted sums of one vector of pixels, or of sums of 2^shift pixels, rounded: 32-bit elements.
template <int shift>
VELA_INLINE V weigh(const VectorWeights& w, V redGreen, V blue, V rounding) {
#ifdef __AVX512VNNI__
    const V sum =
        addMultiplyAddPairs(addMultiplyAddPairs(rounding, redGreen, w.redGreen), blue, w.blue);
#else
    const V sum = add32(
        rounding, add32(multiplyAddPairs(redGreen, w.redGreen), multiplyAddPairs(blue, w.blue)));
#endif
    return shiftRightSigned32<weights::kBits + shift>(sum);
}

/// Four vectors of 32-bit elements to one of bytes, in the pixels' order. Packed, lane k has the four
/// samples of lane k of each vector:
///
///     a0k a1k a2k a3k        32 bits each, pixels 4 * (kLanes * i + k) ..+3
///
/// which belong at 32-bit place kLanes * i + k.
VELA_INLINE V packSamples(const V (&a)[4]) {
    const V packed = packUnsigned16(packSaturated32(a[0], a[1]), packSaturated32(a[2], a[3]));
#ifdef __AVX2__
    static constexpr Table<uint32_t, 16> kPlaces =
        makeTable<uint32_t, 16>([](int32_t i) { return i % kLanes * 4 + i / kLanes; });
    return permute32(packed, V::load(kPlaces.of));
#else
    return packed;
#endif
}

VELA_INLINE void storeLuma(const Pixels& pixels, uint8_t* y) {
    const VectorWeights w(weights::kY);
    const V rounding = V::set32(weights::kLumaRounding);
    V samples[4];
    for (int i = 0; i < 4; i++)
        samples[i] = weigh<0>(w, pixels.redGreen[i], pixels.blue[i], rounding);
    packSamples(samples).store(y);
}

/// Chroma of every pixel.
VELA_INLINE void storeChroma(const Pixels& pixels, const weights::Weights& of, uint8_t* to) {
    const VectorWeights w(of);
    const V rounding = V::set32(weights::kChromaRounding<0>);
    V samples[4];
    for (int i = 0; i < 4; i++)
        samples[i] = weigh<0>(w, pixels.redGreen[i], pixels.blue[i], rounding);
    packSamples(samples).store(to);
}

/// Sums of neighbours, 32 bits each of a and b: of each lane a0+a1 a2+a3 b0+b1 b2+b3, as 16-bit elements.
VELA_INLINE V addNeighbours(V a, V b) {
    return add16(evenWords32(a, b), oddWords32(a, b));
}

/// Lanes of 8 bytes of Cb and 8 of Cr to rows of both. Lane k has, 16 bits for two samples,
///
///     b0k b1k b2k b3k r0k r1k r2k r3k        of pixels 4 * (kLanes * i + k) ..+3
///
/// and 16-bit place kLanes * i + k of the row is where they belong: lanes are interleaved, until one is left.
VELA_INLINE void storeLanes(V128 lane, uint8_t* cb, uint8_t* cr) {
    lane.storeLow64(cb);
    lane.storeHigh64(cr);
}
#ifdef __AVX2__
VELA_INLINE void storeLanes(V256 lanes, uint8_t* cb, uint8_t* cr) {
    unpackLow16(lanes.low(), lanes.high()).store(cb);  // b00 b01 b10 b11 ..
    unpackHigh16(lanes.low(), lanes.high()).store(cr); // r00 r01 r10 r11 ..
}
#endif
#ifdef __AVX512BW__
VELA_INLINE void storeLanes(V512 lanes, uint8_t* cb, uint8_t* cr) {
    const V256 b =
        unpackLow16(lanes.low(), lanes.high()); // b00 b02 b10 b12 .. | b01 b03 b11 b13 ..
    const V256 r =
        unpackHigh16(lanes.low(), lanes.high()); // r00 r02 r10 r12 .. | r01 r03 r11 r13 ..
    unpackLow16(b.low(), b.high()).store(cb);    // b00 b01 b02 b03 b10 b11 b12 b13
    unpackHigh16(b.low(), b.high()).store(cb + 16);
    unpackLow16(r.low(), r.high()).store(cr);
    unpackHigh16(r.low(), r.high()).store(cr + 16);
}
#endif

/// Chroma of neighbouring pixels together, of sums of 2^(shift - 1) rows.
template <int shift>
VELA_INLINE void storeHalvedChromaOf(const Pixels& sums, uint8_t* cb, uint8_t* cr) {
    const VectorWeights wCb(weights::kCb), wCr(weights::kCr);
    const V rounding = V::set32(weights::kChromaRounding<shift>);
    V samples[4];
    for (int i = 0; i < 2; i++) {
        const V redGreen = addNeighbours(sums.redGreen[2 * i], sums.redGreen[2 * i + 1]);
        const V blue = addNeighbours(sums.blue[2 * i], sums.blue[2 * i + 1]);
        samples[i] = weigh<shift>(wCb, redGreen, blue, rounding);
        samples[2 + i] = weigh<shift>(wCr, redGreen, blue, rounding);
    }
    storeLanes(packUnsigned16(packSaturated32(samples[0], samples[1]),
                              packSaturated32(samples[2], samples[3])),
               cb, cr);
}

VELA_INLINE void storeHalvedChroma(const Pixels& row, uint8_t* cb, uint8_t* cr) {
    storeHalvedChromaOf<1>(row, cb, cr);
}

VELA_INLINE void storeHalvedChroma(const Pixels& top, const Pixels& bottom, uint8_t* cb,
                                   uint8_t* cr) {
    storeHalvedChromaOf<2>(top + bottom, cb, cr);
}

inline constexpr int32_t kChunkPixels = 16 * kLanes;
inline constexpr int32_t kChunkReadBytes = 4 * sizeof(V);

} // namespace
} // namespace vela::VELA_ISA
