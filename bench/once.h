// Shared by the two programs whose instructions are counted: encode one PPM so many times.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

struct OncePicture {
    int32_t width, height; // in pixels
    uint8_t* bgr;
    size_t bytes;
};

struct OnceJob {
    OncePicture picture;
    int quality;
    bool progressive;
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
    picture.bgr = static_cast<uint8_t*>(std::malloc(picture.bytes));
    if (picture.bgr == nullptr || std::fread(picture.bgr, 1, picture.bytes, file) != picture.bytes)
        onceDie("cannot read the picture: truncated");
    std::fclose(file);
    for (size_t i = 0; i < picture.bytes; i += 3) {
        const uint8_t red = picture.bgr[i];
        picture.bgr[i] = picture.bgr[i + 2];
        picture.bgr[i + 2] = red;
    }
    return picture;
}

/// PPM QUALITY baseline|progressive REPETITIONS
inline OnceJob readOnceJob(int argc, char** argv) {
    if (argc < 5)
        onceDie("arguments: PPM QUALITY baseline|progressive REPETITIONS");
    return {readOncePicture(argv[1]), std::atoi(argv[2]), std::strcmp(argv[3], "progressive") == 0,
            std::atoi(argv[4])};
}
