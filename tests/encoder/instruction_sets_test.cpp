// Whole encodings with every instruction set: nothing that the host sees tells which one it was. Pictures
// are wide, so that as many MCUs are taken at once as an instruction set ever takes.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "encoder/routine_choice.h"
#include "support/differences.h"
#include "support/host.h"
#include "support/instruction_sets.h"

namespace {

using namespace test;

class InstructionSets : public EveryInstructionSet {};

INSTANTIATE_TEST_SUITE_P(Every, InstructionSets, instructionSets(), nameOf);

/// A picture and a way to encode it.
struct Case {
    TestPicture picture;
    EncoderParams_JPEG params;
    int32_t outputBytes;
    Flush flush = Flush::takesAll;
    int failingFlush = 0; // the n-th; 0: none

    Case(TestPicture of, const EncoderParams_JPEG& with, int32_t bytes)
        : picture(std::move(of)), params(with), outputBytes(bytes) {}

    Case(const Format& format, uint32_t seed) : picture(makePicture(format, seed)) {
        constexpr uint32_t kQualities[] = {5, 50, 90, 100};
        const auto mcusAcross =
            static_cast<uint32_t>((picture.width() + 8 * format.h() - 1) / (8 * format.h()));
        const uint32_t intervals[] = {0, 1, 2, 5, mcusAcross, mcusAcross + 3, 100};
        // From the least to more than the largest batch may take; a progressive unit wants 128 bytes
        constexpr int32_t kOutputBytes[2][5] = {{768, 1500, 4096, 12000, 1 << 16},
                                                {230, 327, 291, 1000, 1 << 16}};
        params = test::params(format, kQualities[seed % 4], intervals[seed % 7],
                              seed % 3 == 0 ? ENC_BUFFER_SLICE : ENC_BUFFER_INTEGRATED,
                              seed % 2 == 0 ? ENC_MODE_BASELINE : ENC_MODE_PROGRESSIVE);
        outputBytes = kOutputBytes[seed % 2][seed / 2 % 5];
        if (seed % 5 == 0)
            flush = Flush::takesSome;
    }

    static TestPicture makePicture(const Format& format, uint32_t seed) {
        constexpr Content kContents[] = {Content::noise, Content::smooth, Content::extremes,
                                         Content::flat};
        std::mt19937 random(seed);
        const int width = 1 + static_cast<int>(random() % 700);
        const int height = 1 + static_cast<int>(random() % 40);
        const bool bottomUp = format.planes() == 1 && random() % 4 == 0;
        return {format,  width, height, kContents[random() % 4], seed, static_cast<int>(seed % 3),
                bottomUp};
    }
};

/// All that a host sees of an encoding.
struct Seen {
    int32_t status;
    std::vector<uint8_t> jpeg;
    std::vector<Call> calls;

    Seen(const Case& given, const vela::RoutineTable* routines) {
        Host host;
        host.routines = routines;
        host.outputBytes = given.outputBytes;
        host.flushBehaviour = given.flush;
        host.faults.flush = given.failingFlush;
        const Result result = host.encode(given.params, given.picture);
        EXPECT_TRUE(host.faultless()) << describe(given.picture);
        status = result.status;
        jpeg = result.jpeg;
        calls = host.calls;
    }
};

/// Returns the status that both encodings have.
int32_t expectSame(const Case& given, const vela::RoutineTable* routines) {
    const Seen expected(given, &vela::kPlainRoutines);
    const Seen seen(given, routines);
    EXPECT_EQ(seen.status, expected.status);
    EXPECT_TRUE(sameBytes(expected.jpeg, seen.jpeg));
    EXPECT_EQ(firstDifference(seen.calls, expected.calls), "");
    return expected.status;
}

TEST(InstructionSetChoice, IsTheBestThatTheMachineHas) {
    // Fault: a slower one chosen, or one that the machine cannot run.
    const auto tables = vela::routineTables();
    const auto best = std::find_if(tables.begin(), tables.end(),
                                   [](const auto* routines) { return vela::canRun(*routines); });
    EXPECT_EQ(&vela::routinesOfThisMachine(), *best);
    for (size_t i = 1; i < tables.size();
         i++) // best first: features stand in the order they came in
        EXPECT_LE(tables[i]->requiredFeatures, tables[i - 1]->requiredFeatures) << i;
    EXPECT_STREQ(tables.back()->name, "plain");
}

TEST_P(InstructionSets, LookTheSameFromOutside) {
    // Fault: an instruction set that the host can tell by bytes, flushes or requests.
    int completed = 0; // in the others flush took too little
    for (const Format& format : kFormats) {
        for (uint32_t seed = 0; seed < 24; seed++) {
            const Case given(format, seed);
            completed += expectSame(given, GetParam()) == ENC_STATUS_OK ? 1 : 0;
            ASSERT_FALSE(HasFailure()) << describe(given.picture) << " seed " << seed;
        }
    }
    EXPECT_GT(completed, 300);
}

TEST_P(InstructionSets, AskForRoomInTheSamePlaces) {
    // Fault: an MCU of a batch begun with fewer than 768 bytes free, or a batch not begun that fits.
    for (const Format& format : {kFormats[12], kFormats[0], kFormats[2]}) {
        Case given(TestPicture(format, 160, 16, Content::extremes, 5), params(format, 100, 13),
                   768);
        for (; given.outputBytes < 1500; given.outputBytes += 3) {
            expectSame(given, GetParam());
            ASSERT_FALSE(HasFailure()) << format.name << " into " << given.outputBytes << " bytes";
        }
    }
}

TEST_P(InstructionSets, FailInTheSameWay) {
    // Fault: a failing flush that one instruction set survives or reports later.
    for (const Format& format : {kFormats[2], kFormats[10], kFormats[12]}) {
        for (const uint32_t mode : {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE}) {
            Case given(TestPicture(format, 500, 40, Content::noise, 3),
                       params(format, 95, 7, ENC_BUFFER_INTEGRATED, mode), 8000);
            do {
                given.failingFlush++;
            } while (expectSame(given, GetParam()) != ENC_STATUS_OK);
            EXPECT_GT(given.failingFlush, 1) << describe(given.picture);
        }
    }
}

} // namespace
