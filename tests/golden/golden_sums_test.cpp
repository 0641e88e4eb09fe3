// The streams and the calls of a few hundred encodings, as they are written down in sums.txt, with every
// instruction set. Aimed at whatever makes one machine, compiler or instruction set encode, or call its
// host, differently from another; and at any change of the output that nobody intended.
#include <fstream>

#include <gtest/gtest.h>

#include "golden/configurations.h"
#include "support/instruction_sets.h"

namespace {

using namespace test;

class GoldenSums : public EveryInstructionSet {};

INSTANTIATE_TEST_SUITE_P(Every, GoldenSums, instructionSets(), nameOf);

TEST_P(GoldenSums, StreamsAndCallsAreAsWrittenDown) {
    std::ifstream sums(VELA_GOLDEN_SUMS);
    ASSERT_TRUE(sums.is_open()) << VELA_GOLDEN_SUMS;
    int wrong = 0;
    for (const Configuration& configuration : goldenConfigurations()) {
        std::string expected;
        std::getline(sums, expected);
        const std::string line = goldenLine(configuration, GetParam());
        EXPECT_EQ(line, expected);
        wrong += line == expected ? 0 : 1;
        ASSERT_LT(wrong, 10) << "and perhaps more";
    }
    std::string rest;
    EXPECT_FALSE(std::getline(sums, rest)) << rest;
}

} // namespace
