// Memory for the core's callbacks, kept from one picture to the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace vela::easy {

class CoreMemory {
public:
    /// Null where there is none. Blocks that were released serve again, in their order: a picture of the
    /// same geometry as the last one finds its own.
    void* allocate(uint32_t size, uint32_t alignment) noexcept;
    void release(void* block) noexcept;
    /// Blocks that have to move take more than is asked for, so that the core's small steps do not copy
    /// them each time.
    [[nodiscard]] bool grow(void** block, uint32_t oldSize, uint32_t newSize) noexcept;

private:
    static constexpr size_t kAlignment = 64;

    struct Block {
        struct Free {
            void operator()(void* bytes) const {
                ::operator delete (bytes, std::align_val_t{kAlignment});
            }
        };
        std::unique_ptr<void, Free> memory;
        size_t room = 0;
        bool taken = false;

        bool make(size_t bytes) noexcept;
    };

    Block* find(const void* block) noexcept;

    std::vector<Block> blocks_;
};

} // namespace vela::easy
