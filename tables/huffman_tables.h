// Huffman tables of the picture: installed in the state and written as DHT.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Work area of one table fitted to symbol counts (T.81 Annex K.2).
struct HuffmanSpecWork {
    int32_t others[257];   // next symbol on the same branch, -1 at its end
    int32_t codesize[257]; // of each symbol
    uint8_t bitsWork[33];  // codes of length 0..32
    uint8_t BITS[16];      // codes of length 1..16
    uint8_t HUFFVAL[256];  // symbols in code order
};

/// Installs one table and writes its DHT segment: custom's BITS and HUFFVAL, or with a null custom
/// the typical table of T.81 Annex K.3. tableId is clamped to 0..1.
[[nodiscard]] Status velaBuildEncodeHuffTable_JPEG(int32_t tableId, int32_t isAC,
                                                   const HuffmanSpecWork* custom,
                                                   Bitstream_JPEG* stream,
                                                   EncoderState_JPEG* state);

/// Installs the baseline tables, those for chrominance where the picture has it, and writes a DHT
/// segment for each: DC 0, AC 0, DC 1, AC 1.
[[nodiscard]] Status velaBuildScanHuffTables_BLS_JPEG(Bitstream_JPEG* stream,
                                                      EncoderState_JPEG* state);

} // namespace vela
