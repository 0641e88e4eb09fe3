// What a host with memory of a fixed size relies on: how often the encoder asks for memory, for how much,
// and how much longer a scan buffer is each time.
#include <gtest/gtest.h>

#include "support/host.h"
#include "vela/primitives.h"

namespace {

using namespace test;

struct Promise {
    const char* name;
    Format format;
    int width, height;
    uint32_t mode;
    std::vector<uint32_t> bytes; // asked for after the state itself
};

TEST(MemoryContract, WhatIsAskedForAndHowItGrows) {
    // Fault: more memory than promised, or less room than 768 bytes in a scan buffer before an MCU.
    const Format packed420 = kFormats[2], planar422 = kFormats[10], grey = kFormats[12];
    const Promise promises[] = {
        {"whole MCUs", packed420, 480, 320, ENC_MODE_BASELINE, {7634}},
        {"a partial MCU", packed420, 17, 8, ENC_MODE_BASELINE, {8433}},
        {"the size does not count", packed420, 1937, 400, ENC_MODE_BASELINE, {8433}},
        {"partial MCUs of planes", planar422, 33, 8, ENC_MODE_BASELINE, {7409}},
        {"grey", grey, 16, 8, ENC_MODE_BASELINE, {6994}},
        {"grey, 10 blocks", grey, 40, 16, ENC_MODE_PROGRESSIVE, {788, 848, 769, 848, 14020}},
        {"18 blocks",
         packed420,
         40,
         16,
         ENC_MODE_PROGRESSIVE,
         {804, 804, 770, 770, 770, 840, 772, 772, 26042}},
    };
    for (const Promise& p : promises) {
        const TestPicture picture(p.format, p.width, p.height, Content::noise, 1);
        Host host;
        const EncoderParams_JPEG settings = params(p.format, 95, 0, ENC_BUFFER_INTEGRATED, p.mode);
        EXPECT_EQ(host.encode(settings, picture).status, ENC_STATUS_OK) << p.name;
        ASSERT_EQ(host.requests.size(), 1 + p.bytes.size()) << p.name;
        EXPECT_EQ(host.requests[0].second, sizeof(void*)) << p.name;
        std::vector<int64_t> sizes = {0};
        for (size_t i = 1; i < host.requests.size(); i++) { // scan buffers, then the working memory
            const bool scan = i < p.bytes.size();
            EXPECT_EQ(host.requests[i], std::pair(p.bytes[i - 1], scan ? 32u : 8u)) << p.name;
            sizes.push_back(host.requests[i].first);
        }
        for (const Call& call : host.calls) {
            if (call.kind != Call::grow)
                continue;
            const auto i = static_cast<size_t>(call.amount); // from 1: the state is block 0
            const bool large = i <= 2 || i == (p.format.components() == 1 ? 4 : 6);
            EXPECT_EQ(call.second - sizes[i], large ? 4096 : 1024) << p.name << " buffer " << i;
            sizes[i] = call.second;
        }
        EXPECT_EQ(host.growths > 0, p.mode == ENC_MODE_PROGRESSIVE) << p.name;
    }

    const std::pair<int32_t (*)(int32_t*), int32_t> sizes[] = {
        {veliEncodeHuffmanSpecGetBufSize_JPEGENC_8u, 1024},
        {veliEncodeHuffmanStateGetBufSize_JPEGENC_8u, 1328},
        {veliDecodeHuffmanSpecGetBufSize_JPEGENC_8u, 1644},
        {veliDecodeHuffmanStateGetBufSize_JPEG_8u, 12},
    };
    for (const auto& [ask, expected] : sizes) {
        int32_t size = 0;
        EXPECT_EQ(ask(&size), ENC_STATUS_OK);
        EXPECT_EQ(size, expected);
    }
    uint32_t words[5] = {9, 9, 9, 9, 9};
    veliDecodeHuffmanStateInit_JPEG_8u(words); // three of them
    EXPECT_EQ(words[2] + words[3], 9u);
    veliEncodeHuffmanStateInit_JPEGENC_8u(words); // four
    EXPECT_EQ(words[3] + words[4], 9u);
}

} // namespace
