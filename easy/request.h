// What a call asks for, checked once: whatever comes after relies on it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "easy/error_text.h"
#include "easy/formats.h"

namespace vela::easy {

/// Where rows lie: the first one's samples of each plane, and the distance from row to row.
struct Rows {
    const uint8_t* plane[3];
    ptrdiff_t stride[3];
};

struct Request {
    const PictureFormat* format;
    int32_t width, height;
    VelaReadRows* readRows; // null: the picture is in memory, at rows
    void* readContext;
    Rows rows;
    bool adjusts; // not full range by BT.601 already
    YcbcrAdjustment adjustment;

    bool halvedAcross, halvedDown; // chroma in the stream
    bool progressive;
    int32_t quality;
    int32_t restartInterval; // in MCUs; 0: none
    int32_t threads;         // 0: as many as the machine has
    size_t maxBytes;

    int32_t mcuHeight, mcusPerRow, mcuRows;

    /// Rows from firstRow on, of a picture in memory; firstRow is even where chroma is halved down.
    Rows rowsFrom(int32_t firstRow) const;
    uint32_t coreSubsampling() const;
    /// Whether the core can take the picture from memory as it lies.
    bool isDirect() const;
    /// The least number of MCU rows that can be encoded as a picture of their own: a whole number of restart
    /// intervals. All of them, where the picture cannot be cut.
    int32_t leastMcuRows() const;
};

/// Image and options (null: all as velaOptionsInit sets them) as a request, or the status that they are
/// refused with, and the text about it.
[[nodiscard]] int32_t checkRequest(const VelaImage* image, const VelaOptions* options,
                                   Request& request, ErrorText& text);

/// An upper bound of the stream's size, without metadata.
uint64_t largestStream(const Request& request);

} // namespace vela::easy
