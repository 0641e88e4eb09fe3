// Huffman tables fitted to a scan's counts.
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "progressive/scan_tables.h"
#include "tables/huffman_tables.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

/// A table for counts; checks that it can be decoded and has a code for every symbol that occurs.
HuffmanSpecWork fitted(std::vector<uint32_t> counts) {
    counts.resize(257);
    const std::vector<uint32_t> original = counts;
    HuffmanSpecWork work{};
    velaHuffmanTableSpecInit_JPEG_8u(counts.data(), work.codesize, work.others, work.bitsWork,
                                     work.BITS, work.HUFFVAL);
    int64_t space = 0; // in codes of 16 bits
    size_t total = 0;
    for (int length = 1; length <= 16; length++) {
        space += int64_t{work.BITS[length - 1]} << (16 - length);
        total += work.BITS[length - 1];
    }
    EXPECT_LT(space, 1 << 16); // the code of 1-bits only is free
    std::vector<bool> has(256);
    for (size_t i = 0; i < total; i++) {
        EXPECT_FALSE(has[work.HUFFVAL[i]]);
        has[work.HUFFVAL[i]] = true;
    }
    for (size_t s = 0; s < 256; s++)
        EXPECT_EQ(has[s], original[s] != 0) << s;
    return work;
}

TEST(FittedTables, SmallOnes) {
    // Fault: no code for the only symbol, another order of merging, the reserved code not dropped.
    std::vector<uint32_t> counts(257);
    EXPECT_EQ(fitted(counts).BITS[0], 0);
    counts[0x21] = 12345;
    HuffmanSpecWork one = fitted(counts);
    EXPECT_EQ(one.BITS[0], 1);
    EXPECT_EQ(one.HUFFVAL[0], 0x21);

    // Of equal counts the higher symbol is merged first, the reserved one before all.
    HuffmanSpecWork three = fitted({1, 1, 1});
    EXPECT_EQ(Bytes(three.BITS, three.BITS + 3), (Bytes{0, 3, 0}));
    HuffmanSpecWork tie = fitted({5, 2, 2, 1});
    EXPECT_EQ(Bytes(tie.BITS, tie.BITS + 4), (Bytes{1, 1, 1, 1}));
    EXPECT_EQ(Bytes(tie.HUFFVAL, tie.HUFFVAL + 4), (Bytes{0, 1, 2, 3}));
}

TEST(FittedTables, LongCodesAreLimited) {
    // Fault: codes above 16 bits, codes above 32 bits before the limit, sums that overflow.
    for (const int symbols : {20, 40, 250}) { // the rarer half's sum grows with every merge
        std::vector<uint32_t> counts = {1, 1};
        while (static_cast<int>(counts.size()) < symbols)
            counts.push_back(
                std::min(counts.end()[-1] + counts.end()[-2], 400000000u)); // Fibonacci
        fitted(counts);
    }
    fitted(std::vector<uint32_t>(256, 0xFFFFFFFF));
    std::vector<uint32_t> lopsided(256, 1); // 256 codes of nine bits, the reserved one among them
    lopsided[7] = 1000000;
    EXPECT_EQ(fitted(lopsided).BITS[8], 255);
}

TEST(FittedTables, CostNoMoreThanTheEntropyAllows) {
    // Fault: codes that decode but are longer than they need be.
    std::mt19937 random(8);
    for (int round = 0; round < 200; round++) {
        std::vector<uint32_t> counts(257);
        for (size_t i = 0; i < 256; i++)
            counts[i] =
                random() % 3 == 0 ? static_cast<uint32_t>(random() % (1u << (random() % 20))) : 0;
        double sum = 0;
        for (const uint32_t c : counts)
            sum += c;
        const HuffmanSpecWork work = fitted(counts);
        double bits = 0, entropy = 0;
        size_t k = 0;
        for (int length = 1; length <= 16; length++)
            for (int i = 0; i < work.BITS[length - 1]; i++)
                bits += double(length) * counts[work.HUFFVAL[k++]];
        for (const uint32_t c : counts)
            entropy += c == 0 ? 0 : c * std::log2(sum / c);
        EXPECT_GE(bits, entropy - 1e-6 * entropy);
        EXPECT_LE(bits, entropy + 1.02 * sum);
    }
}

} // namespace
