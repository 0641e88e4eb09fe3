#include "stream/output_stream.h"

#include <cstring>

namespace vela {

Status czFlushStreamBytes_JPEGENC(Bitstream_JPEG* stream, int32_t needed, FlushCallback flush,
                                  uint32_t flushContext) {
    if (streamRoom(*stream) >= needed)
        return ENC_STATUS_OK;

    const auto used = static_cast<int32_t>(stream->cursor - stream->start);
    const int32_t taken = flushContext != 0 ? flush(stream->start, flushContext, used, 0) : used;
    if (taken < 0 || taken > used)
        return ENC_STATUS_OUTPUT_FULL;
    const int32_t kept = used - taken;
    if (int64_t{stream->size} - kept < needed)
        return ENC_STATUS_OUTPUT_FULL;

    const int32_t partialBytes = stream->bitCount != 0 ? 1 : 0;
    std::memmove(stream->start, stream->start + taken, static_cast<size_t>(kept + partialBytes));
    stream->cursor -= taken;
    return ENC_STATUS_OK;
}

Status czWriteStreamBytes_JPEGENC(const uint8_t* bytes, int32_t count, Bitstream_JPEG* stream,
                                  FlushCallback flush, uint32_t flushContext) {
    uint8_t completed[2] = {0, 0}; // the last data byte and what is stuffed after it
    int32_t completedBytes = 0;
    if (stream->bitCount != 0) {
        completed[0] = static_cast<uint8_t>(*stream->cursor | (0xFF >> stream->bitCount));
        completedBytes = completed[0] == 0xFF ? 2 : 1;
    }
    if (count < 0)
        count = 0;

    const Status status =
        czFlushStreamBytes_JPEGENC(stream, completedBytes + count, flush, flushContext);
    if (status != ENC_STATUS_OK)
        return status;

    std::memcpy(stream->cursor, completed, static_cast<size_t>(completedBytes));
    stream->cursor += completedBytes;
    stream->bitCount = 0;
    if (count > 0)
        std::memcpy(stream->cursor, bytes, static_cast<size_t>(count));
    stream->cursor += count;
    return ENC_STATUS_OK;
}

Status czReadStreamBytes_JPEGENC(uint8_t* dst, int32_t count, Bitstream_JPEG* stream) {
    if (streamRoom(*stream) < count)
        return ENC_STATUS_NODATA;
    if (count > 0) {
        std::memcpy(dst, stream->cursor, static_cast<size_t>(count));
        stream->cursor += count;
    }
    return ENC_STATUS_OK;
}

} // namespace vela
