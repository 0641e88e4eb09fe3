// The records' layout on a 32-bit target, where hosts are linked that were compiled elsewhere:
// every field one word, in the order of the header.
#include <cstddef>

#include "state/encoder_state.h"

namespace vela {
namespace {

constexpr bool k32Bit = sizeof(void*) == 4;

/// Whether a field lies at the given word; asserted on 32-bit targets alone.
constexpr bool atWord(size_t offset, size_t word) {
    return !k32Bit || offset == 4 * word;
}

static_assert(sizeof(EncoderParams_JPEG) == 7 * 4); // no pointers: the same everywhere
static_assert(offsetof(EncoderParams_JPEG, restartInterval) == 1 * 4);
static_assert(offsetof(EncoderParams_JPEG, mode) == 2 * 4);
static_assert(offsetof(EncoderParams_JPEG, subsampling) == 3 * 4);
static_assert(offsetof(EncoderParams_JPEG, bufferMode) == 4 * 4);
static_assert(offsetof(EncoderParams_JPEG, flushContext) == 5 * 4);
static_assert(offsetof(EncoderParams_JPEG, sourceHandle) == 6 * 4);

static_assert(atWord(sizeof(Picture_JPEG), 15));
static_assert(atWord(offsetof(Picture_JPEG, reserved1), 3));
static_assert(atWord(offsetof(Picture_JPEG, width), 5));
static_assert(atWord(offsetof(Picture_JPEG, height), 6));
static_assert(atWord(offsetof(Picture_JPEG, step), 7));
static_assert(atWord(offsetof(Picture_JPEG, reserved2), 10));
static_assert(atWord(offsetof(Picture_JPEG, planeCount), 12));
static_assert(atWord(offsetof(Picture_JPEG, componentCount), 13));
static_assert(atWord(offsetof(Picture_JPEG, colorFormat), 14));

static_assert(atWord(sizeof(Bitstream_JPEG), 4));
static_assert(atWord(offsetof(Bitstream_JPEG, size), 1));
static_assert(atWord(offsetof(Bitstream_JPEG, cursor), 2));
static_assert(atWord(offsetof(Bitstream_JPEG, bitCount), 3));

static_assert(atWord(sizeof(CallbackTable_JPEG), 7));
static_assert(atWord(offsetof(CallbackTable_JPEG, allocate), 1));
static_assert(atWord(offsetof(CallbackTable_JPEG, release), 2));
static_assert(atWord(offsetof(CallbackTable_JPEG, grow), 3));
static_assert(atWord(offsetof(CallbackTable_JPEG, flush), 4));
static_assert(atWord(offsetof(CallbackTable_JPEG, seek), 5));
static_assert(atWord(offsetof(CallbackTable_JPEG, read), 6));

// Private records that debuggers and dumps of 32-bit devices know by the word
static_assert(sizeof(ImageSpec) == 10 * 4);
static_assert(sizeof(ComponentSpec) == 7 * 4);
static_assert(sizeof(FrameSpec) == 5 * 4);
static_assert(sizeof(ScanCoderState) == 4 * 4 + 1024);
static_assert(offsetof(ScanCoderState, eobRun) == sizeof(BitWriterState));
static_assert(sizeof(BitWriterState) == 2 * 4);

} // namespace
} // namespace vela
