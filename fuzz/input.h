// What a fuzzer makes of its bytes, and what all of them need.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <span>
#include <vector>

#include "encoder/routine_choice.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace fuzz {

/// Ends the run as a finding.
inline void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
}

/// Takes bytes from the front; where there are none left, what it gives is the least.
class Input {
public:
    Input(const uint8_t* bytes, size_t size) : rest_(bytes, size) {}

    /// From least to most, both included; of as many bytes as that takes.
    template <class T>
    T integer(T least, T most) {
        const uint64_t values = static_cast<uint64_t>(most) - static_cast<uint64_t>(least);
        uint64_t value = 0;
        for (uint64_t range = values; range > 0 && !rest_.empty(); range >>= 8)
            value = value << 8 | byte();
        if (values < UINT64_MAX)
            value %= values + 1;
        return static_cast<T>(static_cast<uint64_t>(least) + value);
    }
    template <class T>
    T any() {
        return integer(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    }
    bool flag() { return integer<uint8_t>(0, 1) != 0; }
    /// One of some.
    template <class T, size_t n>
    T choose(const T (&some)[n]) {
        return some[integer<size_t>(0, n - 1)];
    }
    uint8_t byte() {
        if (rest_.empty())
            return 0;
        const uint8_t first = rest_.front();
        rest_ = rest_.subspan(1);
        return first;
    }
    bool empty() const { return rest_.empty(); }
    std::span<const uint8_t> rest() const { return rest_; }

private:
    std::span<const uint8_t> rest_;
};

template <class A, class B>
bool alike(const A& a, const B& b) {
    return std::equal(std::begin(a), std::end(a), std::begin(b), std::end(b));
}

/// Fills memory with the bytes over and over; zeros where there are none.
inline void fill(std::span<uint8_t> memory, std::span<const uint8_t> bytes) {
    for (size_t i = 0; i < memory.size(); i++)
        memory[i] = bytes.empty() ? uint8_t{0} : bytes[i % bytes.size()];
}

/// The instruction sets of this machine; plain is the last.
inline const std::vector<const vela::RoutineTable*>& instructionSets() {
    static const auto sets = [] {
        std::vector<const vela::RoutineTable*> some;
        for (const vela::RoutineTable* const set : vela::routineTables())
            if (vela::canRun(*set))
                some.push_back(set);
        return some;
    }();
    return sets;
}

inline const vela::RoutineTable& anyInstructionSet(Input& input) {
    return *instructionSets()[input.integer<size_t>(0, instructionSets().size() - 1)];
}

} // namespace fuzz
