#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "bench/pictures.h"
#include "cli/failure.h"
#include "cli/input/picture_source.h"

namespace bench {
namespace {

/// The file's name without folders and extension.
std::string shortName(const std::string& path) {
    const std::string file = path.substr(path.rfind('/') + 1);
    return file.substr(0, file.rfind('.'));
}

void swapRedAndBlue(std::vector<uint8_t>& pixels) {
    for (size_t i = 0; i + 2 < pixels.size(); i += 3)
        std::swap(pixels[i], pixels[i + 2]);
}

} // namespace

SourcePicture readPicture(const std::string& path) {
    const std::unique_ptr<cli::PictureSource> source = cli::openPictures(path, {});
    source->next();
    source->load();
    const VelaImage& image = source->image();
    if (image.format != VELA_FORMAT_RGB24 && image.format != VELA_FORMAT_GRAY8)
        throw cli::Failure("cannot read " + path + ": not PNG, PPM or PGM");

    const bool grey = image.format == VELA_FORMAT_GRAY8;
    const auto* const samples = static_cast<const uint8_t*>(image.plane[0]);
    const size_t pixels = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
    SourcePicture picture{shortName(path), image.width, image.height, {}};
    picture.bgr.reserve(3 * pixels);
    for (size_t i = 0; i < pixels * (grey ? 1 : 3); i++)
        picture.bgr.insert(picture.bgr.end(), grey ? 3 : 1, samples[i]);
    swapRedAndBlue(picture.bgr);
    return picture;
}

SourcePicture middleOf(const SourcePicture& picture, int32_t width, int32_t height) {
    SourcePicture middle{picture.name + " " + std::to_string(width) + "x" + std::to_string(height),
                         std::min(width, picture.width),
                         std::min(height, picture.height),
                         {}};
    const int32_t left = (picture.width - middle.width) / 2;
    const int32_t top = (picture.height - middle.height) / 2;
    for (int32_t y = top; y < top + middle.height; y++) {
        const auto* const row =
            &picture.bgr[3 * (static_cast<size_t>(y) * static_cast<size_t>(picture.width) +
                              static_cast<size_t>(left))];
        middle.bgr.insert(middle.bgr.end(), row, row + ptrdiff_t{3} * middle.width);
    }
    return middle;
}

void writePpm(const SourcePicture& picture, const std::string& path) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::vector<uint8_t> rgb = picture.bgr;
    swapRedAndBlue(rgb);
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "wb"));
    if (!file || std::fprintf(file.get(), "P6\n%d %d\n255\n", picture.width, picture.height) < 0 ||
        std::fwrite(rgb.data(), 1, rgb.size(), file.get()) != rgb.size() ||
        std::fflush(file.get()) != 0)
        throw cli::Failure("cannot write " + path);
}

} // namespace bench
