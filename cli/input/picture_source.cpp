#include "cli/input/picture_source.h"

#include <utility>

#include "cli/failure.h"

namespace cli {

void PictureSource::setRows(VelaFormat format, int32_t width, int32_t height) {
    image_ = {};
    image_.format = format;
    image_.width = width;
    image_.height = height;
    image_.readRows = readRows;
    image_.readContext = this;
    failure_ = nullptr;
}

void PictureSource::readRow(uint8_t*) {
    std::abort(); // of a source that has called setRows, and has none
}

int PictureSource::readRows(void* context, int32_t, int32_t rowCount, void* const plane[3],
                            const ptrdiff_t stride[3]) noexcept {
    auto& source = *static_cast<PictureSource*>(context);
    try {
        for (int32_t y = 0; y < rowCount; y++)
            source.readRow(static_cast<uint8_t*>(plane[0]) + y * stride[0]);
        return 0;
    } catch (...) { // may not pass through the library; throwIfFailed throws it on
        source.failure_ = std::current_exception();
        return 1;
    }
}

void PictureSource::load() {
    if (image_.readRows == nullptr)
        return;
    const size_t pixelBytes =
        image_.format == VELA_FORMAT_RGB24 || image_.format == VELA_FORMAT_BGR24 ? 3
        : image_.format == VELA_FORMAT_GRAY8                                     ? 1
        : image_.format >= VELA_FORMAT_RGB565                                    ? 2
                                                                                 : 4;
    size_t rowBytes = pixelBytes * size_t(image_.width);
    if (image_.format >= VELA_FORMAT_YUYV)
        rowBytes = 2 * ((size_t(image_.width) + 1) / 2 * 2);
    loaded_.resize(rowBytes * size_t(image_.height));
    for (size_t y = 0; y < size_t(image_.height); y++)
        readRow(loaded_.data() + y * rowBytes);
    image_.plane[0] = loaded_.data();
    image_.readRows = nullptr;
}

void PictureSource::throwIfFailed() const {
    if (failure_)
        std::rethrow_exception(failure_);
}

void PictureSource::requireSize(const InputFile& file, int64_t width, int64_t height,
                                uint64_t maxPixels) const {
    constexpr int64_t kMaxSide = 65535; // what a JPEG's frame header holds
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    if (width < 1 || width > kMaxSide || height < 1 || height > kMaxSide)
        throw Failure("cannot read " + file.name() + ": it has " + size +
                      " pixels; width and height must be 1 to " + std::to_string(kMaxSide));
    if (uint64_t(width * height) > maxPixels)
        throw Failure("cannot read " + file.name() + ": it has " + size +
                      " pixels, above --max-pixels " + std::to_string(maxPixels));
}

namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.starts_with(start);
}

/// The name of another kind of file that begins so; null where none is known.
const char* otherKind(const std::string& start) {
    if (startsWith(start, "\xFF\xD8\xFF"))
        return "a JPEG already";
    if (start.substr(0, 4) == std::string("II*\0", 4) ||
        start.substr(0, 4) == std::string("MM\0*", 4))
        return "a TIFF file";
    if (startsWith(start, "BM"))
        return "a BMP file";
    if (startsWith(start, "GIF8"))
        return "a GIF file";
    if (start.size() >= 12 && startsWith(start, "RIFF") && start.substr(8, 4) == "WEBP")
        return "a WebP file";
    if (start.size() >= 12 && start.substr(4, 4) == "ftyp") {
        const std::string brand = start.substr(8, 4);
        if (brand == "avif" || brand == "avis")
            return "an AVIF file";
        if (brand == "heic" || brand == "heix" || brand == "mif1" || brand == "hevc" ||
            brand == "heif")
            return "a HEIF file";
        return "an MP4 file";
    }
    return nullptr;
}

Failure notRead(const InputFile& file, const std::string& why) {
    return Failure("cannot read " + file.name() + ": " + why);
}

} // namespace

std::unique_ptr<PictureSource> openPictures(const std::string& path,
                                            const InputSettings& settings) {
    InputFile file(path);
    if (settings.raw)
        return openRaw(std::move(file), settings);
    const std::string start = file.peek(12);
    if (start.empty())
        throw notRead(file, file.failed() ? file.whyShort() : "empty");
    if (startsWith(start, "\x89PNG"))
        return openPng(std::move(file), settings);
    if (startsWith(start, "YUV4MPEG2"))
        return openY4m(std::move(file), settings);
    if (start[0] == 'P' && start.size() > 1 && start[1] >= '1' && start[1] <= '7')
        return openPnm(std::move(file), settings);
    if (const char* const other = otherKind(start))
        throw notRead(file, std::string("it is ") + other +
                                "; PNG, PNM, PAM, Y4M and raw frames are read");
    throw notRead(file, "not PNG, PNM, PAM or Y4M; raw frames need --raw and --size");
}

} // namespace cli
