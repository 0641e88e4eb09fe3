// The two ends of a scan encoder: the packed stream it reads and the output it writes.
#pragma once

#include <algorithm>
#include <cstring>

#include "progressive/packed_stream.h"
#include "progressive/scan_encoders.h"
#include "stream/bit_writer.h"
#include "stream/output_stream.h"

namespace vela {
namespace {
#include "stream/bit_gatherer.inl"
} // namespace

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

/// Writes codes, bits and markers. Between units the pending bits, fewer than 32, stand in the state's
/// bit writer; the bytes before them are in the output.
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

    /// How many units of at most unitBytes each can be written until less than the reserve, which is
    /// free now, would be: no flush is due before. At least one.
    int64_t unitsWithoutFlush(int32_t unitBytes) const {
        return (streamRoom(*out_) - kUnitReserve) / unitBytes + 1;
    }

    /// The bits move to a gatherer for some units, and back.
    BitGatherer gather() const {
        const int32_t held = bits_->bitsUsed;
        const uint64_t pending = held == 0 ? 0 : bits_->bitAccumulator >> (32 - held);
        return {out_->cursor, pending, 64 - held};
    }
    void settle(BitGatherer& gatherer) {
        if (gatherer.free <= 32) // the bit writer would have stored a word
            gatherer.storeBytes(4);
        const int32_t held = 64 - gatherer.free;
        out_->cursor = gatherer.out;
        bits_->bitsUsed = held;
        bits_->bitAccumulator = held == 0 ? 0 : static_cast<uint32_t>(gatherer.bits << (32 - held));
    }

    void putBits(int32_t value, int32_t count) {
        int32_t added = 0;
        velaWriteStreamBits_JPEG(value, count, out_->cursor, &added, bits_);
        out_->cursor += added;
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

/// A symbol's code with bits (0..16) extra bits behind it.
inline void putSymbol(BitGatherer& gatherer, const EncodeHuffmanSpec& table, uint32_t symbol,
                      int32_t value, int32_t bits) {
    const uint32_t entry = table.entry[symbol];
    const uint32_t extra = static_cast<uint32_t>(value) & ((1u << bits) - 1);
    gatherer.put((uint64_t{entry & 0xFFFF} << bits) | extra,
                 static_cast<int32_t>(entry >> 16) + bits);
}

// Bytes that up to 32 bits add at the most: one word of the bit writer, every byte of it stuffed.
inline constexpr int32_t kMaxSymbolBytes = 2 * 4;

} // namespace vela
