#include "encoder/routine_choice.h"

#include "cpu/cpu_features.h"
#include "cpu/isa.h"
#include "pixel/dct/plain.h"
#include "progressive/block_packers.h"
#include "state/color_format.h"
#include "tables/block_coder.h"

// The instruction sets of this build, best first. Each one's table is made by encoder/routine_table.cpp,
// save for the plain one, which stands below.
#if defined VELA_X86_KERNELS
#define VELA_INSTRUCTION_SETS(use) use(avx512vbmi) use(avx512) use(avx2) use(sse41) use(plain)
#elif defined VELA_NEON_KERNELS
#define VELA_INSTRUCTION_SETS(use) use(neon) use(plain)
#else
#define VELA_INSTRUCTION_SETS(use) use(plain)
#endif

namespace vela {

#define VELA_DECLARE_ROUTINES(isa)       \
    namespace isa {                      \
    extern const RoutineTable kRoutines; \
    }
VELA_INSTRUCTION_SETS(VELA_DECLARE_ROUTINES)

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

constexpr RoutineTable plain::kRoutines = {
    .name = plain::kName,
    .requiredFeatures = plain::kRequiredFeatures,
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
#define VELA_ROUTINES_OF(isa) &isa::kRoutines,
    static constexpr const RoutineTable* kTables[] = {VELA_INSTRUCTION_SETS(VELA_ROUTINES_OF)};
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
    return plain::kRoutines;
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
