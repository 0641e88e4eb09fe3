// The exported calls.
#include "vela/jpegenc.h"

#include <cstring>

#include "baseline/baseline_encoder.h"
#include "encoder/routine_choice.h"
#include "encoder/setup.h"
#include "progressive/progressive_encoder.h"
#include "stream/markers.h"

namespace vela {
namespace {

constexpr char kVersionText[] = ENC_VERSION_TEXT;
static_assert(sizeof kVersionText == 86);

Status encodePicture(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    switch (state->mode) {
    case ENC_MODE_BASELINE:
        return velaCompress_BaseLine_JPEG(stream, state);
    case ENC_MODE_PROGRESSIVE:
        return velaCompress_Progressive_JPEG(stream, state);
    }
    return ENC_STATUS_NOTSUPPORTED;
}

/// Hands a block to the host, if there is one, by the address of the variable that holds it.
template <class T>
void releaseBlock(const EncoderState_JPEG& state, T*& block) {
    if (block != nullptr)
        state.release(reinterpret_cast<void**>(&block));
}

} // namespace
} // namespace vela

int32_t EncoderInitAlloc_JPEG(const EncoderParams_JPEG* params, const Picture_JPEG* picture,
                              Bitstream_JPEG* stream, const CallbackTable_JPEG* callbacks,
                              EncoderState_JPEG** outState) {
    return vela::initEncoder(params, picture, stream, callbacks, outState,
                             vela::routinesOfThisMachine());
}

int32_t Encode_JPEG(const void*, Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    if (stream == nullptr || state == nullptr)
        return ENC_STATUS_BADARG;
    if (state->stage != vela::Stage::ready)
        return ENC_STATUS_ERR;
    state->stage = vela::Stage::spent;

    const vela::Status status = vela::encodePicture(stream, state);
    if (status != ENC_STATUS_OK)
        return status;
    return vela::velaWriteMarker_JPEG(vela::kMarkerEoi, stream, state->flush, state->flushContext);
}

int32_t EncoderFree_JPEG(EncoderState_JPEG** statePtr) {
    if (statePtr == nullptr || *statePtr == nullptr)
        return ENC_STATUS_OK;
    EncoderState_JPEG& state = **statePtr;
    const auto release = state.release;

    vela::releaseBlock(state, state.workBuffer);
    for (int32_t i = 0; i < state.scanBufferCount; i++)
        vela::releaseBlock(state, state.scanBuffer[i].start);
    release(reinterpret_cast<void**>(statePtr)); // the caller's own variable
    *statePtr = nullptr;
    return ENC_STATUS_OK;
}

int32_t GetLibVersion_JPEGENC(char* buffer, int32_t length) {
    if (buffer == nullptr || length < static_cast<int32_t>(sizeof vela::kVersionText))
        return ENC_STATUS_ERR;
    std::memcpy(buffer, vela::kVersionText, sizeof vela::kVersionText);
    return ENC_STATUS_OK;
}
