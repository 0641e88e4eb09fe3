// Pictures of every format, in planes of exactly the size that the interface promises to read.
#pragma once

#include <algorithm>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "support/guarded.h"
#include "vela/jpegenc.h"

namespace test {

/// A format with the subsampling it is encoded with.
struct Format {
    const char* name;
    uint32_t code;
    uint32_t subsampling;

    bool planar() const { return code >= 8 && code <= 11; }
    bool semiPlanar() const { return code >= 13; }
    int bytesPerPixel() const { return code == 0 ? 3 : code <= 2 ? 2 : 1; } // of plane 0
    int components() const { return code == 12 ? 1 : 3; }
    int planes() const { return planar() ? 3 : semiPlanar() ? 2 : 1; }
    int h() const { return code != 12 && subsampling != 0 ? 2 : 1; } // luminance sampling factors
    int v() const { return code != 12 && subsampling == 3 ? 2 : 1; }
};

/// How GoogleTest prints a parameter.
inline void PrintTo(const Format& format, std::ostream* out) {
    *out << format.name;
}

inline constexpr Format kFormats[] = {
    {"bgr888_444", 0, 0}, {"bgr888_422", 0, 1}, {"bgr888_420", 0, 3}, {"bgr555_444", 1, 0},
    {"bgr555_422", 1, 1}, {"bgr555_420", 1, 3}, {"bgr565_444", 2, 0}, {"bgr565_422", 2, 1},
    {"bgr565_420", 2, 3}, {"yuv444p", 8, 0},    {"yuv422p", 9, 1},    {"yuv420p", 11, 3},
    {"gray8", 12, 3},     {"nv12", 13, 3},      {"nv21", 14, 3},
};

enum class Content { noise, smooth, flat, extremes };

/// Chroma samples along an axis that the encoder may read.
inline int chromaSize(int size, int factor) {
    const int remainder = size % (8 * factor);
    const int whole = size / (8 * factor) * 8;
    return whole + (remainder == 0 ? 0 : remainder < factor ? 1 : remainder / factor);
}

class TestPicture {
public:
    /// padding: bytes after each row's samples. bottomUp: single-plane formats alone. Steps are
    /// such that slice mode takes them too.
    TestPicture(Format format, int width, int height, Content content, uint32_t seed,
                int padding = 0, bool bottomUp = false)
        : format_(format), width_(width), height_(height) {
        std::mt19937 random(seed);
        int step0 = width * format.bytesPerPixel() + padding;
        if (format.h() == 2 && format.planes() > 1)
            step0 = (std::max(step0, 2 * chromaSize(width, 2)) + 1) & ~1;
        for (int p = 0; p < format.planes(); p++) {
            const bool half = p > 0 && format.planar() && format.h() == 2;
            step_[p] = half ? step0 / 2 : step0;
            rows_[p] = p == 0 ? height : chromaSize(height, format.v());
            rowBytes_[p] = p == 0 ? width * format.bytesPerPixel()
                                  : chromaSize(width, format.h()) * (format.semiPlanar() ? 2 : 1);
            plane_[p] = Guarded(static_cast<size_t>(step_[p] * (rows_[p] - 1) + rowBytes_[p]));
            fill(p, content, random);
        }
        if (bottomUp)
            step_[0] = -step_[0];
    }

    const Format& format() const { return format_; }
    int width() const { return width_; }
    int height() const { return height_; }

    /// Top-down start of a row.
    const uint8_t* row(int plane, int y) const {
        const int up = step_[plane] < 0 ? rows_[plane] - 1 - y : y;
        return plane_[plane].data() + static_cast<ptrdiff_t>(std::abs(step_[plane])) * up;
    }

    Picture_JPEG record() const {
        Picture_JPEG picture{};
        for (int p = 0; p < 3; p++) { // planes that are not there must not be looked at
            const bool present = p < format_.planes();
            picture.plane[p] = present ? const_cast<uint8_t*>(row(p, 0)) : nullptr;
            picture.step[p] = present ? step_[p] : 0x7FFFFFFF;
        }
        picture.width = width_;
        picture.height = height_;
        picture.planeCount = format_.planes();
        picture.componentCount = format_.components();
        picture.colorFormat = format_.code;
        return picture;
    }

    /// The bytes of the source: the planes' rows, whole, in the order they are stored.
    std::vector<uint8_t> source() const {
        std::vector<uint8_t> bytes;
        for (int p = 0; p < format_.planes(); p++) {
            const int stored = p > 0 && format_.v() == 2 ? (height_ + 1) / 2 : rows_[p];
            for (int y = 0; y < stored; y++) {
                const uint8_t* const from =
                    row(p, std::min(step_[p] < 0 ? rows_[p] - 1 - y : y, rows_[p] - 1));
                bytes.insert(bytes.end(), from, from + rowBytes_[p]);
                bytes.resize(bytes.size() + static_cast<size_t>(std::abs(step_[p]) - rowBytes_[p]),
                             0xEE);
            }
        }
        return bytes;
    }

    /// Gives the planes these bytes over and over, the rows' padding included.
    void paint(std::span<const uint8_t> bytes) {
        size_t at = 0;
        for (int p = 0; p < format_.planes(); p++)
            for (size_t i = 0; i < plane_[p].size(); i++)
                plane_[p].data()[i] = bytes[at++ % bytes.size()];
    }

    /// Rows of a plane in an MCU row, for the slice buffers.
    int bandRows(int plane) const { return plane == 0 ? 8 * format_.v() : 8; }

private:
    void fill(int p, Content content, std::mt19937& random) {
        for (int y = 0; y < rows_[p]; y++) {
            uint8_t* const bytes = plane_[p].data() + static_cast<ptrdiff_t>(step_[p]) * y;
            for (int x = 0; x < rowBytes_[p]; x++) {
                switch (content) {
                case Content::noise:
                    bytes[x] = static_cast<uint8_t>(random());
                    break;
                case Content::smooth:
                    bytes[x] = static_cast<uint8_t>(40 + 3 * x + 2 * y * (1 + p));
                    break;
                case Content::flat:
                    bytes[x] = static_cast<uint8_t>(90 + 30 * p);
                    break;
                case Content::extremes:
                    bytes[x] = random() % 2 != 0 ? 255 : 0;
                    break;
                }
            }
        }
    }

    Format format_;
    int width_;
    int height_;
    int step_[3] = {};
    int rows_[3] = {};
    int rowBytes_[3] = {};
    Guarded plane_[3];
};

inline std::string describe(const TestPicture& picture) {
    return std::string(picture.format().name) + " " + std::to_string(picture.width()) + "x" +
           std::to_string(picture.height());
}

} // namespace test
