// What the command line asks for.
#ifndef VELA_CLI_OPTIONS_H
#define VELA_CLI_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "frame.h"

namespace cli {

struct Size {
    int32_t width, height; // in pixels
};

struct Options {
    std::string input, output; // "-" is standard input or output
    bool demo = false;         // then input is empty
    Size demoSize{640, 480};
    std::optional<Frame> raw; // the input holds this frame and nothing else
    uint32_t quality = 75;
    uint32_t subsampling = ENC_SUBSAMPLE_420;
    uint32_t restartInterval = 0; // in MCUs
    bool progressive = false;
    bool slice = false;
    int32_t bufferBytes = 65536; // of the output buffer
    bool quiet = false;
};

// Null when --help or --version was asked for and has been answered. Throws UsageError.
std::optional<Options> parseOptions(int argc, char** argv);

} // namespace cli

#endif
