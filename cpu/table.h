// Tables made at compile time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vela {

/// n values, aligned for being loaded as vectors.
template <class T, size_t n>
struct Table {
    alignas(sizeof(T) * n < 64 ? std::bit_ceil(sizeof(T) * n) : 64) T of[n];
};

/// Entry i is valueOf(i), i an int32_t.
template <class T, size_t n, class ValueOf>
consteval Table<T, n> makeTable(ValueOf valueOf) {
    Table<T, n> table{};
    for (size_t i = 0; i < n; i++)
        table.of[i] = static_cast<T>(valueOf(static_cast<int32_t>(i)));
    return table;
}

} // namespace vela
