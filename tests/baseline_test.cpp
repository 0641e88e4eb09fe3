// Baseline streams, end to end: decoded by libjpeg, against the textbook, and the same bytes
// however the work is cut.
#include <algorithm>

#include <gtest/gtest.h>

#include "stream/output_stream.h"
#include "support/host.h"
#include "support/jpeg_reader.h"
#include "support/samples.h"
#include "support/textbook.h"
#include "support/walk_coefficients.h"
#include "tables/block_coder.h"
#include "tables/default_tables.h"

namespace {

using namespace test;

/// libjpeg reads in the stream exactly what the encoder has put there.
void expectDecodes(const std::vector<uint8_t>& jpeg, const EncoderParams_JPEG& params,
                   const TestPicture& picture) {
    const DecodedJpeg decoded = readCoefficients(jpeg);
    ASSERT_EQ(decoded.error, "") << describe(picture);
    ASSERT_EQ(decoded.width, picture.width());
    ASSERT_EQ(decoded.height, picture.height());
    ASSERT_FALSE(decoded.progressive);
    ASSERT_EQ(decoded.restartInterval, params.restartInterval);
    const std::vector<Component> ours = walkCoefficients(params, picture);
    ASSERT_EQ(decoded.components.size(), ours.size());
    for (size_t k = 0; k < ours.size(); k++) {
        ASSERT_EQ(decoded.components[k].h, ours[k].h);
        ASSERT_EQ(decoded.components[k].v, ours[k].v);
        ASSERT_EQ(decoded.components[k].quantizers, ours[k].quantizers);
        ASSERT_EQ(decoded.components[k].blocks, ours[k].blocks) << describe(picture);
    }
}

std::vector<uint8_t> encodeSlice(EncoderParams_JPEG params, const TestPicture& picture,
                                 bool pointsIntoSource = false) {
    Host host;
    host.readPointsIntoSource = pointsIntoSource;
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

class EveryFormat : public testing::TestWithParam<Format> {};

TEST_P(EveryFormat, EverySizeDecodesToOurCoefficientsFromBothBufferModes) {
    for (int height = 1; height <= 48; height++) {
        for (int width = 1; width <= 48; width++) {
            const auto seed = static_cast<uint32_t>(100 * height + width);
            const bool bottomUp = GetParam().planes() == 1 && seed % 2 == 1;
            const TestPicture picture(GetParam(), width, height,
                                      seed % 3 == 0 ? Content::smooth : Content::noise, seed,
                                      static_cast<int>(seed % 5), bottomUp);
            const EncoderParams_JPEG p = params(GetParam(), 20 + seed % 80, seed % 4);
            const std::vector<uint8_t> jpeg = encodeWhole(p, picture);
            ASSERT_NO_FATAL_FAILURE(expectDecodes(jpeg, p, picture));
            ASSERT_EQ(encodeSlice(p, picture, seed % 7 < 3), jpeg) << describe(picture);
        }
    }
}

TEST_P(EveryFormat, CoefficientsAreThoseOfTheTextbook) {
    for (const int height : {1, 7, 8, 9, 16, 17, 24, 33}) {
        for (const int width : {1, 2, 8, 15, 17, 25, 32, 47}) {
            const TestPicture picture(GetParam(), width, height, Content::noise,
                                      static_cast<uint32_t>(height));
            const std::vector<Component> ours = walkCoefficients(params(GetParam(), 50), picture);
            for (size_t k = 0; k < ours.size(); k++) {
                for (int b = 0; b < static_cast<int>(ours[k].blocks.size()); b++) {
                    std::array<double, 64> samples;
                    for (int i = 0; i < 64; i++)
                        samples[static_cast<size_t>(i)] = exactSample(
                            picture, static_cast<int>(k), b % ours[k].blocksAcross * 8 + i % 8,
                            b / ours[k].blocksAcross * 8 + i / 8);
                    const std::array<double, 64> exact = textbookDct(samples);
                    for (size_t i = 0; i < 64; i++)
                        ASSERT_NEAR(ours[k].blocks[static_cast<size_t>(b)][i],
                                    exact[i] / ours[k].quantizers[i], 1.5)
                            << describe(picture) << " component " << k << " block " << b;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Baseline, EveryFormat, testing::ValuesIn(kFormats),
                         [](const auto& test) { return test.param.name; });

TEST(Baseline, HeaderOfAColourStream) {
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

TEST(Baseline, RestartIntervals) {
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

TEST(Baseline, SameBytesForEveryOutputBufferAndFlushBehaviour) {
    const TestPicture pictures[] = {
        TestPicture(kFormats[11], 83, 61, Content::noise, 7), // an MCU of up to 790 bytes
        TestPicture(kFormats[2], 70, 50, Content::extremes, 8),
        TestPicture(kFormats[12], 90, 90, Content::smooth, 9),
    };
    for (const TestPicture& picture : pictures) {
        for (const uint32_t interval : {0u, 1u, 5u}) {
            const EncoderParams_JPEG p = params(picture.format(), 100, interval);
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
                    ASSERT_EQ(result.jpeg, jpeg) << bytes;
                }
            }
        }
    }
}

TEST(Baseline, OutputThatFlushDoesNotTake) {
    const TestPicture picture(kFormats[11], 83, 61, Content::noise, 7);
    for (const Flush behaviour : {Flush::takesNothing, Flush::negative, Flush::tooMuch}) {
        for (const int32_t bytes : {1, 700, 767, 768, 2000}) {
            Host host;
            host.outputBytes = bytes;
            host.flushBehaviour = behaviour;
            EXPECT_EQ(host.encode(params(picture.format(), 100), picture).status,
                      ENC_STATUS_OUTPUT_FULL);
            EXPECT_TRUE(host.faultless());
        }
    }
    Host small; // no amount of flushing makes 768 bytes of room in less
    small.outputBytes = 767;
    EXPECT_EQ(small.encode(params(picture.format()), picture).status, ENC_STATUS_OUTPUT_FULL);
}

TEST(Baseline, WithoutAFlushContextTheBufferIsOverwritten) {
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

TEST(Baseline, SourceCallbacksPerMcuRow) {
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

// ------------------------------------------------------------------------- the block coder itself

struct CodedBlock {
    std::string bits; // without stuffing
    size_t stuffed = 0;
    int16_t predictor;
};

/// A block given as (zigzag index, value) pairs, coded with the luminance tables.
CodedBlock codeBlock(const std::vector<std::pair<int, int>>& coefficients, int16_t predictor = 0) {
    int16_t block[64] = {};
    for (const auto& [k, value] : coefficients)
        block[_ntIZigZagIndex[k]] = static_cast<int16_t>(value);
    EncodeHuffmanSpec dc{};
    std::copy(vela::DCLunmaTable.begin(), vela::DCLunmaTable.end(), dc.entry);
    Guarded memory(vela::kMaxBlockBytes);
    const uint8_t* const bytes = memory.data();
    int32_t position = 0;
    vela::veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, memory.data(), &position, &predictor,
                                                    &dc, &vela::ACLunmaTable);
    CodedBlock coded{"", 0, predictor};
    for (int32_t i = 0; i < position; i++) {
        if (i >= 8 && i % 8 == 0 && bytes[i / 8 - 1] == 0xFF) {
            EXPECT_EQ(bytes[i / 8], 0);
            coded.stuffed++;
            i += 7;
        } else {
            coded.bits += ((bytes[i / 8] >> (7 - i % 8)) & 1) != 0 ? '1' : '0';
        }
    }
    EXPECT_TRUE(memory.intact());
    return coded;
}

TEST(BlockCoder, CodesOfTheStandard) {
    const std::string eob = "1010";
    const std::string zrl = "11111111001";
    EXPECT_EQ(codeBlock({{0, 5}}).bits, "100101" + eob);
    EXPECT_EQ(codeBlock({{0, 5}}).predictor, 5);
    EXPECT_EQ(codeBlock({{0, 5}}, 5).bits, "00" + eob);
    EXPECT_EQ(codeBlock({{0, 4}}, 5).bits, "0100" + eob); // -1
    EXPECT_EQ(codeBlock({{0, 6}}, 5).bits, "0101" + eob);
    EXPECT_EQ(codeBlock({{0, -1024}}, 1023).bits, "11111111000000000000" + eob); // -2047
    EXPECT_EQ(codeBlock({{1, -3}}).bits, "000100" + eob);
    EXPECT_EQ(codeBlock({{17, 1}}).bits, "00" + zrl + "001" + eob); // 16 zeros, then run 0
    EXPECT_EQ(codeBlock({{63, 1}}).bits, // run 14 behind 48 zeros, and no EOB
              "00" + zrl + zrl + zrl + "11111111111010111");
}

TEST(BlockCoder, StaysWithinItsBoundAndStuffs) {
    std::vector<std::pair<int, int>> all = {{0, -1024}};
    for (int k = 1; k < 64; k++)
        all.emplace_back(k, 1023); // all magnitude bits 1, the longest codes
    const CodedBlock coded = codeBlock(all, 1023);
    EXPECT_EQ(coded.bits.size(), 20u + 63 * 26);
    EXPECT_GT(coded.stuffed, 50u);
}

} // namespace
