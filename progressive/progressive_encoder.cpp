#include "progressive/progressive_encoder.h"

#include "progressive/coefficient_pack.h"
#include "progressive/coefficient_pass.h"
#include "progressive/scan_encoders.h"
#include "progressive/scan_script.h"
#include "progressive/scan_tables.h"
#include "state/color_format.h"
#include "stream/markers.h"

namespace vela {
namespace {

Status packCoefficients(EncoderState_JPEG* st) {
    const bool slice = st->bufferMode == ENC_BUFFER_SLICE;
    switch (colorFormatOf(st->imageSpec.colorFormat)->layout) {
    case PlaneLayout::planar:
        return slice ? velaInitEncodeCoeffYUV_JPEG(st)
                     : velaInitEncodeCoeffYUV_IntegrateBuf_JPEG(st);
    case PlaneLayout::semiPlanar:
        return slice ? velaInitEncodeCoeffNV_JPEG(st) : velaInitEncodeCoeffNV_IntegrateBuf_JPEG(st);
    case PlaneLayout::singlePlane:
        return slice ? velaInitEncodeCoeffRGB_JPEG(st)
                     : velaInitEncodeCoeffRGB_IntegrateBuf_JPEG(st);
    }
    return ENC_STATUS_ERR;
}

/// The scan that has just been set up: its tables, SOS and data.
Status writeScan(Bitstream_JPEG* out, EncoderState_JPEG* st) {
    const ScanKind kind = kindOf(st->scanSpec);
    Status status = ENC_STATUS_OK;
    if (kind != ScanKind::dcRefine) { // whose bits are not Huffman-coded
        const uint32_t index = st->restartCounter.scanIndex - 1;
        // Chrominance DC symbols are counted in the place of the DC refinement scan.
        const int32_t dcRefine = scanPlanOf(st->scanBufferCount).scansOf[0].dcRefine;
        uint32_t* const counts[2] = {st->scanStats[index], st->scanStats[dcRefine]};
        status = velaBuildScanHuffTables_P_JPEG(counts, out, st);
    }
    if (status == ENC_STATUS_OK)
        status = velaWrite_SOS_JPEG(&st->scanSpec, out, st->flush, st->flushContext);
    if (status == ENC_STATUS_OK)
        status = velaEncodeScanData_Progressive_JPEG(out, st);
    return status;
}

} // namespace

Status velaCompress_Progressive_JPEG(Bitstream_JPEG* out, EncoderState_JPEG* st) {
    Status status = packCoefficients(st);
    if (status != ENC_STATUS_OK)
        return status;
    takeBackLastMarkers(st);

    Status more = SCAN_MORE;
    while (more == SCAN_MORE) {
        more = velaInitScanParam_P_JPEG(st);
        if (more < 0)
            return more;
        status = writeScan(out, st);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

} // namespace vela
