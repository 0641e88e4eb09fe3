// The masks of x86 (tables/block_coder/zigzag_x86.h) as the packers visit them: in one word, from its
// lowest bit on.
#pragma once

#include <cstdint>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

using Word = uint64_t;
constexpr int32_t kWordBits = 64;
constexpr int32_t kMaskWords = 1;

inline Word maskWord(uint64_t mask, int32_t) {
    return mask;
}

template <class Order>
const Order& orderInWord(const Order& order, int32_t) {
    return order;
}

inline int32_t firstIndex(Word word) {
    return __builtin_ctzll(word);
}

inline Word bitOf(int32_t index) {
    return Word{1} << index;
}

inline Word throughLast(Word word) {
    return word == 0 ? 0 : ~Word{0} >> __builtin_clzll(word);
}

} // namespace
} // namespace vela::VELA_ISA
