// Quantized coefficients straight into the baseline coder and the AC packers of an instruction set, beside the
// plain ones; and samples into its transform. Memory is of the exact size that each is promised.
#include <algorithm>
#include <cstring>

#include "fuzz/input.h"
#include "progressive/ac_packers/plain.h"
#include "progressive/record_writers.h"
#include "support/mcus.h"
#include "support/packed_scan.h"
#include "tables/block_coder/plain.h"

namespace {

using namespace vela;
using fuzz::Input;
using fuzz::require;
using test::Guarded;
using test::Mcus;
using test::PackedScan;

/// A block of a few coefficients or of many, of all sizes that 8-bit samples lead to.
void fillBlock(Input& input, int16_t* block) {
    std::fill_n(block, 64, int16_t{0});
    const int32_t most = input.integer(0, 64);
    for (int32_t n = 0; n < most && !input.empty(); n++) {
        const uint8_t where = input.byte(); // the upper bits: how wide
        const int16_t value = where < 192   ? input.integer<int16_t>(-2, 2)
                              : where < 240 ? input.integer<int16_t>(-128, 127)
                                            : input.integer<int16_t>(-1023, 1023);
        block[_ntIZigZagIndex[where % 64]] = value;
    }
}

struct Sides {
    Mcus plain, other;
    explicit Sides(int32_t blockCount, int32_t mcuCount, int32_t quality)
        : plain(blockCount, mcuCount, quality), other(blockCount, mcuCount, quality) {}

    void compare() {
        require(fuzz::alike(plain.samples(), other.samples()), "the blocks are alike");
        require(std::equal(plain.predictors, plain.predictors + 3, other.predictors),
                "the predictors are alike");
        require(plain.memory.intact() && other.memory.intact(), "nothing is written beside blocks");
    }
};

Sides someMcus(Input& input, const RoutineTable& routines) {
    const int32_t blockCount = input.choose({1, 3, 4, 6});
    const int32_t atOnce = std::max(routines.batchBlocks, blockCount) / blockCount;
    return Sides(blockCount, input.integer(1, atOnce), input.integer(0, 100));
}

void baseline(Input& input) {
    const RoutineTable& routines = fuzz::anyInstructionSet(input);
    Sides mcus = someMcus(input, routines);
    const auto start = input.integer(0, 7);
    const auto pending = static_cast<uint8_t>(input.byte() << (8 - start));
    for (int16_t& predictor : mcus.plain.predictors)
        predictor = input.integer<int16_t>(-1024, 1023);
    for (int32_t i = 0; i < mcus.plain.blockCount(); i++)
        fillBlock(input, mcus.plain.block(i));
    mcus.other.copyFrom(mcus.plain);

    const auto size = static_cast<size_t>(mcus.plain.blockCount() * kMaxBlockBytes + kCoderSlack);
    Guarded expected(size), actual(size);
    expected.data()[0] = actual.data()[0] = pending;
    PreparedCodes codes;
    if (routines.prepareCodes != nullptr)
        routines.prepareCodes(mcus.other.blocks, codes);
    const int32_t count = mcus.plain.count;
    const int32_t bits =
        kPlainRoutines.encodeMcus(mcus.plain.blocks, codes, count, expected.data(), start);
    require(routines.encodeMcus(mcus.other.blocks, codes, count, actual.data(), start) == bits,
            "as many bits are coded");
    require(std::equal(expected.data(), expected.data() + (bits + 7) / 8, actual.data()),
            "the bits are alike");
    require(expected.intact() && actual.intact(), "nothing is written beside the output");
    mcus.compare();
}

void transform(Input& input) {
    const RoutineTable& routines = fuzz::anyInstructionSet(input);
    Sides mcus = someMcus(input, routines);
    for (int32_t i = 0; i < mcus.plain.blockCount(); i++)
        for (int32_t k = 0; k < 64; k++)
            mcus.plain.block(i)[k] = input.integer<int16_t>(-128, 127);
    mcus.other.copyFrom(mcus.plain);
    kPlainRoutines.transformMcus(mcus.plain.blocks, mcus.plain.count);
    routines.transformMcus(mcus.other.blocks, mcus.plain.count);
    mcus.compare();
}

void progressive(Input& input) {
    const RoutineTable& routines = fuzz::anyInstructionSet(input);
    const int32_t blocks = input.integer(1, 8);
    PackedScan plain[2] = {PackedScan(blocks * kMaxAcFirstBytes + kPackerSlack),
                           PackedScan(blocks * kMaxAcRefineBytes + kPackerSlack)};
    PackedScan other[2] = {PackedScan(blocks * kMaxAcFirstBytes + kPackerSlack),
                           PackedScan(blocks * kMaxAcRefineBytes + kPackerSlack)};
    const auto pending = input.flag() ? input.integer<int32_t>(0, kMaxPendingCorrections) : 0;
    const int32_t runs[2] = {input.flag() ? kMaxEobRun - 1 - input.integer(0, 8) : 0,
                             pending > 0 ? input.integer(1, kMaxEobRun - 1) : 0};
    for (PackedScan* const side : {plain, other}) {
        for (int scan = 0; scan < 2; scan++)
            side[scan].coder.eobRun = runs[scan];
        side[1].coder.correctionCount = pending;
        for (int32_t i = 0; i < pending; i++)
            side[1].coder.correctionBits[i] = static_cast<uint8_t>(i * i % 7 % 2);
    }
    for (int32_t i = 0; i < blocks; i++) {
        Guarded memory(128, 2);
        auto* const block = reinterpret_cast<int16_t*>(memory.data());
        fillBlock(input, block);
        const auto pack = [block](const RoutineTable& table, PackedScan* side) {
            table.packAc(block, {side[0].counts, &side[0].buffer, &side[0].coder},
                         {side[1].counts, &side[1].buffer, &side[1].coder});
        };
        pack(kPlainRoutines, plain);
        pack(routines, other);
        require(memory.intact(), "nothing is written beside the block");
    }
    for (int scan = 0; scan < 2; scan++) {
        require(fuzz::alike(plain[scan].records(), other[scan].records()), "the records are alike");
        require(fuzz::alike(plain[scan].counts, other[scan].counts), "so are the counts");
        require(plain[scan].coder.eobRun == other[scan].coder.eobRun, "so are the runs");
        require(fuzz::alike(plain[scan].corrections(), other[scan].corrections()),
                "so are the corrections that wait");
        require(plain[scan].memory.intact() && other[scan].memory.intact(),
                "nothing is written beside the buffers");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    input.choose({baseline, progressive, transform})(input);
    return 0;
}
