// What the processor has.
#include <gtest/gtest.h>

#include "encoder/cpu_features.h"

namespace {

using namespace vela;

TEST(CpuFeatures, AreThoseThatTheProcessorItselfNames) {
    EXPECT_EQ(cpuFeatures(), cpuFeaturesByCpuid());
}

} // namespace
