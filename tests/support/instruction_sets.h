// Tests that run once for every instruction set of the build that the machine has.
#pragma once

#include <algorithm>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "encoder/routine_choice.h"

namespace vela {

/// How GoogleTest prints a parameter.
inline void PrintTo(const RoutineTable* routines, std::ostream* out) {
    *out << routines->name;
}

} // namespace vela

namespace test {

class EveryInstructionSet : public testing::TestWithParam<const vela::RoutineTable*> {
protected:
    void SetUp() override {
        if (!vela::canRun(*GetParam()))
            GTEST_SKIP() << "this machine has no " << GetParam()->name;
    }
};

inline auto instructionSets() {
    return testing::ValuesIn(vela::routineTables().begin(), vela::routineTables().end());
}

inline std::string nameOf(const testing::TestParamInfo<const vela::RoutineTable*>& test) {
    std::string name = test.param->name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

} // namespace test
