#include "encoder/frame_setup.h"

#include <algorithm>

#include "state/aligned.h"
#include "state/color_format.h"
#include "stream/markers.h"

namespace vela {
namespace {

constexpr int32_t kSamplePrecision = 8;
constexpr int32_t kDensityNoUnits = 0; // JFIF: xDensity and yDensity give an aspect ratio only
constexpr int32_t kDensity = 72;

/// Where the parameters name another subsampling than the format requires, with the format's own.
SourceLayout describeSource(const Picture_JPEG& picture, const ImageSpec& image) {
    const ColorFormat& format = *colorFormatOf(image.colorFormat);
    const Subsampling& subsampling =
        *subsamplingOf(format.takes(image.subsampling) ? image.subsampling : format.subsampling);
    const int64_t step = picture.step[0];
    const int64_t lumaBytes = step < 0 ? -step : step;
    const int32_t mcuHeight = 8 * subsampling.v;

    SourceLayout source{};
    source.planes = format.planes();
    source.wholeBands = picture.height / mcuHeight;
    int64_t start = 0;
    for (int32_t p = 0; p < source.planes; p++) {
        const bool chroma = p > 0;
        source.vertical[p] = chroma ? subsampling.v : 1;
        source.bandRows[p] = mcuHeight / source.vertical[p];
        source.rowBytes[p] = chroma ? lumaBytes * format.sampleBytes[p] / subsampling.h : lumaBytes;
        source.planeStart[p] = start;
        start += source.bandBytes(p, picture.height);
    }
    return source;
}

} // namespace

Status describePicture(PictureDescription* description, const EncoderParams_JPEG& params,
                       const Picture_JPEG& picture) {
    Status status = velaInitImageSpec_JPEG(&description->image, &params, &picture);
    if (status == ENC_STATUS_OK)
        status = velaInitMCUSpec_JPEG(&description->mcu, &description->image);
    if (status == ENC_STATUS_OK)
        description->source = describeSource(picture, description->image);
    return status;
}

Status velaInitEncoderState_JPEG(EncoderState_JPEG* state, const EncoderParams_JPEG* params,
                                 const CallbackTable_JPEG* callbacks) {
    state->allocate = callbacks->allocate;
    state->release = callbacks->release;
    state->flush = callbacks->flush;
    state->seek = callbacks->seek;
    state->read = callbacks->read;
    state->grow = callbacks->grow;
    state->bufferMode = params->bufferMode;
    state->flushContext = params->flushContext;
    state->sourceHandle = params->sourceHandle;

    state->quantTables = alignUp(state->quantTableArea, kTableAlignment);
    state->dctQuantTables =
        reinterpret_cast<uint16_t*>(alignUp(state->dctQuantTableArea, kTableAlignment));
    state->blockQuantTable[0] = reinterpret_cast<const int16_t*>(state->dctQuantTables);

    state->mode = params->mode;
    state->restartInterval = params->restartInterval;
    state->precision = kSamplePrecision;
    state->qualityFactor = velaCalcQuantQualityFactor_JPEG(static_cast<int32_t>(params->quality));
    return ENC_STATUS_OK;
}

Status velaInitImageSpec_JPEG(ImageSpec* imageSpec, const EncoderParams_JPEG* params,
                              const Picture_JPEG* picture) {
    const ColorFormat* const format = colorFormatOf(picture->colorFormat);
    if (format == nullptr)
        return ENC_STATUS_NOTSUPPORTED;
    const bool singlePlane = format->layout == PlaneLayout::singlePlane;
    const bool implied = format->subsamplingRule == SubsamplingRule::implied;
    imageSpec->width = picture->width;
    imageSpec->height = picture->height;
    imageSpec->precision = kSamplePrecision;
    imageSpec->bitsPerPixel = singlePlane ? 8 * format->sampleBytes[0] : 0;
    imageSpec->componentCount = picture->componentCount;
    imageSpec->colorFormat = picture->colorFormat;
    imageSpec->subsampling = implied ? format->subsampling : params->subsampling;
    imageSpec->densityUnits = kDensityNoUnits;
    imageSpec->xDensity = kDensity;
    imageSpec->yDensity = kDensity;
    return ENC_STATUS_OK;
}

Status velaInitCompSpec_JPEG(ComponentSpec* componentSpecs, const ImageSpec* imageSpec) {
    const ColorFormat* const format = colorFormatOf(imageSpec->colorFormat);
    const Subsampling* const luma = subsamplingOf(imageSpec->subsampling);
    if (format == nullptr || luma == nullptr)
        return ENC_STATUS_NOTSUPPORTED;

    velaInitComponentSpec_JPEG(0, luma->h, luma->v, 0, 0, 0, componentSpecs);
    for (int32_t index = 1; index < format->componentCount; index++)
        velaInitComponentSpec_JPEG(index, 1, 1, 1, 1, 1, componentSpecs);
    return ENC_STATUS_OK;
}

void velaInitComponentSpec_JPEG(int32_t index, int32_t hFactor, int32_t vFactor,
                                int32_t quantSelector, int32_t dcSelector, int32_t acSelector,
                                ComponentSpec* componentSpecs) {
    ComponentSpec& component = componentSpecs[index];
    component.id = index;
    component.hFactor = hFactor;
    component.vFactor = vFactor;
    component.componentBlocks = hFactor * vFactor;
    component.quantSelector = quantSelector;
    component.acSelector = acSelector;
    component.dcSelector = dcSelector;
}

Status velaInitMCUSpec_JPEG(MCUSpec* mcuSpec, const ImageSpec* imageSpec) {
    const ColorFormat* const format = colorFormatOf(imageSpec->colorFormat);
    const Subsampling* const subsampling = subsamplingOf(imageSpec->subsampling);
    if (format == nullptr || subsampling == nullptr)
        return ENC_STATUS_NOTSUPPORTED;
    const bool singlePlane = format->layout == PlaneLayout::singlePlane;
    const int32_t lumaBlocks = subsampling->h * subsampling->v;
    mcuSpec->mcuWidth = 8 * subsampling->h;
    mcuSpec->mcuHeight = 8 * subsampling->v;
    mcuSpec->blocksPerMcu = lumaBlocks + format->componentCount - 1;
    mcuSpec->mcuRowBytes = singlePlane ? mcuSpec->mcuWidth * format->sampleBytes[0] : 0;

    mcuSpec->mcusAcross = imageSpec->width / mcuSpec->mcuWidth;
    mcuSpec->widthRemainder = imageSpec->width % mcuSpec->mcuWidth;
    mcuSpec->mcuRows = imageSpec->height / mcuSpec->mcuHeight;
    mcuSpec->heightRemainder = imageSpec->height % mcuSpec->mcuHeight;
    mcuSpec->mcuCount = (mcuSpec->mcuRows + (mcuSpec->heightRemainder != 0 ? 1 : 0)) *
                        (mcuSpec->mcusAcross + (mcuSpec->widthRemainder != 0 ? 1 : 0));

    mcuSpec->compBlockOffset[0] = 0;
    mcuSpec->compBlockOffset[1] = lumaBlocks;
    mcuSpec->compBlockOffset[2] = 1;
    mcuSpec->startColumn = 0;
    mcuSpec->startRow = 0;
    return ENC_STATUS_OK;
}

Status velaInitCounter_JPEG(RestartCounter* restartCounter, const EncoderState_JPEG* state) {
    restartCounter->scanIndex = 0;
    restartCounter->rstIndex = 0;
    if (state->restartInterval > 0) {
        restartCounter->mcusToGo = state->restartInterval;
        std::fill_n(restartCounter->scanIntervalLeft, kMaxScans, state->restartInterval);
        std::fill_n(restartCounter->scanRstIndex, kMaxScans, 0u);
    }
    return ENC_STATUS_OK;
}

Status velaInitFrameSpec_JPEG(FrameSpec* frameSpec, const ImageSpec* imageSpec,
                              const EncoderState_JPEG* state) {
    frameSpec->sofMarker = state->mode == ENC_MODE_PROGRESSIVE ? kMarkerSof2 : kMarkerSof0;
    frameSpec->precision = imageSpec->precision;
    frameSpec->height = imageSpec->height;
    frameSpec->width = imageSpec->width;
    frameSpec->componentCount = imageSpec->componentCount;
    return ENC_STATUS_OK;
}

} // namespace vela
