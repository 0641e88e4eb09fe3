// The steps of the forward transform on vectors of 16-bit elements, for all instruction sets. They are those
// of the plain version (plain.cpp).
#pragma once

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// One 8-point transform: output k becomes d[k], in all elements alike. Factors gives the products
/// floor(x * c / 2^15), c being a constant of constants.h.
template <class Factors, class V>
VELA_INLINE void transform8(V (&d)[8], const Factors& by) {
    const V t0 = add16(d[0], d[7]);
    const V t7 = sub16(d[0], d[7]);
    const V t1 = add16(d[1], d[6]);
    const V t6 = sub16(d[1], d[6]);
    const V t2 = add16(d[2], d[5]);
    const V t5 = sub16(d[2], d[5]);
    const V t3 = add16(d[3], d[4]);
    const V t4 = sub16(d[3], d[4]);

    const V t10 = add16(t0, t3);
    const V t13 = sub16(t0, t3);
    const V t11 = add16(t1, t2);
    const V t12 = sub16(t1, t2);
    const V z1 = by.cosPi4(add16(t12, t13));
    d[0] = add16(t10, t11);
    d[4] = sub16(t10, t11);
    d[2] = add16(t13, z1);
    d[6] = sub16(t13, z1);

    const V p10 = add16(t4, t5);
    const V p11 = add16(t5, t6);
    const V p12 = add16(t6, t7);
    const V z5 = by.sinPi8(sub16(p10, p12));
    const V z2 = add16(by.difference(p10), z5);
    const V z4 = add16(by.sum(p12), z5);
    const V z3 = by.cosPi4(p11);
    const V z11 = add16(t7, z3);
    const V z13 = sub16(t7, z3);
    d[5] = add16(z13, z2);
    d[3] = sub16(z13, z2);
    d[1] = add16(z11, z4);
    d[7] = sub16(z11, z4);
}

} // namespace
} // namespace vela::VELA_ISA
