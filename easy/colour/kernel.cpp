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

void rgbTo444(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    const uint8_t* const rows[1] = {pixels};
    Chunks(rows, width, Full444{{}, y, cb, cr}).run(order);
}

void rgbTo422(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    const uint8_t* const rows[1] = {pixels};
    Chunks(rows, width, Halved422{{}, y, cb, cr}).run(order);
}

void rgbTo420(const uint8_t* const pixels[2], PixelOrder order, int32_t width, uint8_t* const y[2],
              uint8_t* cb, uint8_t* cr) {
    const uint8_t* const rows[2] = {pixels[0], pixels[1]};
    Chunks(rows, width, Halved420{{}, {y[0], y[1]}, cb, cr}).run(order);
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
