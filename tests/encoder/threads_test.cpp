// Eight encoders at once, each in a thread of its own, of the core and of the easy layer: the bytes are those of
// one alone. With ThreadSanitizer it is seen that they have nothing in common.
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/host.h"
#ifdef VELA_TEST_EASY
#include "easy/easy_picture.h"
#endif

namespace {

using namespace test;
using Bytes = std::vector<uint8_t>;

constexpr int kThreads = 8, kRounds = 12;

/// Calls encode(round) in every thread, and in this one for what it should be.
template <class Encode>
void expectTheSameInThreads(const Encode& encode) {
    std::vector<Bytes> expected;
    for (int round = 0; round < kRounds; round++)
        expected.push_back(encode(round));
    std::vector<std::thread> threads;
    std::vector<int> good(kThreads);
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; i++) {
                const int round = (i + t) % kRounds; // all at different pictures
                good[static_cast<size_t>(t)] +=
                    encode(round) == expected[static_cast<size_t>(round)] ? 1 : 0;
            }
        });
    for (std::thread& one : threads)
        one.join();
    EXPECT_EQ(good, std::vector<int>(kThreads, kRounds));
}

thread_local Bytes* taken;

Bytes encodeByCore(int round) {
    const Format& format = kFormats[static_cast<size_t>(round) % std::size(kFormats)];
    const TestPicture picture(format, 90 + round, 50, Content::noise, static_cast<uint32_t>(round));
    EncoderParams_JPEG params =
        test::params(format, 80, static_cast<uint32_t>(round % 3), ENC_BUFFER_INTEGRATED,
                     round % 2 == 0 ? ENC_MODE_BASELINE : ENC_MODE_PROGRESSIVE);
    params.flushContext = 1;
    const CallbackTable_JPEG callbacks = {
        nullptr,
        [](void** out, uint32_t size, uint32_t alignment) {
            *out = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
        },
        [](void** block) {
            std::free(*block);
            *block = nullptr;
        },
        [](void** block, uint32_t oldSize, uint32_t newSize) {
            void* const larger = std::malloc(newSize);
            std::memcpy(larger, *block, oldSize);
            std::free(*block);
            *block = larger;
            return 0;
        },
        [](uint8_t* start, uint32_t, int32_t used, uint32_t) {
            taken->insert(taken->end(), start, start + used);
            return used;
        },
        nullptr,
        nullptr};
    Bytes jpeg, output(2000);
    taken = &jpeg;
    Bitstream_JPEG stream{output.data(), static_cast<int32_t>(output.size()), nullptr, 0};
    const Picture_JPEG record = picture.record();
    EncoderState_JPEG* state = nullptr;
    if (EncoderInitAlloc_JPEG(&params, &record, &stream, &callbacks, &state) != ENC_STATUS_OK ||
        Encode_JPEG(nullptr, &stream, state) != ENC_STATUS_OK)
        jpeg.clear();
    else
        jpeg.insert(jpeg.end(), stream.start, stream.cursor);
    EncoderFree_JPEG(&state);
    return jpeg;
}

TEST(Threads, EncodersOfTheCoreHaveNothingInCommon) {
    // Fault: a table or a buffer that is static and written to.
    EXPECT_GT(encodeByCore(0).size(), 500u);
    expectTheSameInThreads(encodeByCore);
}

#ifdef VELA_TEST_EASY

TEST(Threads, EncodersOfTheEasyLayerHaveNothingInCommon) {
    // Fault: the same; a piece that one thread still writes when another reads it.
    expectTheSameInThreads([](int round) {
        VelaEncoder* const encoder = velaEncoderNew();
        EasyPicture picture(kEasyFormats[static_cast<size_t>(round)], 120, 100 + round);
        const VelaImage image = round % 2 == 0 ? picture.image() : picture.imageByRows();
        VelaOptions options;
        velaOptionsInit(&options);
        options.threads = 1 + round % 4;
        options.restartRows = 1;
        const uint8_t* jpeg = nullptr;
        size_t size = 0;
        EXPECT_EQ(velaEncodeToMemory(encoder, &image, &options, &jpeg, &size), ENC_STATUS_OK);
        Bytes bytes(jpeg, jpeg + size);
        velaEncoderDelete(encoder);
        return bytes;
    });
}

#endif

} // namespace
