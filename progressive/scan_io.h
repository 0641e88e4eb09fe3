// The two ends of a scan encoder: the packed stream it reads and the output it writes. Both belong to
// the unit that includes them, as the gatherer of words does, which is a type of its own in each.
#pragma once

#include <algorithm>
#include <cstring>

#include "progressive/packed_stream.h"
#include "progressive/scan_encoders.h"
#include "stream/bit_writer.h"
#include "stream/output_stream.h"
#include "stream/word_gatherer.h"

namespace vela {
namespace {

using ScanGatherer = VELA_ISA::WordGatherer<uintptr_t>; // of the processor's registers

/// Reads records. Each starts with a call of more(), and may then read kRecordHead bytes with next():
/// the buffer's last bytes, where a record may be cut off, are read from a copy that zeros follow.
class PackedReader {
public:
    static constexpr int32_t kRecordHead = 3;
    using Tail = uint8_t[2 * kRecordHead];

    PackedReader(const Bitstream_JPEG& buffer, Tail& tail)
        : at_(buffer.start), end_(buffer.cursor), tail_(tail) {
        const auto beforeTail = std::max<ptrdiff_t>(end_ - at_ - (kRecordHead - 1), 0);
        wholeEnd_ = at_ + beforeTail;
    }

    bool more() {
        if (__builtin_expect(at_ < wholeEnd_, true))
            return true;
        if (at_ >= end_)
            return false;
        const auto left = static_cast<size_t>(end_ - at_); // fewer than kRecordHead
        std::memset(tail_, 0, sizeof(Tail));
        std::memcpy(tail_, at_, left);
        at_ = tail_;
        end_ = tail_ + left;
        wholeEnd_ = end_;
        return true;
    }

    uint32_t next() { return *at_++; }

    /// Whether so many bytes can be looked at with ahead(), and then passed.
    bool holds(int32_t bytes) const { return end_ - at_ >= bytes; }
    uint32_t ahead(int32_t i) const { return at_[i]; }
    void pass(int32_t bytes) { at_ += bytes; }

    /// Whether a restart marker comes next. It belongs to the unit before it: no room is made between
    /// the two.
    bool atMarker() { return more() && *at_ == kRecordMarker; }

    /// Of a record's bytes after its head; 0 where the buffer has ended.
    uint32_t byte() { return at_ < end_ ? *at_++ : 0; }

    /// A value of 0..16 bits that stands in one byte or two.
    uint32_t value(int32_t bits) {
        const uint32_t high = bits > 8 ? next() : 0;
        return (high << 8) | next();
    }

private:
    const uint8_t* at_;
    const uint8_t* wholeEnd_; // before it a record's head is whole
    const uint8_t* end_;
    uint8_t* tail_; // outside, so that the pointers can stay in registers
};

/// Writes codes, bits and markers. Between units the pending bits, fewer than 32, stand in the
/// state's bit writer; the bytes before them are in the output.
class ScanOutput {
public:
    ScanOutput(Bitstream_JPEG* out, EncoderState_JPEG* st)
        : out_(out), st_(st), bits_(&st->scanWorkArea->bits) {
        *bits_ = {};
    }

    [[nodiscard]] Status makeRoom(int32_t bytes = kUnitReserve) {
        return czFlushStreamBytes_JPEGENC(out_, bytes, st_->flush, st_->flushContext);
    }

    /// Room for count bits of which every byte may be stuffed, after the pending ones.
    [[nodiscard]] Status makeRoomForBits(int32_t count) {
        const int32_t bytes = 2 * ((count + 7) / 8 + (bits_->bitsUsed + 7) / 8);
        return makeRoom(std::max(bytes, kUnitReserve));
    }

    /// How many units of at most unitBytes each can be written until less than the reserve, which
    /// is free now, would be: no flush is due before. At least one.
    int32_t unitsWithoutFlush(int32_t unitBytes) const {
        return (static_cast<int32_t>(streamRoom(*out_)) - kUnitReserve) / unitBytes + 1;
    }

    /// The bits move to a gatherer for some units, and back.
    ScanGatherer gather() const {
        const int32_t held = bits_->bitsUsed;
        return {out_->cursor, held == 0 ? 0 : bits_->bitAccumulator >> (32 - held), held};
    }
    /// The output is as the bit writer leaves it, which stores four bytes as soon as 32 bits have
    /// come together: so the host is offered the same bytes whatever the size of a register.
    void settle(ScanGatherer& gatherer) {
        gatherer.storeBytes(4 * (gatherer.held() / 32));
        const int32_t held = gatherer.held();
        out_->cursor = gatherer.out;
        bits_->bitsUsed = held;
        bits_->bitAccumulator = held == 0 ? 0 : static_cast<uint32_t>(gatherer.bits) << (32 - held);
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

    /// Ends a restart interval.
    void copyMarker(uint32_t marker) {
        finish();
        *out_->cursor++ = kRecordMarker;
        *out_->cursor++ = static_cast<uint8_t>(marker);
    }

private:
    Bitstream_JPEG* out_;
    EncoderState_JPEG* st_;
    BitWriterState* bits_;
};

/// A symbol's code, then bits (0..15) extra bits; extra has no others.
inline void putSymbol(ScanGatherer& gatherer, const EncodeHuffmanSpec& table, uint32_t symbol,
                      uint32_t extra, int32_t bits) {
    const uint32_t entry = table.entry[symbol];
    gatherer.put((entry & 0xFFFF) << bits | extra, static_cast<int32_t>(entry >> 16) + bits);
}

// Bytes that up to 32 bits add at the most: one word of the bit writer, every byte of it stuffed.
constexpr int32_t kMaxSymbolBytes = 2 * 4;

} // namespace
} // namespace vela
