// The zigzag order (T.81 Figure A.6), from which the exported tables are made.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vela {

/// Entry k is the natural position, 8 * row + column, of the k-th coefficient: up and down the
/// diagonals, starting to the right.
constexpr std::array<uint8_t, 64> makeZigzag() {
    std::array<uint8_t, 64> order{};
    size_t k = 0;
    for (int diagonal = 0; diagonal < 15; diagonal++) {
        for (int step = 0; step <= diagonal; step++) {
            const int row = diagonal % 2 == 0 ? diagonal - step : step;
            const int column = diagonal - row;
            if (row < 8 && column < 8)
                order[k++] = static_cast<uint8_t>(8 * row + column);
        }
    }
    return order;
}

/// The same with the positions transposed: 8 * column + row.
constexpr std::array<uint8_t, 64> makeTransposedZigzag() {
    std::array<uint8_t, 64> order = makeZigzag();
    for (uint8_t& position : order)
        position = static_cast<uint8_t>(8 * (position % 8) + position / 8);
    return order;
}

inline constexpr std::array<uint8_t, 64> kZigzag = makeZigzag();
inline constexpr std::array<uint8_t, 64> kTransposedZigzag = makeTransposedZigzag();

} // namespace vela
