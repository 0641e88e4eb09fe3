#include "baseline/baseline_encoder.h"

#include "baseline/mcu_coder.h"
#include "pixel/picture_walk.h"
#include "stream/markers.h"
#include "stream/output_stream.h"

namespace vela {
namespace {

/// Codes each MCU straight into the output.
class ScanCoder {
public:
    ScanCoder(Bitstream_JPEG* stream, EncoderState_JPEG* state) : stream_(stream), state_(state) {
        prepareCodes(*state, codes_);
    }

    [[nodiscard]] Status beginRow() { return ENC_STATUS_OK; }

    [[nodiscard]] Status room(int32_t& count) {
        if (streamRoom(*stream_) < kMcuReserve) { // asked here, since there mostly is that room
            const Status status = czFlushStreamBytes_JPEGENC(stream_, kMcuReserve, state_->flush,
                                                             state_->flushContext);
            if (status != ENC_STATUS_OK)
                return status;
        }
        if (count > 1)
            count = mcusInPlace(*stream_, *state_, count);
        return ENC_STATUS_OK;
    }

    [[nodiscard]] Status take(const BlockSpec& blocks, int32_t count, int32_t, int32_t) {
        return codeMcus(stream_, blocks, codes_, count, state_);
    }

    [[nodiscard]] Status endRow() { return ENC_STATUS_OK; }

private:
    Bitstream_JPEG* stream_;
    EncoderState_JPEG* state_;
    PreparedCodes codes_;
};

/// Where the last MCU has closed a restart interval, takes the marker after it back: none may
/// stand before EOI. That MCU has just reloaded the countdown, and nothing has been written since.
void takeBackLastMarker(Bitstream_JPEG* stream, const EncoderState_JPEG& state) {
    const bool closed = state.restartInterval > 0 &&
                        state.restartCounter.mcusToGo == state.restartInterval &&
                        stream->bitCount == 0;
    if (closed)
        stream->cursor -= 2;
}

template <class RowSource>
Status encodeScanData(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    ScanCoder coder(stream, state);
    const Status status = walkPicture(*state, RowSource(*state), coder);
    if (status == ENC_STATUS_OK)
        takeBackLastMarker(stream, *state);
    return status;
}

} // namespace

Status velaCompress_BaseLine_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    state->mcuSpec.startColumn = 0;
    state->mcuSpec.startRow = 0;
    Status status = velaInitScanParam_BLS_JPEG(state);
    if (status != SCAN_LAST)
        return status;
    status = velaWrite_SOS_JPEG(&state->scanSpec, stream, state->flush, state->flushContext);
    if (status != ENC_STATUS_OK)
        return status;
    return state->bufferMode == ENC_BUFFER_SLICE
               ? velaEncodeScanData_BLS_SliceBUF_JPEG(stream, state)
               : velaEncodeScanData_BLS_IntegratedBUF_JPEG(stream, state);
}

Status velaInitScanParam_BLS_JPEG(EncoderState_JPEG* state) {
    ScanSpec& scan = state->scanSpec;
    scan.Ss = 0;
    scan.Se = 63;
    scan.Ah = 0;
    scan.Al = 0;
    scan.componentCount = state->imageSpec.componentCount;
    for (int32_t k = 0; k < scan.componentCount; k++) {
        scan.component[k] = &state->componentSpec[k];
        state->dcPredictor[k] = 0;
    }
    return SCAN_LAST;
}

Status velaEncodeScanData_BLS_SliceBUF_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    return encodeScanData<SliceRows>(stream, state);
}

Status velaEncodeScanData_BLS_IntegratedBUF_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    return encodeScanData<IntegratedRows>(stream, state);
}

} // namespace vela
