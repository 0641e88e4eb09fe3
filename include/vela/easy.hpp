// The easy layer of Vela JPEG for C++20: any picture or camera frame in, a JPEG stream out. Header only, over
// vela/easy.h, which explains formats, colour, options and statuses.
//
//     std::vector<std::uint8_t> jpeg = velajpeg::encode(velajpeg::Image::rgb24(pixels, 640, 480));
//
//     velajpeg::Options options;
//     options.quality = 90;
//     velajpeg::Encoder encoder; // keeps its memory from picture to picture
//     encoder.encode(velajpeg::Image::nv12(luma, chroma, 1920, 1080), options,
//                    [&](std::span<const std::uint8_t> bytes) { file.write(bytes); });
//
// What fails throws velajpeg::Error; an exception that a sink or a source of rows throws comes out of encode
// as it is, having passed through no frame of C.
#ifndef VELA_EASY_HPP
#define VELA_EASY_HPP

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vela/easy.h"

namespace velajpeg {

using Bytes = std::span<const std::uint8_t>;

/// A status of vela/easy.h, and in what() why.
class Error : public std::runtime_error {
public:
    Error(std::int32_t status, const std::string& text)
        : std::runtime_error(text), status_(status) {}
    std::int32_t status() const noexcept { return status_; }

private:
    std::int32_t status_;
};

/// Brings rows firstRow..firstRow + rowCount - 1 to where plane and stride say, as VelaReadRows does; what it
/// throws comes out of encode.
using RowReader = std::function<void(std::int32_t firstRow, std::int32_t rowCount,
                                     void* const (&plane)[3], const std::ptrdiff_t (&stride)[3])>;

/// A picture: planes that belong to the caller, or a reader of rows. Makers throw Error with
/// ENC_STATUS_BADARG where a span is shorter than the rows that it must hold. Strides are in bytes, 0 for rows
/// without gaps; a negative one says that the span begins with the bottom row.
class Image {
public:
    /// One plane: grey, RGB, packed 4:2:2.
    static Image packed(VelaFormat format, Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return Image(format, width, height, {{pixels, stride}});
    }
    static Image gray8(Bytes pixels, std::int32_t width, std::int32_t height,
                       std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_GRAY8, pixels, width, height, stride);
    }
    static Image rgb24(Bytes pixels, std::int32_t width, std::int32_t height,
                       std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_RGB24, pixels, width, height, stride);
    }
    static Image bgr24(Bytes pixels, std::int32_t width, std::int32_t height,
                       std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_BGR24, pixels, width, height, stride);
    }
    static Image rgbx32(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_RGBX32, pixels, width, height, stride);
    }
    static Image bgrx32(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_BGRX32, pixels, width, height, stride);
    }
    static Image xrgb32(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_XRGB32, pixels, width, height, stride);
    }
    static Image xbgr32(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_XBGR32, pixels, width, height, stride);
    }
    static Image rgb565(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_RGB565, pixels, width, height, stride);
    }
    static Image rgb555(Bytes pixels, std::int32_t width, std::int32_t height,
                        std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_RGB555, pixels, width, height, stride);
    }
    static Image yuyv(Bytes pixels, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_YUYV, pixels, width, height, stride);
    }
    static Image yvyu(Bytes pixels, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_YVYU, pixels, width, height, stride);
    }
    static Image uyvy(Bytes pixels, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_UYVY, pixels, width, height, stride);
    }
    static Image vyuy(Bytes pixels, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t stride = 0) {
        return packed(VELA_FORMAT_VYUY, pixels, width, height, stride);
    }

    /// Y, and pairs of chroma.
    static Image semiPlanar(VelaFormat format, Bytes y, Bytes chroma, std::int32_t width,
                            std::int32_t height, std::ptrdiff_t yStride = 0,
                            std::ptrdiff_t chromaStride = 0) {
        return Image(format, width, height, {{y, yStride}, {chroma, chromaStride}});
    }
    static Image nv12(Bytes y, Bytes cbcr, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t chromaStride = 0) {
        return semiPlanar(VELA_FORMAT_NV12, y, cbcr, width, height, yStride, chromaStride);
    }
    static Image nv21(Bytes y, Bytes crcb, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t chromaStride = 0) {
        return semiPlanar(VELA_FORMAT_NV21, y, crcb, width, height, yStride, chromaStride);
    }
    static Image nv16(Bytes y, Bytes cbcr, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t chromaStride = 0) {
        return semiPlanar(VELA_FORMAT_NV16, y, cbcr, width, height, yStride, chromaStride);
    }
    static Image nv61(Bytes y, Bytes crcb, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t chromaStride = 0) {
        return semiPlanar(VELA_FORMAT_NV61, y, crcb, width, height, yStride, chromaStride);
    }
    /// A whole frame in one span, planes one after another with rows of stride bytes of Y.
    static Image nv12(Bytes frame, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t stride = 0) {
        const auto [y, chroma] = halves(frame, width, height, stride);
        return nv12(y, chroma, width, height, stride, stride);
    }

    /// Three planes, in the format's own order.
    static Image planar(VelaFormat format, Bytes first, Bytes second, Bytes third,
                        std::int32_t width, std::int32_t height, std::ptrdiff_t firstStride = 0,
                        std::ptrdiff_t secondStride = 0, std::ptrdiff_t thirdStride = 0) {
        return Image(format, width, height,
                     {{first, firstStride}, {second, secondStride}, {third, thirdStride}});
    }
    static Image i420(Bytes y, Bytes cb, Bytes cr, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t cbStride = 0,
                      std::ptrdiff_t crStride = 0) {
        return planar(VELA_FORMAT_I420, y, cb, cr, width, height, yStride, cbStride, crStride);
    }
    static Image yv12(Bytes y, Bytes cr, Bytes cb, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t crStride = 0,
                      std::ptrdiff_t cbStride = 0) {
        return planar(VELA_FORMAT_YV12, y, cr, cb, width, height, yStride, crStride, cbStride);
    }
    static Image i422(Bytes y, Bytes cb, Bytes cr, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t cbStride = 0,
                      std::ptrdiff_t crStride = 0) {
        return planar(VELA_FORMAT_I422, y, cb, cr, width, height, yStride, cbStride, crStride);
    }
    static Image i444(Bytes y, Bytes cb, Bytes cr, std::int32_t width, std::int32_t height,
                      std::ptrdiff_t yStride = 0, std::ptrdiff_t cbStride = 0,
                      std::ptrdiff_t crStride = 0) {
        return planar(VELA_FORMAT_I444, y, cb, cr, width, height, yStride, cbStride, crStride);
    }

    /// A picture whose rows are read as they are needed.
    static Image fromRows(VelaFormat format, std::int32_t width, std::int32_t height,
                          RowReader reader) {
        Image image(format, width, height, {});
        image.reader_ = std::move(reader);
        return image;
    }

    /// The same picture with other words about its samples.
    Image& range(VelaRange range) {
        image_.range = range;
        return *this;
    }
    Image& matrix(VelaMatrix matrix) {
        image_.matrix = matrix;
        return *this;
    }

    std::int32_t width() const { return image_.width; }
    std::int32_t height() const { return image_.height; }

private:
    friend class Encoder;
    friend std::size_t maxBytes(const Image& image, const class Options& options);

    struct Plane {
        Bytes bytes;
        std::ptrdiff_t stride;
    };

    Image(VelaFormat format, std::int32_t width, std::int32_t height,
          std::initializer_list<Plane> planes) {
        image_.format = format;
        image_.width = width;
        image_.height = height;
        int p = 0;
        for (const Plane& plane : planes)
            setPlane(p++, plane);
    }

    static bool isHalvedDown(VelaFormat format) {
        return format == VELA_FORMAT_I420 || format == VELA_FORMAT_YV12 ||
               format == VELA_FORMAT_NV12 || format == VELA_FORMAT_NV21;
    }
    /// Bytes of a row of a plane that hold samples.
    static std::int64_t rowBytes(VelaFormat format, int plane, std::int64_t width) {
        const std::int64_t half = (width + 1) / 2;
        if (format >= VELA_FORMAT_YUYV)
            return 4 * half;
        if (plane > 0)
            return format == VELA_FORMAT_I444   ? width
                   : format >= VELA_FORMAT_NV12 ? 2 * half
                                                : half;
        if (format == VELA_FORMAT_RGB24 || format == VELA_FORMAT_BGR24)
            return 3 * width;
        if (format == VELA_FORMAT_RGB565 || format == VELA_FORMAT_RGB555)
            return 2 * width;
        return format > VELA_FORMAT_BGR24 && format < VELA_FORMAT_RGB565 ? 4 * width : width;
    }

    /// Sizes that the library refuses are its to refuse.
    void setPlane(int p, const Plane& plane) {
        image_.plane[p] = plane.bytes.data();
        image_.stride[p] = plane.stride;
        if (image_.width < 1 || image_.width > 65535 || image_.height < 1 || image_.height > 65535)
            return;
        const std::int64_t rows =
            p > 0 && isHalvedDown(image_.format) ? (image_.height + 1) / 2 : image_.height;
        const std::int64_t row = rowBytes(image_.format, p, image_.width);
        const std::int64_t stride = plane.stride == 0 ? row : plane.stride;
        const std::int64_t step = stride < 0 ? -stride : stride;
        if (step > INT32_MAX) // refused as well
            return;
        const std::int64_t needed = (rows - 1) * step + row;
        if (static_cast<std::uint64_t>(needed) > plane.bytes.size())
            throw Error(ENC_STATUS_BADARG, "plane[" + std::to_string(p) + "] has " +
                                               std::to_string(plane.bytes.size()) +
                                               " bytes, its rows need " + std::to_string(needed));
        if (stride < 0)
            image_.plane[p] = plane.bytes.data() + (rows - 1) * step;
    }

    static std::pair<Bytes, Bytes> halves(Bytes frame, std::int32_t width, std::int32_t height,
                                          std::ptrdiff_t stride) {
        const std::int64_t step = stride != 0 ? stride : width;
        const std::int64_t luma = step < 0 || height < 0 ? 0 : step * height;
        const auto at = static_cast<std::size_t>(luma) < frame.size()
                            ? static_cast<std::size_t>(luma)
                            : frame.size();
        return {frame.first(at), frame.subspan(at)};
    }

    VelaImage image_{};
    RowReader reader_;
};

/// VelaOptions with their usual values, and owners of what they point to.
class Options {
public:
    std::int32_t quality = 75;
    VelaSubsampling subsampling = VELA_SUBSAMPLING_AUTO;
    bool progressive = false;
    std::int32_t restartRows = -1;
    std::int32_t restartMcus = 0;
    std::int32_t threads = 1;
    std::size_t maxBytes = 0;
    std::int32_t densityUnits = 0, xDensity = 0, yDensity = 0;
    std::int32_t orientation = 0;
    std::vector<std::uint8_t> exif, icc;
    std::string comment;

    /// As the C interface has them; points into this object.
    VelaOptions c() const {
        VelaOptions options;
        velaOptionsInit(&options);
        options.quality = quality;
        options.subsampling = subsampling;
        options.progressive = progressive ? 1 : 0;
        options.restartRows = restartRows;
        options.restartMcus = restartMcus;
        options.threads = threads;
        options.maxBytes = maxBytes;
        options.densityUnits = densityUnits;
        options.xDensity = xDensity;
        options.yDensity = yDensity;
        options.orientation = orientation;
        options.exif = exif.empty() ? nullptr : exif.data();
        options.exifSize = exif.size();
        options.icc = icc.empty() ? nullptr : icc.data();
        options.iccSize = icc.size();
        options.comment = comment.c_str();
        return options;
    }
};

/// What takes bytes of a stream; they are gone when it returns.
template <class Sink>
concept ByteSink = std::invocable<Sink&, Bytes>;

/// One user's memory, kept from picture to picture; not for two threads at once. Of one that was moved from
/// nothing may be asked but to be assigned to or destroyed.
class Encoder {
public:
    Encoder() : encoder_(velaEncoderNew()) {
        if (!encoder_)
            throw std::bad_alloc();
    }

    /// To any callable that takes Bytes, piece by piece. What it throws comes out of this call.
    template <ByteSink Sink>
    void encode(const Image& image, const Options& options, Sink&& sink) {
        struct Writer {
            Sink& sink;
            std::exception_ptr thrown;
        } writer{sink, nullptr};
        call(image, options, writer.thrown, [&](const VelaImage& c, const VelaOptions& o) {
            return velaEncode(
                encoder_.get(), &c, &o,
                [](void* context, const void* bytes, std::size_t count) {
                    auto& self = *static_cast<Writer*>(context);
                    try {
                        std::invoke(self.sink,
                                    Bytes(static_cast<const std::uint8_t*>(bytes), count));
                        return 0;
                    } catch (...) {
                        self.thrown = std::current_exception();
                        return 1;
                    }
                },
                &writer);
        });
    }

    /// Into a new vector.
    std::vector<std::uint8_t> encode(const Image& image, const Options& options = {}) {
        std::vector<std::uint8_t> jpeg;
        encode(image, options, jpeg);
        return jpeg;
    }

    /// Into a vector, whose room is used; it holds the stream and nothing else afterwards.
    void encode(const Image& image, const Options& options, std::vector<std::uint8_t>& jpeg) {
        const Bytes stream = encodeToMemory(image, options);
        jpeg.assign(stream.begin(), stream.end());
    }

    /// Into memory of the caller's; how many bytes of it. Error with VELA_STATUS_WRITE where it is too short.
    std::size_t encode(const Image& image, const Options& options, std::span<std::uint8_t> room) {
        std::size_t used = 0;
        encode(image, options, [&](Bytes bytes) {
            if (bytes.size() > room.size() - used)
                throw Error(VELA_STATUS_WRITE, "the stream is longer than the " +
                                                   std::to_string(room.size()) + " bytes for it");
            for (const std::uint8_t byte : bytes)
                room[used++] = byte;
        });
        return used;
    }

    /// In the encoder's own memory, until its next call.
    Bytes encodeToMemory(const Image& image, const Options& options = {}) {
        const std::uint8_t* jpeg = nullptr;
        std::size_t size = 0;
        std::exception_ptr none;
        call(image, options, none, [&](const VelaImage& c, const VelaOptions& o) {
            return velaEncodeToMemory(encoder_.get(), &c, &o, &jpeg, &size);
        });
        return {jpeg, size};
    }

    /// Into a file, which appears when it is whole.
    void encodeToFile(const Image& image, const Options& options, const std::string& path) {
        std::exception_ptr none;
        call(image, options, none, [&](const VelaImage& c, const VelaOptions& o) {
            return velaEncodeToFile(encoder_.get(), &c, &o, path.c_str());
        });
    }

    /// The quality of the last picture; below the one asked for only because of maxBytes.
    std::int32_t qualityUsed() const { return velaQualityUsed(encoder_.get()); }

private:
    struct Reader {
        const RowReader& read;
        std::exception_ptr thrown;
    };

    template <class Call>
    void call(const Image& image, const Options& options, const std::exception_ptr& thrownBySink,
              const Call& encode) {
        VelaImage c = image.image_;
        Reader reader{image.reader_, nullptr};
        if (image.reader_) {
            c.readContext = &reader;
            c.readRows = [](void* context, std::int32_t firstRow, std::int32_t rowCount,
                            void* const plane[3], const std::ptrdiff_t stride[3]) {
                auto& self = *static_cast<Reader*>(context);
                void* const planes[3] = {plane[0], plane[1], plane[2]};
                const std::ptrdiff_t strides[3] = {stride[0], stride[1], stride[2]};
                try {
                    self.read(firstRow, rowCount, planes, strides);
                    return 0;
                } catch (...) {
                    self.thrown = std::current_exception();
                    return 1;
                }
            };
        }
        const VelaOptions o = options.c();
        const std::int32_t status = encode(c, o);
        if (reader.thrown)
            std::rethrow_exception(reader.thrown);
        if (thrownBySink)
            std::rethrow_exception(thrownBySink);
        if (status == ENC_STATUS_OK)
            return;
        const std::string_view text = velaErrorText(encoder_.get());
        throw Error(status, text.empty() ? velaStatusText(status) : std::string(text));
    }

    struct Delete {
        void operator()(VelaEncoder* encoder) const { velaEncoderDelete(encoder); }
    };
    std::unique_ptr<VelaEncoder, Delete> encoder_;
};

/// One picture, with an encoder of its own; a stream of pictures keeps one.
inline std::vector<std::uint8_t> encode(const Image& image, const Options& options = {}) {
    return Encoder().encode(image, options);
}

/// No stream of such a picture is longer; 0 where it would be refused.
inline std::size_t maxBytes(const Image& image, const Options& options = {}) {
    VelaImage c = image.image_;
    if (image.reader_)
        c.readRows = [](void*, std::int32_t, std::int32_t, void* const*, const std::ptrdiff_t*) {
            return 1;
        };
    const VelaOptions o = options.c();
    return velaMaxBytes(&c, &o);
}

} // namespace velajpeg

#endif
