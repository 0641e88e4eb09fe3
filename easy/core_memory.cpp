#include "easy/core_memory.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vela::easy {

bool CoreMemory::Block::make(size_t bytes) noexcept {
    room = bytes;
    memory.reset(::operator new (room, std::align_val_t{kAlignment}, std::nothrow));
    if (!memory)
        room = 0;
    return memory != nullptr;
}

void* CoreMemory::allocate(uint32_t size, uint32_t alignment) noexcept {
    if (alignment > kAlignment)
        return nullptr;
    auto block =
        std::find_if(blocks_.begin(), blocks_.end(), [](const Block& b) { return !b.taken; });
    if (block == blocks_.end()) {
        try {
            block = blocks_.insert(blocks_.end(), Block());
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    if (block->room < size && !block->make(size))
        return nullptr;
    block->taken = true;
    return block->memory.get();
}

void CoreMemory::release(void* block) noexcept {
    if (Block* const found = find(block))
        found->taken = false;
}

bool CoreMemory::grow(void** block, uint32_t oldSize, uint32_t newSize) noexcept {
    Block* const found = find(*block);
    if (found == nullptr)
        return false;
    if (newSize > found->room) {
        Block larger;
        if (!larger.make(size_t{newSize} + newSize / 2) && !larger.make(newSize))
            return false;
        std::memcpy(larger.memory.get(), *block, oldSize);
        larger.taken = true;
        *found = std::move(larger);
        *block = found->memory.get();
    }
    return true;
}

CoreMemory::Block* CoreMemory::find(const void* block) noexcept {
    for (Block& one : blocks_)
        if (one.taken && one.memory.get() == block)
            return &one;
    return nullptr;
}

} // namespace vela::easy
