#include <cstdio>
#include <memory>

#include "bench/pictures.h"
#include "cli/failure.h"
#include "cli/input_file.h"
#include "cli/png_input.h"
#include "cli/pnm_header.h"

namespace bench {
namespace {

cli::LoadedFrame readPnm(cli::InputFile& file) {
    const cli::PnmHeader header = cli::readPnmHeader(file);
    const cli::PixelFormat& format =
        cli::pixelFormatOf(header.color ? JPEG_CF_BGR888 : JPEG_CF_GRAY8);
    cli::LoadedFrame loaded{cli::makeFrame(format, header.width, header.height), nullptr};
    const auto bytes = static_cast<size_t>(loaded.frame.bytes());
    loaded.samples = cli::allocateBytes(bytes);
    if (file.read(loaded.samples.get(), bytes) < bytes)
        throw cli::Failure("cannot read " + file.name() + ": " + file.whyShort());
    if (header.color)
        cli::swapRedAndBlue(loaded.samples.get(), bytes);
    return loaded;
}

/// The file's name without folders and extension.
std::string shortName(const std::string& path) {
    const std::string file = path.substr(path.rfind('/') + 1);
    return file.substr(0, file.rfind('.'));
}

} // namespace

SourcePicture readPicture(const std::string& path) {
    cli::InputFile file(path);
    const int first = file.getByte();
    if (first != 'P' && first != cli::kPngFirstByte)
        throw cli::Failure("cannot read " + path + ": not PNG, PPM or PGM");
    const cli::LoadedFrame loaded = first == 'P' ? readPnm(file) : cli::readPng(file);

    const cli::Frame& frame = loaded.frame;
    const size_t copies = frame.format->colorFormat == JPEG_CF_GRAY8 ? 3 : 1;
    SourcePicture picture{shortName(path), frame.width, frame.height, {}};
    picture.bgr.reserve(copies * static_cast<size_t>(frame.bytes()));
    for (size_t i = 0; i < frame.bytes(); i++)
        picture.bgr.insert(picture.bgr.end(), copies, loaded.samples[i]);
    return picture;
}

void writePpm(const SourcePicture& picture, const std::string& path) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::vector<uint8_t> rgb = picture.bgr;
    cli::swapRedAndBlue(rgb.data(), rgb.size());
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "wb"));
    if (!file || std::fprintf(file.get(), "P6\n%d %d\n255\n", picture.width, picture.height) < 0 ||
        std::fwrite(rgb.data(), 1, rgb.size(), file.get()) != rgb.size() ||
        std::fflush(file.get()) != 0)
        throw cli::Failure("cannot write " + path);
}

} // namespace bench
