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

} // namespace

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
    const ColorFormat format = colorFormatOf(picture->colorFormat);
    if (format.layout == PlaneLayout::unknown)
        return ENC_STATUS_NOTSUPPORTED;

    imageSpec->width = picture->width;
    imageSpec->height = picture->height;
    imageSpec->precision = kSamplePrecision;
    imageSpec->bitsPerPixel = 8 * format.bytesPerPixel;
    imageSpec->componentCount = picture->componentCount;
    imageSpec->colorFormat = picture->colorFormat;
    imageSpec->subsampling = picture->colorFormat == JPEG_CF_GRAY8
                                 ? static_cast<uint32_t>(ENC_SUBSAMPLE_444)
                                 : params->subsampling;
    imageSpec->densityUnits = kDensityNoUnits;
    imageSpec->xDensity = kDensity;
    imageSpec->yDensity = kDensity;
    return ENC_STATUS_OK;
}

Status velaInitCompSpec_JPEG(ComponentSpec* componentSpecs, const ImageSpec* imageSpec) {
    const ColorFormat format = colorFormatOf(imageSpec->colorFormat);
    const LumaFactors luma = lumaFactorsOf(imageSpec->subsampling);
    if (format.layout == PlaneLayout::unknown || luma.h == 0)
        return ENC_STATUS_NOTSUPPORTED;

    velaInitComponentSpec_JPEG(0, luma.h, luma.v, 0, 0, 0, componentSpecs);
    for (int32_t index = 1; index < format.componentCount; index++)
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
    const ColorFormat format = colorFormatOf(imageSpec->colorFormat);
    const LumaFactors luma = lumaFactorsOf(imageSpec->subsampling);
    if (format.layout == PlaneLayout::unknown || luma.h == 0)
        return ENC_STATUS_NOTSUPPORTED;

    const int32_t lumaBlocks = luma.h * luma.v;
    mcuSpec->mcuWidth = 8 * luma.h;
    mcuSpec->mcuHeight = 8 * luma.v;
    mcuSpec->blocksPerMcu = lumaBlocks + format.componentCount - 1;
    mcuSpec->mcuRowBytes = mcuSpec->mcuWidth * format.bytesPerPixel;

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
