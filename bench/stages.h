// Where an encoding's time goes: in each stage's kernels, and in everything else.
#pragma once

#include <cstdint>
#include <string>

#include "bench/formats.h"

namespace vela {
struct RoutineTable;
}

namespace bench {

/// What Stages count: of the processor's time-stamp counter on x86, else nanoseconds.
extern const char* const kStageUnit;

/// Per 8 x 8 block of all components.
struct Stages {
    std::string picture, format, instructionSet;
    uint32_t quality;
    uint32_t mode; // ENC_MODE_*

    double conversion; // of whole MCUs
    double transform;  // and quantization
    double coding;     // and output; progressive: packing of AC coefficients, and their scans
    double rest;       // set-up, the walk, partial MCUs; progressive: DC

    double total() const { return conversion + transform + coding + rest; }
};

/// By what encodings without the last stage, the last two and all three take less; the least of some runs.
Stages measureStages(const FormatPicture& picture, const std::string& pictureName, uint32_t quality,
                     uint32_t mode, const vela::RoutineTable& routines);

} // namespace bench
