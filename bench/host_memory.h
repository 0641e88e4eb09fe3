// The memory callbacks of a host that cares about speed. Scan buffers grow in small steps, and a
// host that copied a buffer at each would spend time with the square of the picture's size: this
// one takes half as much again when it has to move a block.
#pragma once

#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace bench {

inline constexpr size_t kBlockAlignment = 64; // so that grow need not know what was asked for

inline void allocateBlock(void** out, uint32_t size, uint32_t) {
    if (posix_memalign(out, kBlockAlignment, size) != 0)
        *out = nullptr;
}

inline void releaseBlock(void** block) {
    std::free(*block);
}

inline int32_t growBlock(void** block, uint32_t oldSize, uint32_t newSize) {
    if (malloc_usable_size(*block) >= newSize)
        return 0;
    void* larger = nullptr;
    if (posix_memalign(&larger, kBlockAlignment, size_t{newSize} + newSize / 2) != 0)
        return -1;
    std::memcpy(larger, *block, oldSize);
    std::free(*block);
    *block = larger;
    return 0;
}

} // namespace bench
