#include "stream/scan_buffers.h"

#include <cstddef>
#include <limits>

namespace vela {
namespace {

/// The buffers that fill fastest (DC first, luminance AC first and refinement) grow in larger
/// steps.
int32_t growthBytes(int32_t scanBufferCount, int32_t index) {
    const int32_t lumaRefine = scanBufferCount == 4 ? 3 : 5;
    return index == 0 || index == 1 || index == lumaRefine ? 4096 : 1024;
}

/// Rarely called, unlike the check, which is better off without its code.
[[nodiscard, gnu::noinline]] Status growBuffer(Bitstream_JPEG& buffer, EncoderState_JPEG* state) {
    const auto index = static_cast<int32_t>(&buffer - state->scanBuffer);
    const int32_t growBy = growthBytes(state->scanBufferCount, index);
    if (buffer.size > std::numeric_limits<int32_t>::max() - growBy)
        return ENC_STATUS_NOMEM;
    const int32_t newSize = buffer.size + growBy;
    const ptrdiff_t used = buffer.cursor - buffer.start;

    if (state->grow(reinterpret_cast<void**>(&buffer.start), static_cast<uint32_t>(buffer.size),
                    static_cast<uint32_t>(newSize)) != 0)
        return ENC_STATUS_NOMEM;
    buffer.cursor = buffer.start + used;
    buffer.size = newSize;
    return ENC_STATUS_OK;
}

} // namespace

Status velaCheckOverflow_JPEG(EncoderState_JPEG* state) {
    Bitstream_JPEG* const end = state->scanBuffer + state->scanBufferCount;
    for (Bitstream_JPEG* buffer = state->scanBuffer; buffer < end; buffer++) {
        if (buffer->cursor - buffer->start <= buffer->size - kScanBufferReserve)
            continue;
        const Status status = growBuffer(*buffer, state);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

} // namespace vela
