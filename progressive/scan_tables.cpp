#include "progressive/scan_tables.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "tables/huffman_tables.h"

namespace vela {
namespace {

constexpr int32_t kEntries = kScanStatsEntries;
constexpr int32_t kReserved = 256; // keeps the code of 1-bits only from being used
constexpr int32_t kMaxLength = 16;
constexpr int32_t kMaxLengthBefore = 32; // before the limit is applied
constexpr uint32_t kMaxSum = 1000000000;

/// A branch to be merged: its count above the distance of its index from the last one, so that of two
/// branches the rarer is the smaller key, and of equally rare ones the one with the higher index.
uint64_t keyOf(uint32_t count, int32_t index) {
    return (uint64_t{count} << 9) | static_cast<uint64_t>(kReserved - index);
}
int32_t indexOf(uint64_t key) {
    return kReserved - static_cast<int32_t>(key & 0x1FF);
}

/// Makes every code on an entry's branch one bit longer, and returns the branch's last entry.
int32_t lengthenBranch(int32_t entry, int32_t* codesize, const int32_t* others) {
    codesize[entry]++;
    while (others[entry] >= 0) {
        entry = others[entry];
        codesize[entry]++;
    }
    return entry;
}

/// Figure K.1: merges the two rarest branches until one is left, which a heap finds without looking at
/// all of them each time. Returns the longest code.
int32_t findCodeSizes(const uint32_t* counts, int32_t* codesize, int32_t* others) {
    std::fill_n(codesize, kEntries, 0);
    std::fill_n(others, kEntries, -1);
    uint64_t heap[kEntries];
    uint64_t* end = heap;
    for (int32_t i = 0; i < kEntries; i++)
        if (counts[i] != 0)
            *end++ = keyOf(counts[i], i);
    const auto rarestFirst = std::greater<uint64_t>();
    std::make_heap(heap, end, rarestFirst);
    while (end - heap > 1) {
        std::pop_heap(heap, end, rarestFirst);
        const uint64_t first = *--end;
        std::pop_heap(heap, end, rarestFirst);
        const uint64_t second = end[-1];
        const int32_t c1 = indexOf(first);
        const int32_t c2 = indexOf(second);
        others[lengthenBranch(c1, codesize, others)] = c2;
        lengthenBranch(c2, codesize, others);
        end[-1] = keyOf(static_cast<uint32_t>((first >> 9) + (second >> 9)), c1);
        std::push_heap(heap, end, rarestFirst);
    }
    return *std::max_element(codesize, codesize + kEntries);
}

void halveCounts(uint32_t* counts) {
    for (int32_t i = 0; i < kReserved; i++)
        if (counts[i] > 1)
            counts[i] /= 2;
}

uint64_t sumOf(const uint32_t* counts) {
    uint64_t sum = 0;
    for (int32_t i = 0; i < kEntries; i++)
        sum += counts[i];
    return sum;
}

/// Figure K.3: two codes that are too long make room for each other by lengthening a shorter one.
void limitLengths(int32_t* codes) {
    for (int32_t i = kMaxLengthBefore; i > kMaxLength; i--) {
        while (codes[i] > 0) {
            int32_t j = i - 2;
            while (codes[j] == 0)
                j--;
            codes[i] -= 2;
            codes[i - 1] += 1;
            codes[j + 1] += 2;
            codes[j] -= 1;
        }
    }
}

/// Takes the reserved code point, which has one of the longest codes, out of the counts.
void dropReserved(int32_t* codes) {
    for (int32_t length = kMaxLength; length > 0; length--) {
        if (codes[length] > 0) {
            codes[length]--;
            return;
        }
    }
}

/// The symbols that have a code, shorter codes first, those of one length in their order.
void sortSymbols(const int32_t* codesize, uint8_t* sorted) {
    int32_t next[kMaxLengthBefore + 1] = {}; // by length: how many, then the next one's place
    for (int32_t symbol = 0; symbol < kReserved; symbol++)
        next[codesize[symbol]]++;
    int32_t place = 0;
    for (int32_t length = 1; length <= kMaxLengthBefore; length++)
        place += std::exchange(next[length], place);
    for (int32_t symbol = 0; symbol < kReserved; symbol++)
        if (codesize[symbol] != 0)
            sorted[next[codesize[symbol]]++] = static_cast<uint8_t>(symbol);
}

Status buildTable(uint32_t* counts, int32_t selector, int32_t isAC, Bitstream_JPEG* out,
                  EncoderState_JPEG* st) {
    HuffmanSpecWork work;
    czZeroMemory_1BYTE(&work, sizeof work);
    velaHuffmanTableSpecInit_JPEG_8u(counts, work.codesize, work.others, work.bitsWork, work.BITS,
                                     work.HUFFVAL);
    return velaBuildEncodeHuffTable_JPEG(selector, isAC, &work, out, st);
}

} // namespace

Status velaBuildScanHuffTables_P_JPEG(uint32_t* const counts[2], Bitstream_JPEG* out,
                                      EncoderState_JPEG* st) {
    const ScanSpec& scan = st->scanSpec;
    const int32_t isAC = scan.Ss != 0 || scan.Se != 0 ? 1 : 0;
    const int32_t tables = std::min<int32_t>(scan.componentCount, 2);
    for (int32_t k = 0; k < tables; k++) {
        const ComponentSpec& component = *scan.component[k];
        const Status status = buildTable(
            counts[k], isAC != 0 ? component.acSelector : component.dcSelector, isAC, out, st);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

int32_t velaHuffmanTableSpecInit_JPEG_8u(uint32_t counts[257], int32_t codesize[257],
                                         int32_t others[257], uint8_t bitsWork[33],
                                         uint8_t BITS[16], uint8_t HUFFVAL[256]) {
    counts[kReserved] = 1;
    while (sumOf(counts) > kMaxSum)
        halveCounts(counts);
    while (findCodeSizes(counts, codesize, others) > kMaxLengthBefore)
        halveCounts(counts);

    // Counted in words: of 257 codes 256 may have one length, until the reserved one is dropped.
    int32_t codes[kMaxLengthBefore + 1] = {};
    for (int32_t i = 0; i < kEntries; i++)
        codes[codesize[i]]++;
    codes[0] = 0;
    limitLengths(codes);
    dropReserved(codes);
    for (int32_t length = 0; length <= kMaxLengthBefore; length++)
        bitsWork[length] = static_cast<uint8_t>(codes[length]);
    std::copy_n(bitsWork + 1, kMaxLength, BITS);

    sortSymbols(codesize, HUFFVAL);
    return ENC_STATUS_OK;
}

void czZeroMemory_1BYTE(void* p, int32_t n) {
    if (n > 0)
        std::memset(p, 0, static_cast<size_t>(n));
}

} // namespace vela
