// What the scan encoders write and when they flush, against the rules followed one unit at a time:
// 128 bytes of room before every MCU, symbol or record, none between a unit and the marker after it in
// the first scans, and bits through the 32-bit bit writer. Aimed at encoders that take several units at
// once, or gather bits in wider registers, and so offer the host other amounts.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "progressive/packed_stream.h"
#include "progressive/scan_encoders.h"
#include "stream/bit_writer.h"
#include "stream/output_stream.h"

namespace {

using namespace vela;

constexpr int32_t kUnitRoom = 128;
constexpr int32_t kLongestRecordRoom = 264; // 1024 correction bits after 31 others, all stuffed

/// An output whose flush takes a part that depends on the number of the call alone.
struct Sink {
    std::vector<uint8_t> memory;
    std::vector<uint8_t> taken;
    std::vector<int32_t> offered;
    Bitstream_JPEG out{};

    explicit Sink(int32_t bytes) : memory(static_cast<size_t>(bytes)) {
        out = {memory.data(), bytes, memory.data(), 0};
        current = this;
    }

    std::vector<uint8_t> written() const {
        std::vector<uint8_t> all = taken;
        all.insert(all.end(), out.start, out.cursor);
        return all;
    }

    static int32_t flush(uint8_t* start, uint32_t, int32_t used, uint32_t) {
        Sink& sink = *current;
        sink.offered.push_back(used);
        const auto call = static_cast<int32_t>(sink.offered.size());
        const int32_t most = sink.out.size - kLongestRecordRoom; // may stay
        const int32_t takes = used - std::min(used, call * 37 % (most + 1));
        sink.taken.insert(sink.taken.end(), start, start + takes);
        return takes;
    }

    static inline Sink* current = nullptr;
};

struct State : EncoderState_JPEG {
    ScanCoderState coder{};

    State() : EncoderState_JPEG{} {
        scanWorkArea = &coder;
        blockSpec.blockCount = 6;
        blockSpec.chromaBlocks = 2;
        restartInterval = 1;
        flushContext = 1;
        EncoderState_JPEG::flush = Sink::flush;
    }
};

/// The rules, one unit at a time.
class Model {
public:
    Model(const std::vector<uint8_t>& packed, Sink& sink) : in_(packed), out_(sink.out) {}

    void dcFirst(const EncodeHuffmanSpec* const tables[2]) {
        while (at_ < in_.size()) {
            makeRoom(kUnitRoom);
            for (int b = 0; b < 6; b++) {
                const int size = byte();
                putCode(*tables[b < 4 ? 0 : 1], size);
                put(value(size), size);
            }
            marker();
        }
        finish();
    }

    void dcRefine() {
        makeRoom(kUnitRoom);
        const bool fits = streamRoom(out_) >= static_cast<int64_t>(in_.size());
        for (size_t i = 0; i < in_.size(); i++) {
            if (!fits && i > 0 && i % 128 == 0)
                makeRoom(kUnitRoom);
            *out_.cursor++ = in_[i];
        }
        makeRoom(kUnitRoom);
    }

    void acFirst(const EncodeHuffmanSpec& table) {
        while (at_ < in_.size()) {
            makeRoom(kUnitRoom);
            symbol(table);
            marker();
        }
        finish();
    }

    void acRefine(const EncodeHuffmanSpec& table) {
        while (at_ < in_.size()) {
            makeRoom(kUnitRoom);
            if (marker())
                continue;
            if (in_[at_] == PACK_ESC_BITS8 || in_[at_] == PACK_ESC_BITS16)
                corrections();
            else
                symbol(table);
        }
        finish();
    }

private:
    int byte() { return in_[at_++]; }
    int value(int bits) {
        const int high = bits > 8 ? byte() << 8 : 0;
        return high | byte();
    }

    void makeRoom(int32_t bytes) {
        ASSERT_EQ(czFlushStreamBytes_JPEGENC(&out_, bytes, Sink::flush, 1), ENC_STATUS_OK);
    }
    void put(int bits, int count) {
        int32_t added = 0;
        velaWriteStreamBits_JPEG(bits, count, out_.cursor, &added, &bits_);
        out_.cursor += added;
    }
    void putCode(const EncodeHuffmanSpec& table, int symbol) {
        const uint32_t entry = table.entry[symbol];
        put(static_cast<int>(entry & 0xFFFF), static_cast<int>(entry >> 16));
    }
    void finish() {
        int32_t added = 0;
        velaFlushStreamBits_JPEG(out_.cursor, &added, &bits_);
        out_.cursor += added;
    }

    void symbol(const EncodeHuffmanSpec& table) {
        const int y = byte();
        putCode(table, y);
        const int bits = (y & 15) != 0 ? y & 15 : y >> 4;
        if (y != 0xF0 && bits != 0)
            put(value(bits), bits);
    }

    void corrections() {
        const int count = value(byte() == PACK_ESC_BITS8 ? 8 : 16);
        const int pendingBytes = (bits_.bitsUsed + 7) / 8;
        if (count > 0xFF) // the only unit that may not fit the room made before it
            makeRoom(std::max(kUnitRoom, 2 * ((count + 7) / 8 + pendingBytes)));
        if (count % 8 != 0)
            put(byte(), count % 8);
        for (int i = count / 8; i > 0; i--)
            put(byte(), 8);
    }

    bool marker() {
        if (in_.size() - at_ < 2 || in_[at_] != 0xFF || in_[at_ + 1] < 0xD0 || in_[at_ + 1] > 0xD7)
            return false;
        finish();
        *out_.cursor++ = in_[at_++];
        *out_.cursor++ = in_[at_++];
        return true;
    }

    const std::vector<uint8_t>& in_;
    size_t at_ = 0;
    Bitstream_JPEG& out_;
    BitWriterState bits_{};
};

/// Packed streams as the coefficient pass leaves them, with unlikely values.
class Packed {
public:
    explicit Packed(uint32_t seed) : random_(seed), markerEvery_(below(3) * (1 + below(7))) {}

    std::vector<uint8_t> dcFirst() {
        for (uint32_t mcu = 1, mcus = 1 + below(150); mcu <= mcus; mcu++) {
            for (int b = 0; b < 6; b++) {
                const uint32_t size = below(12);
                add(size);
                addValue(size);
            }
            addMarker(mcu, mcus);
        }
        return bytes_;
    }

    std::vector<uint8_t> acFirst() {
        for (uint32_t i = 1, symbols = 1 + below(900); i <= symbols; i++) {
            addSymbol(1 + below(10));
            addMarker(i, symbols);
        }
        return bytes_;
    }

    std::vector<uint8_t> acRefine() {
        for (uint32_t i = 1, records = 1 + below(400); i <= records; i++) {
            if (below(3) == 0)
                addCorrections(below(8) == 0 ? 1 + below(1024) : 1 + below(70));
            else
                addSymbol(1);
            addMarker(i, records);
        }
        return bytes_;
    }

    std::vector<uint8_t> anyBytes() {
        bytes_.resize(below(1200));
        for (uint8_t& byte : bytes_)
            byte = static_cast<uint8_t>(random_());
        return bytes_;
    }

private:
    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
    void add(uint32_t byte) { bytes_.push_back(static_cast<uint8_t>(byte)); }
    void addValue(uint32_t bits) {
        const uint32_t ones = below(4) == 0 ? 0xFFFF : below(0x10000); // many bytes to be stuffed
        const uint32_t value = ones & ((1u << bits) - 1);
        if (bits > 8)
            add(value >> 8);
        add(value);
    }
    void addSymbol(uint32_t size) {
        const uint32_t run = below(15);
        const uint32_t kind = below(6);
        if (kind == 0) {
            add(0xF0);
        } else if (kind == 1) { // an end-of-band run
            add(run << 4);
            if (run > 0)
                addValue(run);
        } else {
            add(run << 4 | size);
            addValue(size);
        }
    }
    void addCorrections(uint32_t count) {
        add(count <= 0xFF ? PACK_ESC_BITS8 : PACK_ESC_BITS16);
        if (count > 0xFF)
            add(count >> 8);
        add(count);
        for (uint32_t bits = count % 8 == 0 ? 8 : count % 8, left = count; left > 0; bits = 8) {
            addValue(bits);
            left -= bits;
        }
    }
    void addMarker(uint32_t unit, uint32_t units) {
        if (markerEvery_ != 0 && unit % markerEvery_ == 0 && unit != units) {
            add(kRecordMarker);
            add(0xD0 + unit / markerEvery_ % 8);
        }
    }

    std::mt19937 random_;
    uint32_t markerEvery_;
    std::vector<uint8_t> bytes_;
};

/// Codes for all symbols; nothing here needs to be decodable.
EncodeHuffmanSpec codes(uint32_t seed) {
    std::mt19937 random(seed);
    EncodeHuffmanSpec table{};
    for (uint32_t& entry : table.entry) {
        const auto length = static_cast<uint32_t>(1 + random() % 16);
        const uint32_t ones = (1u << length) - 1;
        entry = length << 16 | (random() % 3 == 0 ? ones : static_cast<uint32_t>(random() & ones));
    }
    return table;
}

class ScanCalls : public testing::Test {
protected:
    /// encode and model get the same packed stream, each an output of its own.
    template <class Encode, class Follow>
    void expectSame(const std::vector<uint8_t>& packed, uint32_t seed, Encode encode,
                    Follow follow) {
        const auto outputBytes = static_cast<int32_t>(kLongestRecordRoom + seed % 300);
        Sink expected(outputBytes);
        Model model(packed, expected);
        follow(model);

        Sink sink(outputBytes);
        uint8_t* const start = const_cast<uint8_t*>(packed.data());
        const auto size = static_cast<int32_t>(packed.size());
        const Bitstream_JPEG in{start, size, start + size, 0};
        ASSERT_EQ(encode(&sink.out, &in), ENC_STATUS_OK) << "seed " << seed;
        ASSERT_EQ(sink.offered, expected.offered) << "seed " << seed;
        ASSERT_EQ(sink.written(), expected.written()) << "seed " << seed;
    }

    State state_;
    const EncodeHuffmanSpec luma_ = codes(1);
    const EncodeHuffmanSpec chroma_ = codes(2);
};

TEST_F(ScanCalls, FollowTheRulesUnitByUnit) {
    const EncodeHuffmanSpec* const tables[2] = {&luma_, &chroma_};
    for (uint32_t seed = 0; seed < 400 && !HasFatalFailure(); seed++) {
        expectSame(
            Packed(seed).dcFirst(), seed,
            [&](auto* out, auto* in) {
                return velaEncodeScanData_DCFirst_JPEG(out, in, tables, &state_);
            },
            [&](Model& model) { model.dcFirst(tables); });
        expectSame(
            Packed(seed).anyBytes(), seed,
            [&](auto* out, auto* in) { return velaEncodeScanData_DCRefine_JPEG(out, in, &state_); },
            [&](Model& model) { model.dcRefine(); });
        expectSame(
            Packed(seed).acFirst(), seed,
            [&](auto* out, auto* in) {
                return velaEncodeScanData_ACFirst_JPEG(out, in, &luma_, &state_);
            },
            [&](Model& model) { model.acFirst(luma_); });
        expectSame(
            Packed(seed).acRefine(), seed,
            [&](auto* out, auto* in) {
                return velaEncodeScanData_ACRefine_JPEG(out, in, &luma_, &state_);
            },
            [&](Model& model) { model.acRefine(luma_); });
    }
}

} // namespace
