/* The whole of it: a picture in memory, encoded to gradient.jpg. */
#include <stdio.h>

#include <vela/jpegenc.h>

#include "host_memory.h"

/* The library passes handles of 32 bits, too few for a pointer: handle n stands for files[n - 1]. */
static FILE* files[1];

static int32_t flush(uint8_t* start, uint32_t handle, int32_t usedBytes, uint32_t zero) {
    (void)zero;
    return (int32_t)fwrite(start, 1, (size_t)usedBytes, files[handle - 1]);
}

enum { WIDTH = 200, HEIGHT = 120 };
static uint8_t pixels[HEIGHT][WIDTH][3]; /* blue, green, red */

static void paint(void) {
    for (int y = 0; y < HEIGHT; y++)
        for (int x = 0; x < WIDTH; x++) {
            pixels[y][x][0] = (uint8_t)(255 * x / WIDTH);
            pixels[y][x][1] = (uint8_t)(255 * y / HEIGHT);
            pixels[y][x][2] = 160;
        }
}

static int32_t encode(uint32_t handle) {
    const Picture_JPEG picture = {.plane = {&pixels[0][0][0]},
                                  .width = WIDTH,
                                  .height = HEIGHT,
                                  .step = {WIDTH * 3},
                                  .planeCount = 1,
                                  .componentCount = 3,
                                  .colorFormat = JPEG_CF_BGR888};
    const EncoderParams_JPEG params = {.quality = 90,
                                       .mode = ENC_MODE_BASELINE,
                                       .subsampling = ENC_SUBSAMPLE_420,
                                       .bufferMode = ENC_BUFFER_INTEGRATED,
                                       .flushContext = handle};
    const CallbackTable_JPEG callbacks = {
        .allocate = hostAllocate, .release = hostRelease, .grow = hostGrow, .flush = flush};
    uint8_t buffer[4096];
    Bitstream_JPEG stream = {.start = buffer, .size = sizeof buffer};

    EncoderState_JPEG* encoder = NULL;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(NULL, &stream, encoder);
    EncoderFree_JPEG(&encoder);
    if (status == ENC_STATUS_OK) { /* no last flush comes: the end of the file is in the buffer */
        const int32_t rest = (int32_t)(stream.cursor - stream.start);
        if (flush(stream.start, handle, rest, 0) != rest)
            status = ENC_STATUS_OUTPUT_FULL;
    }
    return status;
}

int main(void) {
    paint();
    files[0] = fopen("gradient.jpg", "wb");
    if (files[0] == NULL)
        return EXIT_FAILURE;
    const int32_t status = encode(1);
    if (status != ENC_STATUS_OK)
        fprintf(stderr, "status %d\n", (int)status);
    return fclose(files[0]) == 0 && status == ENC_STATUS_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
