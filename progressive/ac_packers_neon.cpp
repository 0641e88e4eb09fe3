#include <arm_neon.h>

#include "progressive/block_packers.h"
#include "progressive/packed_stream.h"
#include "progressive/record_writers.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_neon.h"

#include "progressive/ac_packers_lanes.inl"

} // namespace

namespace vela::neon {

void packAc(const int16_t* block, const AcScan& first, const AcScan& refine) {
    ::packAc<ScanNeon>(block, first, refine);
}

} // namespace vela::neon
