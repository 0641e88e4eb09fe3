/*
 * A camera of Linux (V4L2) to JPEG files: YUYV frames as the driver has them in its own buffers, encoded from
 * there.
 *
 *     ./capture /dev/video0 10        ten frames: capture-0.jpg .. capture-9.jpg
 *     ./capture frames.yuyv 10        the same from a file of frames of 640 x 480
 */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <linux/videodev2.h>
#include <vela/easy.h>

enum { BUFFERS = 4 };

static int fail(const char* what) {
    fprintf(stderr, "capture: %s: %s\n", what, strerror(errno));
    return 1;
}

/* ioctl, again where a signal has interrupted it. */
static int control(int device, unsigned long request, void* argument) {
    int result;
    do
        result = ioctl(device, request, argument);
    while (result < 0 && errno == EINTR);
    return result;
}

static int encode(VelaEncoder* encoder, const VelaImage* image, int number) {
    VelaOptions options;
    velaOptionsInit(&options);
    options.quality = 85;
    char path[64];
    snprintf(path, sizeof path, "capture-%d.jpg", number);
    if (velaEncodeToFile(encoder, image, &options, path) == ENC_STATUS_OK)
        return 0;
    fprintf(stderr, "capture: %s\n", velaErrorText(encoder));
    return 1;
}

static int fromCamera(int device, VelaEncoder* encoder, int frames) {
    struct v4l2_format format = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE};
    format.fmt.pix.width = 1280;
    format.fmt.pix.height = 720;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    struct v4l2_requestbuffers request = {
        .count = BUFFERS, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    if (control(device, VIDIOC_S_FMT, &format) < 0 || control(device, VIDIOC_REQBUFS, &request) < 0)
        return fail("no capture");
    if (format.fmt.pix.pixelformat != V4L2_PIX_FMT_YUYV || request.count > BUFFERS) {
        fprintf(stderr, "capture: the camera has no YUYV\n");
        return 1;
    }
    void* memory[BUFFERS];
    struct v4l2_buffer buffer;
    for (unsigned i = 0; i < request.count; i++) {
        memset(&buffer, 0, sizeof buffer);
        buffer.type = request.type;
        buffer.memory = request.memory;
        buffer.index = i;
        if (control(device, VIDIOC_QUERYBUF, &buffer) < 0)
            return fail("VIDIOC_QUERYBUF");
        memory[i] =
            mmap(NULL, buffer.length, PROT_READ, MAP_SHARED, device, (off_t)buffer.m.offset);
        if (memory[i] == MAP_FAILED || control(device, VIDIOC_QBUF, &buffer) < 0)
            return fail("mmap");
    }
    if (control(device, VIDIOC_STREAMON, &request.type) < 0)
        return fail("VIDIOC_STREAMON");

    /* The driver says how its samples are meant; most webcams say nothing, and mean limited range. */
    VelaImage image = {.format = VELA_FORMAT_YUYV,
                       .width = (int32_t)format.fmt.pix.width,
                       .height = (int32_t)format.fmt.pix.height,
                       .stride = {(ptrdiff_t)format.fmt.pix.bytesperline}};
    image.range = format.fmt.pix.quantization == V4L2_QUANTIZATION_FULL_RANGE ? VELA_RANGE_FULL
                                                                              : VELA_RANGE_LIMITED;
    image.matrix =
        format.fmt.pix.ycbcr_enc == V4L2_YCBCR_ENC_709 ? VELA_MATRIX_BT709 : VELA_MATRIX_BT601;
    int failed = 0;
    for (int n = 0; n < frames && !failed; n++) {
        if (control(device, VIDIOC_DQBUF, &buffer) < 0)
            return fail("VIDIOC_DQBUF");
        image.plane[0] = memory[buffer.index];
        failed = encode(encoder, &image, n);
        if (control(device, VIDIOC_QBUF, &buffer) < 0)
            return fail("VIDIOC_QBUF");
    }
    control(device, VIDIOC_STREAMOFF, &request.type);
    return failed;
}

static int fromFile(int file, VelaEncoder* encoder, int frames) {
    static unsigned char frame[640 * 480 * 2];
    const VelaImage image = {
        .format = VELA_FORMAT_YUYV, .width = 640, .height = 480, .plane = {frame}};
    for (int n = 0; n < frames; n++) {
        if (read(file, frame, sizeof frame) != (ssize_t)sizeof frame) {
            fprintf(stderr, "capture: the file ends within frame %d\n", n);
            return 1;
        }
        if (encode(encoder, &image, n) != 0)
            return 1;
    }
    return 0;
}

int main(int argc, char** argv) {
    const int frames = argc > 2 ? atoi(argv[2]) : 10;
    const char* name = argc > 1 ? argv[1] : "/dev/video0";
    const int device = open(name, O_RDWR);
    struct stat info;
    if (device < 0 || fstat(device, &info) < 0)
        return fail(name);
    VelaEncoder* encoder = velaEncoderNew();
    const int result = S_ISCHR(info.st_mode) ? fromCamera(device, encoder, frames)
                                             : fromFile(device, encoder, frames);
    velaEncoderDelete(encoder);
    close(device);
    return result;
}
