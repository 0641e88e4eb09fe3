#include "easy/colour/plain.h"

#include <algorithm>

#include "cpu/isa.h"
#include "easy/colour/loops.h"
#include "easy/colour/weights.h"

namespace vela {
namespace {

using namespace weights;

struct Rgb {
    int32_t red, green, blue;
};

Rgb operator+(const Rgb& a, const Rgb& b) {
    return {a.red + b.red, a.green + b.green, a.blue + b.blue};
}

int32_t weigh(const Weights& w, const Rgb& pixel) {
    return w.red * pixel.red + w.green * pixel.green + w.blue * pixel.blue;
}

uint8_t luma(const Rgb& pixel) {
    return static_cast<uint8_t>((weigh(kY, pixel) + kLumaRounding) >> kBits);
}

/// Of the sum of 2^shift pixels. Pure blue and red have 255.5, which rounds to 256.
template <int32_t shift>
uint8_t chroma(const Weights& w, const Rgb& sum) {
    return static_cast<uint8_t>(
        std::min((weigh(w, sum) + kChromaRounding<shift>) >> (kBits + shift), 255));
}

Rgb pixelAt(const uint8_t* pixels, PixelOrder order, int32_t x) {
    const auto bytes = [&](int32_t size, int32_t red, int32_t green, int32_t blue) {
        const uint8_t* const p = pixels + ptrdiff_t{x} * size;
        return Rgb{p[red], p[green], p[blue]};
    };
    const auto word = [&] { return pixels[2 * ptrdiff_t{x}] | pixels[2 * ptrdiff_t{x} + 1] << 8; };
    const auto widen5 = [](int32_t v) { return v << 3 | v >> 2; };
    const auto widen6 = [](int32_t v) { return v << 2 | v >> 4; };
    switch (order) {
    case PixelOrder::rgb:
        return bytes(3, 0, 1, 2);
    case PixelOrder::bgr:
        return bytes(3, 2, 1, 0);
    case PixelOrder::rgbx:
        return bytes(4, 0, 1, 2);
    case PixelOrder::bgrx:
        return bytes(4, 2, 1, 0);
    case PixelOrder::xrgb:
        return bytes(4, 1, 2, 3);
    case PixelOrder::xbgr:
        return bytes(4, 3, 2, 1);
    case PixelOrder::rgb565:
        return {widen5(word() >> 11), widen6(word() >> 5 & 63), widen5(word() & 31)};
    case PixelOrder::rgb555:
        return {widen5(word() >> 10 & 31), widen5(word() >> 5 & 31), widen5(word() & 31)};
    }
    return {};
}

void rgbTo444(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    for (int32_t x = 0; x < width; x++) {
        const Rgb pixel = pixelAt(pixels, order, x);
        y[x] = luma(pixel);
        cb[x] = chroma<0>(kCb, pixel);
        cr[x] = chroma<0>(kCr, pixel);
    }
}

void rgbTo422(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y, uint8_t* cb,
              uint8_t* cr) {
    for (int32_t x = 0; x < width; x += 2) {
        const Rgb left = pixelAt(pixels, order, x);
        const Rgb right = pixelAt(pixels, order, std::min(x + 1, width - 1));
        y[x] = luma(left);
        if (x + 1 < width)
            y[x + 1] = luma(right);
        cb[x / 2] = chroma<1>(kCb, left + right);
        cr[x / 2] = chroma<1>(kCr, left + right);
    }
}

void rgbTo420(const uint8_t* const pixels[2], PixelOrder order, int32_t width, uint8_t* const y[2],
              uint8_t* cb, uint8_t* cr) {
    for (int32_t x = 0; x < width; x += 2) {
        Rgb sum{};
        for (int32_t r = 0; r < 2; r++) {
            const Rgb left = pixelAt(pixels[r], order, x);
            const Rgb right = pixelAt(pixels[r], order, std::min(x + 1, width - 1));
            y[r][x] = luma(left);
            if (x + 1 < width)
                y[r][x + 1] = luma(right);
            sum = sum + left + right;
        }
        cb[x / 2] = chroma<2>(kCb, sum);
        cr[x / 2] = chroma<2>(kCr, sum);
    }
}

} // namespace

constexpr ColourRoutines plain::kColourRoutines = {
    .name = kName,
    .requiredFeatures = kRequiredFeatures,
    .rgbTo444 = rgbTo444,
    .rgbTo422 = rgbTo422,
    .rgbTo420 = rgbTo420,
    .splitPacked422 = VELA_ISA::splitPacked422,
    .splitPairs = VELA_ISA::splitPairs,
    .adjustLuma = VELA_ISA::adjustLuma,
    .adjustChroma = VELA_ISA::adjustChroma,
};

} // namespace vela
