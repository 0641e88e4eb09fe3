// Plane copies for callers; the encoder itself makes none.
#include <cstddef>
#include <cstring>

#include "vela/primitives.h"

namespace vela {
namespace {

/// Rows of elements of some bytes each; nothing for an empty size.
void copyPlane(const void* src, ptrdiff_t srcStep, void* dst, ptrdiff_t dstStep, int32_t width,
               int32_t height, size_t elementBytes) {
    if (width < 1)
        return;
    for (int32_t y = 0; y < height; y++)
        std::memcpy(static_cast<uint8_t*>(dst) + y * dstStep,
                    static_cast<const uint8_t*>(src) + y * srcStep,
                    static_cast<size_t>(width) * elementBytes);
}

} // namespace
} // namespace vela

void czxCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    int32_t width, int32_t height) {
    vela::copyPlane(pSrc, srcStep, pDst, dstStep, width, height, 1);
}

void czxCopy_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst, int32_t dstStep,
                     int32_t width, int32_t height) {
    vela::copyPlane(pSrc, srcStep & ~1, pDst, dstStep & ~1, width, height, 2);
}

void czxCopy_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    int32_t width, int32_t height) {
    vela::copyPlane(pSrc, srcStep, pDst, dstStep, width, height, 3);
}
