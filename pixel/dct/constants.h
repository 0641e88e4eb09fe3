// Constants of the forward transform: that of Arai, Agui and Nakajima in 16-bit fixed point.
#pragma once

#include <cstdint>

namespace vela {

/// A factor below 1 in units of 1/32768, to nearest.
constexpr int32_t q15(double factor) {
    return static_cast<int32_t>(factor * 32768 + 0.5);
}

inline constexpr int32_t kCosPi4 = q15(0.707106781);     // cos(pi / 4)
inline constexpr int32_t kSinPi8 = q15(0.382683433);     // sin(pi / 8)
inline constexpr int32_t kHalfSum = q15(0.653281482);    // (cos(pi / 8) + sin(pi / 8)) / 2
inline constexpr int32_t kDifference = q15(0.541196100); // cos(pi / 8) - sin(pi / 8)
static_assert(kCosPi4 == 23170 && kSinPi8 == 12540 && kHalfSum == 21407 && kDifference == 17734);

} // namespace vela
