#include "progressive/scan_script.h"

#include "state/color_format.h"

namespace vela {

constexpr int32_t nScanPar_Color_JPEG[8][4] = {
    {0, 0, 0, 1},  // DC first, all components
    {1, 63, 0, 1}, // AC first, Y
    {1, 63, 0, 1}, // AC first, Cb
    {1, 63, 0, 1}, // AC first, Cr
    {0, 0, 1, 0},  // DC refinement, all components
    {1, 63, 1, 0}, // AC refinement, Y
    {1, 63, 1, 0}, // AC refinement, Cb
    {1, 63, 1, 0}, // AC refinement, Cr
};

constexpr int32_t nScanPar_Gray_JPEG[4][4] = {
    {0, 0, 0, 1},
    {1, 63, 0, 1},
    {0, 0, 1, 0},
    {1, 63, 1, 0},
};

constexpr int32_t nCompIdx_JPEG[8][3] = {
    {0, 1, 2}, {0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 2}, {0, 0, 0}, {1, 0, 0}, {2, 0, 0},
};

Status velaInitScanParam_P_JPEG(EncoderState_JPEG* st) {
    const uint32_t index = st->restartCounter.scanIndex++;
    veliEncodeHuffmanStateInit_JPEGENC_8u(reinterpret_cast<uint32_t*>(st->scanWorkArea));

    const ColorFormat* const format = colorFormatOf(st->imageSpec.colorFormat);
    if (format == nullptr)
        return ENC_STATUS_ERR;
    const bool grey = format->componentCount == 1;
    const uint32_t scans = grey ? 4 : 8;
    if (index >= scans)
        return ENC_STATUS_ERR;

    const int32_t* const row = grey ? nScanPar_Gray_JPEG[index] : nScanPar_Color_JPEG[index];
    ScanSpec& scan = st->scanSpec;
    scan.Ss = row[0];
    scan.Se = row[1];
    scan.Ah = row[2];
    scan.Al = row[3];
    scan.componentCount = !grey && scan.Se == 0 ? 3 : 1;
    for (int32_t j = 0; j < scan.componentCount; j++)
        scan.component[j] = &st->componentSpec[grey ? 0 : nCompIdx_JPEG[index][j]];
    return index + 1 == scans ? SCAN_LAST : SCAN_MORE;
}

ScanKind kindOf(const ScanSpec& scan) {
    if (scan.Se == 0)
        return scan.Ah == 0 ? ScanKind::dcFirst : ScanKind::dcRefine;
    return scan.Ah == 0 ? ScanKind::acFirst : ScanKind::acRefine;
}

} // namespace vela
