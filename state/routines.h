// The kernels that exist per instruction set, and the table through which everything calls them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vela/primitives.h"

namespace vela {

struct BlockSpec;
struct ScanCoderState;

/// Transforms and quantizes the blocks of mcuCount MCUs in place: those of the first, and after them
/// those of the others (blockOf, state/encoder_state.h).
using TransformMcus = void(const BlockSpec& blocks, int32_t mcuCount);

/// The code tables of a scan's blocks, in the form in which the instruction set's kernel looks them up.
struct PreparedCodes {
#ifdef __x86_64__
    alignas(64) uint8_t memory[3136];
#endif
};
using PrepareCodes = void(const BlockSpec& blocks, PreparedCodes& codes);

/// Codes the blocks of mcuCount MCUs into dst from a bit position on, and returns the position after
/// them. The first byte holds the bits before it; those after the last one become 0. dst has room for
/// kMaxBlockBytes (tables/block_coder/plain.h) per block and kCoderSlack more. The blocks' code tables are at
/// most two pairs, those of the first block and those of the last, with codes of two bits at least; codes: the same,
/// prepared.
using EncodeMcus = int32_t(const BlockSpec& blocks, const PreparedCodes& codes, int32_t mcuCount,
                           uint8_t* dst, int32_t bitPosition);
inline constexpr int32_t kCoderSlack = 64; // kernels may store a whole register

/// Where an AC scan's records go.
struct AcScan {
    uint32_t* counts;
    Bitstream_JPEG* buffer;
    ScanCoderState* coder;
};

/// Packs one block's AC coefficients for their first scan, without their lowest bit, and for its
/// refinement. The buffers have room for what a block adds at most (progressive/ac_packers/plain.h) and
/// kPackerSlack more.
using PackAc = void(const int16_t* block, const AcScan& first, const AcScan& refine);

inline constexpr int32_t kPackerSlack = 64; // kernels may store a whole register

inline constexpr int32_t kSubsamplingCount = 3; // kSubsamplings, state/color_format.h

/// A routine or none. Which of the two is kept beside its address: with GCC's UndefinedBehaviorSanitizer a
/// comparison of that with null is no constant expression.
template <class Routine>
class Slot {
public:
    constexpr Slot() = default;
    constexpr Slot(std::nullptr_t) {}
    constexpr Slot(Routine* routine) : routine_(routine), filled_(true) {}
    constexpr operator Routine*() const { return routine_; }
    constexpr bool isFilled() const { return filled_; }

private:
    Routine* routine_ = nullptr;
    bool filled_ = false;
};

/// One pixel layout's input of whole MCUs, by subsampling: 4:4:4, 4:2:2, 4:2:0.
using SinglePlaneInput = Slot<VelaConvertMcu>[kSubsamplingCount];
using PlanesInput = Slot<VelaConvertMcuPlanar>[kSubsamplingCount];

/// The slots that the formats' rows point at (state/color_format.h). Null: in a table of vector kernels,
/// that the plain routine serves; in the plain table, that there is no such input.
struct InputRoutines {
    SinglePlaneInput grey = {};
    SinglePlaneInput bgr888 = {};
    SinglePlaneInput bgr555 = {};
    SinglePlaneInput bgr565 = {};
    PlanesInput planar = {};
    PlanesInput nv12 = {};
    PlanesInput nv21 = {};
};

// Wide registers take more blocks at once than an MCU has; where they do not, what a call costs is shared by small
// MCUs.
#if defined VELA_PLAIN // a build without kernels
inline constexpr int32_t kMaxBatchBlocks = 0;
#elif defined __x86_64__
inline constexpr int32_t kMaxBatchBlocks = 24;
#elif defined __ARM_NEON
inline constexpr int32_t kMaxBatchBlocks = 12;
#else
inline constexpr int32_t kMaxBatchBlocks = 0;
#endif

/// One instruction set's kernels. Set-up picks a table once and the state points at it; nothing
/// else in the library knows which one it was.
struct RoutineTable {
    const char* name;
    uint32_t requiredFeatures; // CpuFeature
    int32_t batchBlocks;       // worth being taken at once, 0..kMaxBatchBlocks
    TransformMcus* transformMcus;
    PrepareCodes* prepareCodes; // null where encodeMcus takes the tables as they are
    EncodeMcus* encodeMcus;
    PackAc* packAc;
    const InputRoutines* input;
};

} // namespace vela
