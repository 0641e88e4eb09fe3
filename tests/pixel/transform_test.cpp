// The forward transform against the textbook.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "support/differences.h"
#include "support/guarded.h"
#include "support/textbook.h"
#include "tables/default_tables.h"
#include "vela/primitives.h"

namespace {

using Samples = std::array<int16_t, 64>;

struct Tables {
    std::array<uint8_t, 64> q;
    std::array<uint16_t, 64> reciprocals;

    explicit Tables(int32_t scale) {
        czBuildEnQuantTable(scale, vela::_DefLumQuantTable_JPEGENC, q.data());
        veliDCTQuantFwdTableInit_JPEGENC_8u16u(q.data(), reciprocals.data());
    }
    const int16_t* forward() const { return reinterpret_cast<const int16_t*>(reciprocals.data()); }
};

/// Whether the quantized coefficients are the textbook's, which are not rounded.
testing::AssertionResult nearTextbook(const Samples& samples, const Tables& tables,
                                      double tolerance) {
    Samples transposed, out;
    EXPECT_EQ(veliDCTQuantFwd_JPEG_16s(samples.data(), tables.forward(), transposed.data()), 0);
    std::array<double, 64> exact = test::textbookDct(samples);
    for (size_t i = 0; i < 64; i++) {
        exact[i] /= tables.q[i];
        out[i] = transposed[8 * (i % 8) + i / 8];
    }
    return test::sameBlocks(exact, out, tolerance);
}

Samples randomSamples(std::mt19937& random) {
    Samples samples;
    const int amplitude = 1 << (random() % 8); // 1..128
    for (int16_t& s : samples)
        s = static_cast<int16_t>(static_cast<int>(random() % 256) % (2 * amplitude) - amplitude);
    return samples;
}

/// 127 and -128 in the sign pattern of one basis function: the largest coefficient there is.
Samples basisPattern(int u, int v) {
    Samples samples;
    for (size_t i = 0; i < 64; i++)
        samples[i] =
            test::basis(u, static_cast<int>(i % 8)) * test::basis(v, static_cast<int>(i / 8)) >= 0
                ? 127
                : -128;
    return samples;
}

TEST(Transform, IsTheTextbookDctQuantized) {
    // Fault: a wrong constant or butterfly, a wrong reciprocal.
    std::mt19937 random(4711);
    const Tables unscaled(128); // quality 50
    const Tables ones(0);       // quality 100
    for (int i = 0; i < 20000; i++) {
        const Samples samples = randomSamples(random);
        ASSERT_TRUE(nearTextbook(samples, unscaled, 0.75)) << "seed 4711, block " << i;
        ASSERT_TRUE(nearTextbook(samples, ones, 6.0)) << "seed 4711, block " << i;
    }
}

TEST(Transform, KeepsItsRangeOnTheLargestCoefficients) {
    // Fault: 16 bits that overflow, coefficients that Huffman tables have no code for.
    const Tables ones(0);
    for (int u = 0; u < 8; u++) {
        for (int v = 0; v < 8; v++) {
            Samples samples = basisPattern(u, v);
            ASSERT_TRUE(nearTextbook(samples, ones, 4.0)) << u << ' ' << v;
            veliDCTQuantFwd_JPEG_16s_I(samples.data(), ones.forward());
            ASSERT_GE(*std::min_element(samples.begin(), samples.end()), -1024);
            ASSERT_LE(*std::max_element(samples.begin() + 1, samples.end()), 1023);
        }
    }
}

TEST(Transform, FlatAndOneDimensionalBlocks) {
    // Fault: energy that leaks into other coefficients, rows and columns swapped.
    const Tables ones(0);
    for (int c = -128; c <= 127; c++) {
        Samples samples;
        samples.fill(static_cast<int16_t>(c));
        veliDCTQuantFwd_JPEG_16s_I(samples.data(), ones.forward());
        EXPECT_EQ(samples[0], 8 * c);
        EXPECT_TRUE(std::all_of(samples.begin() + 1, samples.end(), [](int s) { return s == 0; }));
    }
    Samples alongX;
    for (size_t i = 0; i < 64; i++)
        alongX[i] = static_cast<int16_t>((i % 8) * (i % 8) * 5 - 120);
    veliDCTQuantFwd_JPEG_16s_I(alongX.data(), ones.forward());
    for (size_t i = 0; i < 64; i++)
        EXPECT_TRUE(i % 8 == 0 || alongX[i] == 0) << i; // row 0 of the matrix, transposed
    EXPECT_NE(alongX[8], 0);
}

TEST(Transform, WrapsAndSaturatesOnInputBeyondSamples) {
    // Fault: arithmetic that differs outside the range of samples.
    // The sum over 1000 blocks is that of another implementation of the same 16-bit arithmetic.
    std::mt19937 random(7);
    const Tables quality75(64);
    uint32_t sum = 2166136261;
    for (int i = 0; i < 1000; i++) {
        Samples block;
        for (int16_t& s : block)
            s = static_cast<int16_t>(random());
        veliDCTQuantFwd_JPEG_16s_I(block.data(), quality75.forward());
        for (size_t k = 0; k < 64; k++)
            sum = (sum ^ static_cast<uint16_t>(block[8 * (k % 8) + k / 8])) * 16777619;
    }
    EXPECT_EQ(sum, 3979359536u);
}

TEST(Transform, InPlaceAndApartAgreeOnAnyInput) {
    // Fault: an input that is overwritten, undefined overflow.
    std::mt19937 random(99);
    for (int i = 0; i < 2000; i++) {
        test::Guarded source(128, 2), table(128, 2), target(128, 2);
        auto* const src = reinterpret_cast<int16_t*>(source.data());
        auto* const quant = reinterpret_cast<int16_t*>(table.data());
        auto* const dst = reinterpret_cast<int16_t*>(target.data());
        for (int k = 0; k < 64; k++) {
            src[k] = static_cast<int16_t>(random()); // sums wrap, products saturate
            quant[k] = static_cast<int16_t>(random() % 32767 + 1);
        }
        Samples before;
        std::copy_n(src, 64, before.begin());
        veliDCTQuantFwd_JPEG_16s(src, quant, dst);
        ASSERT_TRUE(std::equal(before.begin(), before.end(), src));
        veliDCTQuantFwd_JPEG_16s_I(src, quant);
        ASSERT_TRUE(test::sameBlocks(std::span(src, 64), std::span(dst, 64))) << "round " << i;
        ASSERT_TRUE(source.intact() && table.intact() && target.intact());
    }
}

} // namespace
