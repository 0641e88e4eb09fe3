#include "support/failing_memory.h"

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace test {
namespace {

std::atomic<int> asked{0}, inUse{0};
std::atomic<int> first{INT_MAX},
    last{0}; // the refused ones, by the count of those that were asked for

void* memoryOrNull(size_t size, size_t alignment) {
    const int number = ++asked;
    void* memory = nullptr;
    if ((number >= first && number <= last) || posix_memalign(&memory, alignment, size) != 0)
        return nullptr;
    ++inUse;
    return memory;
}

void* memoryOrThrow(size_t size, size_t alignment) {
    if (void* const memory = memoryOrNull(size, alignment))
        return memory;
    throw std::bad_alloc();
}

void giveBack(void* memory) {
    if (memory != nullptr)
        --inUse;
    std::free(memory);
}

} // namespace

int allocations() {
    return asked;
}

int blocksInUse() {
    return inUse;
}

RefusedAllocation::RefusedAllocation(int n, bool forGood) {
    const int number = asked + n;
    last = forGood ? INT_MAX : number;
    first = number;
}

RefusedAllocation::~RefusedAllocation() {
    first = INT_MAX;
    last = 0;
}

bool RefusedAllocation::happened() {
    return asked >= first;
}

} // namespace test

void* operator new(size_t size) {
    return test::memoryOrThrow(size, alignof(std::max_align_t));
}
void* operator new(size_t size, std::align_val_t alignment) {
    return test::memoryOrThrow(size, size_t(alignment));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return test::memoryOrNull(size, alignof(std::max_align_t));
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return test::memoryOrNull(size, size_t(alignment));
}
void operator delete(void* memory) noexcept {
    test::giveBack(memory);
}
void operator delete(void* memory, size_t) noexcept {
    test::giveBack(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    test::giveBack(memory);
}
void operator delete(void* memory, size_t, std::align_val_t) noexcept {
    test::giveBack(memory);
}
