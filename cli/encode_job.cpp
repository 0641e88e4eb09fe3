#include "encode_job.h"

#include <algorithm>
#include <string>
#include <vector>

#include "failure.h"
#include "frame.h"
#include "host_memory.h"

namespace cli {
namespace {

// The library hands back 32-bit words, too small for a pointer: a job's handle is 1 + its place
// here.
std::vector<EncodeJob*> jobs;

uint32_t registerJob(EncodeJob* job) {
    const auto place = std::find(jobs.begin(), jobs.end(), nullptr);
    const auto index = place - jobs.begin();
    if (place == jobs.end())
        jobs.push_back(job);
    else
        *place = job;
    return uint32_t(index) + 1;
}

std::string explain(int32_t status, const EncoderParams_JPEG& params, int32_t bufferBytes) {
    switch (status) {
    case ENC_STATUS_NOMEM:
        return "not enough memory";
    case ENC_STATUS_BADARG:
        return params.bufferMode == ENC_BUFFER_SLICE
                   ? "the encoder refuses the frame, which --slice cannot reach by 32-bit seeks"
                   : "the encoder refuses the picture's size or layout";
    case ENC_STATUS_NOTSUPPORTED:
        return "this build does not support the format";
    case ENC_STATUS_OUTPUT_FULL:
        return "an output buffer of " + std::to_string(bufferBytes) + " bytes is too small";
    default:
        return "the encoder failed with status " + std::to_string(status);
    }
}

} // namespace

struct Callbacks {
    static EncodeJob& job(uint32_t handle) { return *jobs[handle - 1]; }

    static int32_t flush(uint8_t* start, uint32_t handle, int32_t usedBytes, uint32_t) {
        return job(handle).output_.write(start, size_t(usedBytes)) ? usedBytes : -1;
    }

    static int32_t seek(uint32_t handle, int32_t offset, uint32_t) {
        job(handle).source_->seek(offset);
        return 0;
    }

    static int32_t read(void** out, uint32_t, uint32_t count, uint32_t handle) {
        return job(handle).source_->read(static_cast<uint8_t*>(*out), count);
    }
};

EncodeJob::EncodeJob(OutputFile& output, SliceSource* source)
    : output_(output), source_(source), handle_(registerJob(this)) {}

EncodeJob::~EncodeJob() {
    jobs[handle_ - 1] = nullptr;
}

void EncodeJob::run(EncoderParams_JPEG params, const Picture_JPEG& picture, int32_t bufferBytes) {
    params.bufferMode = source_ ? ENC_BUFFER_SLICE : ENC_BUFFER_INTEGRATED;
    params.flushContext = handle_;
    params.sourceHandle = source_ ? handle_ : 0;
    const CallbackTable_JPEG callbacks{nullptr,          allocateBlock,   releaseBlock,   growBlock,
                                       Callbacks::flush, Callbacks::seek, Callbacks::read};
    const auto buffer = allocateBytes(uint64_t(bufferBytes));
    Bitstream_JPEG stream{buffer.get(), bufferBytes, nullptr, 0};

    EncoderState_JPEG* encoder = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &stream, encoder);
    EncoderFree_JPEG(&encoder);

    // A callback's failure is the reason for the status, or has gone unnoticed.
    if (source_)
        source_->throwIfFailed();
    output_.throwIfFailed();
    if (status != ENC_STATUS_OK)
        throw Failure("cannot encode " + output_.name() + ": " +
                      explain(status, params, bufferBytes));
    output_.write(stream.start, size_t(stream.cursor - stream.start));
}

} // namespace cli
