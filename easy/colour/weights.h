// RGB to YCbCr by JFIF's formula, in fixed point, for all instruction sets:
//     Y  =  0.299 R + 0.587 G + 0.114 B
//     Cb = -0.168736 R - 0.331264 G + 0.5 B + 128
//     Cr =  0.5 R - 0.418688 G - 0.081312 B + 128
#pragma once

#include <cstdint>

namespace vela::weights {

inline constexpr int32_t kBits = 15;

struct Weights {
    int16_t red, green, blue;
};

constexpr int16_t fixed(double value) {
    const double scaled = value * (1 << kBits);
    return static_cast<int16_t>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
}

// Chroma is (B - Y) / 1.772 and (R - Y) / 1.402. Green takes what rounding leaves, so that the weights of Y
// add up to 1, and those of chroma to 0: grey stays grey.
constexpr Weights weights(double red, double blue, double sum) {
    const int16_t r = fixed(red), b = fixed(blue);
    return {r, static_cast<int16_t>(sum * (1 << kBits) - r - b), b};
}
// Of each file its own: kernels offer no names.
constexpr Weights kY = weights(0.299, 0.114, 1);
constexpr Weights kCb = weights(-0.299 / 1.772, 0.5, 0);
constexpr Weights kCr = weights(0.5, -0.114 / 1.402, 0);

/// The most that a result can be off, besides its rounding: the weights that are too large at the value 255
/// and the others at 0, or the other way round.
constexpr double mostError(const Weights& w, double red, double green, double blue) {
    const double errors[] = {w.red - red * (1 << kBits), w.green - green * (1 << kBits),
                             w.blue - blue * (1 << kBits)};
    double above = 0, below = 0;
    for (const double error : errors)
        (error > 0 ? above : below) += error;
    return 255.0 / (1 << kBits) * (above > -below ? above : -below);
}
static_assert(mostError(kY, 0.299, 0.587, 0.114) < 0.01);
static_assert(mostError(kCb, -0.299 / 1.772, -0.587 / 1.772, 0.5) < 0.01);
static_assert(mostError(kCr, 0.5, -0.587 / 1.402, -0.114 / 1.402) < 0.01);

/// Of a sum of 2^shift pixels, before it is shifted right by kBits + shift: half, and chroma's 128.
inline constexpr int32_t kLumaRounding = 1 << (kBits - 1);
template <int32_t shift>
inline constexpr int32_t kChromaRounding = (128 << (kBits + shift)) + (1 << (kBits + shift - 1));

} // namespace vela::weights
