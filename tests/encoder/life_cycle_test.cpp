// The calls beside encoding: the version, and the order in which they may come.
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

} // namespace
