#include "stream/scan_buffers.h"

#include <cstddef>
#include <limits>

#include "stream/output_stream.h"

namespace vela {
namespace {

/// The buffers that fill fastest (DC first, luminance AC first and refinement) grow in larger
/// steps.
int32_t growthBytes(int32_t scanBufferCount, int32_t index) {
    const int32_t lumaRefine = scanBufferCount == 4 ? 3 : 5;
    return index == 0 || index == 1 || index == lumaRefine ? 4096 : 1024;
}

Status growBuffer(Bitstream_JPEG& buffer, int32_t growBy, EncoderState_JPEG* state) {
    if (buffer.size > std::numeric_limits<int32_t>::max() - growBy)
        return ENC_STATUS_NOMEM;
    const int32_t newSize = buffer.size + growBy;
    const ptrdiff_t used = buffer.cursor - buffer.start;

    void* block = buffer.start;
    if (state->grow(&block, static_cast<uint32_t>(buffer.size), static_cast<uint32_t>(newSize)) !=
        0)
        return ENC_STATUS_NOMEM;
    buffer.start = static_cast<uint8_t*>(block);
    buffer.cursor = buffer.start + used;
    buffer.size = newSize;
    return ENC_STATUS_OK;
}

} // namespace

Status velaCheckOverflow_JPEG(EncoderState_JPEG* state) {
    for (int32_t i = 0; i < state->scanBufferCount; i++) {
        Bitstream_JPEG& buffer = state->scanBuffer[i];
        if (streamRoom(buffer) >= kScanBufferReserve)
            continue;
        const Status status = growBuffer(buffer, growthBytes(state->scanBufferCount, i), state);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

} // namespace vela
