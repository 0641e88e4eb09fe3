// The routines of one instruction set: compiled for each, with its kernels.
#include "state/kernels.h"

namespace vela::VELA_ISA {

extern const RoutineTable kRoutines; // encoder/routine_choice.cpp lists them
constexpr RoutineTable kRoutines = {
    .name = kName,
    .requiredFeatures = kRequiredFeatures,
    .batchBlocks = kMaxBatchBlocks,
    .transformMcus = transformMcus,
#ifdef __SSE4_1__
    .prepareCodes = prepareCodes,
#else
    .prepareCodes = nullptr,
#endif
    .encodeMcus = encodeMcus,
    .packAc = packAc,
    .input = &kInput,
};

} // namespace vela::VELA_ISA
