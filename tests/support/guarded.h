// Memory of an exact size between two canaries, poisoned where AddressSanitizer watches; with VELA_GUARD_PAGES in
// the environment between two pages that nobody may touch, flush with one and the other in turn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

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
        if (makePages(alignment)) {
            std::memset(start_, 0x6B, size);
            return;
        }
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
        pages_ = std::move(other.pages_);
        start_ = other.start_;
        size_ = other.size_;
        return *this;
    }
    ~Guarded() { unpoison(); }

    uint8_t* data() const { return start_; }
    size_t size() const { return size_; }

    /// Whether both canaries are whole. Only to be asked once nothing else is done with the block.
    bool intact() {
        if (pages_ != nullptr)
            return pages_->restIsWhole(start_, size_);
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

    /// A page without access, the memory, another such page.
    struct Pages {
        uint8_t *first = nullptr, *end = nullptr; // of what may be touched

#ifdef __linux__
        static size_t pageBytes() {
            return static_cast<size_t>(sysconf(_SC_PAGESIZE));
        }
        explicit Pages(size_t size) {
            const size_t page = pageBytes(),
                         room = (size + page - 1) / page * page + (size == 0 ? page : 0);
            void* const all =
                mmap(nullptr, room + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (all == MAP_FAILED ||
                mprotect(static_cast<uint8_t*>(all) + page, room, PROT_READ | PROT_WRITE) != 0)
                std::abort();
            first = static_cast<uint8_t*>(all) + page;
            end = first + room;
            std::memset(first, kFill, room);
        }
        ~Pages() {
            munmap(first - pageBytes(), static_cast<size_t>(end - first) + 2 * pageBytes());
        }
#else
        explicit Pages(size_t) {}
#endif
        Pages(const Pages&) = delete;
        Pages& operator=(const Pages&) = delete;

        bool restIsWhole(const uint8_t* start, size_t size) const {
            const auto whole = [](const uint8_t* from, const uint8_t* to) {
                for (; from < to; from++)
                    if (*from != kFill)
                        return false;
                return true;
            };
            return whole(first, start) && whole(start + size, end);
        }
    };

    bool makePages(size_t alignment) {
#ifdef __linux__
        static const bool wanted = std::getenv("VELA_GUARD_PAGES") != nullptr;
        static unsigned made = 0; // tests are of one thread
        if (!wanted)
            return false;
        pages_ = std::make_unique<Pages>(size_);
        const auto room = static_cast<size_t>(pages_->end - pages_->first);
        start_ = pages_->first + (made++ % 4 == 0 ? 0 : (room - size_) / alignment * alignment);
        return true;
#else
        (void)alignment;
        return false;
#endif
    }

    void unpoison() {
        if (memory_ != nullptr)
            ASAN_UNPOISON_MEMORY_REGION(memory_.get(), size_ + kMargins);
    }

    std::unique_ptr<uint8_t[]> memory_;
    std::unique_ptr<Pages> pages_;
    uint8_t* start_ = nullptr;
    size_t size_ = 0;
};

} // namespace test
