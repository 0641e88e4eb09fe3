#include "pictures.h"

const PictureJob jobs[JOBS] = {
    {"baseline.jpg", 640, 360, JPEG_CF_NV12, ENC_MODE_BASELINE, 85, 0},
    {"restarts.jpg", 333, 97, JPEG_CF_GRAY8, ENC_MODE_BASELINE, 50, 10},
    {"progressive.jpg", 320, 233, JPEG_CF_BGR888, ENC_MODE_PROGRESSIVE, 75, 0},
};

int32_t rowBytes(const PictureJob* job) {
    return job->colorFormat == JPEG_CF_BGR888 ? 3 * job->width : job->width;
}

int32_t sourceRows(const PictureJob* job) {
    return job->colorFormat == JPEG_CF_NV12 ? job->height + (job->height + 1) / 2 : job->height;
}

/* Rings around a corner on a slope, with a little noise. */
static uint8_t brightness(int32_t x, int32_t y) {
    const uint32_t rings = (uint32_t)(x * x + y * y) >> 8 & 63;
    const uint32_t noise = ((uint32_t)x * 2654435761u ^ (uint32_t)y * 40503u) >> 13 & 7;
    return (uint8_t)(32 + x / 8 + y / 8 + (int32_t)(rings + noise));
}

void makeRow(const PictureJob* job, int32_t row, uint8_t* out) {
    for (int32_t x = 0; x < job->width; x++) {
        if (row >= job->height) { /* Cb and Cr by turns, a pair for two columns and two rows */
            out[x] = (uint8_t)(x % 2 == 0 ? 192 - x / 5 : 64 + (row - job->height) / 2);
        } else if (job->colorFormat == JPEG_CF_BGR888) {
            out[3 * x] = brightness(x, row);
            out[3 * x + 1] = brightness(job->width - 1 - x, row);
            out[3 * x + 2] = (uint8_t)(255 - row);
        } else {
            out[x] = brightness(x, row);
        }
    }
}
