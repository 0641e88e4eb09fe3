/*
 * The easy layer of Vela JPEG: any picture or camera frame in, a JPEG stream out.
 *
 *     VelaEncoder* encoder = velaEncoderNew();
 *     VelaImage image = {.format = VELA_FORMAT_RGB24, .width = 640, .height = 480, .plane = {pixels}};
 *     int32_t status = velaEncodeToFile(encoder, &image, NULL, "picture.jpg");
 *     if (status != ENC_STATUS_OK)
 *         fprintf(stderr, "%s\n", velaErrorText(encoder));
 *     velaEncoderDelete(encoder);
 *
 * For a stream of pictures keep the encoder: it keeps its memory, so that further pictures of the same
 * geometry allocate nothing. The core (vela/jpegenc.h) is for firmware, which has neither a heap nor threads
 * to spare; what this layer writes is what the core writes for the same YCbCr samples. In C++ take
 * vela/easy.hpp, which has the same in the language's own manner.
 *
 * Colour. A JPEG file holds YCbCr samples by the matrix of ITU-R BT.601 in full range, 0 to 255 (JFIF). RGB
 * is converted by JFIF's formula, rounded to nearest; a chroma sample that stands for two or four pixels is
 * made of their mean and rounded once. YCbCr is taken as it is, unless range or matrix say that it is
 * something else. Limited range has black at 16, white at 235, and chroma from 16 to 240. The matrix says
 * how colours became YCbCr. What a camera usually gives: a webcam's MJPEG decoder and a phone's photo path
 * full range, BT.601; an HDMI grabber, a video file and most video pipelines limited range, BT.601 below
 * 720 rows and BT.709 from there on. A picture that comes out grey and flat was limited and said to be full.
 *
 * Threads. Two encoders share nothing and may be used on two threads at once. One encoder serves one call at
 * a time: a call that comes while another one has not returned, from a callback of it or from another thread,
 * is refused (ENC_STATUS_ERR) and changes nothing. Callbacks run on the thread of the call, also where the
 * encoder uses more threads; they may use other encoders. A callback must return: not longjmp, not throw.
 *
 * Failures. A call that fails has written no whole JPEG stream; velaErrorText says why. Arguments are checked
 * before the first callback. The encoder stays usable, whatever a call returned. Never read: bytes between
 * rows, and what follows the last sample of a plane's last row. Never written: the picture.
 */
#ifndef VELA_EASY_H
#define VELA_EASY_H

#include <stddef.h>
#include <stdint.h>

#include "vela/jpegenc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------- statuses */

/* What a call returns, beside the ENC_STATUS_* of vela/jpegenc.h, of which these occur:
 * ENC_STATUS_OK, ENC_STATUS_BADARG (a null pointer or a value out of its range),
 * ENC_STATUS_NOTSUPPORTED (an unknown format, range, matrix or subsampling; a subsampling that is not the
 * format's; a picture above the size that its conversion can address), ENC_STATUS_NOMEM (memory, or a
 * thread, could not be had) and ENC_STATUS_ERR (the encoder is busy with another call). */
enum {
    /* The write callback did not return 0, or the file could not be written. */
    VELA_STATUS_WRITE = -20,
    /* The rows callback did not return 0. */
    VELA_STATUS_READ = -21,
    /* No quality gives a stream of at most maxBytes. */
    VELA_STATUS_TOO_LARGE = -22
};

/* --------------------------------------------------------------------------------------- codes */

/* Packed RGB formats: order of the bytes in memory; X is a byte that is not looked at. 16-bit formats are
 * little-endian words, their fields widened by repeating the high bits. A row of packed 4:2:2 has
 * 4 * ((width + 1) / 2) bytes. Chroma planes have (width + 1) / 2 columns where they are halved across, and
 * (height + 1) / 2 rows where they are halved down. Of a picture of odd size the core reads the last column
 * or row of chroma only where width or height leave a remainder of 1 against the MCU's 16 (vela/jpegenc.h);
 * else the one before stands for it. */
typedef enum VelaFormat {
    VELA_FORMAT_GRAY8 = 1,
    VELA_FORMAT_RGB24 = 10,
    VELA_FORMAT_BGR24,
    VELA_FORMAT_RGBX32,
    VELA_FORMAT_BGRX32,
    VELA_FORMAT_XRGB32,
    VELA_FORMAT_XBGR32,
    VELA_FORMAT_RGB565,    /* bits 15..11 red, 10..5 green, 4..0 blue */
    VELA_FORMAT_RGB555,    /* bits 14..10 red, 9..5 green, 4..0 blue; bit 15 is not looked at */
    VELA_FORMAT_I420 = 30, /* 4:2:0, planes Y, Cb, Cr */
    VELA_FORMAT_YV12,      /* 4:2:0, planes Y, Cr, Cb */
    VELA_FORMAT_I422,      /* 4:2:2, planes Y, Cb, Cr */
    VELA_FORMAT_I444,      /* 4:4:4, planes Y, Cb, Cr */
    VELA_FORMAT_NV12,      /* 4:2:0, planes Y, CbCr pairs */
    VELA_FORMAT_NV21,      /* 4:2:0, planes Y, CrCb pairs */
    VELA_FORMAT_NV16,      /* 4:2:2, planes Y, CbCr pairs */
    VELA_FORMAT_NV61,      /* 4:2:2, planes Y, CrCb pairs */
    VELA_FORMAT_YUYV = 50, /* packed 4:2:2: Y0 Cb Y1 Cr */
    VELA_FORMAT_YVYU,      /* Y0 Cr Y1 Cb */
    VELA_FORMAT_UYVY,      /* Cb Y0 Cr Y1 */
    VELA_FORMAT_VYUY       /* Cr Y0 Cb Y1 */
} VelaFormat;

/* What the values of samples mean; see "Colour" above. */
typedef enum VelaRange {
    VELA_RANGE_FULL = 0, /* 0 to 255 */
    VELA_RANGE_LIMITED   /* Y 16 to 235, Cb and Cr 16 to 240; what lies outside is clamped */
} VelaRange;

/* By which weights of red, green and blue YCbCr was made. */
typedef enum VelaMatrix {
    VELA_MATRIX_BT601 = 0, /* standard definition, JPEG */
    VELA_MATRIX_BT709      /* high definition */
} VelaMatrix;

/* The resolution of chroma in the JPEG stream. */
typedef enum VelaSubsampling {
    /* YCbCr formats: their own, another is refused; RGB: 4:2:0; grey: not read */
    VELA_SUBSAMPLING_AUTO = 0,
    VELA_SUBSAMPLING_444, /* full; MCU of 8 x 8 pixels */
    VELA_SUBSAMPLING_422, /* halved across; MCU of 16 x 8 pixels */
    VELA_SUBSAMPLING_420  /* halved across and down; MCU of 16 x 16 pixels */
} VelaSubsampling;

/* ------------------------------------------------------------------------------------- records */

/*
 * Fills rows firstRow..firstRow + rowCount - 1 of the picture at plane[], in the picture's format: plane[p]
 * is where the first of them begins in plane p, stride[p] the distance from row to row in bytes, both chosen
 * by the encoder; where chroma is halved down, (rowCount + 1) / 2 chroma rows belong to them. Planes that the
 * format does not have are null. Nothing may be written between rows or after the last.
 *
 * Returns 0 to go on; any other value ends the call with VELA_STATUS_READ. Rows are asked for from the top
 * down, each once; rows of 4:2:0 formats begin at even numbers.
 */
typedef int VelaReadRows(void* context, int32_t firstRow, int32_t rowCount, void* const plane[3],
                         const ptrdiff_t stride[3]);

/* A picture; its memory belongs to the caller and stays unchanged until the call has returned. */
typedef struct VelaImage {
    VelaFormat format;
    int32_t width;  /* in pixels, 1..65535 */
    int32_t height; /* in rows, 1..65535 */
    /* Top-left sample of each plane that the format has (further ones are not read); all null where readRows
     * brings the rows, and only there. No alignment is needed. */
    const void* plane[3];
    /* Bytes from row to row of each plane: 0 for rows without gaps; negative where rows go upwards in memory;
     * else at least a row's bytes, and at most 2147483647. Not read where readRows brings the rows. */
    ptrdiff_t stride[3];
    VelaRange range;   /* of YCbCr and grey samples; RGB has full range, whatever stands here */
    VelaMatrix matrix; /* of YCbCr samples; without effect on RGB and grey */
    /* Null, or brings the rows of a picture that is not in memory as a whole: a baseline encoder then needs
     * some rows of memory, whatever the height. */
    VelaReadRows* readRows;
    void* readContext; /* passed to readRows */
} VelaImage;

/* What to make of a picture; velaOptionsInit sets what the comments give after the range. */
typedef struct VelaOptions {
    size_t structSize;           /* sizeof(VelaOptions), by velaOptionsInit; any other is refused */
    int32_t quality;             /* 0 (smallest file) .. 100 (every quantizer 1); 75 */
    VelaSubsampling subsampling; /* VELA_SUBSAMPLING_AUTO */
    int32_t progressive;         /* 0: baseline; 1: progressive, smaller and slower; 0 */
    /* MCU rows per restart interval; 0: no restart markers; -1: none, or 1 where threads is not 1; -1. An
     * interval of more than 65535 MCUs is refused. */
    int32_t restartRows;
    /* Threads that encode, 0..1024; 0: as many as the machine has; 1. More than one serve baseline pictures
     * with restart intervals, cut at MCU rows where an interval begins; others are encoded by one. The stream
     * is the same for every number of threads and the same restart interval. */
    int32_t threads;
    /* 0: no limit; else the stream, metadata included, has at most so many bytes, and the best quality up to
     * the one given that allows it; 0. At most 8 encodings are tried; for pictures that follow each other in
     * a stream one or two, since the search begins where the last one ended. Not for pictures from readRows,
     * whose rows come only once (ENC_STATUS_BADARG). */
    size_t maxBytes;
    /* JFIF's pixel density: units 0 for an aspect ratio, 1 per inch, 2 per centimetre; x and y 1..65535. All
     * three 0: not given, which is written as the aspect ratio 1:1; 0, 0, 0. */
    int32_t densityUnits;
    int32_t xDensity;
    int32_t yDensity;
    /* 1..8 as Exif has it (1 upright, 3 upside down, 6 to be turned clockwise, 8 counterclockwise), written
     * as a small Exif block; 0: none given; refused beside exif; 0. */
    int32_t orientation;
    /* Null, or an Exif block of exifSize bytes: a whole TIFF structure, beginning with "II*\0" or "MM\0*",
     * without "Exif\0\0"; 8..65527 bytes; null. */
    const void* exif;
    size_t exifSize;
    /* Null, or an ICC profile of iccSize bytes, 1..16707345, which is what 255 segments hold; null. */
    const void* icc;
    size_t iccSize;
    const char* comment; /* null, or text in UTF-8 of at most 65533 bytes; "" is none; null */
    /* MCUs per restart interval, 1..65535, in place of restartRows; 0: not given; 0. */
    int32_t restartMcus;
} VelaOptions;

/* Memory, threads and the last error of one user. Private to the library. */
typedef struct VelaEncoder VelaEncoder;

/* Takes the next count bytes of the stream, which are gone when it has returned; count is at least 1. Returns
 * 0 to go on; any other value ends the call with VELA_STATUS_WRITE, and write is not called again. */
typedef int VelaWrite(void* context, const void* bytes, size_t count);

/* --------------------------------------------------------------------------------------- calls */

/* A new encoder, which the caller gives back with velaEncoderDelete; null: no memory. */
VELA_API VelaEncoder* velaEncoderNew(void);

/* Ends an encoder and frees what it has, streams from velaEncodeToMemory included; null is accepted. Not to
 * be called from its own callbacks. */
VELA_API void velaEncoderDelete(VelaEncoder* encoder);

/* Sets all fields to what they are unless the caller wants something else. */
VELA_API void velaOptionsInit(VelaOptions* options);

/*
 * Encodes a picture and hands the stream to write, piece by piece. options null: those of velaOptionsInit.
 *
 * - ENC_STATUS_OK: write has taken the whole stream.
 * - ENC_STATUS_BADARG, ENC_STATUS_NOTSUPPORTED: an argument is refused; no callback has been called.
 * - ENC_STATUS_ERR: the encoder is busy; nothing is done.
 * - ENC_STATUS_NOMEM, VELA_STATUS_READ, VELA_STATUS_WRITE: as above; what write has taken is no whole stream.
 * - VELA_STATUS_TOO_LARGE: quality 0 is longer than maxBytes; write has not been called.
 */
VELA_API int32_t velaEncode(VelaEncoder* encoder, const VelaImage* image,
                            const VelaOptions* options, VelaWrite* write, void* context);

/*
 * The same into memory: *jpeg points at *size bytes, which belong to the encoder and last until its next
 * call. After a failure *jpeg is null and *size is 0. Statuses as of velaEncode, but VELA_STATUS_WRITE.
 */
VELA_API int32_t velaEncodeToMemory(VelaEncoder* encoder, const VelaImage* image,
                                    const VelaOptions* options, const uint8_t** jpeg, size_t* size);

/*
 * The same into a file. A new file is written beside path and takes its place when it is whole, with the mode
 * (and for a privileged user the owner) of the file that it replaces; symbolic links are followed. What is
 * not a regular file (a pipe, a device) is written to as it is. Statuses as of velaEncode; after a failure
 * the path is as it was, and VELA_STATUS_WRITE has the system's words in velaErrorText.
 */
VELA_API int32_t velaEncodeToFile(VelaEncoder* encoder, const VelaImage* image,
                                  const VelaOptions* options, const char* path);

/* What the encoder's last call failed for: the field as it is spelled here and its value, on one line; "" after
 * OK, and for null. Lasts until the encoder's next call. */
VELA_API const char* velaErrorText(const VelaEncoder* encoder);

/* A sentence for a status of this layer or of the core; never null. */
VELA_API const char* velaStatusText(int32_t status);

/* The quality that the encoder's last call used, below the one given only where maxBytes asked for it; -1
 * after a failure, before the first call, and for null. */
VELA_API int32_t velaQualityUsed(const VelaEncoder* encoder);

/* No stream of such an image is longer; 0 for an image or options that are refused. */
VELA_API size_t velaMaxBytes(const VelaImage* image, const VelaOptions* options);

/* The version of the library that runs: major << 16 | minor << 8 | patch. The headers' own is in
 * vela/version.h. */
VELA_API uint32_t velaVersion(void);

#ifdef __cplusplus
}
#endif

#endif
