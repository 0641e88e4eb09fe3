// One run of the library: its callbacks, its three calls, and what its statuses mean to the user.
#ifndef VELA_CLI_ENCODE_JOB_H
#define VELA_CLI_ENCODE_JOB_H

#include <cstdint>

#include "output_file.h"
#include "slice_source.h"
#include "vela/jpegenc.h"

namespace cli {

class EncodeJob {
public:
    // source is null where the picture is in memory.
    EncodeJob(OutputFile& output, SliceSource* source);
    ~EncodeJob();
    EncodeJob(const EncodeJob&) = delete;
    EncodeJob& operator=(const EncodeJob&) = delete;

    // Sets params' buffer mode and handles itself. Throws Failure; output is then not to be kept.
    void run(EncoderParams_JPEG params, const Picture_JPEG& picture, int32_t bufferBytes);

private:
    friend struct Callbacks;

    OutputFile& output_;
    SliceSource* source_;
    uint32_t handle_;
};

} // namespace cli

#endif
