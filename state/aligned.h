// Alignment inside blocks of memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vela {

inline constexpr size_t kTableAlignment = 32; // of what vector kernels read and write

/// The first boundary at or after at; alignment is a power of two.
inline uint8_t* alignUp(uint8_t* at, size_t alignment) {
    const auto address = reinterpret_cast<uintptr_t>(at);
    return at + ((alignment - address % alignment) % alignment);
}

} // namespace vela
