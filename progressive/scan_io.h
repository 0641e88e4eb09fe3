// The two ends of a scan encoder: the packed stream it reads and the output it writes.
#pragma once

#include <algorithm>
#include <cstring>

#include "progressive/packed_stream.h"
#include "progressive/scan_encoders.h"
#include "stream/bit_writer.h"
#include "stream/output_stream.h"

namespace vela {

/// Reads records; behind the end there are zeros.
class PackedReader {
public:
    explicit PackedReader(const Bitstream_JPEG& buffer) : at_(buffer.start), end_(buffer.cursor) {}

    bool more() const { return at_ < end_; }
    uint32_t byte() { return at_ < end_ ? *at_++ : 0; }

    /// A value of 0..16 bits that stands in one byte or two.
    int32_t value(int32_t bits) {
        const uint32_t high = bits > 8 ? byte() : 0;
        return static_cast<int32_t>((high << 8) | byte());
    }

    bool atMarker() const {
        return end_ - at_ >= 2 && at_[0] == 0xFF && at_[1] >= 0xD0 && at_[1] <= 0xD7;
    }

private:
    const uint8_t* at_;
    const uint8_t* end_;
};

/// Writes codes, bits and markers; room is made by the caller.
class ScanOutput {
public:
    ScanOutput(Bitstream_JPEG* out, EncoderState_JPEG* st)
        : out_(out), st_(st), bits_(&st->scanWorkArea->bits) {
        *bits_ = {};
    }

    [[nodiscard]] Status makeRoom(int32_t bytes = kUnitReserve) {
        return czFlushStreamBytes_JPEGENC(out_, bytes, st_->flush, st_->flushContext);
    }

    /// Room for count bits of which every byte may be stuffed, behind the pending ones.
    [[nodiscard]] Status makeRoomForBits(int32_t count) {
        const int32_t bytes = 2 * ((count + 7) / 8 + (bits_->bitsUsed + 7) / 8);
        return makeRoom(std::max(bytes, kUnitReserve));
    }

    void putBits(int32_t value, int32_t count) {
        int32_t added = 0;
        velaWriteStreamBits_JPEG(value, count, out_->cursor, &added, bits_);
        out_->cursor += added;
    }

    void putSymbol(const EncodeHuffmanSpec& table, uint32_t symbol) {
        const uint32_t entry = table.entry[symbol];
        putBits(static_cast<int32_t>(entry & 0xFFFF), static_cast<int32_t>(entry >> 16));
    }

    /// Completes the last byte with 1-bits.
    void finish() {
        int32_t added = 0;
        velaFlushStreamBits_JPEG(out_->cursor, &added, bits_);
        out_->cursor += added;
    }

    /// Ends a restart interval with the marker that stands in the packed stream.
    void copyMarker(PackedReader& in) {
        finish();
        *out_->cursor++ = static_cast<uint8_t>(in.byte());
        *out_->cursor++ = static_cast<uint8_t>(in.byte());
    }

private:
    Bitstream_JPEG* out_;
    EncoderState_JPEG* st_;
    BitWriterState* bits_;
};

} // namespace vela
