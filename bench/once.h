// Shared by the two programs whose instructions are counted: encode one PPM so many times.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

struct OncePicture {
    int32_t width, height; // in pixels
    uint8_t* pixels;       // BGR, or luminance alone
    size_t bytes;
};

struct OnceJob {
    OncePicture picture;
    int quality;
    bool progressive, grey;
    int repetitions;
};

[[noreturn]] inline void onceDie(const char* why) {
    std::fprintf(stderr, "%s\n", why);
    std::exit(1);
}

inline OncePicture readOncePicture(const char* path) {
    std::FILE* const file = std::fopen(path, "rb");
    OncePicture picture{};
    if (file == nullptr ||
        std::fscanf(file, "P6 %d %d 255", &picture.width, &picture.height) != 2 ||
        std::fgetc(file) == EOF)
        onceDie("cannot read the picture: a PPM without comments is wanted");
    picture.bytes =
        size_t{3} * static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height);
    picture.pixels = static_cast<uint8_t*>(std::malloc(picture.bytes));
    if (picture.pixels == nullptr ||
        std::fread(picture.pixels, 1, picture.bytes, file) != picture.bytes)
        onceDie("cannot read the picture: truncated");
    std::fclose(file);
    for (size_t i = 0; i < picture.bytes; i += 3) {
        const uint8_t red = picture.pixels[i];
        picture.pixels[i] = picture.pixels[i + 2];
        picture.pixels[i + 2] = red;
    }
    return picture;
}

/// Leaves the luminance alone.
inline void makeGrey(OncePicture& picture) {
    picture.bytes /= 3;
    for (size_t i = 0; i < picture.bytes; i++) {
        const uint8_t* const bgr = picture.pixels + 3 * i;
        picture.pixels[i] = static_cast<uint8_t>((29 * bgr[0] + 150 * bgr[1] + 77 * bgr[2]) >> 8);
    }
}

/// PPM QUALITY baseline|progressive|grey REPETITIONS; grey is baseline, of the luminance alone.
inline OnceJob readOnceJob(int argc, char** argv) {
    if (argc < 5)
        onceDie("arguments: PPM QUALITY baseline|progressive|grey REPETITIONS");
    OnceJob job{readOncePicture(argv[1]), std::atoi(argv[2]),
                std::strcmp(argv[3], "progressive") == 0, std::strcmp(argv[3], "grey") == 0,
                std::atoi(argv[4])};
    if (job.grey)
        makeGrey(job.picture);
    return job;
}
