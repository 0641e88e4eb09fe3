#include "encoder/parameter_check.h"

#include <cstdlib>

#include "encoder/frame_setup.h"
#include "pixel/row_sources.h"
#include "state/color_format.h"

namespace vela {
namespace {

constexpr uint32_t kMaxQuality = 100;
constexpr uint32_t kMaxRestartInterval = 0xFFFF; // DRI has 16 bits for it
constexpr int32_t kMaxSize = 0xFFFF;             // SOF has 16 bits for width and height

Status checkParams(const EncoderParams_JPEG& params) {
    if (params.quality > kMaxQuality || params.restartInterval > kMaxRestartInterval)
        return ENC_STATUS_BADARG;
    if (lumaFactorsOf(params.subsampling).h == 0)
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

bool planesFit(const Picture_JPEG& picture) {
    if (picture.colorFormat == JPEG_CF_NV12 || picture.colorFormat == JPEG_CF_NV21)
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
    if (!planesFit(picture))
        return ENC_STATUS_BADARG;
    if (colorFormatOf(picture.colorFormat).layout == PlaneLayout::unknown)
        return ENC_STATUS_NOTSUPPORTED;
    return ENC_STATUS_OK;
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

/// Chroma samples along an axis, as far as they are read: half of the size rounded down, or up
/// where a last MCU has but one luminance sample.
int32_t chromaSize(int32_t size, int32_t factor) {
    if (factor == 1)
        return size;
    return size / 2 + (size % (8 * factor) == 1 ? 1 : 0);
}

/// The rows in the source hold their samples, the chroma steps are the source's row lengths, and no
/// seek or read leaves 32 bits.
bool sourceFits(const EncoderParams_JPEG& params, const Picture_JPEG& picture) {
    const ColorFormat format = colorFormatOf(picture.colorFormat);
    ImageSpec image{};
    image.width = picture.width;
    image.height = picture.height;
    image.colorFormat = picture.colorFormat;
    image.subsampling = format.ownSubsampling ? format.subsampling : params.subsampling;
    const LumaFactors factors = lumaFactorsOf(image.subsampling);
    MCUSpec mcu{};
    if (velaInitMCUSpec_JPEG(&mcu, &image) != ENC_STATUS_OK)
        return false;

    const SourceLayout source(image, mcu, picture.step[0]);
    const int64_t lumaSamples = int64_t{picture.width};
    const int64_t lumaBytes = format.layout == PlaneLayout::singlePlane
                                  ? lumaSamples * format.bytesPerPixel
                                  : lumaSamples;
    if (source.rowBytes[0] < lumaBytes)
        return false;

    const bool halfRows = format.layout == PlaneLayout::planar && factors.h == 2;
    if (halfRows && picture.step[0] % 2 != 0)
        return false;
    const int32_t bytesPerChroma = format.layout == PlaneLayout::semiPlanar ? 2 : 1;
    for (int32_t p = 1; p < source.planes; p++) {
        if (picture.step[p] != source.rowBytes[p])
            return false;
        if (source.rowBytes[p] < int64_t{chromaSize(picture.width, factors.h)} * bytesPerChroma)
            return false;
    }
    return source.fitsSeek(image, mcu, picture.step[0] < 0);
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

Status checkPicture(const EncoderParams_JPEG& params, const Picture_JPEG& picture) {
    const ColorFormat format = colorFormatOf(picture.colorFormat);
    if (picture.width > kMaxSize || picture.height > kMaxSize)
        return ENC_STATUS_BADARG;
    if (format.layout == PlaneLayout::planar && picture.planeCount != 3)
        return ENC_STATUS_BADARG;
    if (picture.componentCount != format.componentCount)
        return ENC_STATUS_BADARG;
    if (params.bufferMode == ENC_BUFFER_SLICE && !sourceFits(params, picture))
        return ENC_STATUS_BADARG;
    return ENC_STATUS_OK;
}

} // namespace vela
