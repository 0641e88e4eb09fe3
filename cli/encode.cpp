#include "cli/encode.h"

#include <unistd.h>

#include <new>

#include "cli/failure.h"

namespace cli {

InputEncoder::InputEncoder(const Options& options, Report& report)
    : options_(options), report_(report), encoder_(velaEncoderNew()) {
    if (!encoder_)
        throw std::bad_alloc();
}

std::unique_ptr<PictureSource> InputEncoder::open(const std::string& input) const {
    return input.empty() ? demoPicture(options_.reading.size)
                         : openPictures(input, options_.reading);
}

void InputEncoder::encode(const std::string& input, const std::string& target) {
    const std::string* const file = input.empty() ? nullptr : &input;
    const bool counts = options_.outDir.empty() && !countedName(target, 1).empty();
    const auto nextTarget = [&] { return counts ? countedName(target, counted_ + 1) : target; };
    const auto exists = [&](const std::string& path) {
        return options_.noClobber && path != "-" && isThere(access(path.c_str(), F_OK), path);
    };
    if (!counts && exists(target)) {
        report_.skipped(target);
        return;
    }
    const std::unique_ptr<PictureSource> source = open(input);
    while (source->next()) {
        const std::string path = nextTarget();
        if (exists(path)) {
            counted_++;
            report_.skipped(path);
            source->load(); // its rows are passed over
            continue;
        }
        OutputFile output(path, file);
        const Facts facts = encodePicture(*source, input, output);
        if (!counts && source->next())
            throw Failure("cannot write " + output.name() + ": " + input +
                          " holds more than one picture; name a file for each, such as f%03d.jpg, "
                          "or give --mjpeg");
        output.commit(options_.sync);
        counted_++;
        report_.encoded(facts);
        if (!counts)
            return;
    }
}

void InputEncoder::encode(const std::string& input, OutputFile& stream) {
    const std::unique_ptr<PictureSource> source = open(input);
    while (source->next())
        report_.encoded(encodePicture(*source, input, stream));
}

namespace {

/// Of YCbCr formats; VELA_SUBSAMPLING_AUTO of others.
VelaSubsampling ownSubsampling(VelaFormat format) {
    switch (format) {
    case VELA_FORMAT_I444:
        return VELA_SUBSAMPLING_444;
    case VELA_FORMAT_I420:
    case VELA_FORMAT_YV12:
    case VELA_FORMAT_NV12:
    case VELA_FORMAT_NV21:
        return VELA_SUBSAMPLING_420;
    default:
        return format >= VELA_FORMAT_I420 ? VELA_SUBSAMPLING_422 : VELA_SUBSAMPLING_AUTO;
    }
}

} // namespace

VelaOptions InputEncoder::optionsFor(const PictureSource& source) const {
    VelaOptions options = options_.encoding;
    const Metadata& brought = source.metadata();
    const bool takes = !options_.strip;
    const std::vector<uint8_t>& exif = !options_.exif.empty() ? options_.exif : brought.exif;
    const std::vector<uint8_t>& icc = !options_.icc.empty() ? options_.icc : brought.icc;
    if (!exif.empty() && options.orientation == 0 && (takes || !options_.exif.empty())) {
        options.exif = exif.data();
        options.exifSize = exif.size();
    }
    if (!icc.empty() && (takes || !options_.icc.empty())) {
        options.icc = icc.data();
        options.iccSize = icc.size();
    }
    if (options.xDensity == 0 && takes) {
        options.densityUnits = brought.densityUnits;
        options.xDensity = brought.xDensity;
        options.yDensity = brought.yDensity;
    }
    options.comment = options_.comment.c_str();
    const VelaSubsampling own = ownSubsampling(source.image().format);
    if (own != VELA_SUBSAMPLING_AUTO && options.subsampling != VELA_SUBSAMPLING_AUTO &&
        options.subsampling != own)
        throw UsageError("--subsampling: " + source.formatName() + " brings its own");
    return options;
}

Facts InputEncoder::encodePicture(PictureSource& source, const std::string& input,
                                  OutputFile& output) {
    const VelaOptions options = optionsFor(source);
    const uint64_t before = output.bytesWritten();
    const Clock::time_point start = Clock::now();
    if (options.maxBytes > 0) // several encodings need the rows several times
        source.load();
    const VelaImage& image = source.image();
    const int32_t status = velaEncode(
        encoder_.get(), &image, &options,
        [](void* context, const void* bytes, size_t count) {
            return static_cast<OutputFile*>(context)->write(bytes, count) ? 0 : 1;
        },
        &output);
    if (status == VELA_STATUS_READ)
        source.throwIfFailed();
    output.throwIfFailed();
    if (status == VELA_STATUS_TOO_LARGE)
        throw Failure("cannot encode " + (input.empty() ? source.formatName() : input) +
                      ": no quality gives a file of " + std::to_string(options.maxBytes) +
                      " bytes or less");
    if (status == ENC_STATUS_NOMEM &&
        !std::string_view(velaErrorText(encoder_.get())).starts_with("threads"))
        throw std::bad_alloc();
    if (status != ENC_STATUS_OK)
        throw Failure("cannot encode " + (input.empty() ? source.formatName() : input) + ": " +
                      velaErrorText(encoder_.get()));
    const VelaSubsampling own = ownSubsampling(image.format);
    return {input.empty() ? "demo" : input,
            output.name(),
            source.formatName(),
            image.width,
            image.height,
            image.format == VELA_FORMAT_GRAY8,
            options.progressive != 0,
            own != VELA_SUBSAMPLING_AUTO                   ? own
            : options.subsampling == VELA_SUBSAMPLING_AUTO ? VELA_SUBSAMPLING_420
                                                           : options.subsampling,
            velaQualityUsed(encoder_.get()),
            output.bytesWritten() - before,
            Clock::now() - start};
}

} // namespace cli
