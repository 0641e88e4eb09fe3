// Whole streams of both processes: decoded by libjpeg, against the textbook, and the same bytes
// however the work is cut.
#include <algorithm>

#include <gtest/gtest.h>

#include "support/differences.h"
#include "support/host.h"
#include "support/jpeg_check.h"
#include "support/samples.h"
#include "support/textbook.h"
#include "support/walk_coefficients.h"

namespace {

using namespace test;

/// What was read is exactly what the encoder has put there.
void expectOurs(const DecodedJpeg& decoded, const EncoderParams_JPEG& params,
                const TestPicture& picture) {
    ASSERT_EQ(decoded.width, picture.width());
    ASSERT_EQ(decoded.height, picture.height());
    ASSERT_EQ(decoded.progressive, params.mode == ENC_MODE_PROGRESSIVE);
    ASSERT_EQ(decoded.restartInterval, params.restartInterval);
    const std::vector<Component> ours = codedCoefficients(params, picture);
    ASSERT_EQ(decoded.components.size(), ours.size());
    for (size_t k = 0; k < ours.size(); k++) {
        ASSERT_EQ(decoded.components[k].h, ours[k].h);
        ASSERT_EQ(decoded.components[k].v, ours[k].v);
        ASSERT_EQ(decoded.components[k].quantizers, ours[k].quantizers);
        ASSERT_TRUE(sameBlocks(flat(ours[k].blocks), flat(decoded.components[k].blocks)))
            << describe(picture) << " component " << k;
    }
}

void expectDecodes(const std::vector<uint8_t>& jpeg, const EncoderParams_JPEG& params,
                   const TestPicture& picture) {
    expectReads(jpeg, describe(picture),
                [&](const DecodedJpeg& decoded) { expectOurs(decoded, params, picture); });
}

std::vector<uint8_t> encodeSlice(EncoderParams_JPEG params, const TestPicture& picture,
                                 Read read = Read::copies) {
    Host host;
    host.readBehaviour = read;
    params.bufferMode = ENC_BUFFER_SLICE;
    const Result result = host.encode(params, picture);
    EXPECT_EQ(result.status, ENC_STATUS_OK) << describe(picture);
    EXPECT_TRUE(host.faultless()) << describe(picture);
    return result.jpeg;
}

/// RST markers of the scan, in order.
std::vector<int> restartMarkers(const std::vector<uint8_t>& jpeg) {
    std::vector<int> markers;
    for (size_t i = 1; i < jpeg.size(); i++)
        if (jpeg[i - 1] == 0xFF && jpeg[i] >= 0xD0 && jpeg[i] <= 0xD7)
            markers.push_back(jpeg[i] - 0xD0);
    return markers;
}

constexpr Read kReads[] = {Read::copies, Read::points, Read::byTurns};
constexpr uint32_t kModes[] = {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE};

class EveryFormat : public testing::TestWithParam<Format> {};

/// Encodes both ways; restart intervals go through none, one, two, a row, two rows and more.
void expectSound(const TestPicture& picture, uint32_t mode, uint32_t seed) {
    const Format& format = picture.format();
    const auto mcusAcross =
        static_cast<uint32_t>((picture.width() + 8 * format.h() - 1) / (8 * format.h()));
    const uint32_t intervals[] = {0, 1, 2, mcusAcross, 2 * mcusAcross, 60};
    const EncoderParams_JPEG p =
        params(format, 20 + seed % 81, intervals[seed % 6], ENC_BUFFER_INTEGRATED, mode);
    const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
    ASSERT_NO_FATAL_FAILURE(expectDecodes(jpeg, p, picture));
    ASSERT_TRUE(sameBytes(jpeg, encodeSlice(p, picture, kReads[seed % 7 % 3])))
        << describe(picture);
}

TestPicture somePicture(const Format& format, int width, int height, uint32_t seed) {
    const bool bottomUp = format.planes() == 1 && seed % 2 == 1;
    return TestPicture(format, width, height, seed % 3 == 0 ? Content::smooth : Content::noise,
                       seed, static_cast<int>(seed % 5), bottomUp);
}

TEST_P(EveryFormat, EverySizeDecodesToOurCoefficientsFromBothBufferModes) {
    // Fault: a size whose edge, remainder or last interval goes wrong in either buffer mode.
    for (int height = 1; height <= 48; height++) {
        for (int width = 1; width <= 48; width++) {
            const auto seed = static_cast<uint32_t>(101 * height + width);
            const TestPicture picture = somePicture(GetParam(), width, height, seed);
            ASSERT_NO_FATAL_FAILURE(expectSound(picture, ENC_MODE_BASELINE, seed));
        }
    }
}

TEST_P(EveryFormat, EveryEdgeDecodesToOurCoefficientsInProgressiveMode) {
    // Fault: blocks outside a component's own grid coded in its AC scans, or some left out.
    const int sizes[] = {1, 5, 8, 9, 14, 16, 17, 23, 24, 25, 31, 32, 33, 40};
    for (const int height : sizes) {
        for (const int width : sizes) {
            for (uint32_t seed = 0; seed < 6; seed++) { // every restart interval
                const TestPicture picture = somePicture(GetParam(), width, height, seed);
                ASSERT_NO_FATAL_FAILURE(expectSound(picture, ENC_MODE_PROGRESSIVE, seed));
            }
        }
    }
}

TEST_P(EveryFormat, CoefficientsAreThoseOfTheTextbook) {
    // Fault: blocks or components in the wrong place: any fault that coder and decoder would share.
    for (const int height : {1, 7, 8, 9, 16, 17, 24, 33}) {
        for (const int width : {1, 2, 8, 15, 17, 25, 32, 47}) {
            const TestPicture picture(GetParam(), width, height, Content::noise,
                                      static_cast<uint32_t>(height));
            const std::vector<Component> ours = walkCoefficients(params(GetParam(), 50), picture);
            for (size_t k = 0; k < ours.size(); k++) {
                std::vector<std::array<double, 64>> textbook;
                for (int b = 0; b < static_cast<int>(ours[k].blocks.size()); b++) {
                    std::array<double, 64> samples;
                    for (int i = 0; i < 64; i++)
                        samples[static_cast<size_t>(i)] = exactSample(
                            picture, static_cast<int>(k), b % ours[k].blocksAcross * 8 + i % 8,
                            b / ours[k].blocksAcross * 8 + i / 8);
                    textbook.push_back(textbookDct(samples));
                    for (size_t i = 0; i < 64; i++)
                        textbook.back()[i] /= ours[k].quantizers[i];
                }
                ASSERT_TRUE(sameBlocks(flat(textbook), flat(ours[k].blocks), 1.5))
                    << describe(picture) << " component " << k;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Encode, EveryFormat, testing::ValuesIn(kFormats),
                         [](const auto& test) { return test.param.name; });

TEST(Encode, HeaderOfAColourStream) {
    // Fault: a segment missing, in the wrong order or with wrong contents.
    const TestPicture picture(kFormats[2], 0x123, 0x21, Content::flat, 1);
    const std::vector<uint8_t> jpeg = encodeWhole(params(kFormats[2], 75, 515), picture);
    const std::vector<uint8_t> start = {
        0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J',  'F',  'I', 'F', 0, 1, 2, 0, 0, 72, 0, 72, 0, 0,
        0xFF, 0xDD, 0,    4,    2, 3,  0xFF, 0xDB, 0,   67,  0, 8, 6, 6, 7, 6,  5, 8,  7};
    EXPECT_TRUE(std::equal(start.begin(), start.end(), jpeg.begin()));
    const std::vector<uint8_t> frameAndScan = {
        0xFF, 0xC0, 0,    17,   8, 0x00, 0x21, 0x01, 0x23, 3, 1,    0x22, 0,    2, 0x11, 1, 3,
        0x11, 1,    0xFF, 0xDA, 0, 12,   3,    1,    0,    2, 0x11, 3,    0x11, 0, 63,   0};
    EXPECT_EQ(std::search(jpeg.begin(), jpeg.end(), frameAndScan.begin(), frameAndScan.end()) -
                  jpeg.begin(),
              20 + 6 + 2 * 69 + 2 * (33 + 183));
    EXPECT_EQ(jpeg[jpeg.size() - 2], 0xFF);
    EXPECT_EQ(jpeg[jpeg.size() - 1], 0xD9);
}

TEST(Encode, RestartIntervals) {
    // Fault: a marker missing, misnumbered or left at the end; predictors or runs not reset.
    for (const Content content : {Content::flat, Content::noise}) { // flat: intervals below a byte
        for (const Format& format : {kFormats[12], kFormats[11], kFormats[0]}) {
            for (int width = 8; width <= 88; width += 8) {
                const TestPicture picture(format, width, 13, content, 4);
                const int mcus =
                    (width + 8 * format.h() - 1) / (8 * format.h()) * (format.v() == 2 ? 1 : 2);
                for (int interval = 1; interval <= mcus + 1; interval++) {
                    const EncoderParams_JPEG p =
                        params(format, 75, static_cast<uint32_t>(interval));
                    const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
                    ASSERT_NO_FATAL_FAILURE(expectDecodes(jpeg, p, picture));
                    std::vector<int> expected;
                    for (int i = 0; i < (mcus - 1) / interval; i++)
                        expected.push_back(i % 8);
                    ASSERT_EQ(restartMarkers(jpeg), expected) << describe(picture) << interval;
                }
            }
        }
    }
}

TEST(Encode, SameBytesForEveryOutputBufferAndFlushBehaviour) {
    // Fault: bytes lost, doubled or padded where the buffer is full.
    const TestPicture pictures[] = {
        TestPicture(kFormats[11], 83, 61, Content::extremes, 7), // MCUs above 768 bytes
        TestPicture(kFormats[2], 70, 50, Content::extremes, 8),
        TestPicture(kFormats[12], 90, 90, Content::smooth, 9),
    };
    for (const TestPicture& picture : pictures) {
        for (const uint32_t seed : {0u, 1u, 5u, 6u}) {
            const EncoderParams_JPEG p =
                params(picture.format(), 100, seed % 6, ENC_BUFFER_INTEGRATED, kModes[seed % 2]);
            const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
            ASSERT_NO_FATAL_FAILURE(expectDecodes(jpeg, p, picture));
            for (int32_t bytes = 768; bytes < 1800; bytes += bytes < 800 ? 1 : 37) {
                for (const Flush behaviour : {Flush::takesAll, Flush::takesSome}) {
                    Host host;
                    host.outputBytes = bytes;
                    host.flushBehaviour = behaviour;
                    host.seed = static_cast<uint32_t>(bytes);
                    const Result result = host.encode(p, picture);
                    ASSERT_TRUE(host.faultless()) << bytes;
                    if (behaviour == Flush::takesSome && result.status == ENC_STATUS_OUTPUT_FULL)
                        continue; // it took too little for a large block
                    ASSERT_EQ(result.status, ENC_STATUS_OK) << bytes;
                    ASSERT_TRUE(sameBytes(jpeg, result.jpeg)) << bytes;
                }
            }
        }
    }
}

TEST(Encode, WithoutAFlushContextTheBufferIsOverwritten) {
    // Fault: a flush without a context, a failure where the buffer just starts anew.
    const TestPicture picture(kFormats[11], 83, 61, Content::noise, 7);
    const EncoderParams_JPEG p = params(picture.format(), 90, 3);
    const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
    for (const int32_t bytes : {1000, 1 << 16}) {
        Host host;
        host.flushContextZero = true;
        host.outputBytes = bytes;
        const Result result = host.encode(p, picture);
        EXPECT_EQ(result.status, ENC_STATUS_OK);
        EXPECT_EQ(host.flushes, 0);
        ASSERT_LE(result.jpeg.size(), jpeg.size());
        EXPECT_TRUE(std::equal(result.jpeg.rbegin(), result.jpeg.rend(), jpeg.rbegin()));
        EXPECT_TRUE(bytes == 1000 || result.jpeg.size() == jpeg.size());
    }
}

TEST(Encode, LargestSizes) {
    // Fault: a size, remainder or count of MCUs that needs more bits than it has.
    const std::pair<int, int> sizes[] = {{65535, 1}, {1, 65535}, {65535, 9}, {20, 65535}};
    for (const auto& [width, height] : sizes) {
        for (const Format& format : {kFormats[2], kFormats[11], kFormats[12]}) {
            for (const uint32_t mode : kModes) {
                const TestPicture picture(format, width, height, Content::smooth, 1);
                const EncoderParams_JPEG p = params(format, 75, 65535, ENC_BUFFER_INTEGRATED, mode);
                const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
                ASSERT_NO_FATAL_FAILURE(expectDecodes(jpeg, p, picture));
                ASSERT_TRUE(sameBytes(jpeg, encodeSlice(p, picture))) << describe(picture);
            }
        }
    }
}

TEST(Encode, RunsOfBlocksBeyondTheLongest) {
    // Fault: an EOB run of more than 32767 blocks, for which there is no code. 183 x 182 blocks of nothing.
    const TestPicture picture(kFormats[12], 8 * 183, 8 * 182, Content::flat, 1);
    for (const uint32_t restart : {0u, 32767u, 32768u}) {
        const EncoderParams_JPEG p =
            params(picture.format(), 75, restart, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE);
        expectDecodes(encodeWhole(p, picture), p, picture);
    }
}

TEST(Encode, SourceCallbacksPerMcuRow) {
    // Fault: reads and seeks other than those promised.
    const auto counts = [](const Format& format, bool bottomUp) {
        Host host;
        const TestPicture picture(format, 20, 48, Content::noise, 1, 0, bottomUp);
        EXPECT_EQ(host.encode(params(format, 75, 0, ENC_BUFFER_SLICE), picture).status, 0);
        return std::pair(host.reads, host.seeks);
    };
    EXPECT_EQ(counts(kFormats[2], false), std::pair(3, 0));
    EXPECT_EQ(counts(kFormats[2], true), std::pair(3, 1 + 2 * 3));
    EXPECT_EQ(counts(kFormats[11], false), std::pair(9, 9));
    EXPECT_EQ(counts(kFormats[13], false), std::pair(6, 6));
}

} // namespace
