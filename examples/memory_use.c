/*
 * What memory the encoder asks its host for, by mode and quality, for a picture of your own:
 *
 *     memory_use PHOTO.ppm
 *
 * and how long it takes in progressive mode with a grow that copies the block at every step, which is what
 * a host gets that does not look ahead.
 */
#include <ctype.h>
#include <stdio.h>
#include <time.h>

#include <vela/jpegenc.h>

#include "host_memory.h"

static uint32_t asked, mostAsked; /* bytes, as the library asks for them */
static int64_t streamBytes;

static void allocate(void** out, uint32_t size, uint32_t alignment) {
    asked += size;
    if (mostAsked < asked)
        mostAsked = asked;
    hostAllocate(out, size, alignment);
}

static int32_t grow(void** block, uint32_t oldSize, uint32_t newSize) {
    asked += newSize - oldSize;
    if (mostAsked < asked)
        mostAsked = asked;
    return hostGrow(block, oldSize, newSize);
}

static int32_t growByCopying(void** block, uint32_t oldSize, uint32_t newSize) {
    void* const larger = hostNewBlock(newSize);
    if (larger == NULL)
        return -1;
    memcpy(larger, *block, oldSize);
    hostRelease(block);
    *block = larger;
    return 0;
}

static int32_t flush(uint8_t* start, uint32_t handle, int32_t usedBytes, uint32_t zero) {
    (void)start, (void)handle, (void)zero;
    streamBytes += usedBytes;
    return usedBytes;
}

typedef struct {
    int width, height;
    uint8_t* bgr;
} Photo;

static int number(FILE* file) {
    int c = getc(file), value = 0;
    while (isspace(c))
        c = getc(file);
    for (; isdigit(c) && value < 100000; c = getc(file))
        value = 10 * value + c - '0';
    return value;
}

/* Binary PPM of 8 bits without comments; bgr is null for anything else. */
static Photo readPhoto(FILE* file) {
    Photo photo = {0, 0, NULL};
    if (getc(file) != 'P' || getc(file) != '6')
        return photo;
    photo.width = number(file);
    photo.height = number(file);
    if (number(file) != 255 || photo.width == 0 || photo.height == 0)
        return photo;
    const size_t bytes = (size_t)photo.width * (size_t)photo.height * 3;
    photo.bgr = malloc(bytes);
    if (photo.bgr == NULL || fread(photo.bgr, 1, bytes, file) != bytes) {
        free(photo.bgr);
        photo.bgr = NULL;
        return photo;
    }
    for (size_t i = 0; i < bytes; i += 3) {
        const uint8_t red = photo.bgr[i];
        photo.bgr[i] = photo.bgr[i + 2];
        photo.bgr[i + 2] = red;
    }
    return photo;
}

/* The seconds that it took, or less than 0 for a failure. */
static double encode(const Photo* photo, uint32_t mode, uint32_t quality,
                     int32_t (*growBlock)(void**, uint32_t, uint32_t)) {
    const Picture_JPEG picture = {.plane = {photo->bgr},
                                  .width = photo->width,
                                  .height = photo->height,
                                  .step = {photo->width * 3},
                                  .planeCount = 1,
                                  .componentCount = 3,
                                  .colorFormat = JPEG_CF_BGR888};
    const EncoderParams_JPEG params = {.quality = quality,
                                       .mode = mode,
                                       .subsampling = ENC_SUBSAMPLE_420,
                                       .bufferMode = ENC_BUFFER_INTEGRATED,
                                       .flushContext = 1};
    const CallbackTable_JPEG callbacks = {
        .allocate = allocate, .release = hostRelease, .grow = growBlock, .flush = flush};
    static uint8_t buffer[4096];
    Bitstream_JPEG stream = {.start = buffer, .size = sizeof buffer};
    asked = mostAsked = 0;
    streamBytes = 0;
    const clock_t begin = clock();
    EncoderState_JPEG* encoder = NULL;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(NULL, &stream, encoder);
    EncoderFree_JPEG(&encoder);
    streamBytes += stream.cursor - stream.start;
    return status == ENC_STATUS_OK ? (double)(clock() - begin) / CLOCKS_PER_SEC : -1;
}

int main(int argc, char** argv) {
    FILE* const file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    const Photo photo = file != NULL ? readPhoto(file) : (Photo){0, 0, NULL};
    if (photo.bgr == NULL) {
        fprintf(stderr, "usage: memory_use PHOTO.ppm\n");
        return 2;
    }
    fclose(file);
    const double pixels = (double)photo.width * photo.height;
    printf("%d x %d pixels\n", photo.width, photo.height);
    static const uint32_t qualities[] = {75, 90, 100};
    for (int i = 0; i < 6; i++) {
        const uint32_t quality = qualities[i % 3];
        const uint32_t mode = i < 3 ? ENC_MODE_BASELINE : ENC_MODE_PROGRESSIVE;
        if (encode(&photo, mode, quality, grow) < 0)
            return EXIT_FAILURE;
        printf("%-11s quality %3u: memory %9u bytes, %.3f per pixel; stream %9ld bytes\n",
               mode == ENC_MODE_BASELINE ? "baseline" : "progressive", (unsigned)quality,
               (unsigned)mostAsked, mostAsked / pixels, (long)streamBytes);
    }
    const double ahead = encode(&photo, ENC_MODE_PROGRESSIVE, 100, grow);
    const double copying = encode(&photo, ENC_MODE_PROGRESSIVE, 100, growByCopying);
    printf("progressive quality 100: %.0f ms; with a grow that copies at every step %.0f ms\n",
           1000 * ahead, 1000 * copying);
    free(photo.bgr);
    return EXIT_SUCCESS;
}
