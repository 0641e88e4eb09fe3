/* The records as hosts on 32-bit machines were compiled against them. Compiled for such a target,
 * checked by the compiler, never run. */
#include <stddef.h>

#include <vela/jpegenc.h>

#define AT(record, field, offset)                                            \
    _Static_assert(offsetof(record, field) == (offset), #record "." #field); \
    _Static_assert(sizeof((record){0}.field) % 4 == 0, #record "." #field)
#define SIZE(record, bytes) _Static_assert(sizeof(record) == (bytes), #record)

SIZE(EncoderParams_JPEG, 28);
AT(EncoderParams_JPEG, quality, 0);
AT(EncoderParams_JPEG, restartInterval, 4);
AT(EncoderParams_JPEG, mode, 8);
AT(EncoderParams_JPEG, subsampling, 12);
AT(EncoderParams_JPEG, bufferMode, 16);
AT(EncoderParams_JPEG, flushContext, 20);
AT(EncoderParams_JPEG, sourceHandle, 24);

SIZE(Picture_JPEG, 60);
AT(Picture_JPEG, plane, 0);
AT(Picture_JPEG, reserved1, 12);
AT(Picture_JPEG, width, 20);
AT(Picture_JPEG, height, 24);
AT(Picture_JPEG, step, 28);
AT(Picture_JPEG, reserved2, 40);
AT(Picture_JPEG, planeCount, 48);
AT(Picture_JPEG, componentCount, 52);
AT(Picture_JPEG, colorFormat, 56);

SIZE(Bitstream_JPEG, 16);
AT(Bitstream_JPEG, start, 0);
AT(Bitstream_JPEG, size, 4);
AT(Bitstream_JPEG, cursor, 8);
AT(Bitstream_JPEG, bitCount, 12);

SIZE(CallbackTable_JPEG, 28);
AT(CallbackTable_JPEG, reserved, 0);
AT(CallbackTable_JPEG, allocate, 4);
AT(CallbackTable_JPEG, release, 8);
AT(CallbackTable_JPEG, grow, 12);
AT(CallbackTable_JPEG, flush, 16);
AT(CallbackTable_JPEG, seek, 20);
AT(CallbackTable_JPEG, read, 24);
