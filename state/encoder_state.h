// The private state of one encoder: what set-up derives from the parameters, and what the scans
// keep. Data only; the layers above give it its meaning.
#pragma once

#include <cstdint>

#include "state/routines.h"
#include "state/scan_plan.h"
#include "state/source_layout.h"
#include "vela/primitives.h"

namespace vela {

inline constexpr int32_t kBlockSamples = 64; // of one 8 x 8 block
inline constexpr int32_t kMaxComponents = 4;
inline constexpr int32_t kMaxBlocksPerMcu = 6;

struct ImageSpec {
    int32_t width;  // in pixels
    int32_t height; // in rows
    int32_t precision;
    int32_t bitsPerPixel; // of a single-plane picture, else 0
    int32_t componentCount;
    uint32_t colorFormat; // JPEG_CF_*
    uint32_t subsampling; // ENC_SUBSAMPLE_*
    int32_t densityUnits; // the JFIF fields of the same names
    int32_t xDensity;
    int32_t yDensity;
};

struct MCUSpec {
    int32_t mcuWidth;        // in pixels
    int32_t mcuHeight;       // in rows
    int32_t widthRemainder;  // pixels in the partial MCU at the right edge, 0 if none
    int32_t heightRemainder; // rows in the partial MCU row at the bottom, 0 if none
    int32_t mcuRowBytes;     // of one MCU in a source row; 0 for planar and semi-planar input
    int32_t mcusAcross;      // whole MCUs in an MCU row
    int32_t mcuRows;         // whole MCU rows
    int32_t mcuCount;        // all MCUs, partial ones included
    int32_t blocksPerMcu;
    int32_t compBlockOffset[3]; // blocks between the first blocks of components k - 1 and k
    int32_t startColumn;        // first MCU column and row of a scan
    int32_t startRow;
};

struct ComponentSpec {
    int32_t id; // 0-based; the stream carries id + 1
    int32_t hFactor;
    int32_t vFactor;
    int32_t componentBlocks; // in one MCU
    int32_t quantSelector;
    int32_t acSelector;
    int32_t dcSelector;
};

struct FrameSpec {
    int32_t sofMarker; // 0xC0 or 0xC2
    int32_t precision;
    int32_t height;
    int32_t width;
    int32_t componentCount;
};

struct ScanSpec {
    int32_t Ss; // T.81 B.2.3
    int32_t Se;
    int32_t Ah;
    int32_t Al;
    int32_t componentCount;
    const ComponentSpec* component[kMaxComponents];
};

/// The input routines of the picture's format: the first two for single-plane input, the last two
/// for planar and semi-planar input; the others are null.
struct ProcSpec {
    VelaCopyExpand* copyExpand;
    VelaConvertMcu* convertMcu;
    VelaConvertMcuExpand* convertMcuExpand;
    VelaConvertMcuPlanar* convertMcuPlanar;
};

struct RestartCounter {
    uint32_t scanIndex;                   // scans started, progressive mode
    uint32_t rstIndex;                    // 0..7, of the next RST marker
    uint32_t mcusToGo;                    // in the current restart interval
    uint32_t scanIntervalLeft[kMaxScans]; // the same per scan, progressive mode
    uint32_t scanRstIndex[kMaxScans];
};

struct BufSpec {
    uint32_t workBytes; // of the working memory
    uint32_t blockBytes;
    uint32_t edgeBytes;
    uint32_t huffSpecBytes[2]; // room for a ScanCoderState and for a Huffman table
    uint32_t extraBytes;
    int16_t* deferredBlocks; // progressive 4:2:0: lower luminance blocks of an MCU row
    int32_t planeStep[3];    // in bytes
    int16_t* compBlocks[4][kMaxComponents]; // first block of each component in the MCU block area
    const uint8_t* planeBase[3];
    const uint8_t* planeCursor[3];
    uint8_t* edgeBuffer[2]; // null where the picture has whole MCUs only
};

/// Indices of the count tables and coder states that a block contributes to in progressive mode, beside
/// those of the scan buffers (BlockScans, state/scan_plan.h).
struct BlockStats {
    int32_t dc;
    int32_t acFirst;
    int32_t acRefine;
};
struct BlockCoders {
    int32_t dcRefine;
    int32_t acFirst;
    int32_t acRefine;
};

/// The blocks of one MCU in stream order: the luminance blocks, Cb, Cr.
struct BlockSpec {
    int32_t blockCount;
    int32_t chromaBlocks; // 0 or 2
    int16_t* blockSamples[kMaxBlocksPerMcu];
    BlockScans blockScan[kMaxBlocksPerMcu];
    BlockStats blockStats[kMaxBlocksPerMcu];
    BlockCoders blockCoder[kMaxBlocksPerMcu];
    int16_t* blockPredictor[kMaxBlocksPerMcu];
    const EncodeHuffmanSpec* blockDcTable[kMaxBlocksPerMcu];
    const EncodeHuffmanSpec* blockAcTable[kMaxBlocksPerMcu];
    const int16_t* blockQuant[kMaxBlocksPerMcu];

    // The code tables once more, for kernels that gather from all of them at once: where each starts,
    // counted in entries from codeBase
    const uint32_t* codeBase;
    int32_t codeOffset[4 /* AC, DC of the first block; AC, DC of the last */];
};

/// Block i of one of several MCUs that lie one after another, the first of which is described. Always
/// inlined, since kernels of all instruction sets use it.
[[gnu::always_inline]] inline int16_t* blockOf(const BlockSpec& first, int32_t mcu, int32_t i) {
    return first.blockSamples[i] + mcu * first.blockCount * kBlockSamples;
}

/// The 32-bit bit writer's pending bits. Invariant between calls: the oldest pending bit is bit 31,
/// bits below the pending ones are 0, and fewer than 32 are pending.
struct BitWriterState {
    uint32_t bitAccumulator;
    int32_t bitsUsed;
};

/// The coder of one progressive scan.
struct ScanCoderState {
    BitWriterState bits;     // DC refinement scan
    int32_t eobRun;          // AC scans: blocks ended by end-of-band and not yet written, 0..32767
    int32_t correctionCount; // AC refinement scans: correction bits buffered for that run
    uint8_t correctionBits[1024]; // one bit per byte, oldest first
};

using FlushCallback = decltype(CallbackTable_JPEG::flush);

inline constexpr int32_t kScanStatsEntries = 257; // one per symbol and the reserved code point

enum class Stage : uint8_t {
    settingUp, ///< or set-up has failed
    ready,     ///< the header is written, nothing of the picture
    spent      ///< Encode_JPEG has been called
};

} // namespace vela

struct EncoderState_JPEG {
    // Settings
    int32_t qualityFactor;
    int32_t precision; // of samples and of DQT elements: 8
    uint32_t mode;     // ENC_MODE_*
    uint32_t restartInterval;
    uint32_t flushContext;
    uint32_t sourceHandle;

    // Two quantization tables (luminance, chrominance) and their reciprocals. Each pair starts at
    // the first 32-byte boundary of its area, since the host aligns the state to its words only.
    uint8_t quantTableArea[160];
    uint8_t* quantTables;
    uint8_t dctQuantTableArea[288];
    uint16_t* dctQuantTables;
    const int16_t* blockQuantTable[vela::kMaxComponents];

    vela::ImageSpec imageSpec;
    vela::MCUSpec mcuSpec;
    vela::ComponentSpec componentSpec[vela::kMaxComponents];
    vela::FrameSpec frameSpec;
    vela::ScanSpec scanSpec;
    vela::ProcSpec procSpec;
    vela::RestartCounter restartCounter;
    vela::BufSpec bufSpec;
    vela::BlockSpec blockSpec;

    // Pointers into the working memory
    EncodeHuffmanSpec* dcCodeTable[vela::kMaxComponents];
    EncodeHuffmanSpec* acCodeTable[vela::kMaxComponents];
    EncodeHuffmanSpec* huffSpecStore[4]; // DC 0, DC 1, AC 0, AC 1
    vela::ScanCoderState* scanWorkArea;

    int16_t dcPredictor[vela::kMaxComponents];
    void* workBuffer; // the working memory as allocate returned it

    // The host's callbacks
    decltype(CallbackTable_JPEG::allocate) allocate;
    decltype(CallbackTable_JPEG::release) release;
    vela::FlushCallback flush;
    decltype(CallbackTable_JPEG::seek) seek;
    decltype(CallbackTable_JPEG::read) read;
    uint32_t bufferMode; // ENC_BUFFER_*
    decltype(CallbackTable_JPEG::grow) grow;

    // Progressive scans
    Bitstream_JPEG scanBuffer[vela::kMaxScans];
    uint32_t* scanStats[vela::kMaxScans]; // kScanStatsEntries counts each
    vela::ScanCoderState* scanCoder[vela::kMaxScans];
    int16_t* deferredCursor;
    int32_t scanBufferCount; // that of the scan plan, 0 in baseline mode

    const vela::RoutineTable* routines; // of the instruction set that set-up chose
    vela::SourceLayout sourceLayout;
    vela::Stage stage;
};
