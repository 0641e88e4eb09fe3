/*
 * Encodes a few pictures on a machine without an operating system: no heap, no picture in memory. The
 * encoder asks for a band of 8 or 16 rows at a time, which is made when it asks, and its output leaves
 * through a small buffer. What memory that took is printed.
 */
#include <stddef.h>
#include <vela/jpegenc.h>

#include "arena.h"
#include "machine.h"
#include "pictures.h"

static uint8_t band[16 * WIDEST_ROW], chromaBand[8 * WIDEST_ROW];
static uint8_t output[1024]; /* 768 are the least for baseline encoding */

/* What is being encoded. The encoder is given 1 as its handles: there is but one of each. */
static const PictureJob* job;
static int32_t file;
static int32_t position; /* in the source, in bytes */
static uint32_t stateBytes, workingBytes;

static void allocate(void** out, uint32_t size, uint32_t alignment) {
    if (stateBytes == 0) /* the first block is the encoder itself */
        stateBytes = size;
    else
        workingBytes += size;
    arenaAllocate(out, size, alignment);
}

static int32_t grow(void** inout, uint32_t oldSize, uint32_t newSize) {
    workingBytes += newSize - oldSize;
    return arenaGrow(inout, oldSize, newSize);
}

static int32_t flush(uint8_t* start, uint32_t context, int32_t usedBytes, uint32_t zero) {
    (void)context, (void)zero;
    return writeFile(file, start, usedBytes);
}

static int32_t seek(uint32_t source, int32_t offset, uint32_t whence) {
    (void)source, (void)whence;
    position += offset;
    return 0;
}

/* Reads are of whole rows. The last band's may go on below a picture of a single plane. */
static int32_t read(void** out, uint32_t elementSize, uint32_t count, uint32_t source) {
    (void)elementSize, (void)source;
    const int32_t bytes = rowBytes(job), first = position / bytes;
    int32_t row = first;
    while (row < first + (int32_t)count / bytes && row < sourceRows(job)) {
        makeRow(job, row, (uint8_t*)*out + (ptrdiff_t)(row - first) * bytes);
        row++;
    }
    position += (row - first) * bytes;
    return (row - first) * bytes;
}

static int32_t encode(void) {
    const int32_t bytes = rowBytes(job);
    const Picture_JPEG picture = {.plane = {band, chromaBand},
                                  .width = job->width,
                                  .height = job->height,
                                  .step = {bytes, bytes},
                                  .planeCount = job->colorFormat == JPEG_CF_NV12 ? 2 : 1,
                                  .componentCount = job->colorFormat == JPEG_CF_GRAY8 ? 1 : 3,
                                  .colorFormat = job->colorFormat};
    const EncoderParams_JPEG params = {.quality = job->quality,
                                       .restartInterval = job->restartInterval,
                                       .mode = job->mode,
                                       .subsampling = ENC_SUBSAMPLE_420,
                                       .bufferMode = ENC_BUFFER_SLICE,
                                       .flushContext = 1,
                                       .sourceHandle = 1};
    const CallbackTable_JPEG callbacks = {.allocate = allocate,
                                          .release = arenaRelease,
                                          .grow = grow,
                                          .flush = flush,
                                          .seek = seek,
                                          .read = read};
    Bitstream_JPEG stream = {.start = output, .size = sizeof output};

    EncoderState_JPEG* encoder = NULL;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(NULL, &stream, encoder);
    EncoderFree_JPEG(&encoder);
    if (status == ENC_STATUS_OK) { /* no last flush comes: the end of the file is in the buffer */
        const int32_t rest = (int32_t)(stream.cursor - stream.start);
        if (writeFile(file, stream.start, rest) != rest)
            status = ENC_STATUS_OUTPUT_FULL;
    }
    return status;
}

/* Bytes of the rows that are in memory at a time. */
static uint32_t bandBytes(void) {
    const uint32_t rows = job->colorFormat == JPEG_CF_GRAY8  ? 8
                          : job->colorFormat == JPEG_CF_NV12 ? 16 + 8
                                                             : 16;
    return rows * (uint32_t)rowBytes(job);
}

static void printNumber(const char* before, uint32_t number) {
    char text[11], *digit = text + sizeof text - 1;
    *digit = '\0';
    do {
        *--digit = (char)('0' + number % 10);
        number /= 10;
    } while (number != 0);
    print(before);
    print(digit);
}

static int encodeToFile(void) {
    file = openFile(job->fileName);
    if (file < 0)
        return -1;
    position = 0;
    stateBytes = workingBytes = 0;
    arenaForgetPeak();
    watchStack();
    const int32_t status = encode();
    const uint32_t stack = stackHighWater();
    if (closeFile(file) != 0 || status != ENC_STATUS_OK) {
        printNumber("failed, status -", (uint32_t)-status);
        return -1;
    }
    print(job->fileName);
    printNumber(": ", (uint32_t)job->width);
    printNumber(" x ", (uint32_t)job->height);
    printNumber("; bytes of state ", stateBytes);
    printNumber(", working memory ", workingBytes);
    printNumber(" (arena in all ", arenaPeak());
    printNumber("), rows ", bandBytes());
    printNumber(", output ", sizeof output);
    printNumber(", stack ", stack);
    print("\n");
    return 0;
}

int main(void) {
    print("velajpeg " VELA_VERSION_TEXT);
    printNumber("; library: code ", librarySize().code);
    printNumber(" bytes, constants ", librarySize().constants);
    print("\n");
    for (job = jobs; job != jobs + JOBS; job++)
        if (encodeToFile() != 0)
            return 1;
    return 0;
}
