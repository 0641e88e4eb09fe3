// The exported primitives that are named for NEON: its kernels in a build that has them, the plain
// versions in others.
#include "vela/primitives.h"

#ifdef VELA_NEON_KERNELS
#include "state/routines.h"

namespace vela::neon {
extern const InputRoutines kInput;
}
#define VELA_NEON_OR(kernel, plain) vela::neon::kInput.kernel
#else
#define VELA_NEON_OR(kernel, plain) plain
#endif

void velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG_NEON(const uint8_t* const pSrc[3],
                                                      const int32_t srcStep[3],
                                                      int16_t* const pDst[3]) {
    VELA_NEON_OR(planar[0], velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG)(pSrc, srcStep, pDst);
}

void velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG_NEON(const uint8_t* const pSrc[3],
                                                      const int32_t srcStep[3],
                                                      int16_t* const pDst[3]) {
    VELA_NEON_OR(planar[1], velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG)(pSrc, srcStep, pDst);
}

void velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON(const uint8_t* const pSrc[3],
                                                      const int32_t srcStep[3],
                                                      int16_t* const pDst[3]) {
    VELA_NEON_OR(planar[2], velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG)(pSrc, srcStep, pDst);
}

void velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON(const uint8_t* const pSrc[3],
                                                  const int32_t srcStep[3],
                                                  int16_t* const pDst[3]) {
    VELA_NEON_OR(nv12[2], velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG)(pSrc, srcStep, pDst);
}

void velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON(const uint8_t* const pSrc[3],
                                                  const int32_t srcStep[3],
                                                  int16_t* const pDst[3]) {
    VELA_NEON_OR(nv21[2], velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG)(pSrc, srcStep, pDst);
}
