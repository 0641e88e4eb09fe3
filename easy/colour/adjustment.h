// How YCbCr of other ranges and matrices becomes full-range BT.601, in fixed point.
#pragma once

#include "easy/colour/routines.h"

namespace vela {

inline constexpr int32_t kAdjustmentBits = 14;

namespace adjustment {

/// Weights of red and blue in luminance (green has the rest), as ITU-R BT.601 and BT.709 give them.
struct Matrix {
    double red, blue;
};
inline constexpr Matrix kBt601 = {0.299, 0.114}, kBt709 = {0.2126, 0.0722};

constexpr int32_t fixed(double value) {
    const double scaled = value * (1 << kAdjustmentBits);
    return static_cast<int32_t>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
}

/// Coefficients as real numbers. With R = Y + 2 (1 - red) Cr and B = Y + 2 (1 - blue) Cb of one matrix,
/// where Cb and Cr are around 0, the other one's Y, Cb and Cr follow.
struct Coefficients {
    double luma, lumaCb, lumaCr, cbCb, cbCr, crCb, crCr;
};
constexpr Coefficients coefficients(bool limited, bool bt709) {
    const Matrix from = bt709 ? kBt709 : kBt601, to = kBt601;
    const double red = 2 * (1 - from.red), blue = 2 * (1 - from.blue); // R - Y per Cr, B - Y per Cb
    const double green = 1 - from.red - from.blue;
    const double greenCr = -from.red * red / green, greenCb = -from.blue * blue / green; // G - Y
    const double toGreen = 1 - to.red - to.blue;
    const double lumaCr = to.red * red + toGreen * greenCr;
    const double lumaCb = to.blue * blue + toGreen * greenCb;
    const double luma = limited ? 255.0 / 219 : 1, chroma = limited ? 255.0 / 224 : 1;
    const double perBlue = chroma / (2 * (1 - to.blue)), perRed = chroma / (2 * (1 - to.red));
    return {luma,
            chroma * lumaCb,
            chroma * lumaCr,
            perBlue * (blue - lumaCb),
            perBlue * -lumaCr,
            perRed * -lumaCb,
            perRed * (red - lumaCr)};
}

} // namespace adjustment

constexpr YcbcrAdjustment adjustmentOf(bool limited, bool bt709) {
    const adjustment::Coefficients c = adjustment::coefficients(limited, bt709);
    using adjustment::fixed;
    return {limited ? 16 : 0, fixed(c.luma), fixed(c.lumaCb), fixed(c.lumaCr),
            fixed(c.cbCb),    fixed(c.cbCr), fixed(c.crCb),   fixed(c.crCr)};
}

namespace adjustment {

/// The most that a result can be off besides its rounding: each coefficient's error at its largest factor.
constexpr double mostError(bool limited, bool bt709) {
    const Coefficients c = coefficients(limited, bt709);
    const auto error = [](double coefficient, int32_t factor) {
        const double e =
            coefficient - static_cast<double>(fixed(coefficient)) / (1 << kAdjustmentBits);
        return (e < 0 ? -e : e) * factor;
    };
    const double luma =
        error(c.luma, limited ? 239 : 255) + error(c.lumaCb, 128) + error(c.lumaCr, 128);
    const double cb = error(c.cbCb, 128) + error(c.cbCr, 128);
    const double cr = error(c.crCb, 128) + error(c.crCr, 128);
    return luma > cb && luma > cr ? luma : cb > cr ? cb : cr;
}
static_assert(mostError(true, false) < 0.01 && mostError(false, true) < 0.01 &&
              mostError(true, true) < 0.01);

} // namespace adjustment

static_assert(adjustmentOf(false, false).luma == 1 << kAdjustmentBits &&
              adjustmentOf(false, false).lumaCr == 0 && adjustmentOf(false, false).crCb == 0 &&
              adjustmentOf(false, false).cbCb == 1 << kAdjustmentBits);

} // namespace vela
