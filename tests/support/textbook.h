// The forward DCT of T.81 A.3.3, in double precision.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace test {

/// C(k) / 2 * cos((2x + 1) k pi / 16)
inline double basis(int k, int x) {
    const double c = k == 0 ? std::numbers::sqrt2 / 2 : 1;
    return c / 2 * std::cos((2 * x + 1) * k * std::numbers::pi / 16);
}

/// Row by row in, natural order out.
template <class Sample>
std::array<double, 64> textbookDct(const std::array<Sample, 64>& samples) {
    std::array<double, 64> rows{}; // [y][u]
    std::array<double, 64> out{};  // [v][u]
    for (int y = 0; y < 8; y++)
        for (int u = 0; u < 8; u++)
            for (int x = 0; x < 8; x++)
                rows[static_cast<size_t>(8 * y + u)] +=
                    basis(u, x) * static_cast<double>(samples[static_cast<size_t>(8 * y + x)]);
    for (int v = 0; v < 8; v++)
        for (int u = 0; u < 8; u++)
            for (int y = 0; y < 8; y++)
                out[static_cast<size_t>(8 * v + u)] +=
                    basis(v, y) * rows[static_cast<size_t>(8 * y + u)];
    return out;
}

} // namespace test
