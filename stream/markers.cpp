#include "stream/markers.h"

#include <array>
#include <cassert>
#include <cstddef>

#include "state/code_counts.h"
#include "state/zigzag.h"
#include "stream/output_stream.h"

namespace vela {
namespace {

constexpr int32_t kJfifVersion = 0x0102;

/// A segment under construction, in a buffer of its own size; all fields are big-endian.
template <size_t capacity>
class Segment {
public:
    explicit Segment(uint8_t code) {
        byte(0xFF);
        byte(code);
    }

    void byte(uint32_t value) {
        assert(used_ < capacity);
        bytes_[used_++] = static_cast<uint8_t>(value);
    }

    void word(int32_t value) {
        byte(static_cast<uint32_t>(value) >> 8);
        byte(static_cast<uint32_t>(value));
    }

    [[nodiscard]] Status write(Bitstream_JPEG* stream, FlushCallback flush,
                               uint32_t flushContext) const {
        return czWriteStreamBytes_JPEGENC(bytes_.data(), static_cast<int32_t>(used_), stream, flush,
                                          flushContext);
    }

private:
    std::array<uint8_t, capacity> bytes_;
    size_t used_ = 0;
};

} // namespace

Status velaWriteHead_JPEG(const uint8_t* comment, int32_t commentLength, Bitstream_JPEG* stream,
                          EncoderState_JPEG* state) {
    const FlushCallback flush = state->flush;
    const uint32_t context = state->flushContext;
    const ImageSpec& image = state->imageSpec;

    Status status = velaWriteMarker_JPEG(kMarkerSoi, stream, flush, context);
    if (status == ENC_STATUS_OK)
        status = velaWrite_APP0_JFIF_JPEG(static_cast<uint8_t>(image.densityUnits), image.xDensity,
                                          image.yDensity, kJfifVersion, stream, flush, context);
    if (status == ENC_STATUS_OK)
        status = velaWrite_COM_JPEG(comment, commentLength, stream, flush, context);
    if (status == ENC_STATUS_OK && state->restartInterval > 0)
        status = velaWrite_DRI_JPEG(static_cast<int32_t>(state->restartInterval), stream, flush,
                                    context);
    return status;
}

Status velaWriteMarker_JPEG(uint8_t code, Bitstream_JPEG* stream, FlushCallback flush,
                            uint32_t flushContext) {
    return Segment<2>(code).write(stream, flush, flushContext);
}

Status velaWrite_APP0_JFIF_JPEG(uint8_t units, int32_t xDensity, int32_t yDensity, int32_t version,
                                Bitstream_JPEG* stream, FlushCallback flush,
                                uint32_t flushContext) {
    Segment<18> segment(kMarkerApp0);
    segment.word(16);
    for (const char letter : {'J', 'F', 'I', 'F', '\0'})
        segment.byte(static_cast<uint8_t>(letter));
    segment.word(version);
    segment.byte(units);
    segment.word(xDensity);
    segment.word(yDensity);
    segment.word(0); // no thumbnail: width 0, height 0
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_COM_JPEG(const uint8_t* text, int32_t length, Bitstream_JPEG* stream,
                          FlushCallback flush, uint32_t flushContext) {
    if (text == nullptr || length <= 0)
        return ENC_STATUS_OK;
    assert(length <= 0xFFFF - 2);
    Segment<4> segment(kMarkerCom);
    segment.word(length + 2);
    const Status status = segment.write(stream, flush, flushContext);
    if (status != ENC_STATUS_OK)
        return status;
    return czWriteStreamBytes_JPEGENC(text, length, stream, flush, flushContext);
}

Status velaWrite_DRI_JPEG(int32_t interval, Bitstream_JPEG* stream, FlushCallback flush,
                          uint32_t flushContext) {
    Segment<6> segment(kMarkerDri);
    segment.word(4);
    segment.word(interval);
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_DQT_JPEG(uint32_t tableId, int32_t precision, const uint8_t table[64],
                          Bitstream_JPEG* stream, FlushCallback flush, uint32_t flushContext) {
    if (precision != 8 && precision != 16)
        return ENC_STATUS_OK;
    const bool wide = precision == 16;
    Segment<133> segment(kMarkerDqt);
    segment.word(wide ? 131 : 67);
    segment.byte((wide ? 0x10 : 0x00) + (tableId & 15));
    for (const uint8_t position : kZigzag) {
        if (wide)
            segment.byte(0);
        segment.byte(table[position]);
    }
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_DHT_JPEG(uint32_t tableId, uint32_t tableClass, const uint8_t bits[16],
                          const uint8_t vals[], Bitstream_JPEG* stream, FlushCallback flush,
                          uint32_t flushContext) {
    const CodeCounts counts = limitCodeCounts(bits);
    Segment<21 + 256> segment(kMarkerDht);
    segment.word(counts.total + 19);
    segment.byte(tableId + (tableClass << 4));
    for (const uint8_t count : counts.bits)
        segment.byte(count);
    for (int32_t i = 0; i < counts.total; i++)
        segment.byte(vals[i]);
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_SOF_JPEG(const FrameSpec* frame, const ComponentSpec* components,
                          Bitstream_JPEG* stream, FlushCallback flush, uint32_t flushContext) {
    assert(frame->componentCount <= kMaxComponents);
    Segment<10 + 3 * kMaxComponents> segment(static_cast<uint8_t>(frame->sofMarker));
    segment.word(3 * frame->componentCount + 8);
    segment.byte(8); // sample precision
    segment.word(frame->height);
    segment.word(frame->width);
    segment.byte(static_cast<uint32_t>(frame->componentCount));
    for (int32_t i = 0; i < frame->componentCount; i++) {
        const ComponentSpec& component = components[i];
        segment.byte(static_cast<uint32_t>(i + 1));
        segment.byte(static_cast<uint32_t>((component.hFactor << 4) + component.vFactor));
        segment.byte(static_cast<uint32_t>(component.quantSelector));
    }
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_SOS_JPEG(const ScanSpec* scan, Bitstream_JPEG* stream, FlushCallback flush,
                          uint32_t flushContext) {
    assert(scan->componentCount <= kMaxComponents);
    Segment<8 + 2 * kMaxComponents> segment(kMarkerSos);
    segment.word(2 * scan->componentCount + 6);
    segment.byte(static_cast<uint32_t>(scan->componentCount));
    for (int32_t j = 0; j < scan->componentCount; j++) {
        const ComponentSpec& component = *scan->component[j];
        segment.byte(static_cast<uint32_t>(component.id + 1));
        segment.byte(static_cast<uint32_t>((component.dcSelector << 4) + component.acSelector));
    }
    segment.byte(static_cast<uint32_t>(scan->Ss));
    segment.byte(static_cast<uint32_t>(scan->Se));
    segment.byte(static_cast<uint32_t>((scan->Ah << 4) + (scan->Al & 15)));
    return segment.write(stream, flush, flushContext);
}

Status velaWrite_RST_JPEG(uint32_t n, Bitstream_JPEG* stream, FlushCallback flush,
                          uint32_t flushContext) {
    return velaWriteMarker_JPEG(static_cast<uint8_t>(kMarkerRst0 + (n & 7)), stream, flush,
                                flushContext);
}

} // namespace vela
