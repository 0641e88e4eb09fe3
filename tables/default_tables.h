// The typical tables of T.81 Annex K, and the code tables made of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "vela/primitives.h"

namespace vela {

// Base quantization tables, natural order
extern const int16_t _DefLumQuantTable_JPEGENC[64];   // Table K.1
extern const int16_t _DefChromQuantTable_JPEGENC[64]; // Table K.2

// BITS and HUFFVAL
extern const uint8_t _DefLumDCHuffBits_JPEGENC[16]; // Table K.3
extern const uint8_t _DefLumDCHuffValues_JPEGENC[12];
extern const uint8_t _DefChromDCHuffBits_JPEGENC[16]; // Table K.4
extern const uint8_t _DefChromDCHuffValues_JPEGENC[12];
extern const uint8_t _DefLumACHuffBits_JPEGENC[16]; // Table K.5
extern const uint8_t _DefLumACHuffValues_JPEGENC[162];
extern const uint8_t _DefChromACHuffBits_JPEGENC[16]; // Table K.6
extern const uint8_t _DefChromACHuffValues_JPEGENC[162];

// The code tables of K.3 to K.6, made at compile time by the construction that
// veliEncodeHuffmanSpecInit_JPEGENC_8u runs. A DC table has an entry per category 0..11.
inline constexpr size_t kDcCategories = 12;
extern const std::array<uint32_t, kDcCategories> DCLunmaTable;
extern const std::array<uint32_t, kDcCategories> DCChromaTable;
extern const EncodeHuffmanSpec ACLunmaTable;
extern const EncodeHuffmanSpec ACChromaTable;

} // namespace vela
