// Buffers for the streams, from a pool whose buffers have room for what streams have had of late.
#pragma once

#include <gst/gst.h>

namespace vela::gst {

class OutputPool {
public:
    OutputPool();
    OutputPool(const OutputPool&) = delete;
    OutputPool& operator=(const OutputPool&) = delete;
    ~OutputPool();

    /// For a new kind of streams: where memory comes from, and a guess at how long they are.
    void configure(GstAllocator* allocator, const GstAllocationParams& params);
    void expect(gsize bytes);

    /// Begins a stream; false: no memory.
    bool begin();
    /// Appends to it, moving it to a larger buffer where it has to; false: no memory.
    bool append(const void* bytes, gsize count);
    /// Ends it; the buffer is the caller's.
    GstBuffer* end();
    /// Ends it without a result.
    void drop();
    /// Gives all memory back, but for buffers that are still in use.
    void clear();

private:
    bool makePool(gsize room);
    bool moveTo(gsize room);

    GstAllocator* allocator_ = nullptr;
    GstAllocationParams params_;
    GstBufferPool* pool_ = nullptr;
    gsize room_ = 0;     // of the pool's buffers
    gsize estimate_ = 0; // the longest stream of late, forgotten slowly

    GstBuffer* buffer_ = nullptr; // the stream that has begun
    GstMapInfo map_{};
    gsize used_ = 0;
};

} // namespace vela::gst
