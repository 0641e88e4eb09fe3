// Huffman tables from hostile counts and lengths, and the segments that carry tables, into buffers of every size.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "fuzz/input.h"
#include "progressive/scan_tables.h"
#include "stream/bit_writer.h"
#include "stream/markers.h"
#include "stream/output_stream.h"
#include "support/guarded.h"
#include "tables/huffman_tables.h"

namespace {

using namespace vela;
using fuzz::Input;
using fuzz::require;
using test::Guarded;

/// The codes of a table are those of T.81 Annex C: one after another, at each length doubled.
void requireCanonical(const HuffmanSpecWork& work, const EncodeHuffmanSpec& spec) {
    uint32_t code = 0;
    size_t n = 0;
    for (uint32_t length = 1; length <= 16; length++, code <<= 1)
        for (int i = 0; i < work.BITS[length - 1]; i++, n++, code++)
            require(spec.entry[work.HUFFVAL[n]] == (length << 16 | code), "a code is canonical");
}

void fitted(Input& input) {
    uint32_t counts[257] = {};
    const auto symbols = input.integer<size_t>(0, 256);
    const int shift = input.integer(0, 24);
    for (size_t i = 0; i < symbols && !input.empty(); i++) {
        const auto symbol = input.byte();
        counts[symbol] += static_cast<uint32_t>(input.byte()) << shift;
    }
    const std::vector<uint32_t> original(counts, counts + 256);
    HuffmanSpecWork work{};
    velaHuffmanTableSpecInit_JPEG_8u(counts, work.codesize, work.others, work.bitsWork, work.BITS,
                                     work.HUFFVAL);
    int64_t room = 1 << 16; // in codes of 16 bits
    for (int length = 1; length <= 16; length++)
        room -= int64_t{work.BITS[length - 1]} << (16 - length);
    require(room > 0, "the code of ones alone is free");
    const int total = std::accumulate(work.BITS, work.BITS + 16, 0);
    require(total ==
                std::count_if(original.begin(), original.end(), [](uint32_t n) { return n > 0; }),
            "there is a code for each symbol that occurs");
    EncodeHuffmanSpec spec;
    veliEncodeHuffmanSpecInit_JPEGENC_8u(work.BITS, work.HUFFVAL, &spec);
    requireCanonical(work, spec);
    // Not so where codes are brought to 16 bits, or counts are halved before.
    if (*std::max_element(work.codesize, work.codesize + 257) > 16 ||
        std::accumulate(original.begin(), original.end(), uint64_t{0}) > 1'000'000'000)
        return;
    int before = 0; // length of the code of a symbol that is as frequent or more so
    std::vector<size_t> order(256);
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return original[a] > original[b]; });
    for (const size_t symbol : order) {
        const auto length = static_cast<int>(spec.entry[symbol] >> 16);
        require((length > 0) == (original[symbol] > 0), "a code for what occurs, for nothing else");
        if (length == 0)
            break;
        require(length >= before, "what is rarer has no shorter code");
        before = length;
    }
}

/// Lists that no standard allows: the construction reads and writes what it says and no more.
void hostileLengths(Input& input) {
    Guarded bits(16), spec(sizeof(EncodeHuffmanSpec), 4);
    int total = 0;
    for (size_t i = 0; i < 16; i++)
        total += bits.data()[i] = input.byte();
    Guarded values(static_cast<size_t>(std::min(total, 256)));
    fuzz::fill({values.data(), values.size()}, input.rest());
    auto* const table = reinterpret_cast<EncodeHuffmanSpec*>(spec.data());
    require(veliEncodeHuffmanSpecInit_JPEGENC_8u(bits.data(), values.data(), table) == 0, "0");
    for (const uint32_t entry : table->entry)
        require(entry >> 16 <= 16, "a length of 16 at the most");
    require(bits.intact() && values.intact() && spec.intact(), "nothing is written beside");
}

struct Output {
    Guarded memory;
    Bitstream_JPEG stream;
    std::vector<uint8_t> flushed;
    static inline Output* current;
    static inline int32_t leftAlone; // of what is offered

    explicit Output(int32_t size)
        : memory(static_cast<size_t>(size)), stream{memory.data(), size, memory.data(), 0} {
        current = this;
    }
    static int32_t flush(uint8_t* start, uint32_t, int32_t used, uint32_t) {
        const int32_t taken = std::max(used - leftAlone, 0);
        current->flushed.insert(current->flushed.end(), start, start + taken);
        return taken;
    }
    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> all = flushed;
        all.insert(all.end(), stream.start, stream.cursor);
        return all;
    }
};

/// A segment behind something else in the buffer: whole, or not at all.
void segments(Input& input) {
    Output output(input.integer(0, 700));
    const int32_t before = input.integer(0, std::min(output.stream.size, 300));
    std::fill_n(output.stream.cursor, before, uint8_t{0x11});
    output.stream.cursor += before;
    Output::leftAlone = input.integer(0, 40);
    Guarded bits(16), text(input.integer<size_t>(0, 300)), table(64), values(256);
    for (Guarded* const memory : {&bits, &text, &table, &values})
        for (size_t i = 0; i < memory->size(); i++)
            memory->data()[i] = input.byte();
    const int32_t kind = input.integer(0, 6);
    const auto write = [&]() -> Status {
        Bitstream_JPEG* const to = &output.stream;
        const auto flush = &Output::flush;
        switch (kind) {
        case 0:
            return velaWrite_DHT_JPEG(input.byte() % 2, input.byte() % 2, bits.data(),
                                      values.data(), to, flush, 1);
        case 1:
            return velaWrite_DQT_JPEG(input.byte(), input.choose({8, 16, 0, -1}), table.data(), to,
                                      flush, 1);
        case 2:
            return velaWrite_COM_JPEG(text.data(), static_cast<int32_t>(text.size()), to, flush, 1);
        case 3:
            return velaWrite_DRI_JPEG(input.integer(0, 65535), to, flush, 1);
        case 4:
            return velaWrite_APP0_JFIF_JPEG(input.byte() % 3, input.any<uint16_t>(),
                                            input.any<uint16_t>(), 0x0102, to, flush, 1);
        case 5:
            return velaWrite_RST_JPEG(input.any<uint32_t>(), to, flush, 1);
        default:
            return velaWriteMarker_JPEG(input.byte(), to, flush, 1);
        }
    };
    const Status status = write();
    require(status == ENC_STATUS_OK || status == ENC_STATUS_OUTPUT_FULL, "it fits or it does not");
    const std::vector<uint8_t> all = output.bytes();
    require(all.size() >= static_cast<size_t>(before), "nothing is lost");
    const std::span<const uint8_t> own = std::span(all).subspan(static_cast<size_t>(before));
    if (status != ENC_STATUS_OK) // what was flushed in vain may be in both
        require(kind == 2 || std::count(all.begin(), all.end(), 0xFF) == 0,
                "of what does not fit there is nothing");
    else if (!own.empty())
        require(own[0] == 0xFF && (own.size() == 2 || own.size() == own[2] * 256u + own[3] + 2),
                "a marker, and a segment of the length that it tells");
    require(output.memory.intact() && text.intact() && bits.intact() && table.intact(),
            "nothing is written beside");
}

/// Bits by the writer of progressive scans, beside bits put one after another.
void bits(Input& input) {
    Guarded memory(input.rest().size() * 8 + 16);
    BitWriterState state{};
    int32_t position = 0;
    std::vector<bool> expected;
    while (!input.empty()) {
        const auto code = static_cast<int32_t>(input.any<uint32_t>());
        const int32_t count = input.integer(-1, 31);
        velaWriteStreamBits_JPEG(code, count, memory.data(), &position, &state);
        for (int32_t i = count - 1; i >= 0; i--)
            expected.push_back((code >> i & 1) != 0);
    }
    velaFlushStreamBits_JPEG(memory.data(), &position, &state);
    while (expected.size() % 8 != 0)
        expected.push_back(true);
    size_t at = 0;
    for (int32_t i = 0; i < position; i++) {
        for (int32_t b = 7; b >= 0; b--, at++)
            require(at < expected.size() && (memory.data()[i] >> b & 1) == int{expected[at]},
                    "a bit");
        if (memory.data()[i] == 0xFF)
            require(++i < position && memory.data()[i] == 0, "a byte of ones is stuffed");
    }
    require(at == expected.size() && memory.intact(), "no bit more or less");
}

/// Reading back what a stream holds.
void reads(Input& input) {
    Guarded from(input.integer<size_t>(0, 64)), to(input.integer<size_t>(0, 64));
    fuzz::fill({from.data(), from.size()}, input.rest());
    const auto size = static_cast<int32_t>(from.size());
    Bitstream_JPEG stream{from.data(), size, from.data() + input.integer(0, size), 0};
    const uint8_t* const before = stream.cursor;
    const auto count = static_cast<int32_t>(to.size());
    const Status status = czReadStreamBytes_JPEGENC(to.data(), count, &stream);
    const bool has = from.data() + size - before >= count;
    require(status == (has ? ENC_STATUS_OK : ENC_STATUS_NODATA), "what is there can be read");
    require(stream.cursor == before + (has ? count : 0), "and is passed");
    require(!has || std::equal(before, before + count, to.data()), "and is what was there");
    require(from.intact() && to.intact(), "nothing is written beside");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    input.choose({fitted, hostileLengths, segments, bits, reads})(input);
    return 0;
}
