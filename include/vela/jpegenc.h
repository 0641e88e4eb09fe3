/*
 * Vela JPEG: a JPEG still-image encoder for camera-class devices.
 *
 * The host hands over one uncompressed picture and a table of callbacks; the library writes a
 * JPEG/JFIF stream (ITU-T T.81, 8-bit samples, Huffman coding), baseline or progressive. It does no
 * I/O of its own, keeps no global state, creates no threads, takes memory only from the host's
 * callbacks and hands its output over through a small buffer that a callback empties.
 *
 * How to use it
 *
 *     EncoderState_JPEG* encoder = NULL;
 *     int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &encoder);
 *     if (status == ENC_STATUS_OK)
 *         status = Encode_JPEG(NULL, &stream, encoder);
 *     if (status == ENC_STATUS_OK)
 *         ... the last bytes of the JPEG stream lie from stream.start up to stream.cursor ...
 *     EncoderFree_JPEG(&encoder);
 *
 * EncoderInitAlloc_JPEG checks everything, allocates, and writes the stream header up to SOF.
 * Encode_JPEG encodes the whole picture and writes EOI. EncoderFree_JPEG gives all memory back,
 * after a success as after any failure. One state encodes one picture. The same Bitstream_JPEG
 * serves both calls; the host does not touch it in between.
 *
 * Threads: every call, and every callback made from inside it, runs on the caller's thread.
 * Separate states share nothing but read-only tables and may be used on separate threads.
 *
 * Pointers are native; every other field is 32 bits wide. The two handles (flushContext and
 * sourceHandle) are 32-bit words that the library never interprets and only passes back to the
 * callbacks. On a 32-bit machine a host may put a pointer there. A host on a 64-bit machine must
 * not: it passes a number of its own, for instance 1 + an index into a table of its open files or
 * of its encoding jobs (1 + because 0 has a meaning in both), and looks the object up in the
 * callback.
 */
#ifndef VELA_JPEGENC_H
#define VELA_JPEGENC_H

#include <stdint.h>

#include "vela/version.h"

#if defined(__GNUC__)
#define VELA_API __attribute__((visibility("default")))
#else
#define VELA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------- statuses */

/* What a call returns: 0 for success, a negative value for a failure. */
enum {
    /* Success. */
    ENC_STATUS_OK = 0,
    /* General failure: a version buffer that is null or too small; a planar or semi-planar format
     * with a subsampling other than its own; a read that delivered another count than was asked
     * for; Encode_JPEG on a state that is not freshly set up (a failed set-up, or a second call).
     */
    ENC_STATUS_ERR = -2,
    /* allocate left a null pointer, grow failed, or a size does not fit 32 bits. */
    ENC_STATUS_NOMEM = -4,
    /* A null pointer or an out-of-range parameter. */
    ENC_STATUS_BADARG = -5,
    /* A read from a stream asked for more bytes than it holds. No encoding call returns it. */
    ENC_STATUS_NODATA = -8,
    /* A value outside the supported set: subsampling, mode, planeCount, componentCount,
       colorFormat. */
    ENC_STATUS_NOTSUPPORTED = -10,
    /* The output buffer is full and flush did not take enough bytes, or its answer was not a count
     * from 0 to usedBytes. What has been written is not a whole JPEG stream: the output is void. */
    ENC_STATUS_OUTPUT_FULL = -12
};

/* --------------------------------------------------------------------------------------- codes */

/* EncoderParams_JPEG.mode */
enum {
    ENC_MODE_BASELINE =
        1, /* baseline sequential, SOF0, the typical Huffman tables of T.81 Annex K */
    ENC_MODE_PROGRESSIVE = 4 /* progressive, SOF2, Huffman tables fitted to each scan */
};

/* EncoderParams_JPEG.subsampling: the resolution of the chroma components in the JPEG stream */
enum {
    ENC_SUBSAMPLE_444 = 0, /* full; MCU of 8 x 8 pixels */
    ENC_SUBSAMPLE_422 = 1, /* halved across; MCU of 16 x 8 pixels */
    ENC_SUBSAMPLE_420 = 3  /* halved across and down; MCU of 16 x 16 pixels */
};

/* EncoderParams_JPEG.bufferMode */
enum {
    ENC_BUFFER_SLICE = 0, /* the picture is pulled through read and seek, one MCU row at a time */
    ENC_BUFFER_INTEGRATED = 1 /* the whole picture is in memory at Picture_JPEG.plane */
};

/* Picture_JPEG.colorFormat. Packed 16-bit pixels are little-endian words, blue in the low bits. */
enum {
    JPEG_CF_BGR888 = 0,       /* one plane; bytes B, G, R; any subsampling */
    JPEG_CF_BGR555 = 1,       /* one plane; bits 14..10 R, 9..5 G, 4..0 B; any subsampling */
    JPEG_CF_BGR565 = 2,       /* one plane; bits 15..11 R, 10..5 G, 4..0 B; any subsampling */
    JPEG_CF_YCBCR444_P3 = 8,  /* three planes Y, Cb, Cr; subsampling 0 only */
    JPEG_CF_YCBCR422_P3 = 9,  /* three planes, chroma halved across; subsampling 1 only */
    JPEG_CF_YCBCR411_P3 = 11, /* three planes, chroma halved across and down; subsampling 3 only */
    JPEG_CF_GRAY8 = 12,       /* one plane; one component; subsampling is ignored */
    JPEG_CF_NV12 = 13,        /* two planes: Y, then Cb,Cr pairs at half size; subsampling 3 only */
    JPEG_CF_NV21 = 14         /* two planes: Y, then Cr,Cb pairs at half size; subsampling 3 only */
};

/* ------------------------------------------------------------------------------------- records */

/* What to make of the picture. Read by EncoderInitAlloc_JPEG only. */
typedef struct EncoderParams_JPEG {
    uint32_t quality;         /* 0 (coarsest) .. 100 (every quantizer 1); 50 is Tables K.1, K.2 */
    uint32_t restartInterval; /* MCUs per restart interval, 0..65535; 0: no DRI, no RST markers */
    uint32_t mode;            /* ENC_MODE_* */
    uint32_t subsampling;     /* ENC_SUBSAMPLE_*; must be the format's own for YCbCr formats */
    uint32_t bufferMode;      /* ENC_BUFFER_* */
    /* Handle passed to every flush call. 0: flush is never called; when room is needed the bytes
     * in the output buffer count as taken and are overwritten, and no status tells. A host that
     * passes 0 makes the buffer 768 bytes larger than the whole stream can get. */
    uint32_t flushContext;
    /* Handle passed to read and seek: non-zero in slice mode, else not read. */
    uint32_t sourceHandle;
} EncoderParams_JPEG;

/*
 * The picture. Its fields are copied by EncoderInitAlloc_JPEG; the memory behind the planes belongs
 * to the host and stays valid and unchanged until Encode_JPEG has returned.
 *
 * How much a plane must hold (integrated mode; the last row may end at its last sample, and not one
 * byte more is read): plane 0 has height rows of width pixels. The chroma planes of codes 8, 9, 11,
 * 13 and 14 have as many columns and rows as plane 0 along an axis that is not subsampled. Along
 * one that is, they have half the size rounded down, or rounded up where the size leaves a
 * remainder of 1 against the MCU's 16: a 4:2:0 picture of 16 x 16 pixels has 8 x 8 chroma samples,
 * one of 17 x 21 has 9 x 10. NV12 and NV21 have a byte pair where the planar formats have a sample
 * in each of two planes.
 *
 * Slice mode: the plane pointers designate buffers of the host that receive one MCU row, and steps
 * describe the source that stands behind sourceHandle, positioned at the picture's first byte:
 *   - Codes 0, 1, 2, 12: height rows of |step[0]| bytes, top row first, or last where step[0] is
 *     negative. plane[0] takes one MCU row: 8 rows (16 for 4:2:0) of |step[0]| bytes.
 *   - Codes 8, 9, 11: the Y plane of height rows of step[0] bytes, at once followed by the Cb and
 *     Cr planes. Their rows have step[0] bytes for code 8, step[0] / 2 for 9 and 11; 8 and 9 have
 *     height of them, 11 has (height + 1) / 2. Each chroma buffer takes 8 rows.
 *   - Codes 13, 14: the Y plane, then the chroma plane of (height + 1) / 2 rows of step[0] bytes.
 *     Its buffer takes 8 rows.
 * In slice mode EncoderInitAlloc_JPEG refuses (ENC_STATUS_BADARG) rows shorter than the samples
 * they must hold, chroma steps other than the source's row lengths above (step[0] must be even for
 * 9 and 11), and a source in which a seek or a read would not fit a signed 32-bit count.
 */
typedef struct Picture_JPEG {
    uint8_t* plane[3];     /* first byte of each plane's top row; see above for slice mode */
    uint32_t reserved1[2]; /* not read */
    int32_t width;         /* pixels per row, 1..65535 */
    int32_t height;        /* rows, 1..65535 */
    /* Bytes from the start of a row to the start of the next. step[0] of a single-plane picture may
     * be negative: plane[0] is the top row all the same, and rows lie at falling addresses. Steps
     * of two- and three-plane pictures are at least 1. */
    int32_t step[3];
    uint32_t reserved2[2];  /* not read */
    int32_t planeCount;     /* 1 for codes 0, 1, 2, 12; 2 or 3 for 13, 14; 3 for 8, 9, 11 */
    int32_t componentCount; /* 1 for code 12, else 3 */
    uint32_t colorFormat;   /* JPEG_CF_* */
} Picture_JPEG;

/*
 * The output stream: a buffer of the host's. The host fills start and size; the library sets the
 * rest and keeps it up to date. After Encode_JPEG has returned ENC_STATUS_OK the bytes from start
 * up to cursor are the part of the JPEG stream that has not been handed to flush: there is no final
 * flush call. Baseline encoding needs a buffer of at least 768 bytes, or gives
 * ENC_STATUS_OUTPUT_FULL; for progressive encoding 264 bytes are always enough, provided that flush
 * takes all it is offered.
 */
typedef struct Bitstream_JPEG {
    uint8_t* start;    /* first byte of the buffer; no alignment is needed */
    int32_t size;      /* bytes in the buffer; 0 or less gives ENC_STATUS_OUTPUT_FULL */
    uint8_t* cursor;   /* the byte being written; the next free byte when bitCount is 0 */
    uint32_t bitCount; /* bits, from the most significant end, filled in the byte at cursor: 0..7 */
} Bitstream_JPEG;

/*
 * The host's callbacks. Read by EncoderInitAlloc_JPEG, which keeps copies of the function pointers.
 * Callbacks that hand memory over take the address of a pointer variable, never the block itself.
 * No callback may call the library with the same state.
 */
typedef struct CallbackTable_JPEG {
    void* reserved; /* not read */

    /* Stores the address of a new block of size bytes, aligned to alignment (a power of two), into
     * *out, or a null pointer on failure. The block need not be cleared. Called by
     * EncoderInitAlloc_JPEG only. Required. */
    void (*allocate)(void** out, uint32_t size, uint32_t alignment);

    /* Frees the block that *p holds. p is the address of the encoder's own variable, or for the
     * encoder itself of the host's: what is stored there is not used again. Called by
     * EncoderFree_JPEG only. Required. */
    void (*release)(void** p);

    /* Enlarges the block of oldSize bytes that *inout holds to newSize bytes, keeps its contents,
     * and stores its possibly new address (aligned as the block was) into *inout, which is the
     * encoder's own variable. Returns 0, or any other value on failure, which leaves the block as it
     * was.
     *
     * Steps are 1 or 4 KiB, however large the block is. A host that moves the block at each of them
     * copies with the square of the picture's size: ten times slower for 8 megapixels (739 ms against
     * 73 ms; at quality 100 and on another machine 1.9 s against 0.1 s). So a block that has to move
     * takes more than it is asked for, say half as much again, and answers the next steps at once:
     * examples/host_memory.h does.
     *
     * Required in progressive mode, not called otherwise. */
    int32_t (*grow)(void** inout, uint32_t oldSize, uint32_t newSize);

    /* Takes bytes away from the start of the output buffer, which holds usedBytes finished bytes,
     * and returns how many it took: 0..usedBytes. The library moves the rest to the buffer's start.
     * A negative answer, one above usedBytes, or too few bytes taken make the call that needed the
     * room fail with ENC_STATUS_OUTPUT_FULL. zero is always 0. Required, even where flushContext is
     * 0. */
    int32_t (*flush)(uint8_t* start, uint32_t flushContext, int32_t usedBytes, uint32_t zero);

    /* Moves the source position by offset bytes (which may be negative or 0) relative to the
     * current one; whence is always 1. The returned value is not read. Required in slice mode. */
    int32_t (*seek)(uint32_t sourceHandle, int32_t offset, uint32_t whence);

    /* Delivers count bytes (elementSize is always 1) from the source position and advances it by
     * count. They lie where *pDst points on return: either the host has copied them to the address
     * that *pDst holds on entry, or it stores into *pDst the address of memory that holds them, its
     * own or the plane's buffer. They stay there, unchanged, until the next read of the same plane
     * or the end of Encode_JPEG.
     *
     * On entry *pDst holds
     *   - with planar and semi-planar formats the plane's buffer (plane[0], plane[1], plane[2] of
     *     Picture_JPEG), at every read;
     *   - with single-plane formats what the last read left in it, and plane[0] at the first one.
     * So a host that has once pointed *pDst at memory of its own must not copy to *pDst afterwards:
     * it would overwrite that memory. To copy at one read and point at another it copies to the
     * plane's buffer, which it knows, and stores that buffer's address into *pDst.
     *
     * Returns the number of bytes delivered. Any other number than count ends the encoding with
     * ENC_STATUS_ERR, save for the bottom band of a single-plane picture whose height is no multiple
     * of the MCU's: its count is not examined. Required in slice mode. */
    int32_t (*read)(void** pDst, uint32_t elementSize, uint32_t count, uint32_t sourceHandle);
} CallbackTable_JPEG;

/* One encoder: settings, tables and position. Private to the library. */
typedef struct EncoderState_JPEG EncoderState_JPEG;

/* --------------------------------------------------------------------------------------- calls */

/* The version text, a NUL-terminated string of 86 bytes, NUL included. */
#define ENC_VERSION_TEXT \
    "jpegenc_KELDAN_TAG_KELDAN_14_WW29_REV4967_Feature<odwh1-oewh0-otr1>_BUILD_Jul  9 2014"

/*
 * Checks the parameters, allocates and sets up an encoder, and writes the stream header: SOI, APP0
 * (JFIF 1.02), DRI where there is a restart interval, DQT, in baseline mode DHT, and SOF.
 *
 * On success *outState holds the encoder; the host gives it back with EncoderFree_JPEG. The four
 * records are not kept, but stream goes on to Encode_JPEG.
 *
 * - ENC_STATUS_OK: the encoder is set up and the header is written.
 * - ENC_STATUS_BADARG: a null pointer (outState included), a null callback that the mode needs, an
 *   out-of-range parameter, or plane pointers, steps, planeCount or componentCount that do not fit the
 *   format. *outState is null (where outState is not), stream is untouched.
 * - ENC_STATUS_NOTSUPPORTED: a subsampling, mode, planeCount, componentCount or colorFormat outside the
 *   supported set. *outState is null, stream is untouched.
 * - ENC_STATUS_ERR: a planar or semi-planar format with a subsampling other than its own.
 * - ENC_STATUS_NOMEM: allocate failed, or a size would not fit 32 bits. *outState is null where the
 *   state itself was refused.
 * - ENC_STATUS_OUTPUT_FULL: the header did not fit the output buffer, and flush did not make room.
 *
 * After a failure the host calls EncoderFree_JPEG, which returns whatever had been allocated;
 * nothing else may be done with the state.
 */
VELA_API int32_t EncoderInitAlloc_JPEG(const EncoderParams_JPEG* params,
                                       const Picture_JPEG* picture, Bitstream_JPEG* stream,
                                       const CallbackTable_JPEG* callbacks,
                                       EncoderState_JPEG** outState);

/*
 * Encodes the whole picture and writes EOI. The first argument is not read.
 *
 * - ENC_STATUS_OK: the stream is whole; its last bytes lie from stream->start up to stream->cursor.
 * - ENC_STATUS_BADARG: stream or state is null; nothing is done.
 * - ENC_STATUS_ERR: a read delivered another count than asked for; or the state does not come from a
 *   successful EncoderInitAlloc_JPEG or has been encoded with before, and nothing is done.
 * - ENC_STATUS_OUTPUT_FULL: flush did not make the room that was needed; the output is void.
 * - ENC_STATUS_NOMEM: grow failed (progressive mode); the output is void.
 * - ENC_STATUS_NOTSUPPORTED: the state's mode is not one that this build encodes; nothing is done.
 *
 * After a failure the state may only be released. Never written: the picture, and anything outside
 * the output buffer, the slice buffers (through read) and the memory from allocate.
 */
VELA_API int32_t Encode_JPEG(const void* unused, Bitstream_JPEG* stream, EncoderState_JPEG* state);

/*
 * Hands all memory of an encoder to release, the state last, and sets *statePtr to null. A null
 * statePtr, or one that holds null, is accepted and nothing is done. Always ENC_STATUS_OK.
 */
VELA_API int32_t EncoderFree_JPEG(EncoderState_JPEG** statePtr);

/*
 * Copies ENC_VERSION_TEXT with its NUL (86 bytes) to buffer, which has length bytes.
 *
 * - ENC_STATUS_OK: the text is copied.
 * - ENC_STATUS_ERR: buffer is null or length is below 86; nothing is written.
 */
VELA_API int32_t GetLibVersion_JPEGENC(char* buffer, int32_t length);

#ifdef __cplusplus
}
#endif

#endif
