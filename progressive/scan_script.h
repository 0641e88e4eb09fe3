// The scans of a progressive stream.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

// Ss, Se, Ah, Al of each scan (T.81 B.2.3)
extern const int32_t nScanPar_Color_JPEG[8][4];
extern const int32_t nScanPar_Gray_JPEG[4][4];

/// Components of each colour scan: the first componentCount of a row, 0 behind them.
extern const int32_t nCompIdx_JPEG[8][3];

/// Sets up the next scan's ScanSpec, counts it and clears the output's bit writer. SCAN_MORE, or
/// SCAN_LAST for the last scan; ENC_STATUS_ERR behind it and for a format without a script.
[[nodiscard]] Status velaInitScanParam_P_JPEG(EncoderState_JPEG* st);

/// What a scan holds.
enum class ScanKind : uint8_t { dcFirst, acFirst, dcRefine, acRefine };
ScanKind kindOf(const ScanSpec& scan);

} // namespace vela
