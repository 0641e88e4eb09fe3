#include "png_input.h"

#include <png.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "failure.h"

namespace cli {
namespace {

constexpr size_t kMaxFileBytes = size_t(1) << 30;
constexpr size_t kSignature = 8; // bytes

[[noreturn]] void refuse(const InputFile& file, const std::string& why) {
    throw Failure("cannot read " + file.name() + ": " + why);
}

// Whole, because a pipe cannot be read twice and libpng wants the signature again.
std::vector<uint8_t> readFile(InputFile& file) {
    std::vector<uint8_t> bytes{kPngFirstByte};
    for (size_t used = bytes.size(), got = 1; got > 0; used += got) {
        if (used > kMaxFileBytes)
            refuse(file, "larger than a PNG file may be here, 1 GiB");
        bytes.resize(used * 2 + 4096);
        got = file.read(bytes.data() + used, bytes.size() - used);
        if (got < bytes.size() - used)
            bytes.resize(used + got);
    }
    return bytes;
}

// libpng stops at the last row, whatever is missing after it. A chunk is length, type, data, CRC.
bool hasAllChunks(const std::vector<uint8_t>& bytes) {
    constexpr size_t kChunkFrame = 12;
    size_t at = kSignature;
    while (at + kChunkFrame <= bytes.size()) {
        const uint8_t* chunk = bytes.data() + at;
        const size_t length = size_t(chunk[0]) << 24 | size_t(chunk[1]) << 16 |
                              size_t(chunk[2]) << 8 | size_t(chunk[3]);
        if (length > bytes.size() - at - kChunkFrame)
            return false;
        if (std::memcmp(chunk + 4, "IEND", 4) == 0)
            return true;
        at += kChunkFrame + length;
    }
    return false;
}

struct FreeImage {
    void operator()(png_image* image) const { png_image_free(image); }
};

} // namespace

LoadedFrame readPng(InputFile& file) {
    const std::vector<uint8_t> bytes = readFile(file);
    if (bytes.size() < kSignature || png_sig_cmp(bytes.data(), 0, kSignature) != 0)
        refuse(file, "not a PNG file");
    if (!hasAllChunks(bytes))
        refuse(file, file.whyShort());
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, FreeImage> freeImage(&image);
    if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()))
        refuse(file, std::string("libpng: ") + image.message);
    if (image.width > uint32_t(kMaxSide) || image.height > uint32_t(kMaxSide))
        refuse(file, "width and height must be at most " + std::to_string(kMaxSide));

    const bool color = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
    image.format = color ? PNG_FORMAT_BGR : PNG_FORMAT_GRAY;
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB; // as nearly all 16-bit files are meant
    const PixelFormat& format = pixelFormatOf(color ? JPEG_CF_BGR888 : JPEG_CF_GRAY8);
    LoadedFrame loaded{makeFrame(format, int32_t(image.width), int32_t(image.height)), nullptr};
    loaded.samples = allocateBytes(loaded.frame.bytes());
    const png_color white{255, 255, 255};
    if (!png_image_finish_read(&image, &white, loaded.samples.get(), loaded.frame.planes[0].step,
                               nullptr))
        refuse(file, std::string("libpng: ") + image.message);
    return loaded;
}

} // namespace cli
