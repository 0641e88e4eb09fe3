#include <immintrin.h>

#include <cstddef>

#include "pixel/color_weights.h"
#include "state/kernels.h"

namespace {

#include "pixel/packed_input_lanes.inl"

#include "pixel/packed_input_x86.h"

#include "pixel/planar_input_x86.h"

} // namespace

namespace vela::avx2 {

constexpr InputRoutines kInput = {
    .grey = convertGrey,
    .packed =
        {{convert444<Bgr888, TwoRows256>, convert422<Bgr888, Row256>, convert420<Bgr888, Row256>},
         {convert444<Bgr555, TwoRows256>, convert422<Bgr555, Row256>, convert420<Bgr555, Row256>},
         {convert444<Bgr565, TwoRows256>, convert422<Bgr565, Row256>, convert420<Bgr565, Row256>}},
    .planar = {convertPlanar444, convertPlanarHalved<8>, convertPlanarHalved<16>},
    .semiPlanar = {convertSemiPlanar<1, 2>, convertSemiPlanar<2, 1>},
};

} // namespace vela::avx2

namespace vela::avx512 {

extern constexpr InputRoutines kInput = avx2::kInput;

} // namespace vela::avx512
