// The input routines: every format's blocks against the samples they stand for, in memory of
// exactly the size they may read.
#include <gtest/gtest.h>

#include "encoder/routine_choice.h"
#include "support/differences.h"
#include "support/guarded.h"
#include "support/picture.h"
#include "support/samples.h"
#include "vela/primitives.h"

namespace {

using test::Format;
using test::Guarded;

/// The MCU block area in memory of its own.
struct Blocks {
    Guarded memory[3];
    int16_t* dst[3];

    explicit Blocks(const Format& format) {
        for (int k = 0; k < 3; k++) {
            const int blocks = k == 0 ? format.h() * format.v() : format.components() == 3 ? 1 : 0;
            memory[k] = Guarded(static_cast<size_t>(128 * blocks), 2);
            dst[k] = reinterpret_cast<int16_t*>(memory[k].data());
        }
    }
    std::span<const int16_t> of(int component) const {
        return {dst[component], memory[component].size() / 2};
    }
    bool intact() { return memory[0].intact() && memory[1].intact() && memory[2].intact(); }
};

/// Converts the picture as one MCU, as the walk does it.
void convert(const test::TestPicture& picture, Blocks& blocks) {
    const Format& format = picture.format();
    vela::ImageSpec image{};
    image.colorFormat = format.code;
    image.subsampling = format.code == 12 ? 0 : format.subsampling;
    vela::ProcSpec routines;
    ASSERT_EQ(vela::velaInitProcSpec_JPEG(&routines, &image, &vela::kPlainRoutines), 0);

    const Picture_JPEG record = picture.record();
    const int width = 8 * format.h();
    const int height = 8 * format.v();
    const bool whole = picture.width() == width && picture.height() == height;
    if (format.planes() > 1) {
        if (whole)
            routines.convertMcuPlanar(record.plane, record.step, blocks.dst);
        else
            routines.convertMcuExpand(record.plane, record.step, picture.width(), picture.height(),
                                      blocks.dst);
    } else if (whole) {
        routines.convertMcu(record.plane[0], record.step[0], blocks.dst);
    } else {
        const int step = width * format.bytesPerPixel();
        Guarded edge(static_cast<size_t>(step * height));
        routines.copyExpand(record.plane[0], record.step[0], picture.width(), picture.height(),
                            edge.data(), step, width, height);
        routines.convertMcu(edge.data(), step, blocks.dst);
        EXPECT_TRUE(edge.intact());
    }
}

TEST(Input, EveryFormatAndValidSize) {
    // Fault: channels or chroma swapped, an edge not repeated, a sample read outside the picture.
    for (const Format& format : test::kFormats) {
        for (int height = 1; height <= 8 * format.v(); height++) {
            for (int width = 1; width <= 8 * format.h(); width++) {
                for (const bool bottomUp : {false, true}) {
                    if (bottomUp && format.planes() > 1)
                        continue;
                    const test::TestPicture picture(format, width, height, test::Content::noise,
                                                    static_cast<uint32_t>(97 * height + width),
                                                    width % 3, bottomUp);
                    Blocks blocks(format);
                    convert(picture, blocks);
                    for (int k = 0; k < format.components(); k++) {
                        const int h = k == 0 ? format.h() : 1;
                        const int v = k == 0 ? format.v() : 1;
                        std::vector<double> expected;
                        for (int b = 0; b < h * v; b++)
                            for (int i = 0; i < 64; i++)
                                expected.push_back(test::exactSample(picture, k, b % h * 8 + i % 8,
                                                                     b / h * 8 + i / 8));
                        ASSERT_TRUE(
                            test::sameBlocks(expected, blocks.of(k), test::sampleTolerance(format)))
                            << describe(picture) << " component " << k;
                    }
                    ASSERT_TRUE(blocks.intact()) << describe(picture);
                }
            }
        }
    }
}

/// Y, Cb, Cr of a 4:4:4 MCU whose pixels are all alike.
std::vector<int> convertPixel(VelaConvertMcu* routine, std::vector<uint8_t> pixel) {
    std::vector<uint8_t> mcu;
    for (int i = 0; i < 64; i++)
        mcu.insert(mcu.end(), pixel.begin(), pixel.end());
    Blocks blocks(test::kFormats[0]);
    routine(mcu.data(), static_cast<int32_t>(8 * pixel.size()), blocks.dst);
    return {blocks.dst[0][0], blocks.dst[1][0], blocks.dst[2][0]};
}

TEST(Input, ColourConversionIsExact) {
    // Fault: weights or a rounding a little off.
    const auto bgr = [](uint8_t b, uint8_t g, uint8_t r) {
        return convertPixel(veliBGRToYCbCr444LS_MCU_8u16s_C3P3R, {b, g, r});
    };
    EXPECT_EQ(bgr(255, 255, 255), (std::vector<int>{127, 0, 0}));
    EXPECT_EQ(bgr(0, 0, 0), (std::vector<int>{-128, 0, 0}));
    EXPECT_EQ(bgr(255, 0, 0), (std::vector<int>{-100, 127, -21}));
    EXPECT_EQ(bgr(0, 0, 255), (std::vector<int>{76 - 128, -43, 127}));
    EXPECT_EQ(convertPixel(veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, {0xFF, 0xFF}),
              (std::vector<int>{122, -2, -2}));
    EXPECT_EQ(convertPixel(veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, {0x00, 0x80}),
              (std::vector<int>{-128, 0, 0}));

    uint8_t redDot[16 * 48] = {};
    redDot[2] = 255;
    Blocks blocks(test::kFormats[2]);
    veliBGRToYCbCr411LS_MCU_8u16s_C3P3R(redDot, 48, blocks.dst);
    EXPECT_EQ(blocks.dst[1][0], -11); // floor(-43 * 255 / 1024)
    EXPECT_EQ(blocks.dst[2][0], 31);
    EXPECT_EQ(blocks.dst[2][1], 0);
}

TEST(Input, VectorNamesGiveThePlainResults) {
    // Fault: an exported name that stands for another routine.
    const std::pair<VelaConvertMcuPlanar*, VelaConvertMcuPlanar*> pairs[] = {
        {velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG,
         velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG_NEON},
        {velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG,
         velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG_NEON},
        {velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG,
         velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON},
        {velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG, velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON},
        {velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG, velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON},
    };
    const Format formats[] = {test::kFormats[9], test::kFormats[10], test::kFormats[11],
                              test::kFormats[13], test::kFormats[14]};
    for (size_t i = 0; i < std::size(pairs); i++) {
        const test::TestPicture picture(formats[i], 8 * formats[i].h(), 8 * formats[i].v(),
                                        test::Content::noise, 3);
        const Picture_JPEG record = picture.record();
        Blocks plain(formats[i]), vector(formats[i]);
        pairs[i].first(record.plane, record.step, plain.dst);
        pairs[i].second(record.plane, record.step, vector.dst);
        for (int k = 0; k < 3; k++)
            EXPECT_TRUE(test::sameBlocks(plain.of(k), vector.of(k))) << formats[i].name;
    }
}

} // namespace
