// One encoder of the core and what it needs: a host like any other.
#pragma once

#include <memory>

#include "easy/band_source.h"
#include "easy/core_memory.h"
#include "easy/sink.h"

namespace vela::easy {

class CoreEncoder {
public:
    /// May throw std::bad_alloc.
    CoreEncoder();
    CoreEncoder(const CoreEncoder&) = delete;
    CoreEncoder& operator=(const CoreEncoder&) = delete;

    /// Encodes a piece of the requested picture as a picture of its own. ENC_STATUS_OK, or the status of
    /// what failed: the core, readRows (VELA_STATUS_READ), or the sink's. May throw std::bad_alloc, but not
    /// from inside the core.
    [[nodiscard]] int32_t encode(const Request& request, const Piece& piece, int32_t quality,
                                 Sink& sink);

private:
    class Current;
    static const CallbackTable_JPEG kCallbacks;

    int32_t run(const EncoderParams_JPEG& params, const Picture_JPEG& picture);
    int32_t flush(const uint8_t* bytes, int32_t count) noexcept;
    int32_t read(void** pDst, uint32_t count) noexcept;

    static constexpr int32_t kOutputSize = 1 << 15;

    CoreMemory memory_;
    BandSource bands_;
    std::unique_ptr<uint8_t[]> output_;
    Sink* sink_ = nullptr;
    const void* firstPlane_ = nullptr; // of the bands
    int32_t failure_ = ENC_STATUS_OK;  // of a callback
};

} // namespace vela::easy
