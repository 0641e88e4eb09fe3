// Rows for the core where it cannot take the picture as it lies in memory: one MCU row at a time, read
// through the caller's callback, converted, or both.
#pragma once

#include <vector>

#include "easy/request.h"

namespace vela::easy {

/// Rows of a picture that are encoded as one: all of it, or some MCU rows.
struct Piece {
    int32_t firstRow, rowCount;
    bool inMemory; // else the request's readRows brings the rows
    Rows rows;     // of the piece
};

class BandSource {
public:
    explicit BandSource(const ColourRoutines& routines) : colour_(routines) {}

    /// Makes room for bands of a piece, which keeps it from picture to picture. May throw std::bad_alloc.
    void begin(const Request& request, const Piece& piece);

    /// How the core sees the bands: code, planes and steps of a source for slice mode.
    void describe(Picture_JPEG& picture) const;

    /// Brings the next MCU row into the planes of the band; false where readRows failed.
    [[nodiscard]] bool next();

    /// Bytes of a source of so many MCU rows as the core sees it, whose seeks must be able to count them.
    static int64_t sourceBytes(const Request& request, int32_t mcuRows);

private:
    void allocate(std::vector<uint8_t>& memory, const int64_t (&strides)[3],
                  const int64_t (&rows)[3], Rows& planes);
    bool passes() const; // rows come as the core takes them
    Rows sourceRows(int32_t rowCount, bool& good);
    void convert(const Rows& from, int32_t rowCount);
    void convertRgb(const Rows& from, int32_t rowCount);
    void copyChroma(const Rows& from, int32_t row);
    void adjust(int32_t rowCount);

    uint8_t* at(int32_t plane, int32_t row) const {
        return const_cast<uint8_t*>(band_.plane[plane]) + row * band_.stride[plane];
    }

    const ColourRoutines& colour_;
    const Request* request_ = nullptr;
    Piece piece_{};
    int32_t row_ = 0;                  // of the piece, the next one
    std::vector<uint8_t> bandMemory_;  // planes of one MCU row as the core takes them
    std::vector<uint8_t> inputMemory_; // rows from readRows as they come
    Rows band_{}, input_{};
};

} // namespace vela::easy
