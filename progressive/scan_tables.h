// Huffman tables fitted to a scan's symbols.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Builds and installs the tables of the current scan from its symbol counts, and writes their DHT
/// segments. counts[1] is read for a scan of several components alone: the chrominance symbols. The
/// counts are used up.
[[nodiscard]] Status velaBuildScanHuffTables_P_JPEG(uint32_t* const counts[2], Bitstream_JPEG* out,
                                                    EncoderState_JPEG* st);

/// Code lengths for symbol counts (T.81 Annex K.2, Figures K.1 to K.4): counts[256] becomes the
/// reserved code point; of equal counts the one with the highest index is merged first; no code is
/// longer than 16 bits. Counts that would lead to codes of more than 32 bits before that limit, or
/// whose sum is above 1,000,000,000, are halved first, as often as it takes; none becomes 0. The
/// counts are used up. Returns 0.
int32_t velaHuffmanTableSpecInit_JPEG_8u(uint32_t counts[257], int32_t codesize[257],
                                         int32_t others[257], uint8_t bitsWork[33],
                                         uint8_t BITS[16], uint8_t HUFFVAL[256]);

void czZeroMemory_1BYTE(void* p, int32_t n);

} // namespace vela
