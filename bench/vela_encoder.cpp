#include "bench/vela_encoder.h"

#include <cstring>
#include <string>
#include <utility>

#include "bench/host_memory.h"
#include "cli/failure.h"
#include "encoder/setup.h"

namespace bench {
namespace {

// The encoder whose encode is running: allocate and grow come without a handle.
VelaEncoder* active = nullptr;
constexpr uint32_t kHandle = 1; // there is one encoder at a time

} // namespace

struct Callbacks {
    static void allocate(void** out, uint32_t size, uint32_t alignment) {
        active->memory_.encodeCalls++;
        active->memory_.bytes += size;
        allocateBlock(out, size, alignment);
    }

    static int32_t grow(void** block, uint32_t oldSize, uint32_t newSize) {
        active->memory_.encodeCalls++;
        active->memory_.bytes += newSize - oldSize;
        return growBlock(block, oldSize, newSize);
    }

    static int32_t flush(uint8_t* start, uint32_t, int32_t usedBytes, uint32_t) {
        return active->take(start, static_cast<size_t>(usedBytes)) ? usedBytes : -1;
    }

    static int32_t seek(uint32_t, int32_t offset, uint32_t) {
        active->feed_->seek(offset);
        return 0;
    }

    static int32_t read(void** to, uint32_t, uint32_t count, uint32_t) {
        active->feed_->read(static_cast<uint8_t*>(*to), count);
        return static_cast<int32_t>(count);
    }
};

VelaEncoder::VelaEncoder(const Picture_JPEG& picture, const Settings& settings)
    : picture_(picture), params_{.quality = settings.quality,
                                 .restartInterval = 0,
                                 .mode = settings.mode,
                                 .subsampling = settings.subsampling,
                                 .bufferMode = settings.feed != nullptr
                                                   ? uint32_t{ENC_BUFFER_SLICE}
                                                   : uint32_t{ENC_BUFFER_INTEGRATED},
                                 .flushContext = kHandle,
                                 .sourceHandle = settings.feed != nullptr ? kHandle : 0},
      instructionSet_(settings.instructionSet), feed_(settings.feed), keep_(settings.keepStream),
      buffer_(kOutputBufferBytes),
      streamCapacity_(settings.keepStream ? size_t{8} * static_cast<size_t>(picture.width) *
                                                    static_cast<size_t>(picture.height) +
                                                kOutputBufferBytes
                                          : 0),
      stream_(std::make_unique_for_overwrite<uint8_t[]>(streamCapacity_)) {}

bool VelaEncoder::take(const uint8_t* bytes, size_t count) {
    if (keep_) {
        if (count > streamCapacity_ - streamBytes_)
            return false;
        std::memcpy(stream_.get() + streamBytes_, bytes, count);
    }
    streamBytes_ += count;
    return true;
}

void VelaEncoder::encode() {
    const CallbackTable_JPEG callbacks{nullptr,         Callbacks::allocate, releaseBlock,
                                       Callbacks::grow, Callbacks::flush,    Callbacks::seek,
                                       Callbacks::read};
    Bitstream_JPEG output{buffer_.data(), kOutputBufferBytes, nullptr, 0};
    active = this;
    streamBytes_ = 0;
    memory_ = {};

    EncoderState_JPEG* state = nullptr;
    int32_t status =
        instructionSet_ == nullptr
            ? EncoderInitAlloc_JPEG(&params_, &picture_, &output, &callbacks, &state)
            : vela::initEncoder(&params_, &picture_, &output, &callbacks, &state, *instructionSet_);
    memory_.setUpCalls = std::exchange(memory_.encodeCalls, 0);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &output, state);
    EncoderFree_JPEG(&state);
    if (status != ENC_STATUS_OK ||
        !take(output.start, static_cast<size_t>(output.cursor - output.start)))
        throw cli::Failure("the encoder failed with status " + std::to_string(status));
}

} // namespace bench
