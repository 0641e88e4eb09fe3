// Input of whole MCUs by each instruction set.
#include "pixel/input/planar.h"
#include "state/kernels.h"

#if defined __ARM_NEON
#include "pixel/input/packed_neon.h"
#else
#include "pixel/input/packed_x86.h"
#endif
#ifdef __AVX512VBMI__
#include "pixel/input/packed_avx512vbmi.h"
#endif

namespace vela::VELA_ISA {

constexpr InputRoutines kInput = {
    .grey = {convertGrey},
#ifdef __AVX512VBMI__
    .bgr888 = {convertBgr444, convertBgrHalved<1>, convertBgrHalved<2>},
#else
    .bgr888 = {convert444<Bgr888>, convert422<Bgr888>, convert420<Bgr888>},
#endif
    .bgr555 = {convert444<Bgr555>, convert422<Bgr555>, convert420<Bgr555>},
    .bgr565 = {convert444<Bgr565>, convert422<Bgr565>, convert420<Bgr565>},
    .planar = {convertPlanar444, convertPlanarHalved<8>, convertPlanarHalved<16>},
    .nv12 = {nullptr, nullptr, convertSemiPlanar<1, 2>},
    .nv21 = {nullptr, nullptr, convertSemiPlanar<2, 1>},
};

} // namespace vela::VELA_ISA
