// What the processor has.
#include <gtest/gtest.h>

#include "cpu/cpu_features.h"

namespace {

using namespace vela;

TEST(CpuFeatures, AreThoseThatTheProcessorItselfNames) {
    // Fault: a feature used that the processor or the system does not have.
    EXPECT_EQ(cpuFeatures(), cpuFeaturesByCpuid());
}

} // namespace
