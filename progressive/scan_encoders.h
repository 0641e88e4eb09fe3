// Translation of a scan's packed symbol stream (progressive/packed_stream.h) into its entropy-coded
// data.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Room that is made in the output before each unit: an MCU's differences, a symbol, some copied
/// bytes.
inline constexpr int32_t kUnitReserve = 128;

/// The scan that ScanSpec describes. ENC_STATUS_ERR if none has been set up;
/// ENC_STATUS_OUTPUT_FULL, here and below, where flush does not make the room.
[[nodiscard]] Status velaEncodeScanData_Progressive_JPEG(Bitstream_JPEG* out,
                                                         EncoderState_JPEG* st);

/// dcTables: those of luminance and chrominance.
[[nodiscard]] Status velaEncodeScanData_DCFirst_JPEG(Bitstream_JPEG* out,
                                                     const Bitstream_JPEG* scanBuf,
                                                     const EncodeHuffmanSpec* const dcTables[2],
                                                     EncoderState_JPEG* st);
[[nodiscard]] Status velaEncodeScanData_DCRefine_JPEG(Bitstream_JPEG* out,
                                                      const Bitstream_JPEG* scanBuf,
                                                      EncoderState_JPEG* st);
[[nodiscard]] Status velaEncodeScanData_ACFirst_JPEG(Bitstream_JPEG* out,
                                                     const Bitstream_JPEG* scanBuf,
                                                     const EncodeHuffmanSpec* acTable,
                                                     EncoderState_JPEG* st);
[[nodiscard]] Status velaEncodeScanData_ACRefine_JPEG(Bitstream_JPEG* out,
                                                      const Bitstream_JPEG* scanBuf,
                                                      const EncodeHuffmanSpec* acTable,
                                                      EncoderState_JPEG* st);

} // namespace vela
