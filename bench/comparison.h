// Both encoders on the same samples, turn by turn.
#pragma once

#include <string>
#include <vector>

#include "bench/formats.h"

namespace vela {
struct RoutineTable;
}

namespace bench {

struct Row {
    std::string picture;
    std::string format;
    uint32_t quality;
    uint32_t mode; // ENC_MODE_*

    double ours, theirs; // megapixels per second, medians; theirs with the faster transform
    bool theirsFast;     // which is the fast one, not the accurate one
    double ratio;        // ours / theirs, the median over pairs of turns
    uint64_t ourBytes, theirBytes; // of the streams
    double ourPsnr, theirPsnr;     // in dB
    uint64_t encodeAllocations;    // calls of allocate and grow by one Encode_JPEG

    std::string name() const { return picture + " " + format + " q" + std::to_string(quality); }
};

const char* modeName(uint32_t mode);

/// How long one row may take.
struct Patience {
    int pairs = 7;         // of turns against each transform, at least
    double seconds = 0.25; // of measuring, at least
    double turn = 0.003;   // seconds of our encoder in one turn, at least
};

Row compare(const FormatPicture& picture, const std::string& pictureName, uint32_t quality,
            uint32_t mode, const vela::RoutineTable* instructionSet, const Patience& patience);

double geometricMean(const std::vector<double>& values);

} // namespace bench
