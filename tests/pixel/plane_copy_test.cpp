// The plane copies.
#include <cstring>

#include <gtest/gtest.h>

#include "support/guarded.h"
#include "vela/primitives.h"

namespace {

using test::Guarded;

TEST(PlaneCopies, CopyWhatTheySayAndNothingElse) {
    // Fault: a step or width in the wrong unit.
    uint16_t source[64];
    for (size_t i = 0; i < 64; i++)
        source[i] = static_cast<uint16_t>(i * 771 + 5);
    const auto* const bytes = reinterpret_cast<const uint8_t*>(source);
    Guarded target(3 * 20 - 8, 2); // three rows of twelve bytes, twenty apart
    auto* const words = reinterpret_cast<uint16_t*>(target.data());
    const auto copied = [&](size_t sourceStep) {
        for (size_t y = 0; y < 3; y++)
            if (std::memcmp(target.data() + 20 * y, bytes + sourceStep * y, 12) != 0)
                return false;
        return true;
    };
    czxCopy_8u_C1R(bytes, 31, target.data(), 20, 12, 3);
    EXPECT_TRUE(copied(31));
    czxCopy_8u_C3R(bytes, 33, target.data(), 20, 4, 3);
    EXPECT_TRUE(copied(33));
    czxCopy_16u_C1R(source, 31, words, 21, 6, 3); // steps rounded down to 30 and 20
    EXPECT_TRUE(copied(30));
    czxCopy_8u_C1R(bytes, 31, target.data(), 20, 0, 3);
    czxCopy_8u_C3R(bytes, 31, target.data(), 20, 4, -1);
    EXPECT_TRUE(copied(30));
    EXPECT_TRUE(target.intact());

    uint8_t column[3] = {};
    czxCopy_8u_C1R(bytes, 31, column, 1, 1, 3); // a single element
    EXPECT_EQ(column[2], bytes[62]);
}

} // namespace
