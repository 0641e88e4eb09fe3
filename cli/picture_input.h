// From an input file to a picture that the library can take: in memory, or behind a slice source.
#ifndef VELA_CLI_PICTURE_INPUT_H
#define VELA_CLI_PICTURE_INPUT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "frame.h"
#include "input_file.h"
#include "options.h"
#include "slice_source.h"

namespace cli {

struct InputPicture {
    Picture_JPEG record;
    std::string formatName;             // as the summary names it
    std::unique_ptr<uint8_t[]> samples; // what record's planes point into
    std::optional<SliceSource> source;  // in slice mode; record's planes are then bands
};

InputPicture inMemory(LoadedFrame loaded, std::string formatName);

// Throws Failure, or UsageError where the options do not fit what the file turns out to be.
InputPicture readPicture(InputFile& file, const Options& options);

// Throws Failure if anything follows a raw frame on a pipe. To be called after encoding, when all
// of the frame has been read.
void requireEnd(InputFile& file, const Options& options);

} // namespace cli

#endif
