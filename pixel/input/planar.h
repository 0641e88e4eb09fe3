// Planar, semi-planar and grey MCUs by their planes, for all instruction sets: each has its own
//
//     convertBlock     one block of samples
//     convertWideLuma  the luminance blocks of an MCU 16 pixels wide and 8 or 16 high
//     convertPairs     a row of samples in pairs, to two blocks
#pragma once

#include <cstddef>

#include "cpu/isa.h"
#ifdef __ARM_NEON
#include "pixel/input/planar_neon.h"
#else
#include "pixel/input/planar_x86.h"
#endif

namespace vela::VELA_ISA {
namespace {

inline void convertGrey(const void* src, int32_t step, int16_t* const dst[3]) {
    convertBlock(static_cast<const uint8_t*>(src), step, dst[0]);
}

inline void convertPlanar444(const uint8_t* const src[3], const int32_t step[3],
                             int16_t* const dst[3]) {
    for (int32_t k = 0; k < 3; k++)
        convertBlock(src[k], step[k], dst[k]);
}

/// 4:2:2 (height 8) and 4:2:0 (height 16)
template <int32_t height>
void convertPlanarHalved(const uint8_t* const src[3], const int32_t step[3],
                         int16_t* const dst[3]) {
    convertWideLuma(src[0], step[0], height, dst[0]);
    convertBlock(src[1], step[1], dst[1]);
    convertBlock(src[2], step[2], dst[2]);
}

/// first and second: the components of the first and second bytes of the chroma pairs.
template <int32_t first, int32_t second>
void convertSemiPlanar(const uint8_t* const src[3], const int32_t step[3], int16_t* const dst[3]) {
    convertWideLuma(src[0], step[0], 16, dst[0]);
    const uint8_t* row = src[1];
    for (int32_t y = 0; y < 8; y++, row += step[1])
        convertPairs(row, dst[first] + 8 * y, dst[second] + 8 * y);
}

} // namespace
} // namespace vela::VELA_ISA
