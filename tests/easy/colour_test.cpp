// The easy layer's conversions against formulas in double precision, for every instruction set: pixels that
// end at the last byte of their memory, results between canaries.
#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "cpu/cpu_features.h"
#include "easy/colour/adjustment.h"
#include "easy/colour/routines.h"
#include "support/differences.h"
#include "support/guarded.h"

namespace vela {

inline void PrintTo(const ColourRoutines* routines, std::ostream* out) {
    *out << routines->name;
}

} // namespace vela

namespace {

using namespace test;
using vela::ColourRoutines;
using vela::PixelOrder;
using Samples = std::vector<double>;

struct Rgb {
    double red, green, blue;
};

/// Byte positions, or of 16-bit words the fields; by the formats' definition.
Rgb pixelOf(const uint8_t* row, PixelOrder order, int x) {
    static constexpr int kPlaces[6][4] = {{3, 0, 1, 2}, {3, 2, 1, 0}, {4, 0, 1, 2},
                                          {4, 2, 1, 0}, {4, 1, 2, 3}, {4, 3, 2, 1}};
    const int o = static_cast<int>(order);
    if (o < 6) {
        const uint8_t* const p = row + x * kPlaces[o][0];
        return {double(p[kPlaces[o][1]]), double(p[kPlaces[o][2]]), double(p[kPlaces[o][3]])};
    }
    const int word = row[2 * x] + 256 * row[2 * x + 1];
    const auto field = [&](int low, int bits) { // its bits, repeated until there are 8
        const int value = word / (1 << low) % (1 << bits);
        return double((value << (8 - bits)) + (value >> (2 * bits - 8)));
    };
    const bool is565 = order == PixelOrder::rgb565;
    return {field(is565 ? 11 : 10, 5), field(5, is565 ? 6 : 5), field(0, 5)};
}

int bytesOf(PixelOrder order) {
    return order <= PixelOrder::bgr ? 3 : order <= PixelOrder::xbgr ? 4 : 2;
}

double luma(const Rgb& p) {
    return 0.299 * p.red + 0.587 * p.green + 0.114 * p.blue;
}

/// Of the mean of the pixels of a row or two that share a sample.
void chroma(const std::vector<const uint8_t*>& rows, PixelOrder order, int width, int across,
            Samples& cb, Samples& cr) {
    for (int x = 0; x < width; x += across) {
        Rgb mean{};
        for (const uint8_t* row : rows)
            for (int i = 0; i < across; i++) {
                const Rgb p = pixelOf(row, order, std::min(x + i, width - 1));
                const auto share = static_cast<double>(rows.size()) * across;
                mean = {mean.red + p.red / share, mean.green + p.green / share,
                        mean.blue + p.blue / share};
            }
        cb.push_back(std::min(255.0, 128 + (mean.blue - luma(mean)) / 1.772));
        cr.push_back(std::min(255.0, 128 + (mean.red - luma(mean)) / 1.402));
    }
}

/// A row of results, with room for what kernels may write past it.
struct Results {
    explicit Results(int width)
        : size(static_cast<size_t>(width)), memory(size + vela::kOutputPadding) {}
    std::span<const uint8_t> values() const { return {memory.data(), size}; }

    size_t size;
    Guarded memory;
};

class ColourKernels : public testing::TestWithParam<const ColourRoutines*> {
protected:
    void SetUp() override {
        if ((GetParam()->requiredFeatures & ~vela::cpuFeatures()) != 0)
            GTEST_SKIP() << "this machine has no " << GetParam()->name;
    }
    Guarded noise(size_t bytes) {
        Guarded memory(bytes);
        std::generate_n(memory.data(), bytes, [this] { return static_cast<uint8_t>(random_()); });
        return memory;
    }
    std::mt19937 random_{20261123};
};

TEST_P(ColourKernels, RgbWithin051OfTheFormula) {
    // Fault: a shuffle that is wrong for one order or one width, a tail that reads past the row or takes the
    // wrong neighbour at an odd width, chroma rounded twice.
    const ColourRoutines& colour = *GetParam();
    for (int o = 0; o < vela::kPixelOrders; o++) {
        const auto order = static_cast<PixelOrder>(o);
        for (const int width :
             {1, 2, 3, 5, 15, 16, 17, 31, 33, 63, 64, 65, 85, 86, 100, 127, 129, 200}) {
            SCOPED_TRACE(testing::Message() << "order " << o << ", width " << width);
            const int half = (width + 1) / 2;
            Guarded rows[2] = {noise(static_cast<size_t>(width * bytesOf(order))),
                               noise(static_cast<size_t>(width * bytesOf(order)))};
            Samples y[2], cb, cr, cb2, cr2, cb4, cr4;
            for (int r = 0; r < 2; r++)
                for (int x = 0; x < width; x++)
                    y[r].push_back(luma(pixelOf(rows[r].data(), order, x)));
            chroma({rows[0].data()}, order, width, 1, cb, cr);
            chroma({rows[0].data()}, order, width, 2, cb2, cr2);
            chroma({rows[0].data(), rows[1].data()}, order, width, 2, cb4, cr4);

            Results a(width), b(width), c(width), d(width), e(half), f(half);
            colour.rgbTo444(rows[0].data(), order, width, a.memory.data(), b.memory.data(),
                            c.memory.data());
            EXPECT_TRUE(same(y[0], a.values(), 1, 0.51));
            EXPECT_TRUE(same(cb, b.values(), 1, 0.51));
            EXPECT_TRUE(same(cr, c.values(), 1, 0.51));
            colour.rgbTo422(rows[1].data(), order, width, d.memory.data(), e.memory.data(),
                            f.memory.data());
            EXPECT_TRUE(same(y[1], d.values(), 1, 0.51));
            colour.rgbTo422(rows[0].data(), order, width, d.memory.data(), e.memory.data(),
                            f.memory.data());
            EXPECT_TRUE(same(cb2, e.values(), 1, 0.51));
            EXPECT_TRUE(same(cr2, f.values(), 1, 0.51));
            const uint8_t* const both[] = {rows[0].data(), rows[1].data()};
            uint8_t* const lumas[] = {a.memory.data(), d.memory.data()};
            colour.rgbTo420(both, order, width, lumas, e.memory.data(), f.memory.data());
            EXPECT_TRUE(same(y[0], a.values(), 1, 0.51));
            EXPECT_TRUE(same(y[1], d.values(), 1, 0.51));
            EXPECT_TRUE(same(cb4, e.values(), 1, 0.51));
            EXPECT_TRUE(same(cr4, f.values(), 1, 0.51));
            for (Results* result : {&a, &b, &c, &d, &e, &f})
                EXPECT_TRUE(result->memory.intact());
            if (HasFailure())
                return;
        }
    }
}

TEST_P(ColourKernels, EveryRedAndBlueAtTheEndsOfGreen) {
    // Fault: weights that are too coarse at the corners of the cube, pure colours that do not saturate.
    const ColourRoutines& colour = *GetParam();
    std::vector<uint8_t> pixels;
    for (const int green : {0, 1, 127, 128, 254, 255})
        for (int i = 0; i < 65536; i++)
            pixels.insert(pixels.end(), {uint8_t(i >> 8), uint8_t(green), uint8_t(i)});
    const int width = 6 * 65536;
    Results y(width), cb(width), cr(width);
    colour.rgbTo444(pixels.data(), PixelOrder::rgb, width, y.memory.data(), cb.memory.data(),
                    cr.memory.data());
    Samples lumas, cbs, crs;
    for (int x = 0; x < width; x++)
        lumas.push_back(luma(pixelOf(pixels.data(), PixelOrder::rgb, x)));
    chroma({pixels.data()}, PixelOrder::rgb, width, 1, cbs, crs);
    EXPECT_TRUE(same(lumas, y.values(), 1, 0.51));
    EXPECT_TRUE(same(cbs, cb.values(), 1, 0.51));
    EXPECT_TRUE(same(crs, cr.values(), 1, 0.51));

    Results plainY(width), plainCb(width), plainCr(width);
    vela::colourRoutineTables().back()->rgbTo444(pixels.data(), PixelOrder::rgb, width,
                                                 plainY.memory.data(), plainCb.memory.data(),
                                                 plainCr.memory.data());
    EXPECT_TRUE(sameBytes(plainY.values(), y.values()));
    EXPECT_TRUE(sameBytes(plainCb.values(), cb.values()));
    EXPECT_TRUE(sameBytes(plainCr.values(), cr.values()));
}

TEST_P(ColourKernels, PackedAndPairsComeApart) {
    // Fault: chroma of the wrong byte, an odd width's last pixel, reads past the last group.
    const ColourRoutines& colour = *GetParam();
    static constexpr int kPlaces[4][3] = {{0, 1, 3}, {0, 3, 1}, {1, 0, 2}, {1, 2, 0}}; // Y, Cb, Cr
    for (int o = 0; o < vela::kPairOrders; o++)
        for (int width = 1; width <= 140; width++) {
            SCOPED_TRACE(testing::Message() << "order " << o << ", width " << width);
            const int half = (width + 1) / 2;
            const Guarded row = noise(static_cast<size_t>(4 * half));
            Results y(width), cb(half), cr(half);
            colour.splitPacked422(row.data(), static_cast<vela::PairOrder>(o), width,
                                  y.memory.data(), cb.memory.data(), cr.memory.data());
            std::vector<int> lumas, cbs, crs, first, second;
            for (int x = 0; x < width; x++)
                lumas.push_back(row.data()[2 * x + kPlaces[o][0]]);
            for (int i = 0; i < half; i++) {
                cbs.push_back(row.data()[4 * i + kPlaces[o][1]]);
                crs.push_back(row.data()[4 * i + kPlaces[o][2]]);
                first.push_back(row.data()[2 * i]);
                second.push_back(row.data()[2 * i + 1]);
            }
            ASSERT_TRUE(sameBytes(lumas, y.values()));
            ASSERT_TRUE(sameBytes(cbs, cb.values()));
            ASSERT_TRUE(sameBytes(crs, cr.values()));
            colour.splitPairs(row.data(), half, cb.memory.data(), cr.memory.data());
            ASSERT_TRUE(sameBytes(first, cb.values()));
            ASSERT_TRUE(sameBytes(second, cr.values()));
            ASSERT_TRUE(y.memory.intact() && cb.memory.intact() && cr.memory.intact());
        }
}

/// By way of red, green and blue, as the standards define both matrices.
void convert(double y, double cb, double cr, bool limited, bool bt709, double (&to)[3]) {
    const double red = bt709 ? 0.2126 : 0.299, blue = bt709 ? 0.0722 : 0.114;
    y = limited ? (y - 16) * 255 / 219 : y;
    cb = (cb - 128) * (limited ? 255.0 / 224 : 1);
    cr = (cr - 128) * (limited ? 255.0 / 224 : 1);
    const double r = y + 2 * (1 - red) * cr, b = y + 2 * (1 - blue) * cb;
    const double g = (y - red * r - blue * b) / (1 - red - blue);
    to[0] = 0.299 * r + 0.587 * g + 0.114 * b;
    to[1] = 128 + (b - to[0]) / 1.772;
    to[2] = 128 + (r - to[0]) / 1.402;
    for (double& value : to)
        value = std::clamp(value, 0.0, 255.0);
}

TEST_P(ColourKernels, RangeAndMatrixWithinRounding) {
    // Fault: a coefficient's sign, chroma of the neighbour, a clamp that is missing; in place as well.
    const ColourRoutines& colour = *GetParam();
    for (const auto& [limited, bt709] : {std::pair(true, false), {false, true}, {true, true}})
        for (const bool halved : {false, true})
            for (const int width : {1, 2, 7, 33, 64, 131, 3000}) {
                SCOPED_TRACE(testing::Message()
                             << limited << bt709 << halved << ", width " << width);
                const int columns = halved ? (width + 1) / 2 : width;
                const vela::YcbcrAdjustment by = vela::adjustmentOf(limited, bt709);
                const Guarded y = noise(size_t(width)), cb = noise(size_t(columns)),
                              cr = noise(size_t(columns));
                Samples lumas, cbs, crs;
                double to[3];
                for (int x = 0; x < width; x++) {
                    const int c = halved ? x / 2 : x;
                    convert(y.data()[x], cb.data()[c], cr.data()[c], limited, bt709, to);
                    lumas.push_back(to[0]);
                }
                for (int c = 0; c < columns; c++) {
                    convert(16, cb.data()[c], cr.data()[c], limited, bt709, to);
                    cbs.push_back(to[1]);
                    crs.push_back(to[2]);
                }
                Results a(width), b(columns), c(columns);
                colour.adjustLuma(y.data(), cb.data(), cr.data(), halved, width, by,
                                  a.memory.data());
                EXPECT_TRUE(same(lumas, a.values(), 1, 0.51));
                std::copy_n(cb.data(), columns, b.memory.data());
                std::copy_n(cr.data(), columns, c.memory.data());
                colour.adjustChroma(b.memory.data(), c.memory.data(), columns, by, b.memory.data(),
                                    c.memory.data());
                EXPECT_TRUE(same(cbs, b.values(), 1, 0.51));
                EXPECT_TRUE(same(crs, c.values(), 1, 0.51));
                std::copy_n(y.data(), width, a.memory.data());
                colour.adjustLuma(a.memory.data(), cb.data(), cr.data(), halved, width, by,
                                  a.memory.data());
                EXPECT_TRUE(same(lumas, a.values(), 1, 0.51));
                EXPECT_TRUE(a.memory.intact() && b.memory.intact() && c.memory.intact());
            }
}

INSTANTIATE_TEST_SUITE_P(Every, ColourKernels,
                         testing::ValuesIn(vela::colourRoutineTables().begin(),
                                           vela::colourRoutineTables().end()),
                         [](const auto& test) {
                             std::string name = test.param->name;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

} // namespace
