#include "picture_input.h"

#include <utility>

#include "failure.h"
#include "png_input.h"
#include "pnm_header.h"

namespace cli {
namespace {

bool endsWith(const std::string& name, const std::string& extension) {
    return name.size() >= extension.size() &&
           name.compare(name.size() - extension.size(), extension.size(), extension) == 0;
}

// For the files whose content says nothing, the name may still tell what they should have been.
Failure unrecognised(const InputFile& file) {
    std::string why = "not PNG, PPM or PGM; a raw frame needs --raw and --size";
    if (endsWith(file.name(), ".png"))
        why = "not a PNG file";
    if (endsWith(file.name(), ".ppm") || endsWith(file.name(), ".pgm"))
        why = "not a binary PPM (P6) or PGM (P5) file";
    return Failure("cannot read " + file.name() + ": " + why);
}

// Finds out about a wrong length before anything is encoded, where the file has a length.
void requireLength(const InputFile& file, const Frame& frame, bool nothingFollows) {
    const auto left = file.bytesLeft();
    if (!left)
        return;
    const std::string counts =
        std::to_string(frame.bytes()) + " bytes expected, " + std::to_string(*left) + " found";
    if (*left < frame.bytes())
        throw Failure("cannot read " + file.name() + ": truncated, " + counts);
    if (*left > frame.bytes() && nothingFollows)
        throw Failure("cannot read " + file.name() + ": longer than the raw frame, " + counts);
}

void requireSliceOrder(const InputFile& file, const Frame& frame) {
    if (!file.canSeek() && (frame.format->planeCount > 1 || frame.planes[0].step < 0))
        throw Failure("cannot read " + file.name() +
                      ": --slice reads its rows out of order, which a pipe cannot do");
}

LoadedFrame load(InputFile& file, const Frame& frame, bool redFirst) {
    LoadedFrame loaded{frame, allocateBytes(frame.bytes())};
    const size_t count = size_t(frame.bytes());
    if (file.read(loaded.samples.get(), count) < count)
        throw Failure("cannot read " + file.name() + ": " + file.whyShort());
    if (redFirst)
        swapRedAndBlue(loaded.samples.get(), count);
    return loaded;
}

struct RowsInput {
    Frame frame;
    std::string formatName;
    bool redFirst;
    bool nothingFollows;
};

InputPicture readRows(InputFile& file, RowsInput input, bool slice) {
    const Frame& frame = input.frame;
    requireLength(file, frame, input.nothingFollows);
    if (!slice)
        return inMemory(load(file, frame, input.redFirst), std::move(input.formatName));
    requireSliceOrder(file, frame);
    auto bands = allocateBytes(bandBytes(frame));
    return {describeInBands(frame, bands.get()), std::move(input.formatName), std::move(bands),
            SliceSource(file, input.redFirst)};
}

RowsInput pnmInput(const PnmHeader& header) {
    const PixelFormat& format = pixelFormatOf(header.color ? JPEG_CF_BGR888 : JPEG_CF_GRAY8);
    return {makeFrame(format, header.width, header.height), header.color ? "PPM" : "PGM",
            header.color, false};
}

} // namespace

InputPicture inMemory(LoadedFrame loaded, std::string formatName) {
    const Picture_JPEG record = describeInMemory(loaded.frame, loaded.samples.get());
    return {record, std::move(formatName), std::move(loaded.samples), std::nullopt};
}

InputPicture readPicture(InputFile& file, const Options& options) {
    if (options.raw)
        return readRows(file, {*options.raw, std::string(options.raw->format->name), false, true},
                        options.slice);
    const int first = file.getByte();
    if (first == 'P')
        return readRows(file, pnmInput(readPnmHeader(file)), options.slice);
    if (first == kPngFirstByte && options.slice)
        throw UsageError("--slice takes raw, PPM and PGM input; " + file.name() +
                         " is a PNG, which is decoded whole");
    if (first == kPngFirstByte)
        return inMemory(readPng(file), "PNG");
    if (first == EOF)
        throw Failure("cannot read " + file.name() + ": " + file.whyShort());
    throw unrecognised(file);
}

void requireEnd(InputFile& file, const Options& options) {
    if (options.raw && !file.canSeek() && file.getByte() != EOF)
        throw Failure("cannot read " + file.name() + ": longer than the raw frame, " +
                      std::to_string(options.raw->bytes()) + " bytes expected");
}

} // namespace cli
