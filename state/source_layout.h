// How a picture lies in its planes.
#pragma once

#include <cstdint>

namespace vela {

struct SourceLayout {
    int32_t planes;
    int32_t wholeBands;  // whole MCU rows
    int32_t bandRows[3]; // rows of a whole MCU row
    int32_t vertical[3]; // luminance rows per row of the plane

    // In slice mode: planes one after another, in rows without gaps. On boundaries of four bytes: the
    // state, which this is a part of, asks the host for no more on 32-bit machines.
    using Bytes [[gnu::aligned(4)]] = int64_t;
    Bytes rowBytes[3];
    Bytes planeStart[3]; // from the picture's first byte

    /// Start of an MCU row in a plane, in bytes from the picture's first byte.
    int64_t bandStart(int32_t plane, int32_t mcuRow) const {
        return planeStart[plane] + int64_t{mcuRow} * bandRows[plane] * rowBytes[plane];
    }

    /// Bytes of a plane in an MCU row of validHeight luminance rows.
    int64_t bandBytes(int32_t plane, int32_t validHeight) const {
        return (validHeight + vertical[plane] - 1) / vertical[plane] * rowBytes[plane];
    }
};

} // namespace vela
