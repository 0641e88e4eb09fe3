// The parameter check.
#include <functional>

#include <gtest/gtest.h>

#include "encoder/frame_setup.h"
#include "encoder/routine_choice.h"
#include "support/host.h"

namespace {

using namespace test;

struct Records {
    uint8_t memory[4096] = {};
    EncoderParams_JPEG params{75, 0, 1, 3, 1, 1, 0};
    Picture_JPEG picture{};
    Bitstream_JPEG stream{memory, sizeof memory, memory + 5, 3};
    CallbackTable_JPEG callbacks;

    explicit Records(const Host& host) : callbacks(host.callbacks()) { setFormat(0, 1, 3); }

    void setFormat(uint32_t code, int32_t planes, int32_t components, int32_t step = 96) {
        picture = {{memory, memory + 1024, memory + 1536},
                   {},
                   32,
                   16,
                   {step, step, step},
                   {},
                   planes,
                   components,
                   code};
    }
    void slice() {
        params.bufferMode = ENC_BUFFER_SLICE;
        params.sourceHandle = 1;
    }
};

/// Status of EncoderInitAlloc_JPEG after a change to good records; releases whatever came of it.
int32_t initAfter(const std::function<void(Records&)>& change) {
    Host host;
    Records records(host);
    change(records);
    auto* state = reinterpret_cast<EncoderState_JPEG*>(&records);
    const int32_t status = EncoderInitAlloc_JPEG(&records.params, &records.picture, &records.stream,
                                                 &records.callbacks, &state);
    if (status == ENC_STATUS_BADARG || status == ENC_STATUS_NOTSUPPORTED) { // nothing was touched
        EXPECT_EQ(state, nullptr);
        EXPECT_EQ(records.stream.cursor,
                  records.stream.start == nullptr ? records.memory + 5 : records.stream.start + 5);
        EXPECT_EQ(records.stream.bitCount, 3u);
        EXPECT_EQ(host.allocations, 0);
    }
    EXPECT_EQ(EncoderFree_JPEG(&state), ENC_STATUS_OK);
    EXPECT_EQ(state, nullptr);
    EXPECT_TRUE(host.faultless());
    return status;
}

struct Case {
    const char* what;
    int32_t expected;
    std::function<void(Records&)> change;
};

void expectAll(std::initializer_list<Case> cases) {
    for (const Case& c : cases)
        EXPECT_EQ(initAfter(c.change), c.expected) << c.what;
}

constexpr int32_t kOk = ENC_STATUS_OK;
constexpr int32_t kBadArg = ENC_STATUS_BADARG;
constexpr int32_t kNotSupported = ENC_STATUS_NOTSUPPORTED;

TEST(ParameterCheck, Settings) {
    // Fault: a setting refused with another status, or let through.
    expectAll({
        {"nothing", kOk, [](Records&) {}},
        {"quality 100", kOk, [](Records& r) { r.params.quality = 100; }},
        {"quality 101", kBadArg, [](Records& r) { r.params.quality = 101; }},
        {"quality -1", kBadArg, [](Records& r) { r.params.quality = 0xFFFFFFFF; }},
        {"restart 65535", kOk, [](Records& r) { r.params.restartInterval = 65535; }},
        {"restart 65536", kBadArg, [](Records& r) { r.params.restartInterval = 65536; }},
        {"subsampling 2", kNotSupported, [](Records& r) { r.params.subsampling = 2; }},
        {"subsampling 2 before mode", kNotSupported,
         [](Records& r) { r.params.subsampling = 2, r.params.bufferMode = 2; }},
        {"mode 2", kNotSupported, [](Records& r) { r.params.mode = 2; }},
        {"quality before mode", kBadArg,
         [](Records& r) { r.params.mode = 0, r.params.quality = 101; }},
        {"buffer mode 2", kBadArg, [](Records& r) { r.params.bufferMode = 2; }},
        {"no source handle", kBadArg, [](Records& r) { r.params.bufferMode = 0; }},
        {"a source handle", kOk, [](Records& r) { r.slice(); }},
        {"no flush context", kOk, [](Records& r) { r.params.flushContext = 0; }},
    });
}

TEST(ParameterCheck, PictureAlone) {
    // Fault: a picture that the stream cannot hold, or a plane that is not there.
    expectAll({
        {"height 0", kBadArg, [](Records& r) { r.picture.height = 0; }},
        {"width -1", kBadArg, [](Records& r) { r.picture.width = -1; }},
        {"width 0 before format", kBadArg,
         [](Records& r) { r.setFormat(10, 3, 3), r.picture.width = 0; }},
        {"height 65535", kOk, [](Records& r) { r.picture.height = 65535; }},
        {"height 65536", kBadArg, [](Records& r) { r.picture.height = 65536; }},
        {"width 65536", kBadArg, [](Records& r) { r.picture.width = 65536; }},
        {"0 planes", kNotSupported, [](Records& r) { r.picture.planeCount = 0; }},
        {"4 planes", kNotSupported, [](Records& r) { r.picture.planeCount = 4; }},
        {"2 components", kNotSupported, [](Records& r) { r.picture.componentCount = 2; }},
        {"2 planes of packed pixels", kBadArg, [](Records& r) { r.picture.planeCount = 2; }},
        {"no plane", kBadArg, [](Records& r) { r.picture.plane[0] = nullptr; }},
        {"step 0", kBadArg, [](Records& r) { r.picture.step[0] = 0; }},
        {"bottom-up", kOk, [](Records& r) { r.picture.step[0] = -96; }},
        {"format 10", kNotSupported, [](Records& r) { r.setFormat(10, 3, 3); }},
        {"format 15", kNotSupported, [](Records& r) { r.setFormat(15, 1, 3); }},
        {"format 0xFFFFFFFF", kNotSupported, [](Records& r) { r.setFormat(0xFFFFFFFF, 1, 3); }},
        {"planes before format", kBadArg,
         [](Records& r) { r.setFormat(10, 3, 3), r.picture.step[2] = 0; }},
        {"planar, one plane", kBadArg, [](Records& r) { r.setFormat(11, 1, 3); }},
        {"planar, bottom-up", kBadArg, [](Records& r) { r.setFormat(11, 3, 3, -96); }},
        {"planar, no Cr", kBadArg,
         [](Records& r) { r.setFormat(11, 3, 3), r.picture.plane[2] = nullptr; }},
        {"NV12, three planes", kOk, [](Records& r) { r.setFormat(13, 3, 3); }},
        {"NV12, one plane", kBadArg, [](Records& r) { r.setFormat(13, 1, 3); }},
        {"NV12, no chroma step", kBadArg,
         [](Records& r) { r.setFormat(13, 2, 3), r.picture.step[1] = 0; }},
        {"NV12, third plane not looked at", kOk,
         [](Records& r) { r.setFormat(13, 2, 3), r.picture.plane[2] = nullptr; }},
        {"grey, 3 components", kBadArg, [](Records& r) { r.setFormat(12, 1, 3); }},
        {"colour, 1 component", kBadArg, [](Records& r) { r.setFormat(13, 2, 1); }},
        {"4:2:2 planes as 4:2:0", ENC_STATUS_ERR, [](Records& r) { r.setFormat(9, 3, 3); }},
        {"NV21 as 4:4:4", ENC_STATUS_ERR,
         [](Records& r) { r.setFormat(14, 2, 3), r.params.subsampling = 0; }},
        {"grey as anything", kOk, [](Records& r) { r.setFormat(12, 1, 1); }},
    });
}

TEST(ParameterCheck, SliceSource) {
    // Fault: rows that the source does not hold, a seek beyond 32 bits.
    const auto steps = [](Records& r, int32_t y, int32_t cb, int32_t cr) {
        r.slice();
        r.picture.step[0] = y, r.picture.step[1] = cb, r.picture.step[2] = cr;
    };
    const auto planar = [steps](uint32_t code, int32_t y, int32_t cb, int32_t cr) {
        return [=](Records& r) {
            r.setFormat(code, 3, 3);
            r.params.subsampling = code == 8 ? 0 : code == 9 ? 1 : 3;
            steps(r, y, cb, cr);
        };
    };
    const auto semiPlanar = [steps](int32_t y, int32_t chroma, int32_t width = 32) {
        return [=](Records& r) {
            r.setFormat(13, 2, 3);
            r.picture.width = width;
            steps(r, y, chroma, 0);
        };
    };
    const auto sized = [steps](int32_t step, int32_t height) {
        return [=](Records& r) { steps(r, step, step, step), r.picture.height = height; };
    };
    expectAll({
        {"packed, tight rows", kOk, sized(96, 16)},
        {"packed, short rows", kBadArg, sized(95, 16)},
        {"packed, short rows bottom-up", kBadArg, sized(-95, 16)},
        {"4:4:4", kOk, planar(8, 32, 32, 32)},
        {"4:4:4, short rows", kBadArg, planar(8, 31, 31, 31)},
        {"4:4:4, other Cr rows", kBadArg, planar(8, 32, 32, 33)},
        {"4:2:2", kOk, planar(9, 34, 17, 17)},
        {"4:2:2, odd rows", kBadArg, planar(9, 33, 16, 16)},
        {"4:2:0", kOk, planar(11, 32, 16, 16)},
        {"4:2:0, whole chroma rows", kBadArg, planar(11, 32, 32, 32)},
        {"NV12", kOk, semiPlanar(32, 32)},
        {"NV12, other chroma rows", kBadArg, semiPlanar(32, 34)},
        {"NV12, an odd row's last luminance sample has no pair", kOk, semiPlanar(35, 35, 35)},
        {"NV12, a last pair outside its row", kBadArg, semiPlanar(33, 33, 33)},
        {"a band beyond 32 bits", kBadArg, sized(1 << 28, 16)},
        {"top-down, no seek at all", kOk, sized(1 << 16, 65535)},
        {"bottom-up, beyond 32 bits", kBadArg, sized(-(1 << 16), 65535)},
        {"bottom-up, just inside", kOk, sized(-(1 << 15), 65535)},
        {"the step of least value", kBadArg, sized(INT32_MIN, 1)},
        {"planes beyond 32 bits apart, one band and a part", kBadArg,
         [&](Records& r) { planar(8, 1 << 27, 1 << 27, 1 << 27)(r), r.picture.height = 9; }},
        {"planes just inside", kOk,
         [&](Records& r) { planar(8, 1 << 26, 1 << 26, 1 << 26)(r), r.picture.height = 9; }},
        {"planes beyond 32 bits apart", kBadArg,
         [&](Records& r) { planar(8, 1 << 15, 1 << 15, 1 << 15)(r), r.picture.height = 65535; }},
    });
}

TEST(ParameterCheck, NullsAndCallbacks) {
    // Fault: a null pointer that is followed, one refused that no mode needs.
    Host host;
    Records r(host);
    EncoderState_JPEG* state = nullptr;
    EXPECT_EQ(EncoderInitAlloc_JPEG(nullptr, &r.picture, &r.stream, &r.callbacks, &state), kBadArg);
    EXPECT_EQ(EncoderInitAlloc_JPEG(&r.params, nullptr, &r.stream, &r.callbacks, &state), kBadArg);
    EXPECT_EQ(EncoderInitAlloc_JPEG(&r.params, &r.picture, nullptr, &r.callbacks, &state), kBadArg);
    EXPECT_EQ(EncoderInitAlloc_JPEG(&r.params, &r.picture, &r.stream, nullptr, &state), kBadArg);
    EXPECT_EQ(EncoderInitAlloc_JPEG(&r.params, &r.picture, &r.stream, &r.callbacks, nullptr),
              kBadArg);
    expectAll({
        {"no buffer", kBadArg, [](Records& c) { c.stream.start = nullptr; }},
        {"allocate", kBadArg, [](Records& c) { c.callbacks.allocate = nullptr; }},
        {"release", kBadArg, [](Records& c) { c.callbacks.release = nullptr; }},
        {"flush", kBadArg,
         [](Records& c) { c.callbacks.flush = nullptr, c.params.flushContext = 0; }},
        {"grow, baseline", kOk, [](Records& c) { c.callbacks.grow = nullptr; }},
        {"grow, progressive", kBadArg,
         [](Records& c) { c.callbacks.grow = nullptr, c.params.mode = 4; }},
        {"read and seek, integrated", kOk,
         [](Records& c) { c.callbacks.read = nullptr, c.callbacks.seek = nullptr; }},
        {"seek, slice", kBadArg, [](Records& c) { c.slice(), c.callbacks.seek = nullptr; }},
        {"read, slice", kBadArg, [](Records& c) { c.slice(), c.callbacks.read = nullptr; }},
        {"an empty buffer", ENC_STATUS_OUTPUT_FULL, [](Records& c) { c.stream.size = 0; }},
        {"a buffer of -1 byte", ENC_STATUS_OUTPUT_FULL, [](Records& c) { c.stream.size = -1; }},
    });
}

TEST(SetUpSteps, RefuseWhatTheyDoNotKnow) {
    // Fault: a step that trusts the check before it; they stand alone as well.
    EncoderParams_JPEG wrong = test::params(kFormats[0]);
    Picture_JPEG picture{};
    picture.colorFormat = 77;
    vela::ImageSpec image{};
    EXPECT_EQ(vela::velaInitImageSpec_JPEG(&image, &wrong, &picture), ENC_STATUS_NOTSUPPORTED);
    vela::ComponentSpec components[vela::kMaxComponents];
    vela::MCUSpec mcu;
    vela::ProcSpec routines;
    for (const auto& [format, subsampling] : {std::pair(77u, 0u), {JPEG_CF_BGR888, 2u}}) {
        image.colorFormat = format;
        image.subsampling = subsampling;
        EXPECT_EQ(vela::velaInitCompSpec_JPEG(components, &image), ENC_STATUS_NOTSUPPORTED);
        EXPECT_EQ(vela::velaInitMCUSpec_JPEG(&mcu, &image), ENC_STATUS_NOTSUPPORTED);
        EXPECT_EQ(vela::velaInitProcSpec_JPEG(&routines, &image, &vela::kPlainRoutines),
                  ENC_STATUS_NOTSUPPORTED);
    }
    image.colorFormat = JPEG_CF_NV12;
    image.subsampling = ENC_SUBSAMPLE_444;
    EXPECT_EQ(vela::velaInitProcSpec_JPEG(&routines, &image, &vela::kPlainRoutines),
              ENC_STATUS_ERR);
}

} // namespace
