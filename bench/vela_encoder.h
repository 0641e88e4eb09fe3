// Our side: a host with reused buffers that encodes the same picture again and again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "vela/jpegenc.h"

namespace vela {
struct RoutineTable;
}

namespace bench {

inline constexpr int32_t kOutputBufferBytes = 65536;

/// What is behind the read and seek callbacks in slice mode.
class SliceFeed {
public:
    virtual ~SliceFeed() = default;
    virtual void read(uint8_t* to, size_t count) = 0;
    virtual void seek(int32_t offset) = 0;
};

/// What the library has asked its host for in one encoding.
struct MemoryUse {
    uint64_t setUpCalls;  // of allocate, by EncoderInitAlloc_JPEG
    uint64_t encodeCalls; // of allocate and grow, by Encode_JPEG
    uint64_t bytes;       // in all blocks at the end, when they are largest
};

/// All of an encoding is in encode: set-up, the picture, and giving the memory back.
class VelaEncoder {
public:
    struct Settings {
        uint32_t quality;
        uint32_t mode;        // ENC_MODE_*
        uint32_t subsampling; // ENC_SUBSAMPLE_*
        const vela::RoutineTable* instructionSet =
            {};                    // null: as a host of the public calls gets it
        SliceFeed* feed = nullptr; // slice mode if there is one
        bool keepStream = true;    // else its bytes are counted only
    };

    /// What picture points to is not copied.
    VelaEncoder(const Picture_JPEG& picture, const Settings& settings);

    /// Throws cli::Failure.
    void encode();

    /// The stream of the last encoding; empty where it is not kept.
    std::span<const uint8_t> stream() const { return {stream_.get(), keep_ ? streamBytes_ : 0}; }
    size_t streamBytes() const { return streamBytes_; }
    const MemoryUse& memoryUse() const { return memory_; }

private:
    friend struct Callbacks;

    bool take(const uint8_t* bytes, size_t count);

    Picture_JPEG picture_;
    EncoderParams_JPEG params_;
    const vela::RoutineTable* instructionSet_;
    SliceFeed* feed_;
    bool keep_;
    std::vector<uint8_t> buffer_;
    size_t streamCapacity_;
    std::unique_ptr<uint8_t[]> stream_; // not cleared: what no stream reaches costs no memory
    size_t streamBytes_ = 0;
    MemoryUse memory_{};
};

} // namespace bench
