// Copies with edge replication, against their rule byte by byte. Aimed at rows of another distance than
// their pixels' bytes, bottom-up sources, and bytes written beyond what the rule names.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "support/guarded.h"
#include "vela/primitives.h"

namespace {

using test::Guarded;

struct Routine {
    const char* name;
    VelaCopyExpand* run;
    int pixelBytes;
};

constexpr Routine kRoutines[] = {{"8u_C1", veliCopyExpand_8u_C1, 1},
                                 {"16u_C1", veliCopyExpand_16u_C1, 2},
                                 {"8u_C3", veliCopyExpand_8u_C3, 3}};

struct Shape {
    int validWidth, validHeight, width, height, dstStep;
};

TEST(CopyExpand, FillsTheMcuByItsRule) {
    std::mt19937 random(7);
    const auto upTo = [&](int most) {
        return 1 + static_cast<int>(random() % static_cast<unsigned>(most));
    };
    for (int round = 0; round < 600; round++) {
        const Routine& routine = kRoutines[round % 3];
        const int bytes = routine.pixelBytes;
        Shape s{};
        s.width = 8 * upTo(2);
        s.height = 8 * upTo(2);
        s.validWidth = upTo(s.width);
        s.validHeight = upTo(s.height);
        const int rowBytes = s.width * bytes;
        s.dstStep = rowBytes + (random() % 2 == 0 ? 0 : upTo(9));

        const int sourceStep = s.validWidth * bytes + upTo(5);
        Guarded source(
            static_cast<size_t>(sourceStep * (s.validHeight - 1) + s.validWidth * bytes));
        for (size_t i = 0; i < source.size(); i++)
            source.data()[i] = static_cast<uint8_t>(random());
        const bool bottomUp = random() % 2 == 0;
        const uint8_t* const top =
            source.data() + (bottomUp ? sourceStep * (s.validHeight - 1) : 0);
        const int step = bottomUp ? -sourceStep : sourceStep;

        // Where each repeated row goes, and how many bytes of the last valid one.
        const int repeated = s.height - s.validHeight;
        const int pitch = bytes == 3 ? rowBytes : s.dstStep;
        const int repeatedBytes = bytes == 3 ? rowBytes : s.dstStep / bytes * bytes;
        const int lastValid = (s.validHeight - 1) * s.dstStep;
        const int firstRepeated = s.validHeight * s.dstStep;
        const int size = repeated == 0 ? lastValid + rowBytes
                                       : firstRepeated + (repeated - 1) * pitch + repeatedBytes;
        Guarded target(static_cast<size_t>(size));
        std::vector<uint8_t> expected(target.data(), target.data() + size);
        for (int y = 0; y < s.validHeight; y++)
            for (int i = 0; i < rowBytes; i++) {
                const int pixel = std::min(i / bytes, s.validWidth - 1);
                expected[static_cast<size_t>(y * s.dstStep + i)] =
                    top[y * step + pixel * bytes + i % bytes];
            }
        for (int r = 0; r < repeated; r++)
            for (int i = 0; i < repeatedBytes; i++)
                expected[static_cast<size_t>(firstRepeated + r * pitch + i)] =
                    expected[static_cast<size_t>(lastValid + i)];

        ASSERT_EQ(routine.run(top, step, s.validWidth, s.validHeight, target.data(), s.dstStep,
                              s.width, s.height),
                  0);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), target.data()))
            << routine.name << " " << s.validWidth << "x" << s.validHeight << " to " << s.width
            << "x" << s.height << ", dstStep " << s.dstStep;
        ASSERT_TRUE(target.intact() && source.intact()) << routine.name;
    }
}

} // namespace
