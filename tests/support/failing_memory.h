// The C++ run-time library's memory, counted and refused: what new gives to the library and to the tests.
#pragma once

namespace test {

/// Blocks that were asked for since the start, on all threads, and those that have not been given back.
int allocations();
int blocksInUse();

/// While it lives, the n-th allocation from now on (from 1) is refused, alone or with all that follow.
class RefusedAllocation {
public:
    RefusedAllocation(int n, bool forGood);
    ~RefusedAllocation();
    RefusedAllocation(const RefusedAllocation&) = delete;
    RefusedAllocation& operator=(const RefusedAllocation&) = delete;

    static bool happened();
};

} // namespace test
