// The scans of a progressive stream.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

struct ScanTables {
    int32_t color[kColorScanCount][4];
    int32_t gray[kGrayScanCount][4];
    int32_t components[kColorScanCount][3];
};
extern const ScanTables kScanTables; // made of the scan plan

// Ss, Se, Ah, Al of each scan (T.81 B.2.3)
inline constexpr auto& nScanPar_Color_JPEG = kScanTables.color;
inline constexpr auto& nScanPar_Gray_JPEG = kScanTables.gray;

/// Components of each colour scan: the first componentCount of a row, 0 after them.
inline constexpr auto& nCompIdx_JPEG = kScanTables.components;

/// Sets up the next scan's ScanSpec, counts it and clears the output's bit writer. SCAN_MORE, or
/// SCAN_LAST for the last scan; ENC_STATUS_ERR after it and for a format without a script.
[[nodiscard]] Status velaInitScanParam_P_JPEG(EncoderState_JPEG* st);

ScanKind kindOf(const ScanSpec& scan);

} // namespace vela
