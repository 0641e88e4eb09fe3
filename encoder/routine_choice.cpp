#include "encoder/routine_choice.h"

#include "encoder/cpu_features.h"
#include "pixel/forward_dct.h"
#include "progressive/block_packers.h"
#include "state/color_format.h"
#include "tables/block_coder.h"

namespace vela {

namespace {

constexpr InputRoutines kPlainInput = {
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

} // namespace

constexpr RoutineTable kPlainRoutines = {
    .name = "plain",
    .requiredFeatures = 0,
    .batchBlocks = 0,
    .transformMcus = velaTransformFwd_MCU_JPEG,
    .encodeMcus = encodeMcuBlocks,
    .packAc = packAcBlock,
    .input = &kPlainInput,
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
        procSpec->convertMcuPlanar = routines.input->semiPlanar[0];
        procSpec->convertMcuExpand = velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
        break;
    case JPEG_CF_NV21:
        procSpec->convertMcuPlanar = routines.input->semiPlanar[1];
        procSpec->convertMcuExpand = velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
        break;
    default:
        procSpec->convertMcuPlanar = routines.input->planar[index];
        procSpec->convertMcuExpand = kPlanarExpand[index];
    }
}

void chooseSinglePlane(ProcSpec* procSpec, uint32_t colorFormat, int32_t index,
                       const RoutineTable& routines) {
    switch (colorFormat) {
    case JPEG_CF_GRAY8:
        procSpec->copyExpand = veliCopyExpand_8u_C1;
        procSpec->convertMcu = routines.input->grey;
        break;
    case JPEG_CF_BGR888:
        procSpec->copyExpand = veliCopyExpand_8u_C3;
        procSpec->convertMcu = routines.input->packed[colorFormat][index];
        break;
    default:
        procSpec->copyExpand = veliCopyExpand_16u_C1;
        procSpec->convertMcu = routines.input->packed[colorFormat][index];
    }
}

} // namespace

std::span<const RoutineTable* const> routineTables() {
    static constexpr const RoutineTable* kTables[] = {
#ifdef VELA_X86_KERNELS
        &kAvx512VbmiRoutines, &kAvx512Routines, &kAvx2Routines, &kSse41Routines,
#endif
#ifdef VELA_NEON_KERNELS
        &kNeonRoutines,
#endif
        &kPlainRoutines,
    };
    return kTables;
}

bool canRun(const RoutineTable& routines) {
    return (routines.requiredFeatures & ~cpuFeatures()) == 0;
}

const RoutineTable& routinesOfThisMachine() {
    const uint32_t features = cpuFeatures();
    for (const RoutineTable* const routines : routineTables())
        if ((routines->requiredFeatures & ~features) == 0)
            return *routines;
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
