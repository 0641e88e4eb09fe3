// Encodes a PPM with Vela JPEG, BGR 8-8-8 to 4:2:0 or grey, so many times, and prints the stream's bytes.
// The difference between two runs under an instruction counter is the encoding alone.
#include "bench/host_memory.h"
#include "once.h"
#include "vela/jpegenc.h"

namespace {

uint8_t* stream; // large enough for any
size_t streamBytes;

int32_t flush(uint8_t* start, uint32_t, int32_t usedBytes, uint32_t) {
    std::memcpy(stream + streamBytes, start, static_cast<size_t>(usedBytes));
    streamBytes += static_cast<size_t>(usedBytes);
    return usedBytes;
}

void encode(const OnceJob& job) {
    static uint8_t buffer[65536];
    Bitstream_JPEG output{buffer, sizeof buffer, nullptr, 0};
    Picture_JPEG picture{};
    picture.plane[0] = job.picture.pixels;
    picture.width = job.picture.width;
    picture.height = job.picture.height;
    picture.step[0] = job.grey ? job.picture.width : 3 * job.picture.width;
    picture.planeCount = 1;
    picture.componentCount = job.grey ? 1 : 3;
    picture.colorFormat = job.grey ? JPEG_CF_GRAY8 : JPEG_CF_BGR888;
    EncoderParams_JPEG params{};
    params.quality = static_cast<uint32_t>(job.quality);
    params.mode = job.progressive ? ENC_MODE_PROGRESSIVE : ENC_MODE_BASELINE;
    params.subsampling = ENC_SUBSAMPLE_420;
    params.bufferMode = ENC_BUFFER_INTEGRATED;
    params.flushContext = 1;
    const CallbackTable_JPEG callbacks{
        nullptr, bench::allocateBlock, bench::releaseBlock, bench::growBlock, flush, nullptr,
        nullptr};

    streamBytes = 0;
    EncoderState_JPEG* encoder = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &output, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &output, encoder);
    EncoderFree_JPEG(&encoder);
    if (status != ENC_STATUS_OK)
        onceDie("the encoder failed");
    flush(buffer, 0, static_cast<int32_t>(output.cursor - buffer), 0);
}

} // namespace

int main(int argc, char** argv) {
    const OnceJob job = readOnceJob(argc, argv);
    stream = static_cast<uint8_t*>(std::malloc(4 * job.picture.bytes + 65536));
    if (stream == nullptr)
        onceDie("not enough memory");
    for (int i = 0; i < job.repetitions; i++)
        encode(job);
    std::printf("%zu\n", streamBytes);
    return 0;
}
