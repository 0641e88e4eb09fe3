/*
 * The shortest way: pixels to a JPEG file.
 *
 *     ./picture        picture.jpg, a gradient of 640 x 480
 */
#include <stdio.h>

#include <vela/easy.h>

static unsigned char pixels[480][640][3];

int main(void) {
    for (int y = 0; y < 480; y++)
        for (int x = 0; x < 640; x++) {
            pixels[y][x][0] = (unsigned char)(x * 255 / 639);
            pixels[y][x][1] = (unsigned char)(y * 255 / 479);
            pixels[y][x][2] = 128;
        }

    VelaEncoder* encoder = velaEncoderNew();
    VelaImage image = {.format = VELA_FORMAT_RGB24, .width = 640, .height = 480, .plane = {pixels}};
    int32_t status = velaEncodeToFile(encoder, &image, NULL, "picture.jpg");

    if (status != ENC_STATUS_OK)
        fprintf(stderr, "picture: %s\n", encoder != NULL ? velaErrorText(encoder) : "no memory");
    velaEncoderDelete(encoder);
    return status == ENC_STATUS_OK ? 0 : 1;
}
