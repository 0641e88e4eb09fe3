// Huffman tables fitted to a scan's counts.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "progressive/scan_tables.h"
#include "support/differences.h"
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

/// Figures K.1 to K.4 as they are drawn: BITS and, before HUFFVAL, each symbol's code size. Of equal
/// counts the higher index goes first.
struct AnnexK2 {
    std::vector<int> bits = std::vector<int>(33);
    std::vector<int> codesize = std::vector<int>(257);
    int longest = 0; // above 32 nothing else is worth anything

    explicit AnnexK2(std::vector<uint32_t> freq) {
        std::vector<int> others(257, -1);
        freq.resize(257);
        freq[256] = 1;
        for (;;) {
            const int v1 = rarest(freq, -1), v2 = rarest(freq, v1);
            if (v2 < 0)
                break;
            freq[static_cast<size_t>(v1)] += std::exchange(freq[static_cast<size_t>(v2)], 0);
            int last = v1;
            for (int v = v1; v >= 0; v = others[static_cast<size_t>(v)])
                codesize[static_cast<size_t>(last = v)]++;
            others[static_cast<size_t>(last)] = v2;
            for (int v = v2; v >= 0; v = others[static_cast<size_t>(v)])
                codesize[static_cast<size_t>(v)]++;
        }
        longest = *std::max_element(codesize.begin(), codesize.end());
        if (longest > 32)
            return;
        for (const int size : codesize)
            bits[static_cast<size_t>(size)]++;
        for (size_t i = 32; i > 16; i--)
            while (bits[i] > 0) {
                size_t j = i - 2;
                while (bits[j] == 0)
                    j--;
                bits[i] -= 2, bits[i - 1]++, bits[j + 1] += 2, bits[j]--;
            }
        size_t last = 16;
        while (bits[last] == 0)
            last--;
        bits[last]--;
    }

private:
    static int rarest(const std::vector<uint32_t>& freq, int but) {
        int found = -1;
        for (int v = 0; v < 257; v++)
            if (const auto i = static_cast<size_t>(v); freq[i] != 0 && v != but)
                if (found < 0 || freq[i] <= freq[static_cast<size_t>(found)])
                    found = v;
        return found;
    }
};

void expectAnnexK2(const std::vector<uint32_t>& counts, const std::vector<uint32_t>& merged) {
    const HuffmanSpecWork work = fitted(counts);
    const AnnexK2 expected(merged);
    EXPECT_TRUE(test::sameBytes(std::span(expected.bits).subspan(1, 16), work.BITS));
    std::vector<int> order; // Figure K.4
    for (int size = 1; size <= 32; size++)
        for (int symbol = 0; symbol < 256; symbol++)
            if (expected.codesize[static_cast<size_t>(symbol)] == size)
                order.push_back(symbol);
    EXPECT_TRUE(test::sameBytes(order, std::span(work.HUFFVAL, order.size())));
}

std::vector<uint32_t> fibonacci(size_t count) {
    std::vector<uint32_t> numbers = {1, 2}; // with the reserved one: 1, 1, 2
    while (numbers.size() < count)
        numbers.push_back(numbers.end()[-1] + numbers.end()[-2]);
    return numbers;
}

/// Halved until neither sums nor code sizes are beyond the limits; counts of 1 stay.
std::vector<uint32_t> halved(std::vector<uint32_t> counts) {
    const auto tooLarge = [&] {
        const uint64_t sum = std::accumulate(counts.begin(), counts.end(), uint64_t{1});
        return sum > 1000000000 || AnnexK2(counts).longest > 32;
    };
    while (tooLarge())
        for (uint32_t& count : counts)
            count = count > 1 ? count / 2 : count;
    return counts;
}

TEST(FittedTables, AreThoseOfAnnexK2) {
    // Fault: another order of merging among equal counts, codes not limited to 16 bits as drawn.
    std::mt19937 random(9);
    for (int round = 0; round < 300; round++) {
        std::vector<uint32_t> counts(2 + random() % 255);
        const auto range = static_cast<uint32_t>(1 + random() % 22);
        for (uint32_t& count : counts)
            count = random() % 3 == 0 ? static_cast<uint32_t>(1 + random() % (1u << range)) : 0;
        expectAnnexK2(counts, counts);
        ASSERT_FALSE(HasFailure()) << "seed 9, round " << round;
    }
    for (size_t symbols = 2; symbols <= 32; symbols++) // code sizes up to 32
        expectAnnexK2(fibonacci(symbols), fibonacci(symbols));
    std::vector<uint32_t> lopsided(256, 1); // 256 codes of nine bits, the reserved one among them
    lopsided[7] = 1000000;
    expectAnnexK2(lopsided, lopsided);
}

TEST(FittedTables, CountsThatAreTooLargeAreHalved) {
    // Fault: codes above 32 bits, for which the arrays have no place; sums beyond 1e9, which overflow.
    std::vector<std::vector<uint32_t>> tooLarge;
    for (size_t symbols = 33; symbols <= 46; symbols++) // 47 add up to 7.8e9
        tooLarge.push_back(fibonacci(symbols));
    tooLarge.push_back(std::vector<uint32_t>(256, 0xFFFFFFFF));
    tooLarge.push_back({1, 500000000, 500000000, 3});
    for (const std::vector<uint32_t>& counts : tooLarge) {
        ASSERT_NE(halved(counts), counts);
        expectAnnexK2(counts, halved(counts));
    }
    const std::vector<uint32_t> most = {1, 500000000, 499999998}; // 1e9 with the reserved one
    expectAnnexK2(most, most);
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
