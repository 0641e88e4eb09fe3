// The easy layer's streams: those of the core for the same samples, whatever way the samples came.
#include <cstring>

#include <gtest/gtest.h>

#include "easy/easy_picture.h"
#include "support/differences.h"
#include "support/failing_memory.h"

namespace {

using namespace test;

class Easy : public testing::Test {
protected:
    Easy() : encoder_(velaEncoderNew()) { velaOptionsInit(&options_); }
    ~Easy() override { velaEncoderDelete(encoder_); }

    /// Through the write callback, and the same into memory.
    std::vector<uint8_t> encode(const VelaImage& image, bool both = true) {
        std::vector<uint8_t> bytes;
        status_ = velaEncode(
            encoder_, &image, &options_,
            [](void* context, const void* from, size_t count) {
                const auto* const first = static_cast<const uint8_t*>(from);
                static_cast<std::vector<uint8_t>*>(context)->insert(
                    static_cast<std::vector<uint8_t>*>(context)->end(), first, first + count);
                return 0;
            },
            &bytes);
        EXPECT_EQ(status_, ENC_STATUS_OK) << velaErrorText(encoder_);
        EXPECT_STREQ(velaErrorText(encoder_), "");
        EXPECT_LE(bytes.size(), velaMaxBytes(&image, &options_));
        if (both && image.readRows == nullptr) {
            const uint8_t* jpeg = nullptr;
            size_t size = 0;
            EXPECT_EQ(velaEncodeToMemory(encoder_, &image, &options_, &jpeg, &size), ENC_STATUS_OK);
            EXPECT_TRUE(sameBytes(bytes, std::span(jpeg, size)));
        }
        return bytes;
    }

    VelaEncoder* encoder_;
    VelaOptions options_;
    int32_t status_ = 0;
};

int mcusPerRow(const Ycbcr& s) {
    return s.halvedAcross ? (s.width + 15) / 16 : (s.width + 7) / 8;
}

TEST_F(Easy, EveryFormatIsWhatTheCoreMakesOfItsSamples) {
    // Fault: a plane or a byte taken for another, a band that ends wrongly at an odd size, a stride's sign or
    // gap, range or matrix applied to one kind of picture alone.
    uint32_t seed = 0;
    for (const VelaFormat format : kEasyFormats)
        for (const auto& [width, height] :
             {std::pair(1, 1), {16, 16}, {17, 33}, {40, 31}, {35, 50}, {130, 47}})
            for (const int padding : {0, 7, -5})
                for (const int range : {0, 1, 2, 3}) {
                    EasyPicture picture(format, width, height, ++seed, padding);
                    options_.subsampling = VELA_SUBSAMPLING_AUTO;
                    if (picture.isRgb())
                        options_.subsampling = VelaSubsampling(1 + seed % 3);
                    options_.progressive = seed % 2;
                    options_.quality = int(seed % 101);
                    options_.restartRows = int(seed % 3) - 1;
                    VelaImage image = picture.image();
                    image.range = VelaRange(range & 1);
                    image.matrix = VelaMatrix(range >> 1);
                    Ycbcr samples = picture.isRgb() ? picture.samples(options_.subsampling)
                                                    : picture.samples(VELA_SUBSAMPLING_AUTO,
                                                                      range & 1, range >> 1);
                    const auto expected =
                        coreStream(samples, options_.quality, options_.progressive != 0,
                                   std::max(0, options_.restartRows) * mcusPerRow(samples));
                    SCOPED_TRACE(testing::Message()
                                 << "format " << format << ", " << width << "x" << height
                                 << ", padding " << padding << ", range " << range);
                    ASSERT_TRUE(sameBytes(expected, encode(image)));
                    VelaImage rows = picture.imageByRows();
                    rows.range = image.range;
                    rows.matrix = image.matrix;
                    ASSERT_TRUE(sameBytes(expected, encode(rows)));
                    EXPECT_EQ(picture.rowsRead(), height);
                }
}

TEST_F(Easy, ThreadsGiveTheBytesOfOne) {
    // Fault: a restart number that begins anew, a cut that is no interval's, a band's own height in the
    // header, rows asked for out of order, a chroma row at a cut.
    uint32_t seed = 100;
    for (const VelaFormat format : kEasyFormats)
        for (const auto& [width, height] : {std::pair(33, 700), {560, 200}})
            for (const auto& [rows, mcus] :
                 {std::pair(1, 0), {2, 0}, {3, 0}, {0, 6}, {0, 100}, {0, 1}}) {
                seed++;
                EasyPicture picture(format, width, height, seed, int(seed % 3) * 4 - 4);
                options_.restartRows = rows;
                options_.restartMcus = mcus;
                options_.threads = 1;
                SCOPED_TRACE(testing::Message()
                             << "format " << format << ", " << width << "x" << height << ", rows "
                             << rows << ", MCUs " << mcus);
                const auto expected = encode(picture.image(), false);
                const uint8_t interval[] = {0xFF, 0xDD, 0, 4, 0, uint8_t(mcus)};
                if (mcus > 0) {
                    EXPECT_NE(std::search(expected.begin(), expected.end(), std::begin(interval),
                                          std::end(interval)),
                              expected.end());
                }
                options_.threads = int(seed % 8) + 1;
                ASSERT_TRUE(sameBytes(expected, encode(picture.image(), false)));
                ASSERT_TRUE(sameBytes(expected, encode(picture.imageByRows())));
                EXPECT_EQ(picture.rowsRead(), height);
            }
    // -1: none, or 1 where threads is not 1.
    EasyPicture picture(VELA_FORMAT_NV12, 640, 480);
    options_.restartMcus = 0;
    options_.restartRows = 1;
    options_.threads = 1;
    const auto expected = encode(picture.image());
    options_.restartRows = -1;
    options_.threads = 0;
    EXPECT_TRUE(sameBytes(expected, encode(picture.image())));
}

TEST_F(Easy, TheSizeLimitFindsTheBestQuality) {
    // Fault: a search that stops one short, takes too many encodings, or forgets where it was; metadata that
    // is not counted.
    EasyPicture picture(VELA_FORMAT_RGB24, 300, 200);
    std::vector<size_t> sizes;
    for (options_.quality = 0; options_.quality <= 100; options_.quality++)
        sizes.push_back(encode(picture.image(), false).size());
    options_.quality = 100;
    const VelaImage image = picture.image();
    for (const int target : {100, 99, 50, 51, 49, 3, 97, 0}) {
        for (const int more : {0, 1}) {
            options_.maxBytes = sizes[size_t(target)] + size_t(more);
            const auto bytes = encode(image);
            const int used = velaQualityUsed(encoder_);
            EXPECT_LE(bytes.size(), options_.maxBytes);
            EXPECT_EQ(bytes.size(), sizes[size_t(used)]);
            EXPECT_GE(used, target);
            EXPECT_TRUE(used == 100 || sizes[size_t(used) + 1] > options_.maxBytes) << used;
        }
    }
    options_.maxBytes = sizes[0] - 1;
    const uint8_t* jpeg = nullptr;
    size_t size = 1;
    EXPECT_EQ(velaEncodeToMemory(encoder_, &image, &options_, &jpeg, &size), VELA_STATUS_TOO_LARGE);
    EXPECT_TRUE(jpeg == nullptr && size == 0);
    options_.quality = 60;
    options_.maxBytes = sizes[100];
    encode(image);
    EXPECT_EQ(velaQualityUsed(encoder_), 60);
    const VelaImage rows = picture.imageByRows();
    EXPECT_EQ(velaEncodeToMemory(encoder_, &rows, &options_, &jpeg, &size), ENC_STATUS_BADARG);
    EXPECT_NE(std::strstr(velaErrorText(encoder_), "maxBytes"), nullptr);
}

TEST_F(Easy, AnEncoderInsideTheCallbackOfAnother) {
    // Fault: the core's calls without a handle reach the wrong encoder; the same encoder used twice at once.
    struct Outer {
        VelaEncoder* self;
        std::vector<uint8_t> inner;
        int depth;
    };
    EasyPicture picture(VELA_FORMAT_BGRX32, 700, 700);
    const auto expected = encode(picture.image());
    const VelaImage image = picture.image();
    static const VelaImage* images;
    images = &image;
    static VelaWrite* write;
    write = [](void* context, const void* from, size_t count) {
        auto& outer = *static_cast<Outer*>(context);
        const auto* const first = static_cast<const uint8_t*>(from);
        outer.inner.insert(outer.inner.end(), first, first + count);
        const uint8_t* jpeg;
        size_t size;
        if (velaEncodeToMemory(outer.self, images, nullptr, &jpeg, &size) != ENC_STATUS_ERR)
            return 1; // it is busy
        if (outer.depth == 0)
            return 0;
        Outer deeper = {velaEncoderNew(), {}, outer.depth - 1};
        const int32_t status = velaEncode(deeper.self, images, nullptr, write, &deeper);
        velaEncoderDelete(deeper.self);
        return status == ENC_STATUS_OK && deeper.inner.size() > 1000 ? 0 : 1;
    };
    Outer outer = {encoder_, {}, 2};
    ASSERT_EQ(velaEncode(encoder_, &image, nullptr, write, &outer), ENC_STATUS_OK)
        << velaErrorText(encoder_);
    EXPECT_TRUE(sameBytes(expected, outer.inner));
}

TEST_F(Easy, FurtherPicturesOfAGeometryAllocateNothing) {
    // Fault: memory that is not kept from one picture to the next.
    for (const VelaFormat format : {VELA_FORMAT_RGB24, VELA_FORMAT_NV12, VELA_FORMAT_YUYV})
        for (const auto& [progressive, threads] : {std::pair(0, 1), {1, 1}, {0, 3}})
            for (const size_t limit : {size_t{0}, size_t{150000}}) {
                EasyPicture picture(format, 640, 480);
                const VelaImage image = picture.image();
                options_.progressive = progressive;
                options_.threads = threads;
                options_.maxBytes = limit;
                options_.orientation = 6;
                const uint8_t* jpeg;
                size_t size;
                // Which thread takes which piece is the machine's choice: until each has had its turn.
                const int most = threads == 1 ? 5 : 200;
                int quiet = 0;
                for (int i = 0; i < most && quiet < 3; i++) {
                    const int before = allocations();
                    ASSERT_EQ(velaEncodeToMemory(encoder_, &image, &options_, &jpeg, &size),
                              ENC_STATUS_OK);
                    quiet = allocations() == before ? quiet + 1 : 0;
                }
                EXPECT_EQ(quiet, 3) << "format " << format << ", progressive " << progressive;
            }
}

TEST_F(Easy, PicturesAboveAGigapixelGoInParts) {
    // Fault: a count of 32 bits that overflows, a picture that is refused although it can be cut.
    VelaImage image{};
    image.format = VELA_FORMAT_RGB565;
    image.width = 65535;
    image.height = 11000;
    image.readRows = [](void*, int32_t first, int32_t rows, void* const plane[3],
                        const ptrdiff_t stride[3]) {
        std::memset(plane[0], 0x5A, size_t(rows) * size_t(stride[0]));
        return first < 64 ? 0 : 1; // that is enough to see
    };
    options_.subsampling = VELA_SUBSAMPLING_444;
    VelaWrite* const count = [](void* context, const void*, size_t bytes) {
        *static_cast<size_t*>(context) += bytes;
        return 0;
    };
    size_t bytes = 0;
    EXPECT_EQ(velaEncode(encoder_, &image, &options_, count, &bytes), ENC_STATUS_NOTSUPPORTED);
    EXPECT_EQ(velaMaxBytes(&image, &options_), 0u);
    EXPECT_EQ(bytes, 0u);
    options_.restartRows = 1;
    EXPECT_EQ(velaEncode(encoder_, &image, &options_, count, &bytes), VELA_STATUS_READ);
    EXPECT_GT(bytes, 0u);
    EXPECT_GT(velaMaxBytes(&image, &options_), 8192u * 1375 * 3);
}

} // namespace
