// One scan's side of the AC packers: its buffer, counts and coder.
#pragma once

#include <span>
#include <vector>

#include "progressive/ac_packers/plain.h"
#include "state/encoder_state.h"
#include "support/guarded.h"

namespace test {

struct PackedScan {
    explicit PackedScan(int32_t bytes = 1 << 16)
        : memory(static_cast<size_t>(bytes)), buffer{memory.data(), bytes, memory.data(), 0} {}

    Guarded memory;
    Bitstream_JPEG buffer;
    uint32_t counts[257] = {};
    vela::ScanCoderState coder{};

    std::span<const uint8_t> records() const { return {buffer.start, buffer.cursor}; }
    std::span<const uint8_t> corrections() const {
        return {coder.correctionBits, static_cast<size_t>(coder.correctionCount)};
    }

    /// What has been packed since the last time.
    std::vector<uint8_t> take() {
        const std::vector<uint8_t> bytes(buffer.start, buffer.cursor);
        buffer.cursor = buffer.start;
        return bytes;
    }
    void packFirst(const int16_t* block) {
        vela::velaPackACFirst_JPEG(block, counts, &buffer, &coder, 1, 63, 1);
    }
    void packRefine(const int16_t* block) {
        vela::velaPackACRefine_JPEG(block, counts, &buffer, &coder, 1, 63, 0);
    }
};

} // namespace test
