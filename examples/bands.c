/*
 * A picture that is never in memory: 16 rows at a time are made when the encoder asks for them, and the
 * stream leaves through a buffer of 4 KiB. Written as bands.jpg; what memory it took is printed.
 */
#include <stdio.h>

#include <vela/jpegenc.h>

#include "host_memory.h"

enum { WIDTH = 1600, HEIGHT = 1200, MCU_ROWS = 16, ROW_BYTES = 3 * WIDTH };

static FILE* files[1]; /* handle n stands for files[n - 1] */
static int nextRow;    /* the source's position */
static uint8_t band[MCU_ROWS * ROW_BYTES];
static uint8_t buffer[4096];

static int32_t flush(uint8_t* start, uint32_t handle, int32_t usedBytes, uint32_t zero) {
    (void)zero;
    return (int32_t)fwrite(start, 1, (size_t)usedBytes, files[handle - 1]);
}

/* Rows of packed pixels are read from the top down, in order: nothing is ever sought. */
static int32_t seek(uint32_t handle, int32_t offset, uint32_t whence) {
    (void)handle, (void)offset, (void)whence;
    return 0;
}

/* Whole rows are asked for. A camera would point *to at the rows that it has just filled. */
static int32_t read(void** to, uint32_t elementSize, uint32_t count, uint32_t handle) {
    (void)elementSize, (void)handle;
    uint8_t* at = *to;
    for (uint32_t row = 0; row < count / ROW_BYTES; row++, nextRow++)
        for (int x = 0; x < WIDTH; x++) {
            *at++ = (uint8_t)(x ^ nextRow);
            *at++ = (uint8_t)(255 * nextRow / HEIGHT);
            *at++ = (uint8_t)(255 * x / WIDTH);
        }
    return (int32_t)count;
}

int main(void) {
    const Picture_JPEG picture = {.plane = {band},
                                  .width = WIDTH,
                                  .height = HEIGHT,
                                  .step = {ROW_BYTES},
                                  .planeCount = 1,
                                  .componentCount = 3,
                                  .colorFormat = JPEG_CF_BGR888};
    const EncoderParams_JPEG params = {.quality = 75,
                                       .mode = ENC_MODE_BASELINE,
                                       .subsampling = ENC_SUBSAMPLE_420,
                                       .bufferMode = ENC_BUFFER_SLICE,
                                       .flushContext = 1,
                                       .sourceHandle = 1};
    const CallbackTable_JPEG callbacks = {.allocate = hostAllocate,
                                          .release = hostRelease,
                                          .flush = flush,
                                          .seek = seek,
                                          .read = read};
    Bitstream_JPEG stream = {.start = buffer, .size = sizeof buffer};

    files[0] = fopen("bands.jpg", "wb");
    if (files[0] == NULL)
        return EXIT_FAILURE;
    EncoderState_JPEG* encoder = NULL;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(NULL, &stream, encoder);
    EncoderFree_JPEG(&encoder);
    if (status == ENC_STATUS_OK) {
        const int32_t rest = (int32_t)(stream.cursor - stream.start);
        if (flush(buffer, 1, rest, 0) != rest)
            status = ENC_STATUS_OUTPUT_FULL;
    }
    printf("a picture of %d bytes; the encoder's memory %d bytes, rows %d, output %d\n",
           HEIGHT * ROW_BYTES, (int)hostMostBytes, (int)sizeof band, (int)sizeof buffer);
    return fclose(files[0]) == 0 && status == ENC_STATUS_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
