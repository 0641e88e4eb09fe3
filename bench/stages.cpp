#include "bench/stages.h"

#include <algorithm>
#include <array>
#include <ctime>
#ifdef __x86_64__
#include <x86intrin.h>
#endif

#include "bench/vela_encoder.h"
#include "encoder/routine_choice.h"
#include "state/color_format.h"

namespace bench {
namespace {

using vela::InputRoutines;
using vela::RoutineTable;

#ifdef __x86_64__
uint64_t ticks() {
    return __rdtsc();
}
#else
uint64_t ticks() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}
#endif

int32_t codeNothing(const vela::BlockSpec&, const vela::PreparedCodes&, int32_t, uint8_t*,
                    int32_t bitPosition) {
    return bitPosition;
}
void transformNothing(const vela::BlockSpec&, int32_t) {}
void packNothing(const int16_t*, const vela::AcScan&, const vela::AcScan&) {}

/// Each filled slot gets a routine that does nothing, whatever its arguments.
template <class Result, class... Arguments>
void empty(vela::Slot<Result(Arguments...)> (&slots)[vela::kSubsamplingCount],
           const vela::Slot<Result(Arguments...)> (&plain)[vela::kSubsamplingCount]) {
    for (int i = 0; i < vela::kSubsamplingCount; i++)
        if (plain[i].isFilled())
            slots[i] = +[](Arguments...) {};
}

/// An instruction set's table, without its last stages from 0 (all there) to 3 (none).
class Shortened {
public:
    Shortened(const RoutineTable& routines, int missing)
        : table_(routines), input_(*routines.input) {
        table_.input = &input_;
        if (missing > 0) {
            table_.encodeMcus = codeNothing;
            table_.packAc = packNothing;
        }
        if (missing > 1)
            table_.transformMcus = transformNothing;
        if (missing > 2) {
            const InputRoutines& plain = *vela::kPlainRoutines.input;
            empty(input_.grey, plain.grey);
            empty(input_.bgr888, plain.bgr888);
            empty(input_.bgr555, plain.bgr555);
            empty(input_.bgr565, plain.bgr565);
            empty(input_.planar, plain.planar);
            empty(input_.nv12, plain.nv12);
            empty(input_.nv21, plain.nv21);
        }
    }
    Shortened(const Shortened&) = delete;
    Shortened& operator=(const Shortened&) = delete;

    const RoutineTable& table() const { return table_; }

private:
    RoutineTable table_;
    InputRoutines input_;
};

double blocksOf(const FormatPicture& picture) {
    const bool grey = picture.format.layout == Layout::grey;
    const vela::Subsampling& factors = *vela::subsamplingOf(picture.format.subsampling);
    const int32_t across = (picture.width + 8 * factors.h - 1) / (8 * factors.h);
    const int32_t down = (picture.height + 8 * factors.v - 1) / (8 * factors.v);
    return static_cast<double>(int64_t{across} * down * (factors.h * factors.v + (grey ? 0 : 2)));
}

} // namespace

#ifdef __x86_64__
const char* const kStageUnit = "cycles";
#else
const char* const kStageUnit = "ns";
#endif

Stages measureStages(const FormatPicture& picture, const std::string& pictureName, uint32_t quality,
                     uint32_t mode, const RoutineTable& routines) {
    constexpr int kRuns = 15;
    const auto encoderWith = [&](const Shortened& shortened) {
        return VelaEncoder(picture.record(), {.quality = quality,
                                              .mode = mode,
                                              .subsampling = picture.format.subsampling,
                                              .instructionSet = &shortened.table()});
    };
    const std::array<Shortened, 4> tables{
        {{routines, 0}, {routines, 1}, {routines, 2}, {routines, 3}}};
    std::array<VelaEncoder, 4> encoders{{encoderWith(tables[0]), encoderWith(tables[1]),
                                         encoderWith(tables[2]), encoderWith(tables[3])}};
    std::array<double, 4> least{};
    for (int run = 0; run < kRuns; run++) // in turns, so that a slow moment is everybody's
        for (size_t i = 0; i < encoders.size(); i++) {
            const uint64_t start = ticks();
            encoders[i].encode();
            const double spent = static_cast<double>(ticks() - start) / blocksOf(picture);
            least[i] = run == 0 ? spent : std::min(least[i], spent);
        }
    return {pictureName,
            std::string(picture.format.name),
            routines.name,
            quality,
            mode,
            least[2] - least[3],
            least[1] - least[2],
            least[0] - least[1],
            least[3]};
}

} // namespace bench
