// The input formats, one row each: all that the layers need to know of a format stands in its row.
#pragma once

#include <cstdint>

#include "state/routines.h"
#include "vela/jpegenc.h"

namespace vela {

/// A subsampling: the luminance component's sampling factors; those of the chroma components are 1 x 1.
struct Subsampling {
    uint32_t code; // ENC_SUBSAMPLE_*
    int32_t h;
    int32_t v;
};

inline constexpr Subsampling kSubsamplings[kSubsamplingCount] = {
    {ENC_SUBSAMPLE_444, 1, 1},
    {ENC_SUBSAMPLE_422, 2, 1},
    {ENC_SUBSAMPLE_420, 2, 2},
};

constexpr bool isSubsampling(uint32_t code) {
    for (const Subsampling& subsampling : kSubsamplings)
        if (subsampling.code == code)
            return true;
    return false;
}

/// Null for an unknown code.
constexpr const Subsampling* subsamplingOf(uint32_t code) {
    for (const Subsampling& subsampling : kSubsamplings)
        if (subsampling.code == code)
            return &subsampling;
    return nullptr;
}

enum class PlaneLayout : uint8_t {
    singlePlane, ///< packed pixels or grey; a partial MCU is copied, expanded and converted
    semiPlanar,  ///< Y, then interleaved chroma
    planar       ///< Y, Cb, Cr
};

/// What a picture is encoded with.
enum class SubsamplingRule : uint8_t {
    chosen,   ///< what the parameters say
    required, ///< the format's own, which the parameters must name
    implied   ///< the format's own, whatever the parameters say
};

struct ColorFormat {
    uint32_t code; // JPEG_CF_*
    PlaneLayout layout;
    uint8_t componentCount; // 1 or 3
    uint8_t sampleBytes
        [3]; // from a pixel, sample or chroma pair to the next in each plane; 0: no such plane
    SubsamplingRule subsamplingRule;
    uint32_t subsampling; // the format's own (ENC_SUBSAMPLE_*), if it has one

    // Input of a single plane: a whole MCU, and the copy of a partial one
    SinglePlaneInput InputRoutines::*convertMcu = nullptr;
    Slot<VelaCopyExpand> copyExpand = {};

    // Input of several planes: a whole MCU, a partial one
    PlanesInput InputRoutines::*convertMcuPlanar = nullptr;
    Slot<VelaConvertMcuExpand> convertMcuExpand = {};

    constexpr int32_t planes() const {
        int32_t count = 0;
        while (count < 3 && sampleBytes[count] != 0)
            count++;
        return count;
    }

    /// Whether pictures of this format can be encoded with a subsampling.
    constexpr bool takes(uint32_t asked) const {
        return subsamplingRule == SubsamplingRule::chosen || asked == subsampling;
    }
};

inline constexpr ColorFormat kColorFormats[] = {
    {.code = JPEG_CF_BGR888,
     .layout = PlaneLayout::singlePlane,
     .componentCount = 3,
     .sampleBytes = {3},
     .subsamplingRule = SubsamplingRule::chosen,
     .subsampling = 0,
     .convertMcu = &InputRoutines::bgr888,
     .copyExpand = veliCopyExpand_8u_C3},
    {.code = JPEG_CF_BGR555,
     .layout = PlaneLayout::singlePlane,
     .componentCount = 3,
     .sampleBytes = {2},
     .subsamplingRule = SubsamplingRule::chosen,
     .subsampling = 0,
     .convertMcu = &InputRoutines::bgr555,
     .copyExpand = veliCopyExpand_16u_C1},
    {.code = JPEG_CF_BGR565,
     .layout = PlaneLayout::singlePlane,
     .componentCount = 3,
     .sampleBytes = {2},
     .subsamplingRule = SubsamplingRule::chosen,
     .subsampling = 0,
     .convertMcu = &InputRoutines::bgr565,
     .copyExpand = veliCopyExpand_16u_C1},
    {.code = JPEG_CF_YCBCR444_P3,
     .layout = PlaneLayout::planar,
     .componentCount = 3,
     .sampleBytes = {1, 1, 1},
     .subsamplingRule = SubsamplingRule::required,
     .subsampling = ENC_SUBSAMPLE_444,
     .convertMcuPlanar = &InputRoutines::planar,
     .convertMcuExpand = velaYCbCr444ToYCbCr444ExpandLS_MCU_8u16s_P3R_JPEG},
    {.code = JPEG_CF_YCBCR422_P3,
     .layout = PlaneLayout::planar,
     .componentCount = 3,
     .sampleBytes = {1, 1, 1},
     .subsamplingRule = SubsamplingRule::required,
     .subsampling = ENC_SUBSAMPLE_422,
     .convertMcuPlanar = &InputRoutines::planar,
     .convertMcuExpand = velaYCbCr422ToYCbCr422ExpandLS_MCU_8u16s_P3R_JPEG},
    {.code = JPEG_CF_YCBCR411_P3,
     .layout = PlaneLayout::planar,
     .componentCount = 3,
     .sampleBytes = {1, 1, 1},
     .subsamplingRule = SubsamplingRule::required,
     .subsampling = ENC_SUBSAMPLE_420,
     .convertMcuPlanar = &InputRoutines::planar,
     .convertMcuExpand = velaYCbCr411ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG},
    {.code = JPEG_CF_GRAY8,
     .layout = PlaneLayout::singlePlane,
     .componentCount = 1,
     .sampleBytes = {1},
     .subsamplingRule = SubsamplingRule::implied,
     .subsampling = ENC_SUBSAMPLE_444,
     .convertMcu = &InputRoutines::grey,
     .copyExpand = veliCopyExpand_8u_C1},
    {.code = JPEG_CF_NV12,
     .layout = PlaneLayout::semiPlanar,
     .componentCount = 3,
     .sampleBytes = {1, 2},
     .subsamplingRule = SubsamplingRule::required,
     .subsampling = ENC_SUBSAMPLE_420,
     .convertMcuPlanar = &InputRoutines::nv12,
     .convertMcuExpand = velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG},
    {.code = JPEG_CF_NV21,
     .layout = PlaneLayout::semiPlanar,
     .componentCount = 3,
     .sampleBytes = {1, 2},
     .subsamplingRule = SubsamplingRule::required,
     .subsampling = ENC_SUBSAMPLE_420,
     .convertMcuPlanar = &InputRoutines::nv21,
     .convertMcuExpand = velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG},
};

/// Null for an unknown code.
constexpr const ColorFormat* colorFormatOf(uint32_t code) {
    for (const ColorFormat& format : kColorFormats)
        if (format.code == code)
            return &format;
    return nullptr;
}

/// Whether a row says all that its layout needs, and nothing that it has no use for. (That its slot holds
/// a routine is checked where the plain table stands.)
consteval bool isComplete(const ColorFormat& format) {
    const bool single = format.layout == PlaneLayout::singlePlane;
    const int32_t planes = single ? 1 : format.layout == PlaneLayout::semiPlanar ? 2 : 3;
    return colorFormatOf(format.code) == &format && format.planes() == planes &&
           (format.componentCount == 3 ||
            (format.componentCount == 1 && single && format.subsampling == ENC_SUBSAMPLE_444)) &&
           (format.subsamplingRule == SubsamplingRule::chosen ||
            isSubsampling(format.subsampling)) &&
           (format.convertMcu != nullptr) == single && format.copyExpand.isFilled() == single &&
           (format.convertMcuPlanar == nullptr) == single &&
           format.convertMcuExpand.isFilled() != single &&
           (single || format.subsamplingRule == SubsamplingRule::required);
}

consteval bool areComplete() {
    for (const ColorFormat& format : kColorFormats)
        if (!isComplete(format))
            return false;
    return true;
}
static_assert(areComplete(), "a format's code stands twice, or its row leaves something open");

} // namespace vela
