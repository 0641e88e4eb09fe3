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
            const bool askedAgain = result.status != ENC_STATUS_OK && host.*calls != n;
            ASSERT_FALSE(askedAgain) << describe(picture) << " call " << n;
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

TEST(FailingCallbacks, EveryReadThatLeavesANullPointer) {
    // Fault: rows read at a null pointer.
    for (const uint32_t mode : kModes)
        failEvery(mode, ENC_BUFFER_SLICE, &Faults::nullRead, &Host::reads,
                  [](const Format&, int) { return ENC_STATUS_ERR; });
}

/// What set-up writes into so many bytes, and what its flush was given; the n-th flush takes nothing.
struct Header {
    static inline int flushes;
    static inline int failing;
    static inline std::vector<uint8_t> written;

    int32_t status;

    Header(const TestPicture& picture, uint32_t mode, int32_t bytes, int n) {
        EncoderParams_JPEG settings = params(picture.format(), 75, 1, ENC_BUFFER_INTEGRATED, mode);
        settings.flushContext = 1;
        const Picture_JPEG record = picture.record();
        Host host;
        CallbackTable_JPEG callbacks = host.callbacks();
        callbacks.flush = [](uint8_t* start, uint32_t, int32_t used, uint32_t) {
            if (++flushes == failing)
                return 0;
            written.insert(written.end(), start, start + used);
            return used;
        };
        flushes = 0;
        failing = n;
        written.clear();
        std::vector<uint8_t> output(static_cast<size_t>(bytes));
        Bitstream_JPEG stream{output.data(), bytes, nullptr, 0};
        EncoderState_JPEG* state = nullptr;
        status = EncoderInitAlloc_JPEG(&settings, &record, &stream, &callbacks, &state);
        EncoderFree_JPEG(&state);
        written.insert(written.end(), stream.start, stream.cursor);
    }
};

TEST(FailingCallbacks, EveryWriterOfTheHeader) {
    // Fault: a segment's status dropped, so that the header goes on without it.
    for (const uint32_t mode : kModes) {
        for (const Format& format : {kFormats[2], kFormats[12]}) {
            const TestPicture picture(format, 16, 16, Content::flat, 1);
            ASSERT_EQ(Header(picture, mode, 2000, 0).status, ENC_STATUS_OK);
            const std::vector<uint8_t> whole = Header::written;
            const int32_t largest = mode == ENC_MODE_BASELINE ? 183 : 69; // an AC table, a DQT
            for (int32_t bytes = 1; bytes <= static_cast<int32_t>(whole.size()); bytes++) {
                for (int n = 1;; n++) {
                    const int32_t status = Header(picture, mode, bytes, n).status;
                    const bool failed = Header::flushes >= n || bytes < largest;
                    ASSERT_EQ(status, failed ? ENC_STATUS_OUTPUT_FULL : ENC_STATUS_OK) << bytes;
                    const bool prefix =
                        std::equal(Header::written.begin(), Header::written.end(), whole.begin());
                    ASSERT_TRUE(prefix || bytes < largest) << bytes; // else flushed in vain
                    if (Header::flushes < n)
                        break;
                }
            }
        }
    }
}

TEST(FailingCallbacks, EveryFlushWhereverTheBufferEnds) {
    // Fault: the status of a restart marker, table, scan header or EOI dropped that a full buffer refuses.
    const TestPicture large(kFormats[11], 32, 16, Content::extremes, 7);
    const TestPicture small(kFormats[11], 32, 16, Content::smooth, 7); // no long correction records
    for (const uint32_t mode : kModes) {
        const TestPicture& picture = mode == ENC_MODE_BASELINE ? large : small;
        const EncoderParams_JPEG settings =
            params(picture.format(), 100, 1, ENC_BUFFER_INTEGRATED, mode);
        const int32_t least = mode == ENC_MODE_BASELINE ? 768 : 140;
        for (int32_t bytes = least; bytes < least + 300; bytes++) {
            for (int n = 1;; n++) {
                Host host;
                host.outputBytes = bytes;
                host.faults.flush = n;
                const int32_t status = host.encode(settings, picture).status;
                if (host.flushes < n) {
                    ASSERT_EQ(status, ENC_STATUS_OK) << bytes;
                    break;
                }
                ASSERT_EQ(status, ENC_STATUS_OUTPUT_FULL) << bytes << " bytes, flush " << n;
                ASSERT_EQ(host.flushes, n) << bytes; // not once more
            }
        }
    }
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
