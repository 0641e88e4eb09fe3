#include <immintrin.h>

#include "progressive/block_packers.h"
#include "progressive/packed_stream.h"
#include "progressive/record_writers.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_x86.h"

#include "progressive/mask_words_x86.h"

#include "progressive/ac_packers_lanes.inl"

} // namespace

namespace vela::avx2 {

void packAc(const int16_t* block, const AcScan& first, const AcScan& refine) {
    ::packAc<Scan128>(block, first, refine);
}

} // namespace vela::avx2
