#include "encoder/parameter_check.h"

#include <limits>

#include "state/color_format.h"

namespace vela {
namespace {

constexpr uint32_t kMaxQuality = 100;
constexpr uint32_t kMaxRestartInterval = 0xFFFF; // DRI has 16 bits for it
constexpr int32_t kMaxSize = 0xFFFF;             // SOF has 16 bits for width and height

Status checkParams(const EncoderParams_JPEG& params) {
    if (params.quality > kMaxQuality || params.restartInterval > kMaxRestartInterval)
        return ENC_STATUS_BADARG;
    if (subsamplingOf(params.subsampling) == nullptr)
        return ENC_STATUS_NOTSUPPORTED;
    if (params.mode != ENC_MODE_BASELINE && params.mode != ENC_MODE_PROGRESSIVE)
        return ENC_STATUS_NOTSUPPORTED;
    if (params.bufferMode != ENC_BUFFER_SLICE && params.bufferMode != ENC_BUFFER_INTEGRATED)
        return ENC_STATUS_BADARG;
    if (params.bufferMode == ENC_BUFFER_SLICE && params.sourceHandle == 0)
        return ENC_STATUS_BADARG;
    return ENC_STATUS_OK;
}

/// Whether the first count planes are given and have positive steps.
bool hasPlanes(const Picture_JPEG& picture, int32_t count) {
    for (int32_t p = 0; p < count; p++)
        if (picture.plane[p] == nullptr || picture.step[p] < 1)
            return false;
    return true;
}

bool planesFit(const Picture_JPEG& picture, const ColorFormat* format) {
    if (format != nullptr && format->layout == PlaneLayout::semiPlanar)
        return picture.planeCount >= 2 && hasPlanes(picture, 2);
    if (picture.planeCount == 1)
        return picture.plane[0] != nullptr && picture.step[0] != 0;
    return picture.planeCount == 3 && hasPlanes(picture, 3);
}

Status checkPictureRecord(const Picture_JPEG& picture) {
    if (picture.height < 1 || picture.width < 1)
        return ENC_STATUS_BADARG;
    if (picture.planeCount < 1 || picture.planeCount > 3)
        return ENC_STATUS_NOTSUPPORTED;
    if (picture.componentCount != 1 && picture.componentCount != 3)
        return ENC_STATUS_NOTSUPPORTED;
    const ColorFormat* const format = colorFormatOf(picture.colorFormat);
    if (!planesFit(picture, format))
        return ENC_STATUS_BADARG;
    return format == nullptr ? ENC_STATUS_NOTSUPPORTED : ENC_STATUS_OK;
}

Status checkCallbacks(const EncoderParams_JPEG& params, const CallbackTable_JPEG& callbacks) {
    if (callbacks.allocate == nullptr || callbacks.release == nullptr || callbacks.flush == nullptr)
        return ENC_STATUS_BADARG;
    if (params.mode == ENC_MODE_PROGRESSIVE && callbacks.grow == nullptr)
        return ENC_STATUS_BADARG;
    if (params.bufferMode == ENC_BUFFER_SLICE &&
        (callbacks.seek == nullptr || callbacks.read == nullptr))
        return ENC_STATUS_BADARG;
    return ENC_STATUS_OK;
}

bool fits32(int64_t value) {
    return value >= std::numeric_limits<int32_t>::min() &&
           value <= std::numeric_limits<int32_t>::max();
}

/// Whether every seek and every read of a walk fits a signed 32-bit count.
bool seeksFit(const SourceLayout& source, int32_t height, bool bottomUp) {
    const int32_t last = source.planes - 1;
    const int32_t largestBand = source.wholeBands > 0 ? source.bandRows[0] : height;
    if (!fits32(source.bandBytes(0, largestBand)))
        return false;
    if (source.planes == 1)
        return !bottomUp || fits32(source.bandBytes(0, height));
    // Down from plane to plane and back up: the jumps get shorter from one MCU row to the next, and
    // the one back up, from the last plane, is the longest.
    return source.wholeBands == 0 || fits32(source.bandStart(0, 1) - source.bandStart(last, 0) -
                                            source.bandBytes(last, source.bandRows[0]));
}

/// Chroma samples along an axis, as far as they are read: half of the size rounded down, or up
/// where a last MCU has but one luminance sample.
int32_t chromaSize(int32_t size, int32_t factor) {
    if (factor == 1)
        return size;
    return size / 2 + (size % (8 * factor) == 1 ? 1 : 0);
}

/// The rows in the source hold their samples, the chroma steps are the source's row lengths, and no
/// seek or read leaves 32 bits.
bool sourceFits(const Picture_JPEG& picture, const ColorFormat& format,
                const SourceLayout& source) {
    if (source.rowBytes[0] < int64_t{picture.width} * format.sampleBytes[0])
        return false;
    // Chroma planes are those of a format with a subsampling of its own.
    const int32_t h = source.planes > 1 ? subsamplingOf(format.subsampling)->h : 1;
    for (int32_t p = 1; p < source.planes; p++) {
        if (source.rowBytes[0] * format.sampleBytes[p] % h != 0 ||
            picture.step[p] != source.rowBytes[p])
            return false;
        if (source.rowBytes[p] < int64_t{chromaSize(picture.width, h)} * format.sampleBytes[p])
            return false;
    }
    return seeksFit(source, picture.height, picture.step[0] < 0);
}

} // namespace

Status velaParameterCheck_JPEG(const EncoderParams_JPEG* params, const Picture_JPEG* picture,
                               const Bitstream_JPEG* stream, const CallbackTable_JPEG* callbacks) {
    if (params == nullptr || picture == nullptr || stream == nullptr || callbacks == nullptr)
        return ENC_STATUS_BADARG;
    if (const Status status = checkParams(*params); status != ENC_STATUS_OK)
        return status;
    if (const Status status = checkPictureRecord(*picture); status != ENC_STATUS_OK)
        return status;
    if (stream->start == nullptr)
        return ENC_STATUS_BADARG;
    return checkCallbacks(*params, *callbacks);
}

Status checkSize(const Picture_JPEG& picture) {
    return picture.width > kMaxSize || picture.height > kMaxSize ? ENC_STATUS_BADARG
                                                                 : ENC_STATUS_OK;
}

Status checkPicture(const EncoderParams_JPEG& params, const Picture_JPEG& picture,
                    const SourceLayout& source) {
    const ColorFormat& format = *colorFormatOf(picture.colorFormat);
    if (format.layout == PlaneLayout::planar && picture.planeCount != 3)
        return ENC_STATUS_BADARG;
    if (picture.componentCount != format.componentCount)
        return ENC_STATUS_BADARG;
    if (params.bufferMode == ENC_BUFFER_SLICE && !sourceFits(picture, format, source))
        return ENC_STATUS_BADARG;
    return ENC_STATUS_OK;
}

} // namespace vela
