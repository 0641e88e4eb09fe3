#include "progressive/scan_script.h"

#include "state/color_format.h"

namespace vela {

namespace {

consteval void fillParameters(int32_t (&parameters)[4], const ScanRow& row) {
    parameters[0] = row.Ss;
    parameters[1] = row.Se;
    parameters[2] = row.Ah;
    parameters[3] = row.Al;
}

consteval ScanTables makeTables() {
    ScanTables tables{};
    for (int32_t i = 0; i < kColorScanCount; i++) {
        const ScanRow& row = kColorScans[i];
        fillParameters(tables.color[i], row);
        for (int32_t j = 0; j < 3; j++)
            tables.components[i][j] = row.component == kAllComponents ? j
                                      : j == 0                        ? row.component
                                                                      : 0;
    }
    for (int32_t i = 0; i < kGrayScanCount; i++)
        fillParameters(tables.gray[i], kGrayScans[i]);
    return tables;
}

} // namespace

constexpr ScanTables kScanTables = makeTables();

Status velaInitScanParam_P_JPEG(EncoderState_JPEG* st) {
    const uint32_t index = st->restartCounter.scanIndex++;
    veliEncodeHuffmanStateInit_JPEGENC_8u(reinterpret_cast<uint32_t*>(st->scanWorkArea));

    const ColorFormat* const format = colorFormatOf(st->imageSpec.colorFormat);
    if (format == nullptr)
        return ENC_STATUS_ERR;
    const bool grey = format->componentCount == 1;
    const ScanPlan& plan = grey ? kGrayPlan : kColorPlan;
    const auto scans = static_cast<uint32_t>(plan.count);
    if (index >= scans)
        return ENC_STATUS_ERR;

    const int32_t* const row = grey ? nScanPar_Gray_JPEG[index] : nScanPar_Color_JPEG[index];
    ScanSpec& scan = st->scanSpec;
    scan.Ss = row[0];
    scan.Se = row[1];
    scan.Ah = row[2];
    scan.Al = row[3];
    scan.componentCount = plan.rows[index].component == kAllComponents ? plan.componentCount : 1;
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
