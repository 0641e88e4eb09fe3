#include "frame.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include "failure.h"

namespace cli {

const std::array<PixelFormat, 9> kPixelFormats{{
    {"bgr888", JPEG_CF_BGR888, 1, 3, 3, 0, 1, 1, std::nullopt},
    {"bgr555", JPEG_CF_BGR555, 1, 3, 2, 0, 1, 1, std::nullopt},
    {"bgr565", JPEG_CF_BGR565, 1, 3, 2, 0, 1, 1, std::nullopt},
    {"yuv444p", JPEG_CF_YCBCR444_P3, 3, 3, 1, 1, 1, 1, ENC_SUBSAMPLE_444},
    {"yuv422p", JPEG_CF_YCBCR422_P3, 3, 3, 1, 1, 2, 1, ENC_SUBSAMPLE_422},
    {"yuv420p", JPEG_CF_YCBCR411_P3, 3, 3, 1, 1, 2, 2, ENC_SUBSAMPLE_420},
    {"gray8", JPEG_CF_GRAY8, 1, 1, 1, 0, 1, 1, std::nullopt},
    {"nv12", JPEG_CF_NV12, 2, 3, 1, 2, 2, 2, ENC_SUBSAMPLE_420},
    {"nv21", JPEG_CF_NV21, 2, 3, 1, 2, 2, 2, ENC_SUBSAMPLE_420},
}};

const PixelFormat* findPixelFormat(std::string_view name) {
    const auto found = std::find_if(kPixelFormats.begin(), kPixelFormats.end(),
                                    [&](const PixelFormat& format) { return format.name == name; });
    return found == kPixelFormats.end() ? nullptr : &*found;
}

const PixelFormat& pixelFormatOf(uint32_t colorFormat) {
    return *std::find_if(
        kPixelFormats.begin(), kPixelFormats.end(),
        [&](const PixelFormat& format) { return format.colorFormat == colorFormat; });
}

uint64_t Frame::bytes() const {
    uint64_t sum = 0;
    for (size_t i = 0; i < format->planeCount; i++)
        sum += planes[i].bytes();
    return sum;
}

namespace {

// Rounded up: an odd row ends in half a chroma sample.
int32_t chromaStepFor(const PixelFormat& format, int32_t lumaStep) {
    return (lumaStep + format.chromaAcross - 1) / format.chromaAcross * format.chromaBytes;
}

void requireStep(const Plane& plane, size_t index, const PixelFormat& format) {
    const std::string name(format.name);
    if (plane.step < 0 && format.planeCount > 1)
        throw UsageError("--step: rows of " + name + " cannot be stored bottom-up");
    if (plane.stepBytes() < plane.rowBytes || plane.stepBytes() > kMaxStep)
        throw UsageError("--step: " + std::to_string(plane.step) + " for plane " +
                         std::to_string(index) + " of " + name + " is outside " +
                         std::to_string(plane.rowBytes) + ".." + std::to_string(kMaxStep));
}

} // namespace

Frame makeFrame(const PixelFormat& format, int32_t width, int32_t height,
                const std::vector<int32_t>& steps) {
    if (steps.size() > format.planeCount)
        throw UsageError("--step: " + std::to_string(steps.size()) + " steps given, but " +
                         std::string(format.name) + " has " + std::to_string(format.planeCount) +
                         " plane(s)");
    Frame frame{&format, width, height, {}};
    for (size_t i = 0; i < format.planeCount; i++) {
        Plane& plane = frame.planes[i];
        if (i == 0)
            plane = {width * format.bytesPerPixel, height, width * format.bytesPerPixel};
        else
            plane = {chromaStepFor(format, width),
                     (height + format.chromaDown - 1) / format.chromaDown,
                     chromaStepFor(format, frame.planes[0].step)};
        if (i < steps.size())
            plane.step = steps[i];
        requireStep(plane, i, format);
    }
    return frame;
}

void requireSliceLayout(const Frame& frame) {
    const PixelFormat& format = *frame.format;
    const int32_t shared = frame.planes[0].step * format.chromaBytes;
    for (size_t i = 1; i < format.planeCount; i++)
        if (shared % format.chromaAcross != 0 ||
            frame.planes[i].step != shared / format.chromaAcross)
            throw UsageError("--slice: " + std::string(format.name) + " needs " +
                             (format.chromaBytes == format.chromaAcross
                                  ? "chroma rows as long as the luma rows"
                                  : "an even luma step and chroma rows of half that") +
                             "; set --step to how the frame lies, or leave out --slice");
}

namespace {

// All but where the planes are.
Picture_JPEG describe(const Frame& frame) {
    Picture_JPEG picture{};
    picture.width = frame.width;
    picture.height = frame.height;
    picture.planeCount = int32_t(frame.format->planeCount);
    picture.componentCount = frame.format->componentCount;
    picture.colorFormat = frame.format->colorFormat;
    for (size_t i = 0; i < frame.format->planeCount; i++)
        picture.step[i] = frame.planes[i].step;
    return picture;
}

size_t bandBytesOf(const Frame& frame, size_t plane) {
    const size_t rows = plane == 0 ? 16 : 8; // the tallest MCU row
    return rows * size_t(frame.planes[plane].stepBytes());
}

} // namespace

Picture_JPEG describeInMemory(const Frame& frame, uint8_t* samples) {
    Picture_JPEG picture = describe(frame);
    for (size_t i = 0; i < frame.format->planeCount; i++) {
        const Plane& plane = frame.planes[i];
        const bool bottomUp = plane.step < 0;
        picture.plane[i] = samples + (bottomUp ? plane.bytes() - uint64_t(plane.stepBytes()) : 0);
        samples += plane.bytes();
    }
    return picture;
}

Picture_JPEG describeInBands(const Frame& frame, uint8_t* bands) {
    Picture_JPEG picture = describe(frame);
    for (size_t i = 0; i < frame.format->planeCount; i++) {
        picture.plane[i] = bands;
        bands += bandBytesOf(frame, i);
    }
    return picture;
}

size_t bandBytes(const Frame& frame) {
    size_t sum = 0;
    for (size_t i = 0; i < frame.format->planeCount; i++)
        sum += bandBytesOf(frame, i);
    return sum;
}

std::unique_ptr<uint8_t[]> allocateBytes(uint64_t count) {
    if (count > uint64_t(std::numeric_limits<ptrdiff_t>::max()))
        throw std::bad_alloc();
    return std::make_unique_for_overwrite<uint8_t[]>(size_t(count));
}

void swapRedAndBlue(uint8_t* pixels, size_t bytes) {
    for (size_t i = 0; i + 2 < bytes; i += 3)
        std::swap(pixels[i], pixels[i + 2]);
}

} // namespace cli
