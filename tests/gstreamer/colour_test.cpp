// Colours as others see them: frames that GStreamer's videoconvert has made, streams that its jpegdec reads.
#include <gtest/gtest.h>

#include <cmath>

#include "gstreamer/pipeline.h"

namespace {

using namespace test;

constexpr int kWidth = 128, kHeight = 64;

/// White, black and grey patches, then the colours, then a ramp of all of them: RGB.
Bytes colourChart() {
    constexpr uint8_t patches[8][3] = {{255, 255, 255}, {0, 0, 0},     {128, 128, 128},
                                       {220, 30, 30},   {30, 200, 40}, {40, 60, 220},
                                       {230, 210, 40},  {40, 200, 210}};
    Bytes rgb;
    for (int y = 0; y < kHeight; y++)
        for (int x = 0; x < kWidth; x++)
            for (int c = 0; c < 3; c++)
                rgb.push_back(y < kHeight / 2 ? patches[x / 16][c]
                                              : uint8_t(c == 0   ? 2 * x
                                                        : c == 1 ? 255 - 2 * x
                                                                 : 128 + x / 2));
    return rgb;
}

/// The chart by way of format and encoder, as RGB again.
Bytes through(const std::string& format, const std::string& encoder) {
    Pipeline pipeline("appsrc name=in format=time caps=\"" + rawCaps("RGB", kWidth, kHeight) +
                      "\" ! videoconvert dither=none ! video/x-raw," + format + " ! " + encoder +
                      " ! jpegdec idct-method=islow ! videoconvert dither=none ! "
                      "video/x-raw,format=RGB ! appsink name=out sync=false");
    const Bytes chart = colourChart();
    pipeline.feed(gst_buffer_new_memdup(chart.data(), chart.size()));
    pipeline.endFeed();
    return pipeline.next();
}

/// Of the middle of a patch of the chart.
const uint8_t* patch(const Bytes& rgb, int number) {
    return &rgb[size_t(3 * (kWidth * (kHeight / 4) + 16 * number + 8))];
}

double psnr(const Bytes& a, const Bytes& b) {
    double squares = 0;
    for (size_t i = 0; i < a.size(); i++)
        squares += (a[i] - b[i]) * (a[i] - b[i]);
    return 10 * std::log10(255.0 * 255.0 * double(a.size()) / squares);
}

// The order of bytes and bits of every format is GStreamer's own; only what a format cannot hold is lost.
TEST(GStreamerColour, IsThatOfEveryFormat) {
    const Bytes chart = colourChart();
    for (const FormatPair& format : kFormatPairs) {
        SCOPED_TRACE(format.name);
        const Bytes rgb = through(std::string("format=") + format.name, "velajpegenc quality=98");
        ASSERT_EQ(rgb.size(), chart.size());
        for (int number = 0; number < 8; number++)
            for (int c = 0; c < 3; c++) {
                const uint8_t* const wanted = patch(chart, number);
                const double grey = 0.299 * wanted[0] + 0.587 * wanted[1] + 0.114 * wanted[2];
                const bool isGrey = format.ours == VELA_FORMAT_GRAY8;
                const bool is16 =
                    format.ours == VELA_FORMAT_RGB565 || format.ours == VELA_FORMAT_RGB555;
                EXPECT_NEAR(patch(rgb, number)[c], isGrey ? grey : wanted[c], is16 ? 9 : 4)
                    << "patch " << number << ", channel " << c;
            }
    }
}

TEST(GStreamerColour, KeepsWhiteBlackAndColoursOfEveryRangeAndMatrix) {
    const Bytes chart = colourChart();
    for (const char* format : {"NV12", "I420", "Y42B", "YUY2", "Y444"})
        for (const char* colorimetry : {"bt601", "bt709", "1:4:0:0", "1:3:5:1"}) {
            SCOPED_TRACE(testing::Message() << format << " " << colorimetry);
            const Bytes rgb =
                through(std::string("format=") + format + ",colorimetry=" + colorimetry,
                        "velajpegenc quality=98");
            ASSERT_EQ(rgb.size(), chart.size());
            EXPECT_GT(psnr(rgb, chart), 40); // another range or matrix: below 30
            // The usual way to have such frames right: by way of RGB.
            const Bytes usual =
                through(std::string("format=") + format + ",colorimetry=" + colorimetry,
                        "videoconvert dither=none ! video/x-raw,format=RGB ! "
                        "jpegenc quality=98 idct-method=islow");
            ASSERT_EQ(usual.size(), chart.size());
            for (int number = 0; number < 8; number++)
                for (int c = 0; c < 3; c++) {
                    EXPECT_NEAR(patch(rgb, number)[c], patch(chart, number)[c], 4)
                        << "patch " << number << ", channel " << c;
                    EXPECT_NEAR(patch(rgb, number)[c], patch(usual, number)[c], 4)
                        << "patch " << number << ", channel " << c;
                }
        }
}

// Matrices that the easy layer does not have are taken as the nearer of its two: greys stay exact.
TEST(GStreamerColour, KeepsGreysOfOtherMatrices) {
    const Bytes chart = colourChart();
    for (const char* colorimetry : {"smpte240m", "bt2020", "2:2:1:1"}) { // the last is FCC's
        SCOPED_TRACE(colorimetry);
        const Bytes rgb = through(std::string("format=NV12,colorimetry=") + colorimetry,
                                  "velajpegenc quality=98");
        ASSERT_EQ(rgb.size(), chart.size());
        for (int number = 0; number < 3; number++)
            for (int c = 0; c < 3; c++)
                EXPECT_NEAR(patch(rgb, number)[c], patch(chart, number)[c], 3) << number;
        for (int number = 3; number < 8; number++)
            for (int c = 0; c < 3; c++)
                EXPECT_NEAR(patch(rgb, number)[c], patch(chart, number)[c], 40) << number;
    }
}

TEST(GStreamerColour, ConvertsLimitedGrey) {
    const FormatPair grey = {"GRAY8", VELA_FORMAT_GRAY8};
    const Frame frame(grey, 64, 48);
    for (const auto& [colorimetry, range] :
         {std::pair("1:4:0:0", VELA_RANGE_FULL), {"2:4:0:0", VELA_RANGE_LIMITED}}) {
        Element element;
        element.setCaps(rawCaps("GRAY8", 64, 48, std::string(",colorimetry=") + colorimetry));
        VelaImage image = frame.image();
        image.range = range;
        EXPECT_TRUE(element.encode(frame) == easyStream(image)) << colorimetry;
    }
}

} // namespace
