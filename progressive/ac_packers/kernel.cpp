// The AC packers of each instruction set.
#include "progressive/ac_packers/masked.h"
#include "progressive/ac_packers/segments_x86.h"
#include "state/kernels.h"
#ifdef __AVX512VBMI2__
#include "progressive/ac_packers/avx512vbmi.h"
#endif

namespace vela::VELA_ISA {

void packAc(const int16_t* block, const AcScan& first, const AcScan& refine) {
#if defined __AVX512VBMI2__
    packBytes(block, first, refine);
#elif defined __AVX512BW__
    packBySegments<Scan512>(block, first, refine);
#elif defined __AVX2__
    packBySegments<ByteScan>(block, first, refine);
#elif defined __ARM_NEON
    packMasked<ScanNeon>(block, first, refine);
#else
    packMasked<ByteScan>(block, first, refine);
#endif
}

} // namespace vela::VELA_ISA
