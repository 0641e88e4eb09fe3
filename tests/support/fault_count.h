// How many faults the tests have injected: printed at a run's end, where scripts/test_report.py finds it.
#pragma once

#include <cstdio>

#include <gtest/gtest.h>

namespace test {

inline long faultsInjected = 0;

class FaultReport : public testing::Environment {
    void TearDown() override {
        if (faultsInjected > 0)
            std::printf("faults injected: %ld\n", faultsInjected);
    }
};
inline testing::Environment* const faultReport =
    testing::AddGlobalTestEnvironment(new FaultReport); // which owns it

} // namespace test
