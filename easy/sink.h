// Where the bytes of a stream go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vela/easy.h"

namespace vela::easy {

/// The status of something that is good or has failed with the given one.
inline int32_t statusOf(bool good, int32_t failure) {
    return good ? ENC_STATUS_OK : failure;
}

class Sink {
public:
    Sink() = default;
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;
    virtual ~Sink() = default;

    /// Takes count bytes; a status, ENC_STATUS_OK to go on. After another one it is not called again.
    /// May throw std::bad_alloc.
    [[nodiscard]] virtual int32_t take(const uint8_t* bytes, size_t count) = 0;
};

/// The caller's write callback.
class CallbackSink final : public Sink {
public:
    CallbackSink(VelaWrite* write, void* context) : write_(write), context_(context) {}
    int32_t take(const uint8_t* bytes, size_t count) override {
        return statusOf(write_(context_, bytes, count) == 0, VELA_STATUS_WRITE);
    }

private:
    VelaWrite* write_;
    void* context_;
};

/// Memory, whose vector keeps its room from one stream to the next; up to a limit.
class MemorySink final : public Sink {
public:
    explicit MemorySink(std::vector<uint8_t>& bytes, size_t most = SIZE_MAX)
        : bytes_(bytes), most_(most) {
        bytes_.clear();
    }
    int32_t take(const uint8_t* bytes, size_t count) override {
        if (count > most_ - bytes_.size())
            return VELA_STATUS_TOO_LARGE;
        bytes_.insert(bytes_.end(), bytes, bytes + count);
        return ENC_STATUS_OK;
    }

private:
    std::vector<uint8_t>& bytes_;
    size_t most_;
};

} // namespace vela::easy
