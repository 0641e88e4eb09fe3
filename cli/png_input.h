// PNG input through libpng.
#ifndef VELA_CLI_PNG_INPUT_H
#define VELA_CLI_PNG_INPUT_H

#include "frame.h"
#include "input_file.h"

namespace cli {

inline constexpr int kPngFirstByte = 0x89; // of the signature; no text and no PNM starts so

// Reads on after the first byte. Gray files come out as gray8, all others as bgr888. Throws
// Failure.
LoadedFrame readPng(InputFile& file);

} // namespace cli

#endif
