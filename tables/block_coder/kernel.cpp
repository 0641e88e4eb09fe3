// The baseline coder of each instruction set.
#include "state/kernels.h"

#if defined __ARM_NEON
#include "tables/block_coder/value_coder_neon.h"
#elif defined __AVX512VBMI2__
#include "tables/block_coder/lookup_coder_avx512vbmi.h"
#else
#include "tables/block_coder/record_coder_x86.h"
#endif

namespace vela::VELA_ISA {

#ifdef __SSE4_1__
void prepareCodes(const BlockSpec& blocks, PreparedCodes& codes) {
#ifdef __AVX512VBMI2__
    preparePlanes(blocks, codes);
#else
    prepareEntries(blocks, codes);
#endif
}
#endif

int32_t encodeMcus(const BlockSpec& blocks, [[maybe_unused]] const PreparedCodes& codes,
                   int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
#if defined __AVX512VBMI2__
    return encodeByLookup(blocks, codes, mcuCount, dst, bitPosition);
#elif defined __AVX512BW__
    return encodeByRecords<SixteenRecords>(blocks, codes, mcuCount, dst, bitPosition);
#elif defined __AVX2__
    return encodeByRecords<EightRecords>(blocks, codes, mcuCount, dst, bitPosition);
#elif defined __SSE4_1__
    return encodeByRecords<FourRecords>(blocks, codes, mcuCount, dst, bitPosition);
#else
    return encodeByValues(blocks, mcuCount, dst, bitPosition);
#endif
}

} // namespace vela::VELA_ISA
