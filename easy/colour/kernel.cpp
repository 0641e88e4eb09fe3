// The conversions of one instruction set.
#include "cpu/isa.h"
#include "easy/colour/loops.h"
#ifdef __ARM_NEON
#include "easy/colour/neon.h"
#else
#include "easy/colour/x86.h"
#endif

namespace vela::VELA_ISA {
namespace {

struct Full444 {
    uint8_t *y, *cb, *cr;

    template <class Order>
    VELA_INLINE void take(const uint8_t* const (&row)[1], int32_t x) const {
        const Pixels pixels = loadPixels<Order>(row[0]);
        storeLuma(pixels, y + x);
        storeChroma(pixels, weights::kCb, cb + x);
        storeChroma(pixels, weights::kCr, cr + x);
    }
};

struct Halved422 {
    uint8_t *y, *cb, *cr;

    template <class Order>
    VELA_INLINE void take(const uint8_t* const (&row)[1], int32_t x) const {
        const Pixels pixels = loadPixels<Order>(row[0]);
        storeLuma(pixels, y + x);
        storeHalvedChroma(pixels, cb + x / 2, cr + x / 2);
    }
};

struct Halved420 {
    uint8_t* y[2];
    uint8_t *cb, *cr;

    template <class Order>
    VELA_INLINE void take(const uint8_t* const (&row)[2], int32_t x) const {
        const Pixels top = loadPixels<Order>(row[0]);
        storeLuma(top, y[0] + x);
        const Pixels bottom = loadPixels<Order>(row[1]);
        storeLuma(bottom, y[1] + x);
        storeHalvedChroma(top, bottom, cb + x / 2, cr + x / 2);
    }
};

template <class Kernel, int32_t rows>
using ChunksOf = Chunks<Kernel, rows, kChunkPixels, kChunkReadBytes>;

void rgbTo444(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    ChunksOf<Full444, 1>({pixels}, width, {y, cb, cr}).run(order);
}

void rgbTo422(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    ChunksOf<Halved422, 1>({pixels}, width, {y, cb, cr}).run(order);
}

void rgbTo420(const uint8_t* const pixels[2], PixelOrder order, int32_t width, uint8_t* const y[2],
              uint8_t* cb, uint8_t* cr) {
    ChunksOf<Halved420, 2>({pixels[0], pixels[1]}, width, {{y[0], y[1]}, cb, cr}).run(order);
}

} // namespace

extern const ColourRoutines kColourRoutines; // easy/colour/choice.cpp lists them
constexpr ColourRoutines kColourRoutines = {
    .name = kName,
    .requiredFeatures = kRequiredFeatures,
    .rgbTo444 = rgbTo444,
    .rgbTo422 = rgbTo422,
    .rgbTo420 = rgbTo420,
    .splitPacked422 = splitPacked422,
    .splitPairs = splitPairs,
    .adjustLuma = adjustLuma,
    .adjustChroma = adjustChroma,
};

} // namespace vela::VELA_ISA
