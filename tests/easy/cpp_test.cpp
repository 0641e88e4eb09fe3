// vela/easy.hpp: its makers against the C interface, and what comes out where a sink, a source or the library
// fails.
#include "vela/easy.hpp"

#include <gtest/gtest.h>

#include "easy/easy_picture.h"
#include "support/differences.h"

namespace {

using namespace test;
using velajpeg::Bytes;
using velajpeg::Encoder;
using velajpeg::Error;
using velajpeg::Image;
using velajpeg::Options;

std::vector<uint8_t> noise(size_t bytes) {
    std::vector<uint8_t> memory(bytes);
    std::mt19937 random(7);
    std::generate(memory.begin(), memory.end(), [&] { return uint8_t(random()); });
    return memory;
}

std::vector<uint8_t> inC(const VelaImage& image, int quality = 75) {
    VelaEncoder* const encoder = velaEncoderNew();
    VelaOptions options;
    velaOptionsInit(&options);
    options.quality = quality;
    const uint8_t* jpeg;
    size_t size;
    EXPECT_EQ(velaEncodeToMemory(encoder, &image, &options, &jpeg, &size), ENC_STATUS_OK);
    const std::vector<uint8_t> bytes(jpeg, jpeg + size);
    velaEncoderDelete(encoder);
    return bytes;
}

TEST(EasyCpp, MakersDescribeWhatTheyAreGivenAndNoMore) {
    // Fault: planes or strides exchanged, a span that is one byte too short accepted, or one too long asked for.
    const int width = 33, height = 19;
    const auto a = noise(10000), b = noise(10000), c = noise(10000);
    for (const ptrdiff_t gap : {0, 5}) {
        struct Case {
            Image (*make)(Bytes, Bytes, Bytes, ptrdiff_t, ptrdiff_t);
            VelaFormat format;
            int row[3], rows[3];
        };
        constexpr int w = width, h = height;
        const Case cases[] = {
            {[](Bytes p, Bytes, Bytes, ptrdiff_t s, ptrdiff_t) { return Image::gray8(p, w, h, s); },
             VELA_FORMAT_GRAY8,
             {33},
             {19}},
            {[](Bytes p, Bytes, Bytes, ptrdiff_t s, ptrdiff_t) { return Image::rgb24(p, w, h, s); },
             VELA_FORMAT_RGB24,
             {99},
             {19}},
            {[](Bytes p, Bytes, Bytes, ptrdiff_t s, ptrdiff_t) {
                 return Image::xbgr32(p, w, h, s);
             },
             VELA_FORMAT_XBGR32,
             {132},
             {19}},
            {[](Bytes p, Bytes, Bytes, ptrdiff_t s, ptrdiff_t) {
                 return Image::rgb555(p, w, h, s);
             },
             VELA_FORMAT_RGB555,
             {66},
             {19}},
            {[](Bytes p, Bytes, Bytes, ptrdiff_t s, ptrdiff_t) { return Image::uyvy(p, w, h, s); },
             VELA_FORMAT_UYVY,
             {68},
             {19}},
            {[](Bytes p, Bytes q, Bytes, ptrdiff_t s, ptrdiff_t t) {
                 return Image::nv21(p, q, w, h, s, t);
             },
             VELA_FORMAT_NV21,
             {33, 34},
             {19, 10}},
            {[](Bytes p, Bytes q, Bytes, ptrdiff_t s, ptrdiff_t t) {
                 return Image::nv16(p, q, w, h, s, t);
             },
             VELA_FORMAT_NV16,
             {33, 34},
             {19, 19}},
            {[](Bytes p, Bytes q, Bytes r, ptrdiff_t s, ptrdiff_t t) {
                 return Image::yv12(p, q, r, w, h, s, t, t);
             },
             VELA_FORMAT_YV12,
             {33, 17, 17},
             {19, 10, 10}},
            {[](Bytes p, Bytes q, Bytes r, ptrdiff_t s, ptrdiff_t t) {
                 return Image::i422(p, q, r, w, h, s, t, t);
             },
             VELA_FORMAT_I422,
             {33, 17, 17},
             {19, 19, 19}},
            {[](Bytes p, Bytes q, Bytes r, ptrdiff_t s, ptrdiff_t t) {
                 return Image::i444(p, q, r, w, h, s, t, t);
             },
             VELA_FORMAT_I444,
             {33, 33, 33},
             {19, 19, 19}},
        };
        for (const Case& k : cases) {
            SCOPED_TRACE(k.format);
            VelaImage image{};
            image.format = k.format;
            image.width = width;
            image.height = height;
            const std::vector<uint8_t>* const memory[] = {&a, &b, &c};
            Bytes exact[3], tooShort[3];
            for (size_t p = 0; p < 3 && k.row[p] > 0; p++) {
                image.plane[p] = memory[p]->data();
                image.stride[p] = k.row[p] + gap;
                const auto bytes = size_t((k.rows[p] - 1) * (k.row[p] + gap) + k.row[p]);
                exact[p] = Bytes(*memory[p]).first(bytes);
                tooShort[p] = exact[p].first(bytes - 1);
            }
            const ptrdiff_t s = k.row[0] + gap, t = k.row[1] + gap;
            EXPECT_TRUE(sameBytes(inC(image),
                                  velajpeg::encode(k.make(exact[0], exact[1], exact[2], s, t))));
            EXPECT_THROW(k.make(tooShort[0], exact[1], exact[2], s, t), Error);
            if (k.row[1] > 0) {
                EXPECT_THROW(k.make(exact[0], tooShort[1], exact[2], s, t), Error);
            } else { // the same picture, upside down
                image.plane[0] = static_cast<const uint8_t*>(image.plane[0]) + (k.rows[0] - 1) * s;
                image.stride[0] = -s;
                EXPECT_TRUE(
                    sameBytes(inC(image), velajpeg::encode(k.make(exact[0], {}, {}, -s, 0))));
            }
        }
    }
}

TEST(EasyCpp, EveryWayOutGivesTheSameStream) {
    // Fault: a way that loses or repeats bytes, an encoder that does not survive a move.
    const auto pixels = noise(300 * 200 * 3);
    const Image image = Image::rgb24(pixels, 300, 200);
    Options options;
    options.quality = 93;
    options.comment = "c";
    Encoder first;
    const auto expected = first.encode(image, options);
    Encoder encoder = std::move(first);
    std::vector<uint8_t> pieces;
    encoder.encode(image, options,
                   [&](Bytes bytes) { pieces.insert(pieces.end(), bytes.begin(), bytes.end()); });
    EXPECT_TRUE(sameBytes(expected, pieces));
    EXPECT_TRUE(sameBytes(expected, encoder.encodeToMemory(image, options)));
    EXPECT_LE(expected.size(), velajpeg::maxBytes(image, options));
    std::vector<uint8_t> room(expected.size());
    EXPECT_EQ(encoder.encode(image, options, std::span(room)), expected.size());
    EXPECT_TRUE(sameBytes(expected, room));
    const Image rows = Image::fromRows(
        VELA_FORMAT_RGB24, 300, 200, [&](int32_t y, int32_t n, auto& plane, auto& stride) {
            for (int32_t r = 0; r < n; r++)
                std::copy_n(&pixels[size_t(y + r) * 900], 900,
                            static_cast<uint8_t*>(plane[0]) + r * stride[0]);
        });
    EXPECT_TRUE(sameBytes(expected, encoder.encode(rows, options)));
    EXPECT_EQ(encoder.qualityUsed(), 93);
    try {
        encoder.encode(image, options, std::span(room).first(expected.size() - 1));
        ADD_FAILURE() << "a span that is too short";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), VELA_STATUS_WRITE);
    }
}

TEST(EasyCpp, WhatASinkOrASourceThrowsComesOut) {
    // Fault: an exception that passes through C, is replaced by a status, or leaves the encoder unusable.
    const auto pixels = noise(500 * 500);
    const Image image = Image::gray8(pixels, 500, 500);
    struct Mine {
        int value;
    };
    for (const int threads : {1, 3}) {
        Encoder encoder;
        Options options;
        options.threads = threads;
        const auto expected = encoder.encode(image, options);
        for (int fails = 0; fails < 3; fails++) {
            int calls = 0;
            try {
                encoder.encode(image, options, [&](Bytes) {
                    if (calls++ == fails)
                        throw Mine{42};
                });
                ADD_FAILURE();
            } catch (const Mine& mine) {
                EXPECT_EQ(mine.value, 42);
                EXPECT_EQ(calls, fails + 1);
            }
            int reads = 0;
            const Image rows =
                Image::fromRows(VELA_FORMAT_GRAY8, 500, 500, [&](int32_t, int32_t, auto&, auto&) {
                    if (reads++ == fails)
                        throw std::logic_error("rows");
                });
            EXPECT_THROW(encoder.encode(rows, options), std::logic_error);
        }
        EXPECT_TRUE(sameBytes(expected, encoder.encode(image, options)));
    }
    try {
        Options options;
        options.quality = 101;
        velajpeg::encode(image, options);
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), ENC_STATUS_BADARG);
        EXPECT_NE(std::string(error.what()).find("quality is 101"), std::string::npos);
    }
}

} // namespace
