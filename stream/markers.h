// One writer per marker and marker segment (T.81 Annex B, JFIF 1.02), in stream order. Each makes
// its segment whole before it hands it to the byte writer, so that a segment that does not fit is
// not written at all; COM alone is handed over as a head and a text. All return the byte writer's status.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

// Second bytes of the markers (T.81 Table B.1)
inline constexpr uint8_t kMarkerSof0 = 0xC0;
inline constexpr uint8_t kMarkerSof2 = 0xC2;
inline constexpr uint8_t kMarkerDht = 0xC4;
inline constexpr uint8_t kMarkerRst0 = 0xD0;
inline constexpr uint8_t kMarkerSoi = 0xD8;
inline constexpr uint8_t kMarkerEoi = 0xD9;
inline constexpr uint8_t kMarkerSos = 0xDA;
inline constexpr uint8_t kMarkerDqt = 0xDB;
inline constexpr uint8_t kMarkerDri = 0xDD;
inline constexpr uint8_t kMarkerApp0 = 0xE0;
inline constexpr uint8_t kMarkerCom = 0xFE;

/// SOI, APP0, COM if there is a comment, DRI if there is a restart interval.
[[nodiscard]] Status velaWriteHead_JPEG(const uint8_t* comment, int32_t commentLength,
                                        Bitstream_JPEG* stream, EncoderState_JPEG* state);

/// A marker without a segment.
[[nodiscard]] Status velaWriteMarker_JPEG(uint8_t code, Bitstream_JPEG* stream, FlushCallback flush,
                                          uint32_t flushContext);

[[nodiscard]] Status velaWrite_APP0_JFIF_JPEG(uint8_t units, int32_t xDensity, int32_t yDensity,
                                              int32_t version, Bitstream_JPEG* stream,
                                              FlushCallback flush, uint32_t flushContext);

/// Nothing for a null text or a length below 1; length is at most 65533.
[[nodiscard]] Status velaWrite_COM_JPEG(const uint8_t* text, int32_t length, Bitstream_JPEG* stream,
                                        FlushCallback flush, uint32_t flushContext);

[[nodiscard]] Status velaWrite_DRI_JPEG(int32_t interval, Bitstream_JPEG* stream,
                                        FlushCallback flush, uint32_t flushContext);

/// table is in natural order. precision is that of the elements written, 8 or 16; for any other
/// nothing is written.
[[nodiscard]] Status velaWrite_DQT_JPEG(uint32_t tableId, int32_t precision,
                                        const uint8_t table[64], Bitstream_JPEG* stream,
                                        FlushCallback flush, uint32_t flushContext);

/// tableClass is 0 for DC, 1 for AC. A BITS list of more than 256 codes is cut after the 256th.
[[nodiscard]] Status velaWrite_DHT_JPEG(uint32_t tableId, uint32_t tableClass,
                                        const uint8_t bits[16], const uint8_t vals[],
                                        Bitstream_JPEG* stream, FlushCallback flush,
                                        uint32_t flushContext);

[[nodiscard]] Status velaWrite_SOF_JPEG(const FrameSpec* frame, const ComponentSpec* components,
                                        Bitstream_JPEG* stream, FlushCallback flush,
                                        uint32_t flushContext);

[[nodiscard]] Status velaWrite_SOS_JPEG(const ScanSpec* scan, Bitstream_JPEG* stream,
                                        FlushCallback flush, uint32_t flushContext);

/// RST(n mod 8).
[[nodiscard]] Status velaWrite_RST_JPEG(uint32_t n, Bitstream_JPEG* stream, FlushCallback flush,
                                        uint32_t flushContext);

} // namespace vela
