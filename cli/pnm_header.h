// The header of binary PPM and PGM files.
#ifndef VELA_CLI_PNM_HEADER_H
#define VELA_CLI_PNM_HEADER_H

#include <cstdint>

#include "input_file.h"

namespace cli {

struct PnmHeader {
    bool color; // R, G, B bytes; else one gray byte per pixel
    int32_t width, height;
};

// Reads on after the initial 'P', up to the first sample. Throws Failure.
PnmHeader readPnmHeader(InputFile& file);

} // namespace cli

#endif
