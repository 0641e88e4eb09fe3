// What is to be coded of some MCUs, as records: the first step of record_coder_x86.h.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "cpu/isa.h"
#include "state/encoder_state.h"
#include "tables/block_coder/record_positions.h"

#ifdef __AVX2__

namespace vela::VELA_ISA {
namespace {

constexpr int32_t kMaxRecords = kMaxBlocksPerMcu * kBlockSamples;

// A record's kind: the zero run before it in bits 0..3, its table in bits 4 and 5 (which count as
// BlockSpec::codeOffset does)
//
//     7   6   5       4    3 2 1 0
//     -   -   other   DC   run
constexpr uint8_t kDcTable = 0x10;
constexpr uint8_t kOtherTables = 0x20; // those of the last block

/// What is to be coded, in order.
struct Records {
    int16_t values[kMaxRecords + 32];
    uint8_t kinds[kMaxRecords + 64];
};

/// Adds a block's records after count others, with tables (kOtherTables or 0) in their kinds. Returns
/// how many there are.
using AddBlock = int32_t(Records& records, int32_t count, const int16_t* block, int32_t predictor,
                         uint8_t tables);

/// AddBlock one by one, with the coefficients that Scan finds. Four a turn, so that the number of turns
/// can mostly be predicted: those after the last one are of no meaning and are overwritten.
template <class Scan>
int32_t addOneByOne(Records& records, int32_t count, const int16_t* block, int32_t predictor,
                    uint8_t tables) {
    typename Scan::Order order;
    uint64_t left = recordPositions(Scan::scan(block, order)) & ~uint64_t{1};
    records.values[count] = static_cast<int16_t>(block[0] - predictor);
    records.kinds[count++] = tables | kDcTable;
    const int32_t end = count + __builtin_popcountll(left);
    const int32_t step = 1 - tables;
    int32_t next = step; // the position after the last record, less the tables' bits
    for (int32_t turn = count; turn < end; turn += 4)
        for (int32_t i = turn; i < turn + 4; i++) {
            const auto k = static_cast<int32_t>(_tzcnt_u64(left)); // 64 when none is left
            left &= left - 1;
            records.values[i] = static_cast<int16_t>(order(k & 63));
            records.kinds[i] = static_cast<uint8_t>(k - next);
            next = k + step;
        }
    return end;
}

} // namespace
} // namespace vela::VELA_ISA

#endif
