#include "encoder/routine_choice.h"

#include "cpu/cpu_features.h"
#include "cpu/instruction_sets.h"
#include "cpu/isa.h"
#include "pixel/dct/plain.h"
#include "progressive/ac_packers/plain.h"
#include "state/color_format.h"
#include "tables/block_coder/plain.h"

namespace vela {

// Each one's table is made by encoder/routine_table.cpp, save for the plain one, which stands below.
#define VELA_DECLARE_ROUTINES(isa)       \
    namespace isa {                      \
    extern const RoutineTable kRoutines; \
    }
VELA_INSTRUCTION_SETS(VELA_DECLARE_ROUTINES)

namespace {

constexpr InputRoutines kPlainInput = {
    .grey = {_veliLevelShiftSub128_8x8_8u16s_C1},
    .bgr888 = {veliBGRToYCbCr444LS_MCU_8u16s_C3P3R, veliBGRToYCbCr422LS_MCU_8u16s_C3P3R,
               veliBGRToYCbCr411LS_MCU_8u16s_C3P3R},
    .bgr555 = {veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R,
               veliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R},
    .bgr565 = {veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R,
               veliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R},
    .planar = {velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG,
               velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG,
               velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG},
    .nv12 = {nullptr, nullptr, velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG},
    .nv21 = {nullptr, nullptr, velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG},
};

/// Whether every format has a routine for every subsampling that it can be encoded with.
consteval bool servesEveryFormat(const InputRoutines& input) {
    for (const ColorFormat& format : kColorFormats) {
        for (int32_t s = 0; s < kSubsamplingCount; s++) {
            if (!format.takes(kSubsamplings[s].code))
                continue;
            const bool serves = format.layout == PlaneLayout::singlePlane
                                    ? (input.*format.convertMcu)[s].isFilled()
                                    : (input.*format.convertMcuPlanar)[s].isFilled();
            if (!serves)
                return false;
        }
    }
    return true;
}
static_assert(servesEveryFormat(kPlainInput), "a format's input has no plain routine");

} // namespace

constexpr RoutineTable plain::kRoutines = {
    .name = plain::kName,
    .requiredFeatures = plain::kRequiredFeatures,
    .batchBlocks = 0,
    .transformMcus = velaTransformFwd_MCU_JPEG,
    .prepareCodes = nullptr,
    .encodeMcus = encodeMcuBlocks,
    .packAc = packAcBlock,
    .input = &kPlainInput,
};

namespace {

/// A slot's routine for a subsampling: the instruction set's, or where it has none the plain one.
template <class Input>
auto routineOf(Input InputRoutines::*input, int32_t subsampling, const RoutineTable& routines) {
    const auto own = (routines.input->*input)[subsampling];
    return own.isFilled() ? own : (kPlainInput.*input)[subsampling];
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
    const ColorFormat* const format = colorFormatOf(imageSpec->colorFormat);
    const Subsampling* const subsampling = subsamplingOf(imageSpec->subsampling);
    if (format == nullptr || subsampling == nullptr)
        return ENC_STATUS_NOTSUPPORTED;
    if (!format->takes(subsampling->code))
        return ENC_STATUS_ERR;

    *procSpec = {};
    const auto index = static_cast<int32_t>(subsampling - kSubsamplings);
    if (format->layout == PlaneLayout::singlePlane) {
        procSpec->copyExpand = format->copyExpand;
        procSpec->convertMcu = routineOf(format->convertMcu, index, *routines);
    } else {
        procSpec->convertMcuExpand = format->convertMcuExpand;
        procSpec->convertMcuPlanar = routineOf(format->convertMcuPlanar, index, *routines);
    }
    return ENC_STATUS_OK;
}

} // namespace vela
