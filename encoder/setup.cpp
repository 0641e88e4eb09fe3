#include "encoder/setup.h"

#include <algorithm>
#include <new>

#include "encoder/frame_setup.h"
#include "encoder/parameter_check.h"
#include "encoder/routine_choice.h"
#include "encoder/working_memory.h"
#include "stream/markers.h"
#include "tables/huffman_tables.h"
#include "tables/quant_tables.h"

namespace vela {
namespace {

/// The state, with every field cleared, so that it can be released whatever comes next; null if the
/// host has no memory. The callback is given the caller's own variable.
EncoderState_JPEG* allocateState(const CallbackTable_JPEG& callbacks,
                                 EncoderState_JPEG** outState) {
    constexpr uint32_t alignment = std::max<uint32_t>(4, alignof(EncoderState_JPEG));
    callbacks.allocate(reinterpret_cast<void**>(outState), sizeof(EncoderState_JPEG), alignment);
    return *outState == nullptr ? nullptr : new (*outState) EncoderState_JPEG{};
}

Status describeFrame(EncoderState_JPEG* state, const EncoderParams_JPEG* params,
                     const PictureDescription& description, const CallbackTable_JPEG* callbacks,
                     const RoutineTable& routines) {
    state->imageSpec = description.image;
    state->mcuSpec = description.mcu;
    state->sourceLayout = description.source;
    state->routines = &routines;
    Status status = velaInitEncoderState_JPEG(state, params, callbacks);
    if (status == ENC_STATUS_OK)
        status = velaInitProcSpec_JPEG(&state->procSpec, &state->imageSpec, state->routines);
    if (status == ENC_STATUS_OK)
        status = velaInitCompSpec_JPEG(state->componentSpec, &state->imageSpec);
    if (status == ENC_STATUS_OK)
        status = velaInitCounter_JPEG(&state->restartCounter, state);
    if (status == ENC_STATUS_OK)
        status = velaInitFrameSpec_JPEG(&state->frameSpec, &state->imageSpec, state);
    return status;
}

Status prepareMemory(EncoderState_JPEG* state, const Picture_JPEG* picture) {
    Status status =
        velaInitBufSpec_JPEG(&state->bufSpec, picture, &state->mcuSpec, &state->imageSpec, state);
    if (status == ENC_STATUS_OK)
        status =
            velaInitBufferPointer_JPEG(&state->mcuSpec, &state->imageSpec, &state->bufSpec, state);
    if (status == ENC_STATUS_OK)
        status = velaInitBlockSpec_JPEG(&state->blockSpec, &state->mcuSpec, &state->bufSpec, state);
    return status;
}

Status writeHeader(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    Status status = velaWriteHead_JPEG(nullptr, 0, stream, state);
    if (status == ENC_STATUS_OK)
        status = velaBuildTables_JPEG(stream, state);
    if (status == ENC_STATUS_OK)
        status = velaWrite_SOF_JPEG(&state->frameSpec, state->componentSpec, stream, state->flush,
                                    state->flushContext);
    return status;
}

} // namespace

Status initEncoder(const EncoderParams_JPEG* params, const Picture_JPEG* picture,
                   Bitstream_JPEG* stream, const CallbackTable_JPEG* callbacks,
                   EncoderState_JPEG** outState, const RoutineTable& routines) {
    if (outState == nullptr)
        return ENC_STATUS_BADARG;
    *outState = nullptr;
    Status status = velaParameterCheck_JPEG(params, picture, stream, callbacks);
    if (status == ENC_STATUS_OK)
        status = checkSize(*picture);
    PictureDescription description;
    if (status == ENC_STATUS_OK)
        status = describePicture(&description, *params, *picture);
    if (status == ENC_STATUS_OK)
        status = checkPicture(*params, *picture, description.source);
    if (status != ENC_STATUS_OK)
        return status;

    stream->cursor = stream->start;
    stream->bitCount = 0;
    EncoderState_JPEG* const state = allocateState(*callbacks, outState);
    if (state == nullptr)
        return ENC_STATUS_NOMEM;

    status = describeFrame(state, params, description, callbacks, routines);
    if (status == ENC_STATUS_OK)
        status = prepareMemory(state, picture);
    if (status == ENC_STATUS_OK)
        status = writeHeader(stream, state);
    if (status == ENC_STATUS_OK)
        state->stage = Stage::ready;
    return status;
}

Status velaBuildTables_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    const Status status =
        velaBuildEncodeQuantTables_JPEG(state->imageSpec.componentCount, nullptr, stream, state);
    if (status != ENC_STATUS_OK || state->mode != ENC_MODE_BASELINE)
        return status; // progressive mode fits Huffman tables to each scan
    return velaBuildScanHuffTables_BLS_JPEG(stream, state);
}

} // namespace vela
