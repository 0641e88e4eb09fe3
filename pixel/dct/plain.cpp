// The plain forward transform: the factorisation of Arai, Agui and Nakajima in 16-bit fixed point.
//
// Every value is a signed 16-bit integer; sums wrap, products keep their upper half. Other versions
// of the transform give the same results bit for bit. Output k of the one-dimensional transform is
// scaled by a(0) = 1, a(k) = sqrt(2) * cos(k * pi / 16), the two-dimensional one by 8 * a(u) *
// a(v); the reciprocals undo both.
//
// Samples of -128..127 keep every value of both passes, and the scaled-up coefficients after them,
// within about +-13000, so that for them no sum wraps and no product saturates.
#include "pixel/dct/plain.h"

#include <algorithm>

#include "pixel/dct/constants.h"
#include "state/dct_scale.h"

namespace vela {
namespace {

int16_t add(int32_t a, int32_t b) {
    return static_cast<int16_t>(a + b); // modulo 2^16
}

int16_t sub(int32_t a, int32_t b) {
    return static_cast<int16_t>(a - b);
}

int16_t saturate(int32_t value) {
    return static_cast<int16_t>(std::clamp<int32_t>(value, -32768, 32767));
}

/// The doubling product's upper half: floor(x * c / 2^15), saturated.
int16_t mul(int32_t x, int32_t c) {
    return saturate((x * c) >> 15);
}

/// One 8-point transform over elements step apart, in place.
void transform8(int16_t* d, int32_t step) {
    const int16_t t0 = add(d[0 * step], d[7 * step]);
    const int16_t t7 = sub(d[0 * step], d[7 * step]);
    const int16_t t1 = add(d[1 * step], d[6 * step]);
    const int16_t t6 = sub(d[1 * step], d[6 * step]);
    const int16_t t2 = add(d[2 * step], d[5 * step]);
    const int16_t t5 = sub(d[2 * step], d[5 * step]);
    const int16_t t3 = add(d[3 * step], d[4 * step]);
    const int16_t t4 = sub(d[3 * step], d[4 * step]);

    // Even outputs
    const int16_t t10 = add(t0, t3);
    const int16_t t13 = sub(t0, t3);
    const int16_t t11 = add(t1, t2);
    const int16_t t12 = sub(t1, t2);
    const int16_t z1 = mul(add(t12, t13), kCosPi4);
    d[0 * step] = add(t10, t11);
    d[4 * step] = sub(t10, t11);
    d[2 * step] = add(t13, z1);
    d[6 * step] = sub(t13, z1);

    // Odd outputs. The factor cos(pi / 8) + sin(pi / 8) is above 1 and so applied as twice its
    // half.
    const int16_t p10 = add(t4, t5);
    const int16_t p11 = add(t5, t6);
    const int16_t p12 = add(t6, t7);
    const int16_t z5 = mul(sub(p10, p12), kSinPi8);
    const int16_t z2 = add(mul(p10, kDifference), z5);
    const int16_t z4 = add(mul(saturate(2 * p12), kHalfSum), z5);
    const int16_t z3 = mul(p11, kCosPi4);
    const int16_t z11 = add(t7, z3);
    const int16_t z13 = sub(t7, z3);
    d[5 * step] = add(z13, z2);
    d[3 * step] = sub(z13, z2);
    d[1 * step] = add(z11, z4);
    d[7 * step] = sub(z11, z4);
}

/// x / quantizer, rounded: x is scaled up by 2^shift, the product with the reciprocal keeps one bit below
/// the result, and half of the last place is added.
int16_t quantize(int16_t x, int32_t reciprocal, int32_t shift) {
    const int32_t product = shift == 0 ? (x * reciprocal) >> 16
                                       : mul(static_cast<int16_t>(x << (shift - 1)), reciprocal);
    return static_cast<int16_t>((product + 1) >> 1);
}

/// The coefficients of horizontal frequency u, from rows to a column of transposed order.
template <int32_t u>
void quantizeColumn(const int16_t* block, const int16_t* reciprocals, int16_t* dst) {
    for (int32_t v = 0; v < 8; v++) {
        constexpr const int8_t* kShift = kPreScaleShift.of + 8 * u;
        dst[8 * u + v] =
            quantize(block[8 * v + u], reciprocals[8 * u + v], v < 4 ? kShift[0] : kShift[4]);
    }
}

template <int32_t... u>
void quantizeColumns(const int16_t* block, const int16_t* reciprocals, int16_t* dst) {
    (quantizeColumn<u>(block, reciprocals, dst), ...);
}

} // namespace

void velaTransformFwd_MCU_JPEG(const BlockSpec& blocks, int32_t mcuCount) {
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = 0; i < blocks.blockCount; i++)
            veliDCTQuantFwd_JPEG_16s_I(blockOf(blocks, mcu, i), blocks.blockQuant[i]);
}

} // namespace vela

int32_t veliDCTQuantFwd_JPEG_16s(const int16_t* pSrc, const int16_t* pQuantFwdTable,
                                 int16_t* pDst) {
    int16_t block[vela::kBlockSamples]; // row by row
    std::copy_n(pSrc, vela::kBlockSamples, block);
    for (int32_t x = 0; x < 8; x++)
        vela::transform8(block + x, 8);
    for (int32_t v = 0; v < 8; v++)
        vela::transform8(block + 8 * v, 1);

    vela::quantizeColumns<0, 1, 2, 3, 4, 5, 6, 7>(block, pQuantFwdTable, pDst);
    return ENC_STATUS_OK;
}

int32_t veliDCTQuantFwd_JPEG_16s_I(int16_t* pSrcDst, const int16_t* pQuantFwdTable) {
    return veliDCTQuantFwd_JPEG_16s(pSrcDst, pQuantFwdTable, pSrcDst);
}
