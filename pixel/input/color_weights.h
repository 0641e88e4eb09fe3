// The JFIF conversion from RGB to YCbCr in fixed point.
#pragma once

#include <cstdint>

namespace vela {

/// A factor in units of 1/256, to nearest.
constexpr int32_t q8(double factor) {
    return static_cast<int32_t>(factor * 256 + (factor < 0 ? -0.5 : 0.5));
}

struct ColorWeights {
    int32_t r, g, b;
};

// Those of luminance sum to 256, so that white stays white; those of chrominance to 0, so that grey has
// none. (Not inline: what kernels share with others is in their own namespace alone.)
constexpr ColorWeights kLumaWeights{q8(0.299), q8(0.587), q8(0.114)};
constexpr ColorWeights kCbWeights{q8(-0.168736), q8(-0.331264), q8(0.5)};
constexpr ColorWeights kCrWeights{q8(0.5), q8(-0.418688), q8(-0.081312)};

constexpr bool equal(const ColorWeights& a, const ColorWeights& b) {
    return a.r == b.r && a.g == b.g && a.b == b.b;
}
static_assert(equal(kLumaWeights, {77, 150, 29}));
static_assert(equal(kCbWeights, {-43, -85, 128}));
static_assert(equal(kCrWeights, {128, -107, -21}));

} // namespace vela
