// The level-shifted samples that a picture's components consist of, from the definitions: JFIF's
// conversion in double precision, the average of the pixels under a chroma sample, and the last
// column and row repeated.
#pragma once

#include <algorithm>

#include "support/picture.h"

namespace test {

struct Rgb {
    double r, g, b;
};

inline Rgb pixelAt(const TestPicture& picture, int x, int y) {
    const uint8_t* const at = picture.row(0, std::min(y, picture.height() - 1)) +
                              std::min(x, picture.width() - 1) * picture.format().bytesPerPixel();
    if (picture.format().code == JPEG_CF_BGR888)
        return {double(at[2]), double(at[1]), double(at[0])};
    const int word = at[0] + 256 * at[1];
    const int greenBits = picture.format().code == JPEG_CF_BGR565 ? 6 : 5;
    const int b = word % 32;
    const int g = word / 32 % (1 << greenBits);
    const int r = (word >> (5 + greenBits)) % 32;
    return {double(r * 8), double(g * (256 >> greenBits)), double(b * 8)};
}

inline double componentOf(const Rgb& p, int component) {
    switch (component) {
    case 0:
        return 0.299 * p.r + 0.587 * p.g + 0.114 * p.b - 128;
    case 1:
        return (p.b - (0.299 * p.r + 0.587 * p.g + 0.114 * p.b)) / 1.772;
    default:
        return (p.r - (0.299 * p.r + 0.587 * p.g + 0.114 * p.b)) / 1.402;
    }
}

/// Sample (x, y) of a component, in its own resolution; outside the picture it is repeated.
inline double exactSample(const TestPicture& picture, int component, int x, int y) {
    const Format& format = picture.format();
    if (format.planes() == 1 && format.code != JPEG_CF_GRAY8) {
        const int h = component == 0 ? 1 : format.h();
        const int v = component == 0 ? 1 : format.v();
        double sum = 0;
        for (int py = y * v; py < (y + 1) * v; py++)
            for (int px = x * h; px < (x + 1) * h; px++)
                sum += componentOf(pixelAt(picture, px, py), component);
        return sum / (h * v);
    }
    if (component == 0)
        return picture.row(0, std::min(y, picture.height() - 1))[std::min(x, picture.width() - 1)] -
               128;
    x = std::min(x, chromaSize(picture.width(), format.h()) - 1);
    y = std::min(y, chromaSize(picture.height(), format.v()) - 1);
    if (format.planar())
        return picture.row(component, y)[x] - 128;
    const bool second = (format.code == JPEG_CF_NV12) == (component == 2);
    return picture.row(1, y)[2 * x + (second ? 1 : 0)] - 128;
}

/// YCbCr formats are carried over exactly; the integer conversion truncates and has 8-bit
/// coefficients.
inline double sampleTolerance(const Format& format) {
    return format.planes() == 1 && format.code != JPEG_CF_GRAY8 ? 1.5 : 0;
}

} // namespace test
