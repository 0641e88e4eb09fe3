// Usage: encode_pairs FOLDER
// Encodes pictures in two ways each, as FOLDER/N-a.jpg and N-b.jpg, which a decoder must show alike: YUYV
// against the same samples in planes, progressive against baseline.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "vela/jpegenc.h"

namespace {

std::vector<uint8_t> jpeg;

void allocate(void** out, uint32_t size, uint32_t) {
    *out = std::aligned_alloc(64, (size + 63) / 64 * 64);
}
void release(void** block) {
    std::free(*block);
}
int32_t grow(void** block, uint32_t, uint32_t size) {
    *block = std::realloc(*block, size);
    return *block == nullptr;
}
int32_t flush(uint8_t* start, uint32_t, int32_t used, uint32_t) {
    jpeg.insert(jpeg.end(), start, start + used);
    return used;
}

struct Job {
    uint32_t format, subsampling, mode, restart;
};

void encode(const std::string& path, const Picture_JPEG& picture, const Job& job) {
    jpeg.clear();
    uint8_t buffer[4096];
    Bitstream_JPEG stream{buffer, sizeof buffer, nullptr, 0};
    const EncoderParams_JPEG params{
        80, job.restart, job.mode, job.subsampling, ENC_BUFFER_INTEGRATED, 1, 0};
    const CallbackTable_JPEG callbacks{nullptr, allocate, release, grow, flush, nullptr, nullptr};
    EncoderState_JPEG* state = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &state);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &stream, state);
    if (status != ENC_STATUS_OK) {
        std::fprintf(stderr, "format %u, mode %u: status %d\n", job.format, job.mode, status);
        std::exit(1);
    }
    jpeg.insert(jpeg.end(), stream.start, stream.cursor);
    EncoderFree_JPEG(&state);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    std::fwrite(jpeg.data(), 1, jpeg.size(), file);
    std::fclose(file);
}

/// Gradients with some noise, so that every scan has something to say.
std::vector<uint8_t> samples(int32_t width, int32_t height, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<uint8_t> plane(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (size_t i = 0; i < plane.size(); i++)
        plane[i] =
            static_cast<uint8_t>(30 + 3 * (i % static_cast<size_t>(width)) % 190 + random() % 30);
    return plane;
}

Picture_JPEG describe(uint32_t format, int32_t width, int32_t height, int32_t components) {
    Picture_JPEG picture{};
    picture.width = width;
    picture.height = height;
    picture.componentCount = components;
    picture.colorFormat = format;
    return picture;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    int number = 0;
    for (const auto& [width, height] : {std::pair{16, 8}, {2, 1}, {70, 50}, {96, 33}}) {
        std::vector<uint8_t> y = samples(width, height, 1);
        std::vector<uint8_t> chroma[2] = {samples(width / 2, height, 2),
                                          samples(width / 2, height, 3)};
        std::vector<uint8_t> pairs;
        for (size_t i = 0; i < y.size(); i++) {
            pairs.push_back(y[i]);
            pairs.push_back(chroma[i % 2][i / 2]);
        }
        Picture_JPEG planar = describe(JPEG_CF_YCBCR422_P3, width, height, 3);
        planar.planeCount = 3;
        Picture_JPEG packed = describe(JPEG_CF_YUYV, width, height, 3);
        Picture_JPEG grey = describe(JPEG_CF_GRAY8, width, height, 1);
        packed.planeCount = grey.planeCount = 1;
        planar.plane[0] = grey.plane[0] = y.data();
        planar.step[0] = grey.step[0] = width;
        for (int c = 0; c < 2; c++) {
            planar.plane[1 + c] = chroma[c].data();
            planar.step[1 + c] = width / 2;
        }
        packed.plane[0] = pairs.data();
        packed.step[0] = 2 * width;
        for (const uint32_t restart : {0u, 3u}) {
            const auto pair = [&](const Picture_JPEG& a, uint32_t modeA, const Picture_JPEG& b,
                                  uint32_t modeB) {
                const std::string path = std::string(argv[1]) + "/" + std::to_string(number++);
                encode(path + "-a.jpg", a, {a.colorFormat, ENC_SUBSAMPLE_422, modeA, restart});
                encode(path + "-b.jpg", b, {b.colorFormat, ENC_SUBSAMPLE_422, modeB, restart});
            };
            pair(planar, ENC_MODE_BASELINE, packed, ENC_MODE_BASELINE);
            pair(planar, ENC_MODE_BASELINE, packed, ENC_MODE_PROGRESSIVE);
            pair(planar, ENC_MODE_BASELINE, planar, ENC_MODE_PROGRESSIVE);
            pair(grey, ENC_MODE_BASELINE, grey, ENC_MODE_PROGRESSIVE);
        }
    }
    return 0;
}
