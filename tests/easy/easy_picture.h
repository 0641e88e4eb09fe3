// Pictures for the easy layer, in planes that end at their last sample, and what the core makes of the
// same samples.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

#include "easy/colour/adjustment.h"
#include "easy/colour/routines.h"
#include "support/guarded.h"
#include "vela/easy.h"

namespace test {

inline constexpr VelaFormat kEasyFormats[] = {
    VELA_FORMAT_GRAY8,  VELA_FORMAT_RGB24,  VELA_FORMAT_BGR24,  VELA_FORMAT_RGBX32,
    VELA_FORMAT_BGRX32, VELA_FORMAT_XRGB32, VELA_FORMAT_XBGR32, VELA_FORMAT_RGB565,
    VELA_FORMAT_RGB555, VELA_FORMAT_I420,   VELA_FORMAT_YV12,   VELA_FORMAT_I422,
    VELA_FORMAT_I444,   VELA_FORMAT_NV12,   VELA_FORMAT_NV21,   VELA_FORMAT_NV16,
    VELA_FORMAT_NV61,   VELA_FORMAT_YUYV,   VELA_FORMAT_YVYU,   VELA_FORMAT_UYVY,
    VELA_FORMAT_VYUY};

/// Samples of Y, Cb and Cr without gaps.
struct Ycbcr {
    int width, height, columns, rows; // of luminance and of chroma, 0 for grey
    bool halvedAcross, halvedDown;
    std::vector<uint8_t> plane[3];
};

class EasyPicture {
public:
    /// A negative padding makes rows go upwards in memory.
    EasyPicture(VelaFormat format, int width, int height, uint32_t seed = 1, int padding = 0)
        : format_(format), width_(width), height_(height) {
        std::mt19937 random(seed);
        for (int p = 0; p < planes(); p++) {
            const int gap = std::abs(padding) + (padding != 0 ? p : 0);
            const int stride = rowBytes(p) + gap;
            memory_[p] = Guarded(size_t(stride * (planeRows(p) - 1) + rowBytes(p)));
            // A gradient with some noise, as pictures are: streams of different qualities differ in size.
            for (size_t i = 0; i < memory_[p].size(); i++)
                memory_[p].data()[i] = uint8_t(i / 5 + i / size_t(stride) * 2 + random() % 40);
            stride_[p] = padding < 0 ? -stride : stride;
            top_[p] =
                memory_[p].data() + (padding < 0 ? ptrdiff_t{stride} * (planeRows(p) - 1) : 0);
        }
    }

    VelaImage image() const {
        VelaImage image{};
        image.format = format_;
        image.width = width_;
        image.height = height_;
        for (int p = 0; p < planes(); p++) {
            image.plane[p] = top_[p];
            image.stride[p] = stride_[p];
        }
        return image;
    }

    /// The same without memory: rows by a callback, which fails at the n-th call (from 1).
    VelaImage imageByRows(int failsAt = 0) {
        failsAt_ = failsAt;
        calls_ = nextRow_ = 0;
        VelaImage image = this->image();
        std::fill_n(image.plane, 3, nullptr);
        image.readContext = this;
        image.readRows = [](void* context, int32_t first, int32_t count, void* const plane[3],
                            const ptrdiff_t stride[3]) {
            return static_cast<EasyPicture*>(context)->read(first, count, plane, stride);
        };
        return image;
    }
    int rowsRead() const { return nextRow_; }
    int calls() const { return calls_; }

    bool is420() const {
        return isPlanar420() || format_ == VELA_FORMAT_NV12 || format_ == VELA_FORMAT_NV21;
    }
    bool isRgb() const { return format_ >= VELA_FORMAT_RGB24 && format_ <= VELA_FORMAT_RGB555; }

    /// What the core is to be given: chroma as the format has it, RGB converted for the subsampling.
    Ycbcr samples(VelaSubsampling ofRgb, bool limited = false, bool bt709 = false) const;

private:
    bool isPlanar420() const { return format_ == VELA_FORMAT_I420 || format_ == VELA_FORMAT_YV12; }
    bool isPlanar() const { return format_ >= VELA_FORMAT_I420 && format_ <= VELA_FORMAT_I444; }
    bool isSemiPlanar() const { return format_ >= VELA_FORMAT_NV12 && format_ <= VELA_FORMAT_NV61; }
    bool isPacked() const { return format_ >= VELA_FORMAT_YUYV; }
    int planes() const { return isPlanar() ? 3 : isSemiPlanar() ? 2 : 1; }
    int rowBytes(int p) const {
        const int half = (width_ + 1) / 2;
        if (isPacked())
            return 4 * half;
        if (p > 0)
            return isSemiPlanar() ? 2 * half : format_ == VELA_FORMAT_I444 ? width_ : half;
        return width_ * (format_ == VELA_FORMAT_RGB24 || format_ == VELA_FORMAT_BGR24 ? 3
                         : format_ >= VELA_FORMAT_RGB565 && isRgb()                   ? 2
                         : isRgb()                                                    ? 4
                                                                                      : 1);
    }
    int planeRows(int p) const { return p > 0 && is420() ? (height_ + 1) / 2 : height_; }
    const uint8_t* row(int p, int y) const { return top_[p] + ptrdiff_t{y} * stride_[p]; }

    int read(int first, int count, void* const plane[3], const ptrdiff_t stride[3]) {
        if (++calls_ == failsAt_ || first != nextRow_ || (is420() && first % 2 != 0))
            return 1;
        nextRow_ += count;
        for (int p = 0; p < planes(); p++) {
            const bool halved = p > 0 && is420();
            for (int y = 0; y < (halved ? (count + 1) / 2 : count); y++)
                std::copy_n(row(p, (halved ? first / 2 : first) + y), rowBytes(p),
                            static_cast<uint8_t*>(plane[p]) + y * stride[p]);
        }
        return 0;
    }

    VelaFormat format_;
    int width_, height_;
    Guarded memory_[3];
    const uint8_t* top_[3] = {};
    int stride_[3] = {};
    int failsAt_ = 0, calls_ = 0, nextRow_ = 0;
};

inline Ycbcr EasyPicture::samples(VelaSubsampling ofRgb, bool limited, bool bt709) const {
    const vela::ColourRoutines& plain = *vela::colourRoutineTables().back();
    const bool full = isRgb() ? ofRgb == VELA_SUBSAMPLING_444 : format_ == VELA_FORMAT_I444;
    const bool halvedDown = isRgb() ? ofRgb == VELA_SUBSAMPLING_420 : is420();
    Ycbcr s{width_,
            height_,
            full ? width_ : (width_ + 1) / 2,
            halvedDown ? (height_ + 1) / 2 : height_,
            !full,
            halvedDown,
            {}};
    if (format_ == VELA_FORMAT_GRAY8) {
        s.columns = s.rows = 0;
        s.halvedAcross = false;
    }
    constexpr size_t kRoom = vela::kOutputPadding;
    s.plane[0].resize(size_t(width_) * size_t(height_ + 1) + kRoom);
    for (int p = 1; p < 3; p++)
        s.plane[p].resize(size_t(s.columns) * size_t(s.rows) + kRoom);
    const auto at = [&s](int p, int y) {
        return s.plane[p].data() + size_t(y) * size_t(p == 0 ? s.width : s.columns);
    };
    for (int y = 0; y < height_; y++) {
        if (isRgb()) {
            const auto order = static_cast<vela::PixelOrder>(format_ - VELA_FORMAT_RGB24);
            if (halvedDown && y % 2 == 0) {
                const uint8_t* const rows[] = {row(0, y), row(0, std::min(y + 1, height_ - 1))};
                uint8_t* const luma[] = {at(0, y), at(0, y + 1)};
                plain.rgbTo420(rows, order, width_, luma, at(1, y / 2), at(2, y / 2));
            } else if (!halvedDown) {
                (full ? plain.rgbTo444 : plain.rgbTo422)(row(0, y), order, width_, at(0, y),
                                                         at(1, y), at(2, y));
            }
            continue;
        }
        const int lumaAt = format_ == VELA_FORMAT_UYVY || format_ == VELA_FORMAT_VYUY ? 1 : 0;
        for (int x = 0; x < width_; x++)
            at(0, y)[x] = row(0, y)[isPacked() ? 2 * x + lumaAt : x];
    }
    const bool crFirst = format_ == VELA_FORMAT_YV12 || format_ == VELA_FORMAT_NV21 ||
                         format_ == VELA_FORMAT_NV61 || format_ == VELA_FORMAT_YVYU ||
                         format_ == VELA_FORMAT_VYUY;
    for (int y = 0; !isRgb() && y < s.rows; y++)
        for (int x = 0; x < s.columns; x++)
            for (int c = 0; c < 2; c++) { // in the format's order
                const int chromaAt =
                    format_ == VELA_FORMAT_UYVY || format_ == VELA_FORMAT_VYUY ? 0 : 1;
                at((c == 1) != crFirst ? 2 : 1, y)[x] = isPlanar() ? row(1 + c, y)[x]
                                                        : isSemiPlanar()
                                                            ? row(1, y)[2 * x + c]
                                                            : row(0, y)[4 * x + chromaAt + 2 * c];
            }
    if (limited || bt709) {
        const vela::YcbcrAdjustment by = vela::adjustmentOf(limited, bt709 && s.columns > 0);
        const int down = halvedDown ? 2 : 1;
        for (int y = 0; y < height_; y++)
            plain.adjustLuma(at(0, y), at(1, y / down), at(2, y / down), !full, width_, by,
                             at(0, y));
        plain.adjustChroma(at(1, 0), at(2, 0), s.columns * s.rows, by, at(1, 0), at(2, 0));
    }
    return s;
}

/// The core's own stream of samples.
inline std::vector<uint8_t> coreStream(Ycbcr& s, int quality, bool progressive,
                                       int restartInterval) {
    const bool grey = s.columns == 0;
    const EncoderParams_JPEG params = {
        .quality = uint32_t(quality),
        .restartInterval = uint32_t(restartInterval),
        .mode = progressive ? uint32_t(ENC_MODE_PROGRESSIVE) : uint32_t(ENC_MODE_BASELINE),
        .subsampling = s.halvedDown     ? uint32_t(ENC_SUBSAMPLE_420)
                       : s.halvedAcross ? uint32_t(ENC_SUBSAMPLE_422)
                                        : uint32_t(ENC_SUBSAMPLE_444),
        .bufferMode = ENC_BUFFER_INTEGRATED,
        .flushContext = 0,
        .sourceHandle = 0};
    Picture_JPEG picture{};
    picture.width = s.width;
    picture.height = s.height;
    picture.planeCount = grey ? 1 : 3;
    picture.componentCount = grey ? 1 : 3;
    picture.colorFormat = grey             ? JPEG_CF_GRAY8
                          : s.halvedDown   ? JPEG_CF_YCBCR411_P3
                          : s.halvedAcross ? JPEG_CF_YCBCR422_P3
                                           : JPEG_CF_YCBCR444_P3;
    for (int p = 0; p < 3; p++) {
        picture.plane[p] = s.plane[p].data();
        picture.step[p] = p == 0 ? s.width : std::max(1, s.columns);
    }
    const CallbackTable_JPEG callbacks = {
        nullptr,
        [](void** out, uint32_t size, uint32_t) {
            *out = std::aligned_alloc(64, (size + 63) / 64 * 64);
        },
        [](void** block) { std::free(*block); },
        [](void** block, uint32_t oldSize, uint32_t newSize) -> int32_t {
            void* const larger = std::aligned_alloc(64, (newSize + 63) / 64 * 64);
            std::copy_n(static_cast<uint8_t*>(*block), oldSize, static_cast<uint8_t*>(larger));
            std::free(*block);
            *block = larger;
            return 0;
        },
        [](uint8_t*, uint32_t, int32_t, uint32_t) -> int32_t { return -1; },
        nullptr,
        nullptr};
    std::vector<uint8_t> bytes(size_t(s.width) * size_t(s.height) * 12 + 200000);
    Bitstream_JPEG stream = {bytes.data(), int32_t(bytes.size()), nullptr, 0};
    EncoderState_JPEG* state = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &state);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &stream, state);
    EncoderFree_JPEG(&state);
    bytes.resize(status == ENC_STATUS_OK ? size_t(stream.cursor - stream.start) : 0);
    return bytes;
}

} // namespace test
