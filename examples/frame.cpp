// From C++: an NV12 camera frame, progressive, into a vector, written as frame.jpg.
#include <fstream>
#include <iostream>
#include <new>
#include <vector>

#include <vela/jpegenc.h>

#include "host_memory.h"

using Bytes = std::vector<uint8_t>;

// The job under way on this thread; the handle is not needed then, but 0 would mean "no flush".
thread_local Bytes* output;

int32_t flush(uint8_t* start, uint32_t, int32_t usedBytes, uint32_t) {
    try {
        output->insert(output->end(), start, start + usedBytes);
        return usedBytes;
    } catch (const std::bad_alloc&) { // nothing may be thrown through the library
        return -1;
    }
}

int32_t encode(const Picture_JPEG& picture, Bytes& jpeg) {
    EncoderParams_JPEG params{};
    params.quality = 75;
    params.mode = ENC_MODE_PROGRESSIVE;
    params.subsampling = ENC_SUBSAMPLE_420;
    params.bufferMode = ENC_BUFFER_INTEGRATED;
    params.flushContext = 1;
    CallbackTable_JPEG callbacks{};
    callbacks.allocate = hostAllocate;
    callbacks.release = hostRelease;
    callbacks.grow = hostGrow;
    callbacks.flush = flush;
    uint8_t buffer[4096];
    Bitstream_JPEG stream{buffer, sizeof buffer, nullptr, 0};

    output = &jpeg;
    EncoderState_JPEG* encoder = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &stream, encoder);
    EncoderFree_JPEG(&encoder);
    if (status == ENC_STATUS_OK)
        jpeg.insert(jpeg.end(), stream.start, stream.cursor);
    return status;
}

int main() {
    constexpr int32_t width = 320, height = 240;
    Bytes luma(width * height), chroma(width * height / 2);
    for (size_t i = 0; i < luma.size(); i++)
        luma[i] = static_cast<uint8_t>(i % width * 255 / width);
    for (size_t i = 0; i < chroma.size(); i++)
        chroma[i] = i % 2 != 0 ? 90 : 150;
    Picture_JPEG picture{};
    picture.plane[0] = luma.data();
    picture.plane[1] = chroma.data();
    picture.width = picture.step[0] = picture.step[1] = width;
    picture.height = height;
    picture.planeCount = 2;
    picture.componentCount = 3;
    picture.colorFormat = JPEG_CF_NV12;

    Bytes jpeg;
    if (const int32_t status = encode(picture, jpeg); status != ENC_STATUS_OK) {
        std::cerr << "status " << status << '\n';
        return EXIT_FAILURE;
    }
    std::ofstream file("frame.jpg", std::ios::binary);
    file.write(reinterpret_cast<const char*>(jpeg.data()),
               static_cast<std::streamsize>(jpeg.size()));
    return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
