// Memory of an exact size between two canaries, poisoned where AddressSanitizer watches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELA_TEST_ASAN
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define VELA_TEST_ASAN
#endif
#ifdef VELA_TEST_ASAN
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)   ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace test {

class Guarded {
public:
    Guarded() = default;

    /// Filled with garbage. The block is aligned to alignment (a power of two up to 32) and to no
    /// more.
    explicit Guarded(size_t size, size_t alignment = 1) : size_(size) {
        memory_ = std::make_unique<uint8_t[]>(size + kMargins);
        const auto address = reinterpret_cast<uintptr_t>(memory_.get());
        start_ = memory_.get() + (2 * kCanary - address % (2 * kCanary)) + kCanary + alignment;
        std::memset(memory_.get(), kFill, size + kMargins);
        std::memset(start_, 0x6B, size);
        ASAN_POISON_MEMORY_REGION(start_ - kCanary, kCanary);
        ASAN_POISON_MEMORY_REGION(start_ + size, kCanary);
    }

    Guarded(Guarded&&) = default;
    Guarded& operator=(Guarded&& other) {
        unpoison();
        memory_ = std::move(other.memory_);
        start_ = other.start_;
        size_ = other.size_;
        return *this;
    }
    ~Guarded() { unpoison(); }

    uint8_t* data() const { return start_; }
    size_t size() const { return size_; }

    /// Whether both canaries are whole. Only to be asked once nothing else is done with the block.
    bool intact() {
        unpoison();
        for (size_t i = 0; i < kCanary; i++)
            if (start_[size_ + i] != kFill || (start_ - kCanary)[i] != kFill)
                return false;
        return true;
    }

private:
    static constexpr size_t kCanary = 64;
    static constexpr size_t kMargins = 5 * kCanary; // canaries, and room to align them
    static constexpr uint8_t kFill = 0xA5;

    void unpoison() {
        if (memory_ != nullptr)
            ASAN_UNPOISON_MEMORY_REGION(memory_.get(), size_ + kMargins);
    }

    std::unique_ptr<uint8_t[]> memory_;
    uint8_t* start_ = nullptr;
    size_t size_ = 0;
};

} // namespace test
