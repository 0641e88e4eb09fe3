// The AC packers of each instruction set.
#include "progressive/ac_packers/masked.h"
#include "state/kernels.h"
#ifdef __AVX512VBMI2__
#include "progressive/ac_packers/avx512vbmi.h"
#endif

namespace vela::VELA_ISA {

void packAc(const int16_t* block, const AcScan& first, const AcScan& refine) {
#if defined __AVX512VBMI2__
    packBytes(block, first, refine);
#elif defined __AVX512BW__
    packMasked<Scan512>(block, first, refine);
#elif defined __ARM_NEON
    packMasked<ScanNeon>(block, first, refine);
#else
    packMasked<Scan128>(block, first, refine);
#endif
}

} // namespace vela::VELA_ISA
