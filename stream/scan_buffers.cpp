#include "stream/scan_buffers.h"

#include <cstddef>
#include <limits>

namespace vela {
namespace {

/// Rarely called, unlike the check, which is better off without its code.
[[nodiscard, gnu::noinline]] Status growBuffer(Bitstream_JPEG& buffer, EncoderState_JPEG* state) {
    const auto index = &buffer - state->scanBuffer;
    const int32_t growBy = scanPlanOf(state->scanBufferCount).rows[index].growthBytes;
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

[[nodiscard]] inline Status checkBuffer(Bitstream_JPEG& buffer, EncoderState_JPEG* state) {
    const bool fits = buffer.cursor - buffer.start <= buffer.size - kScanBufferReserve;
    if (__builtin_expect(fits, true))
        return ENC_STATUS_OK;
    return growBuffer(buffer, state);
}

} // namespace

Status velaCheckOverflow_JPEG(EncoderState_JPEG* state) {
    Bitstream_JPEG* const end = state->scanBuffer + state->scanBufferCount;
    for (Bitstream_JPEG* buffer = state->scanBuffer; buffer < end; buffer++) {
        const Status status = checkBuffer(*buffer, state);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

Status checkOverflowOf(EncoderState_JPEG* state, int32_t first, int32_t second) {
    const Status status = checkBuffer(state->scanBuffer[first], state);
    return status == ENC_STATUS_OK ? checkBuffer(state->scanBuffer[second], state) : status;
}

} // namespace vela
