// The encodings whose streams and calls are written down in sums.txt.
#pragma once

#include <string>
#include <vector>

#include "support/host.h"

namespace test {

struct Configuration {
    const Format* format;
    uint32_t mode;
    uint32_t bufferMode;
    int width;
    int height;
    Content content;
    uint32_t quality;
    uint32_t restart; // MCUs
    int32_t outputBytes;
    Flush flush;
    int padding;
    bool bottomUp;

    std::string name() const;
};

/// Every format in both modes and both buffer modes, each with several sizes, qualities, restart
/// intervals, output buffers and ways to flush.
std::vector<Configuration> goldenConfigurations();

/// One line of sums.txt: the configuration, the status, the stream's length and checksum, the number of
/// calls and the checksum of their sequence.
std::string goldenLine(const Configuration& configuration, const vela::RoutineTable* routines);

} // namespace test
