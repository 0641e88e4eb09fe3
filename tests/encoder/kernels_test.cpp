// Every kernel of every instruction set that this machine has, against the plain one: same results from
// realistic and from extreme input, nothing written but the output, nothing read but the input.
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "cpu/cpu_features.h"
#include "encoder/routine_choice.h"
#include "progressive/record_writers.h"
#include "support/differences.h"
#include "support/guarded.h"
#include "support/instruction_sets.h"
#include "support/mcus.h"
#include "support/packed_scan.h"
#include "support/picture.h"
#include "tables/block_coder/plain.h"

namespace {

using namespace vela;
using test::asWords;
using test::Guarded;
using test::Mcus;
using test::PackedScan;
using test::sameBlocks;
using test::sameBytes;

class Kernels : public test::EveryInstructionSet {};

/// Level-shifted samples: flat, noise of some amplitude, or the two extremes.
void fillSamples(Mcus& mcus, std::mt19937& random) {
    const auto kind = random() % 3;
    const int amplitude = 1 << (random() % 8);
    for (int32_t i = 0; i < mcus.blockCount(); i++) {
        const int level = static_cast<int>(random() % 200) - 100;
        for (int k = 0; k < 64; k++) {
            const int noise = static_cast<int>(random() % 256) % amplitude;
            mcus.block(i)[k] = static_cast<int16_t>(kind == 0 ? (random() % 2 == 0 ? -128 : 127)
                                                              : std::min(level + noise, 127));
        }
    }
}

/// Quantized coefficients, from none to all of them, of sizes from one bit to all.
void fillCoefficients(Mcus& mcus, std::mt19937& random) {
    const auto density = 1 + random() % 64;
    const auto bits = 1 + random() % 10;
    for (int32_t i = 0; i < mcus.blockCount(); i++) {
        for (int k = 0; k < 64; k++) {
            const int magnitude = static_cast<int>(random() % (1u << bits));
            const bool zero = random() % 64 >= density || random() % 8 == 0;
            mcus.block(i)[k] = static_cast<int16_t>(zero                ? 0
                                                    : random() % 2 == 0 ? magnitude
                                                                        : -magnitude);
        }
    }
}

/// A kind of MCU and how many, other ones every round.
struct Shape {
    int32_t blockCount;
    int32_t mcuCount;

    Shape(int round, const RoutineTable& routines) {
        constexpr int32_t kBlockCounts[] = {1, 3, 4, 6};
        blockCount = kBlockCounts[round % 4];
        const int32_t atOnce = std::max(routines.batchBlocks, blockCount) / blockCount;
        mcuCount = 1 + round / 4 % atOnce;
    }
};

TEST_P(Kernels, Transform) {
    // Fault: lanes mixed up, a rounding or saturation that the plain one does not have.
    std::mt19937 random(1);
    for (int round = 0; round < 4000; round++) {
        const Shape shape(round, *GetParam());
        Mcus plain(shape.blockCount, shape.mcuCount, round % 101);
        Mcus other(shape.blockCount, shape.mcuCount, round % 101);
        fillSamples(plain, random);
        other.copyFrom(plain);
        kPlainRoutines.transformMcus(plain.blocks, shape.mcuCount);
        GetParam()->transformMcus(other.blocks, shape.mcuCount);
        ASSERT_TRUE(sameBlocks(plain.samples(), other.samples())) << "seed 1, round " << round;
        ASSERT_TRUE(other.memory.intact());
    }
}

TEST_P(Kernels, EncodeMcus) {
    // Fault: a code, zero run or pending bit lost at the edge of a word.
    std::mt19937 random(2);
    for (int round = 0; round < 6000; round++) {
        const Shape shape(round, *GetParam());
        Mcus plain(shape.blockCount, shape.mcuCount, 50);
        Mcus other(shape.blockCount, shape.mcuCount, 50);
        fillCoefficients(plain, random);
        for (int16_t& predictor : plain.predictors)
            predictor = static_cast<int16_t>(random() % 2048 - 1024);
        other.copyFrom(plain);
        const auto size = static_cast<size_t>(plain.blockCount() * kMaxBlockBytes + kCoderSlack);
        Guarded expected(size), actual(size);
        const auto start = static_cast<int32_t>(random() % 8);
        const auto pending = static_cast<uint8_t>(start == 0 ? 0 : random() << (8 - start));
        expected.data()[0] = pending;
        actual.data()[0] = pending;
        PreparedCodes codes;
        if (GetParam()->prepareCodes != nullptr)
            GetParam()->prepareCodes(other.blocks, codes);
        const int32_t bits =
            kPlainRoutines.encodeMcus(plain.blocks, codes, shape.mcuCount, expected.data(), start);
        ASSERT_EQ(GetParam()->encodeMcus(other.blocks, codes, shape.mcuCount, actual.data(), start),
                  bits)
            << "seed 2, round " << round;
        const auto bytes = static_cast<size_t>(bits + 7) / 8;
        ASSERT_TRUE(sameBytes(std::span(expected.data(), bytes), std::span(actual.data(), bytes)))
            << "seed 2, round " << round;
        ASSERT_TRUE(sameBlocks(plain.samples(), other.samples())) << "seed 2, round " << round;
        ASSERT_TRUE(std::equal(plain.predictors, plain.predictors + 3, other.predictors));
        ASSERT_TRUE(actual.intact() && other.memory.intact());
    }
}

TEST_P(Kernels, Input) {
    // Fault: pixels read beyond the MCU, lanes mixed up, another rounding.
    for (const test::Format& format : test::kFormats) {
        for (uint32_t seed = 0; seed < 40; seed++) {
            const auto content = seed % 2 == 0 ? test::Content::noise : test::Content::extremes;
            const test::TestPicture picture(format, 8 * format.h(), 8 * format.v(), content, seed,
                                            static_cast<int>(seed % 4),
                                            seed % 3 == 0 && format.planes() == 1);
            const Picture_JPEG record = picture.record();
            const int32_t count = format.code == JPEG_CF_GRAY8 ? 1 : format.h() * format.v() + 2;
            Guarded areas[2][3];
            for (int side = 0; side < 2; side++) {
                const RoutineTable* const table = side == 0 ? &kPlainRoutines : GetParam();
                const bool grey = format.code == JPEG_CF_GRAY8;
                ImageSpec image{};
                image.colorFormat = format.code;
                image.subsampling = grey ? 0 : format.subsampling;
                ProcSpec routines;
                ASSERT_EQ(velaInitProcSpec_JPEG(&routines, &image, table), ENC_STATUS_OK);
                int16_t* dst[3] = {};
                for (int k = 0; k < format.components(); k++) {
                    const int blocks = k == 0 ? std::max(count - 2, 1) : 1;
                    areas[side][k] = Guarded(static_cast<size_t>(128 * blocks), 2);
                    dst[k] = reinterpret_cast<int16_t*>(areas[side][k].data());
                }
                if (format.planes() == 1)
                    routines.convertMcu(record.plane[0], record.step[0], dst);
                else
                    routines.convertMcuPlanar(record.plane, record.step, dst);
            }
            for (int k = 0; k < format.components(); k++) {
                ASSERT_TRUE(sameBlocks(asWords(areas[0][k]), asWords(areas[1][k])))
                    << format.name << " component " << k << " seed " << seed;
                ASSERT_TRUE(areas[1][k].intact()) << format.name;
            }
        }
    }
}

TEST_P(Kernels, AcPackers) {
    // Fault: a record, count, run or correction bit that the plain one packs otherwise.
    std::mt19937 random(4);
    for (int series = 0; series < 60; series++) {
        PackedScan sides[2][2]; // [plain or not][first or refinement]
        const bool nearLimits = series % 4 == 1;
        for (auto& side : sides) {
            if (!nearLimits)
                continue;
            side[0].coder.eobRun = kMaxEobRun - 2;
            side[1].coder.eobRun = series % 8 == 1 ? kMaxEobRun - 2 : 2;
            side[1].coder.correctionCount = kMaxPendingCorrections - 2;
            std::fill_n(side[1].coder.correctionBits + 100, 77, uint8_t{1});
        }
        for (int round = 0; round < 100; round++) {
            Mcus mcu(1, 1, 50);
            fillCoefficients(mcu, random);
            int16_t* const samples = mcu.blocks.blockSamples[0];
            if (series % 3 == 0)
                for (int k = 0; k < 64; k++) // small ones, of which many become new
                    samples[k] %= 4;
            if (nearLimits && round < 4) { // one block or one correction bit more at a time
                std::fill_n(samples, 64, int16_t{0});
                samples[9] = series % 8 == 1 ? 0 : -6;
            }
            for (int side = 0; side < 2; side++) {
                const RoutineTable& routines = side == 0 ? kPlainRoutines : *GetParam();
                PackedScan& first = sides[side][0];
                PackedScan& refine = sides[side][1];
                routines.packAc(samples, {first.counts, &first.buffer, &first.coder},
                                {refine.counts, &refine.buffer, &refine.coder});
            }
            ASSERT_TRUE(mcu.memory.intact());
        }
        for (int scan = 0; scan < 2; scan++) {
            PackedScan& plain = sides[0][scan];
            PackedScan& other = sides[1][scan];
            ASSERT_TRUE(sameBytes(plain.records(), other.records())) << "seed 4, series " << series;
            ASSERT_TRUE(sameBytes(plain.counts, other.counts)) << "seed 4, series " << series;
            ASSERT_EQ(other.coder.eobRun, plain.coder.eobRun);
            ASSERT_TRUE(sameBytes(plain.corrections(), other.corrections()));
            ASSERT_TRUE(other.memory.intact());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Kernels, test::instructionSets(), test::nameOf);

} // namespace
