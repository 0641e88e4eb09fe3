// Comparisons whose failures show as a small table where two rows of values differ: block, element
// and both values, or byte and both values.
#pragma once

#include <array>
#include <cmath>
#include <ranges>
#include <span>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace test {

/// Whether both rows are equally long and no two values differ by more than tolerance. A block has
/// blockSize values; with a size of 1 they are bytes of a stream.
template <std::ranges::sized_range A, std::ranges::sized_range B>
testing::AssertionResult same(const A& expected, const B& actual, size_t blockSize,
                              double tolerance = 0) {
    constexpr int kShown = 12;
    std::ostringstream table;
    int differing = 0;
    size_t i = 0;
    auto e = std::ranges::begin(expected);
    for (auto a = std::ranges::begin(actual);
         a != std::ranges::end(actual) && e != std::ranges::end(expected); ++a, ++e, ++i) {
        const auto want = static_cast<double>(*e);
        const auto got = static_cast<double>(*a);
        if (std::abs(want - got) <= tolerance || ++differing > kShown)
            continue;
        table << '\n' << i / blockSize << '\t';
        if (blockSize > 1)
            table << i % blockSize << '\t';
        table << want << '\t' << got;
    }
    if (std::ranges::size(expected) != std::ranges::size(actual))
        table << "\nlength\t" << std::ranges::size(expected) << '\t' << std::ranges::size(actual);
    else if (differing == 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << differing << " differences, the first of them:\n"
           << (blockSize > 1 ? "block\telement\texpected\tactual" : "byte\texpected\tactual")
           << table.str() << '\n';
}

/// Samples or coefficients in blocks of 64.
template <class A, class B>
testing::AssertionResult sameBlocks(const A& expected, const B& actual, double tolerance = 0) {
    return same(expected, actual, 64, tolerance);
}

/// The values of blocks, one block after another.
template <class T>
std::span<const T> flat(const std::vector<std::array<T, 64>>& blocks) {
    return {blocks.empty() ? nullptr : blocks.front().data(), 64 * blocks.size()};
}

template <class A, class B>
testing::AssertionResult sameBytes(const A& expected, const B& actual) {
    return same(expected, actual, 1);
}

} // namespace test
