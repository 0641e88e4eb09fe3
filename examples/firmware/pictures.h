/* The pictures that the program encodes, as a camera would deliver them: row by row, never whole. */
#ifndef PICTURES_H
#define PICTURES_H

#include <stdint.h>
#include <vela/jpegenc.h>

typedef struct PictureJob {
    const char* fileName;
    int32_t width, height;
    uint32_t colorFormat, mode, quality, restartInterval;
} PictureJob;

enum { JOBS = 3, WIDEST_ROW = 3 * 320 }; /* bytes */
extern const PictureJob jobs[JOBS];

/* Bytes of a row of the job's source. */
int32_t rowBytes(const PictureJob* job);

/* Rows of the source: those of the picture, and for NV12 the chroma rows after them. */
int32_t sourceRows(const PictureJob* job);

void makeRow(const PictureJob* job, int32_t row, uint8_t* out);

#endif
