// What stands behind the library's read and seek callbacks in slice mode: the rows of a frame, from
// the file's current position on.
#ifndef VELA_CLI_SLICE_SOURCE_H
#define VELA_CLI_SLICE_SOURCE_H

#include <cstdint>
#include <string>

#include "input_file.h"

namespace cli {

class SliceSource {
public:
    SliceSource(InputFile& file, bool redFirst) : file_(file), redFirst_(redFirst) {}

    // As the callbacks of the same names. They may not throw across the library, and the library
    // does not look at every result, so the first thing that went wrong is kept.
    int32_t read(uint8_t* out, uint32_t count);
    void seek(int32_t offset);

    void throwIfFailed() const;

private:
    InputFile& file_;
    bool redFirst_; // pixels lie as R, G, B where the library takes B, G, R
    std::string whyFailed_;
};

} // namespace cli

#endif
