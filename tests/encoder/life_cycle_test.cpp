// The four calls: their order, and the life of a state whatever fails.
#include <cstring>

#include <gtest/gtest.h>

#include "support/host.h"

namespace {

using namespace test;

TEST(Calls, Version) {
    // Fault: a write beyond the buffer, no terminating zero.
    char text[87];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(GetLibVersion_JPEGENC(text, 85), ENC_STATUS_ERR);
    EXPECT_EQ(GetLibVersion_JPEGENC(nullptr, 200), ENC_STATUS_ERR);
    EXPECT_EQ(text[0], '#');
    EXPECT_EQ(GetLibVersion_JPEGENC(text, 86), ENC_STATUS_OK);
    EXPECT_STREQ(text, "jpegenc_KELDAN_TAG_KELDAN_14_WW29_REV4967_Feature<odwh1-oewh0-otr1>_BUILD_"
                       "Jul  9 2014");
    EXPECT_EQ(text[86], '#');
}

TEST(Calls, OutOfOrder) {
    // Fault: a state used that set-up has not completed, released twice or leaked.
    Host host;
    const TestPicture picture(kFormats[2], 32, 16, Content::flat, 1);
    const EncoderParams_JPEG settings = params(kFormats[2]);
    const Picture_JPEG record = picture.record();
    const CallbackTable_JPEG callbacks = host.callbacks();
    uint8_t output[60]; // set-up fails in the middle of the header
    Bitstream_JPEG stream{output, sizeof output, nullptr, 0};
    EncoderState_JPEG* state = nullptr;
    EXPECT_EQ(EncoderFree_JPEG(nullptr), ENC_STATUS_OK);
    EXPECT_EQ(EncoderFree_JPEG(&state), ENC_STATUS_OK);
    EXPECT_EQ(Encode_JPEG(nullptr, &stream, nullptr), ENC_STATUS_BADARG);

    EXPECT_EQ(EncoderInitAlloc_JPEG(&settings, &record, &stream, &callbacks, &state),
              ENC_STATUS_OUTPUT_FULL);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(Encode_JPEG(nullptr, nullptr, state), ENC_STATUS_BADARG);
    EXPECT_EQ(Encode_JPEG(nullptr, &stream, state), ENC_STATUS_ERR);
    EXPECT_EQ(EncoderFree_JPEG(&state), ENC_STATUS_OK);
    EXPECT_TRUE(host.faultless());
}

std::vector<std::pair<uint32_t, uint32_t>> allocationsFor(const Format& format, int width,
                                                          int height, uint32_t mode) {
    Host host;
    const TestPicture picture(format, width, height, Content::flat, 1);
    EXPECT_EQ(host.encode(params(format, 75, 0, 1, mode), picture).status, ENC_STATUS_OK);
    EXPECT_TRUE(host.faultless());
    return host.requests;
}

TEST(Memory, IsAskedForAsPromised) {
    const auto requests = [](const Format& format, int width, int height) {
        const auto all = allocationsFor(format, width, height, ENC_MODE_BASELINE);
        EXPECT_EQ(all.size(), 2u); // the state and the working memory, whatever the size
        EXPECT_EQ(all[0].second, sizeof(void*));
        EXPECT_EQ(all[1].second, 8u);
        return all[1].first;
    };
    const Format grey = kFormats[12];
    const Format packed420 = kFormats[2];
    const Format planar422 = kFormats[10];
    EXPECT_EQ(requests(grey, 16, 8), 128u + 31 + 6835);
    EXPECT_EQ(requests(grey, 17, 8), 128u + 31 + 95 + 6835);
    EXPECT_EQ(requests(packed420, 17, 8), 799u + 799 + 6835);
    EXPECT_EQ(requests(packed420, 480, 320), 799u + 6835);
    EXPECT_EQ(requests(planar422, 33, 8), 4u * 128 + 31 + 31 + 6835);
}

TEST(Memory, OfProgressiveScans) {
    const auto grey = allocationsFor(kFormats[12], 40, 16, ENC_MODE_PROGRESSIVE); // 10 blocks
    ASSERT_EQ(grey.size(), 1u + 4 + 1);
    const uint32_t greyBytes[] = {20 + 768, 80 + 768, 1 + 768, 80 + 768};
    const auto colour = allocationsFor(kFormats[2], 40, 16, ENC_MODE_PROGRESSIVE); // 18 blocks
    ASSERT_EQ(colour.size(), 1u + 8 + 1);
    const uint32_t colourBytes[] = {36 + 768, 36 + 768, 2 + 768, 2 + 768,
                                    2 + 768,  72 + 768, 4 + 768, 4 + 768};
    for (size_t i = 0; i < 4; i++)
        EXPECT_EQ(grey[1 + i], std::pair(greyBytes[i], 32u)) << i;
    for (size_t i = 0; i < 8; i++)
        EXPECT_EQ(colour[1 + i], std::pair(colourBytes[i], 32u)) << i;
    EXPECT_EQ(grey[5].first, 128u + 31 + 1359 * 3 + 5436 + 1087 * 4);
    EXPECT_EQ(colour[9].first, 799u + 799 + 1359 * 7 + 5436 + 1087 * 8 + 2 * 256 + 287);
}

/// Runs with the n-th call of one callback failing, for every n until none fails.
template <class Expect>
void failEvery(uint32_t mode, uint32_t bufferMode, int Faults::*fault, int Host::*calls,
               Expect expect) {
    for (const Format& format : kFormats) {
        const TestPicture picture(format, 35, 37, Content::noise, 8);
        for (int n = 1;; n++) {
            Host host;
            host.outputBytes = 1200;
            host.faults.*fault = n;
            const Result result = host.encode(params(format, 95, 2, bufferMode, mode), picture);
            ASSERT_TRUE(host.faultless()) << describe(picture) << " call " << n;
            if (host.*calls < n) {
                ASSERT_EQ(result.status, ENC_STATUS_OK);
                ASSERT_GT(n, 1);
                break;
            }
            ASSERT_EQ(result.status, expect(format, n)) << describe(picture) << " call " << n;
        }
    }
}

constexpr uint32_t kModes[] = {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE};

TEST(FailingCallbacks, EveryAllocation) {
    // Fault: memory used that was refused, a leak after it.
    for (const uint32_t mode : kModes)
        failEvery(mode, ENC_BUFFER_INTEGRATED, &Faults::allocate, &Host::allocations,
                  [](const Format&, int) { return ENC_STATUS_NOMEM; });
}

TEST(FailingCallbacks, EveryGrowth) {
    // Fault: a scan buffer lost or released twice once it could not grow.
    for (const uint32_t bufferMode : {ENC_BUFFER_INTEGRATED, ENC_BUFFER_SLICE})
        failEvery(ENC_MODE_PROGRESSIVE, bufferMode, &Faults::grow, &Host::growths,
                  [](const Format&, int) { return ENC_STATUS_NOMEM; });
}

TEST(FailingCallbacks, EveryFlush) {
    // Fault: a status dropped: a stream called complete that lacks bytes.
    for (const uint32_t mode : kModes)
        failEvery(mode, ENC_BUFFER_INTEGRATED, &Faults::flush, &Host::flushes,
                  [](const Format&, int) { return ENC_STATUS_OUTPUT_FULL; });
}

TEST(FailingCallbacks, EveryRead) {
    // Fault: rows encoded that the source did not deliver.
    for (const uint32_t mode : kModes)
        failEvery(mode, ENC_BUFFER_SLICE, &Faults::read, &Host::reads,
                  [](const Format& format, int n) {
                      const int bands = (37 + 8 * format.v() - 1) / (8 * format.v());
                      const bool unexamined = format.planes() == 1 && n == bands; // the bottom
                      return unexamined ? ENC_STATUS_OK : ENC_STATUS_ERR;
                  });
}

} // namespace
