// Fuzzes a whole encoding: any records through set-up; pictures of any format, size and layout
// through both buffer modes, with odd flush answers and failing callbacks. What comes out must
// decode.
#include <cstdlib>

#include <fuzzer/FuzzedDataProvider.h>

#include "support/host.h"
#include "support/jpeg_reader.h"
#include "support/strict_decoder.h"

namespace {

using namespace test;

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// Records of arbitrary words; set-up reads no pixel, so planes need not exist.
void fuzzSetUp(FuzzedDataProvider& data) {
    const auto word = [&data] {
        return data.ConsumeBool() ? data.ConsumeIntegralInRange<uint32_t>(0, 16)
                                  : data.ConsumeIntegral<uint32_t>();
    };
    const auto number = [&word] { return static_cast<int32_t>(word()); };
    uint8_t output[2048];
    EncoderParams_JPEG params{word(), word(), word(), word(), word(), 0, word()};
    Picture_JPEG picture{{output, output, output},
                         {},
                         number() & 0xFFF,
                         number(),
                         {number(), number(), number()},
                         {},
                         number(),
                         number(),
                         word()};
    Bitstream_JPEG stream{output, data.ConsumeIntegralInRange<int32_t>(-1, sizeof output), nullptr,
                          0};
    Host host;
    host.faults.allocate = data.ConsumeIntegralInRange(0, 12);
    const CallbackTable_JPEG callbacks = host.callbacks();
    EncoderState_JPEG* state = nullptr;
    const int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &state);
    require(status <= 0);
    require(status != ENC_STATUS_OK || stream.cursor > stream.start);
    EncoderFree_JPEG(&state);
    require(state == nullptr && host.faultless());
}

void fuzzEncoding(FuzzedDataProvider& data) {
    const Format format = data.PickValueInArray(kFormats);
    const TestPicture picture(
        format, data.ConsumeIntegralInRange(1, 70), data.ConsumeIntegralInRange(1, 70),
        data.PickValueInArray({Content::noise, Content::smooth, Content::flat, Content::extremes}),
        data.ConsumeIntegral<uint8_t>(), data.ConsumeIntegralInRange(0, 40),
        format.planes() == 1 && data.ConsumeBool());
    const EncoderParams_JPEG settings = params(
        format, data.ConsumeIntegralInRange<uint32_t>(0, 100),
        data.ConsumeIntegralInRange<uint32_t>(0, 30), data.ConsumeIntegralInRange<uint32_t>(0, 1),
        data.ConsumeBool() ? ENC_MODE_BASELINE : ENC_MODE_PROGRESSIVE);

    Host host;
    host.outputBytes = data.ConsumeIntegralInRange(1, 5000);
    host.flushBehaviour = data.PickValueInArray(
        {Flush::takesAll, Flush::takesAll, Flush::takesSome, Flush::negative, Flush::tooMuch});
    host.readBehaviour = static_cast<test::Read>(data.ConsumeIntegralInRange(0, 2));
    host.faults = {data.ConsumeIntegralInRange(0, 20), data.ConsumeIntegralInRange(0, 20),
                   data.ConsumeIntegralInRange(0, 20), data.ConsumeIntegralInRange(0, 20)};
    const Result result = host.encode(settings, picture);
    require(host.faultless() && result.status <= 0);
    if (result.status == ENC_STATUS_OK) {
        const DecodedJpeg decoded = readCoefficients(result.jpeg);
        require(decoded.error.empty() && decoded.width == picture.width() &&
                decoded.height == picture.height());
        require(decodeStrictly(result.jpeg) == decoded);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    FuzzedDataProvider data(bytes, size);
    if (data.ConsumeBool())
        fuzzSetUp(data);
    else
        fuzzEncoding(data);
    return 0;
}
