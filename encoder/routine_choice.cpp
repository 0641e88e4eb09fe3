#include "encoder/routine_choice.h"

#include "pixel/forward_dct.h"
#include "progressive/block_packers.h"
#include "state/color_format.h"
#include "tables/block_coder.h"

namespace vela {

constexpr RoutineTable kPlainRoutines = {
    .name = "plain",
    .transformMcu = velaTransformFwd_MCU_JPEG,
    .encodeBlock = veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1,
    .packAcFirst = velaPackACFirst_JPEG,
    .packAcRefine = velaPackACRefine_JPEG,
    .grey = _veliLevelShiftSub128_8x8_8u16s_C1,
    .packed = {{veliBGRToYCbCr444LS_MCU_8u16s_C3P3R, veliBGRToYCbCr422LS_MCU_8u16s_C3P3R,
                veliBGRToYCbCr411LS_MCU_8u16s_C3P3R},
               {veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R,
                veliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R},
               {veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R,
                veliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R}},
    .planar = {velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG,
               velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG,
               velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG},
    .semiPlanar = {velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG,
                   velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG},
};

namespace {

// Partial MCUs are few; their routines are the same for every instruction set.

constexpr VelaConvertMcuExpand* kPlanarExpand[3] = {
    velaYCbCr444ToYCbCr444ExpandLS_MCU_8u16s_P3R_JPEG,
    velaYCbCr422ToYCbCr422ExpandLS_MCU_8u16s_P3R_JPEG,
    velaYCbCr411ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG,
};

/// 0 for 4:4:4, 1 for 4:2:2, 2 for 4:2:0; -1 for anything else.
int32_t subsamplingIndex(uint32_t subsampling) {
    const LumaFactors factors = lumaFactorsOf(subsampling);
    return factors.h + factors.v - 2 < 0 ? -1 : factors.h + factors.v - 2;
}

void choosePlanar(ProcSpec* procSpec, uint32_t colorFormat, int32_t index,
                  const RoutineTable& routines) {
    switch (colorFormat) {
    case JPEG_CF_NV12:
        procSpec->convertMcuPlanar = routines.semiPlanar[0];
        procSpec->convertMcuExpand = velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
        break;
    case JPEG_CF_NV21:
        procSpec->convertMcuPlanar = routines.semiPlanar[1];
        procSpec->convertMcuExpand = velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
        break;
    default:
        procSpec->convertMcuPlanar = routines.planar[index];
        procSpec->convertMcuExpand = kPlanarExpand[index];
    }
}

void chooseSinglePlane(ProcSpec* procSpec, uint32_t colorFormat, int32_t index,
                       const RoutineTable& routines) {
    switch (colorFormat) {
    case JPEG_CF_GRAY8:
        procSpec->copyExpand = veliCopyExpand_8u_C1;
        procSpec->convertMcu = routines.grey;
        break;
    case JPEG_CF_BGR888:
        procSpec->copyExpand = veliCopyExpand_8u_C3;
        procSpec->convertMcu = routines.packed[colorFormat][index];
        break;
    default:
        procSpec->copyExpand = veliCopyExpand_16u_C1;
        procSpec->convertMcu = routines.packed[colorFormat][index];
    }
}

} // namespace

const RoutineTable& routinesOfThisMachine() {
    return kPlainRoutines;
}

Status velaInitProcSpec_JPEG(ProcSpec* procSpec, const ImageSpec* imageSpec,
                             const RoutineTable* routines) {
    const ColorFormat format = colorFormatOf(imageSpec->colorFormat);
    const int32_t index = subsamplingIndex(imageSpec->subsampling);
    if (format.layout == PlaneLayout::unknown || index < 0)
        return ENC_STATUS_NOTSUPPORTED;
    if (format.ownSubsampling && imageSpec->subsampling != format.subsampling)
        return ENC_STATUS_ERR;

    *procSpec = {};
    if (format.layout == PlaneLayout::singlePlane)
        chooseSinglePlane(procSpec, imageSpec->colorFormat, index, *routines);
    else
        choosePlanar(procSpec, imageSpec->colorFormat, index, *routines);
    return ENC_STATUS_OK;
}

} // namespace vela
