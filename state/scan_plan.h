// The scans of a progressive stream (T.81 Annex G), one row each, and what follows from the rows: which
// buffers, counts and coder states a block's coefficients go to. A script is changed here alone.
#pragma once

#include <cstdint>
#include <iterator>

namespace vela {

enum class ScanKind : uint8_t { dcFirst, acFirst, dcRefine, acRefine };

inline constexpr int8_t kAllComponents = -1; // interleaved, as the DC scans are

struct ScanRow {
    ScanKind kind;
    int8_t component; // of an AC scan: 0 Y, 1 Cb, 2 Cr
    uint8_t Ss;       // T.81 B.2.3
    uint8_t Se;
    uint8_t Ah;
    uint8_t Al;
    uint8_t initialEighths; // of a byte, for each block of the picture: the buffer's first size
    uint16_t growthBytes;   // steps in which the buffer grows
};

// clang-format off
inline constexpr ScanRow kColorScans[] = {
    // kind              component       Ss  Se Ah Al  eighths  growth
    {ScanKind::dcFirst,  kAllComponents,  0,  0, 0, 1,   16,     4096},
    {ScanKind::acFirst,  0,               1, 63, 0, 1,   16,     4096},
    {ScanKind::acFirst,  1,               1, 63, 0, 1,    1,     1024},
    {ScanKind::acFirst,  2,               1, 63, 0, 1,    1,     1024},
    {ScanKind::dcRefine, kAllComponents,  0,  0, 1, 0,    1,     1024},
    {ScanKind::acRefine, 0,               1, 63, 1, 0,   32,     4096},
    {ScanKind::acRefine, 1,               1, 63, 1, 0,    2,     1024},
    {ScanKind::acRefine, 2,               1, 63, 1, 0,    2,     1024},
};
inline constexpr ScanRow kGrayScans[] = {
    {ScanKind::dcFirst,  kAllComponents,  0,  0, 0, 1,   16,     4096},
    {ScanKind::acFirst,  0,               1, 63, 0, 1,   64,     4096},
    {ScanKind::dcRefine, kAllComponents,  0,  0, 1, 0,    1,     1024},
    {ScanKind::acRefine, 0,               1, 63, 1, 0,   64,     4096},
};
// clang-format on

inline constexpr int32_t kColorScanCount = std::size(kColorScans);
inline constexpr int32_t kGrayScanCount = std::size(kGrayScans);
inline constexpr int32_t kMaxScans =
    kColorScanCount > kGrayScanCount ? kColorScanCount : kGrayScanCount;

// The low bits that a first scan leaves out, and its refinement: of DC, and of the pair of AC scans that
// the kernels pack at once.
inline constexpr int32_t kFirstAl = 1;
inline constexpr int32_t kRefineAl = 0;

/// Scans that a block contributes to: the first of each kind. Of the others see ScanPlan::paired.
struct BlockScans {
    int32_t dcFirst;
    int32_t dcRefine;
    int32_t acFirst;
    int32_t acRefine;
};

struct ScanPlan {
    const ScanRow* rows;
    int32_t count;
    int32_t componentCount;
    BlockScans scansOf[3 /* component */];

    /// Each component's AC scans are the pair that kernels pack at once: all coefficients without their
    /// lowest bit, then that bit.
    bool paired;
};

/// Every scan keeps the state of a coder, save for the DC first scan, whose records need none.
constexpr bool hasCoder(const ScanRow& row) {
    return row.kind != ScanKind::dcFirst;
}

constexpr bool isAc(const ScanRow& row) {
    return row.kind == ScanKind::acFirst || row.kind == ScanKind::acRefine;
}

/// Whether a row is a scan that T.81 knows (G.1.1.1) and the encoder makes: DC interleaved, its first
/// scan without the lowest bit.
constexpr bool isScan(const ScanRow& row, int32_t componentCount) {
    const bool first = row.kind == ScanKind::dcFirst || row.kind == ScanKind::acFirst;
    if (row.Al > 13 || row.Ah != (first ? 0 : row.Al + 1))
        return false;
    if (isAc(row))
        return row.component >= 0 && row.component < componentCount && row.Ss >= 1 &&
               row.Ss <= row.Se && row.Se <= 63;
    return row.component == kAllComponents && row.Ss == 0 && row.Se == 0 &&
           row.Al == (first ? kFirstAl : kRefineAl);
}

/// Whether a script sends every coefficient of every component once and to its last bit, DC before AC
/// and each bit after the ones above it.
constexpr bool isProgression(const ScanRow* rows, int32_t count, int32_t componentCount) {
    constexpr int8_t nothing = -1;
    int8_t lowestBit[3][64]; // that has been sent
    for (auto& component : lowestBit)
        for (int8_t& bit : component)
            bit = nothing;
    for (int32_t i = 0; i < count; i++) {
        const ScanRow& row = rows[i];
        if (!isScan(row, componentCount))
            return false;
        for (int32_t c = 0; c < componentCount; c++) {
            if (row.component != kAllComponents && row.component != c)
                continue;
            if (isAc(row) && lowestBit[c][0] == nothing)
                return false;
            for (int32_t k = row.Ss; k <= row.Se; k++) {
                if (lowestBit[c][k] != (row.Ah == 0 ? nothing : static_cast<int8_t>(row.Ah)))
                    return false;
                lowestBit[c][k] = static_cast<int8_t>(row.Al);
            }
        }
    }
    for (int32_t c = 0; c < componentCount; c++)
        for (const int8_t bit : lowestBit[c])
            if (bit != 0)
                return false;
    return true;
}

/// The first scan of a kind that a component takes part in.
constexpr int32_t scanOf(const ScanRow* rows, int32_t count, ScanKind kind, int32_t component) {
    for (int32_t i = 0; i < count; i++)
        if (rows[i].kind == kind &&
            (rows[i].component == kAllComponents || rows[i].component == component))
            return i;
    return -1;
}

constexpr bool isPaired(const ScanRow* rows, int32_t count, int32_t componentCount) {
    int32_t acScans = 0;
    for (int32_t i = 0; i < count; i++) {
        if (!isAc(rows[i]))
            continue;
        const int32_t al = rows[i].kind == ScanKind::acFirst ? kFirstAl : kRefineAl;
        if (rows[i].Ss != 1 || rows[i].Se != 63 || rows[i].Al != al)
            return false;
        acScans++;
    }
    return acScans == 2 * componentCount;
}

constexpr ScanPlan makePlan(const ScanRow* rows, int32_t count, int32_t componentCount) {
    ScanPlan plan{rows, count, componentCount, {}, isPaired(rows, count, componentCount)};
    for (int32_t c = 0; c < componentCount; c++)
        plan.scansOf[c] = {
            scanOf(rows, count, ScanKind::dcFirst, c), scanOf(rows, count, ScanKind::dcRefine, c),
            scanOf(rows, count, ScanKind::acFirst, c), scanOf(rows, count, ScanKind::acRefine, c)};
    return plan;
}

static_assert(isProgression(kColorScans, kColorScanCount, 3), "T.81 knows no such progression");
static_assert(isProgression(kGrayScans, kGrayScanCount, 1), "T.81 knows no such progression");
static_assert(kColorScanCount != kGrayScanCount,
              "the state tells the scripts apart by their lengths");

inline constexpr ScanPlan kColorPlan = makePlan(kColorScans, kColorScanCount, 3);
inline constexpr ScanPlan kGrayPlan = makePlan(kGrayScans, kGrayScanCount, 1);

/// The script with so many scans (EncoderState_JPEG's scanBufferCount).
constexpr const ScanPlan& scanPlanOf(int32_t scanBufferCount) {
    return scanBufferCount == kGrayPlan.count ? kGrayPlan : kColorPlan;
}

} // namespace vela
