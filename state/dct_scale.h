// How the forward transform and the quantization tables share the scaling of coefficients.
//
// The transform leaves coefficient (u, v), of horizontal frequency u and vertical frequency v, scaled by
// 8 a(u) a(v), a(0) = 1, a(k) = sqrt(2) cos(k pi / 16). It then multiplies it by a power of two, s(u, v),
// and by the reciprocal of its quantizer q in 15 bits, which is about
//
//     n(u, v) / q,   n(u, v) = 2^14 / (a(u) a(v) s(u, v))
//
// So the product is the quantized coefficient times 2^17: its upper half has one bit below the result.
#pragma once

#include <cstdint>

#include "cpu/table.h"

namespace vela {

/// cos(x) for 0 <= x <= pi / 2: the Taylor series, whose terms are below 10^-17 from the tenth on.
consteval double cosine(double x) {
    double sum = 1, term = 1;
    for (int i = 1; i <= 12; i++) {
        term *= -x * x / ((2 * i - 1) * (2 * i));
        sum += term;
    }
    return sum;
}

/// a(k)
consteval double transformScale(int32_t k) {
    constexpr double kSqrt2 = 1.4142135623730951;
    constexpr double kPi = 3.14159265358979324;
    return k == 0 ? 1 : kSqrt2 * cosine(k * kPi / 16);
}

/// log2 s(u, v): the least power of two with which n is below 2^15, and so fits 16 bits with a sign, for
/// the frequencies v of one half, 0..3 or 4..7. Halves are alike so that half a vector is.
consteval int32_t leastPreScale(int32_t u, int32_t v) {
    int32_t log2 = 0;
    for (int32_t i = v / 4 * 4; i < v / 4 * 4 + 4; i++)
        while (16384 / (transformScale(u) * transformScale(i)) / (1 << log2) >= 32768)
            log2++;
    return log2;
}

/// log2 s(u, v) at 8 u + v, as blocks of coefficients are stored. (Not inline: each instruction set's
/// kernels have a copy, where they have one at all.)
constexpr Table<int8_t, 64> kPreScaleShift =
    makeTable<int8_t, 64>([](int32_t i) consteval { return leastPreScale(i / 8, i % 8); });

consteval bool preScaleShiftsAre(const int8_t (&lowerThenUpper)[8][2]) {
    for (int32_t i = 0; i < 64; i++)
        if (kPreScaleShift.of[i] != lowerThenUpper[i / 8][i % 8 / 4])
            return false;
    return true;
}
static_assert(preScaleShiftsAre({{0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 2}, {0, 2}, {1, 3}}));

} // namespace vela
