// The two ways in which the rows of an MCU row come within reach: from the whole picture in memory,
// or pulled from the host's source through read and seek.
//
// A row source has begin(), called once per walk, and bring(), called once per MCU row from the top
// down, which yields the address of the MCU row's top-left sample in each plane.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Addresses of one place in each plane; a plane that the format does not have is null.
struct PlanePointers {
    const uint8_t* plane[3];
};

/// The whole picture is in memory.
class IntegratedRows {
public:
    explicit IntegratedRows(const EncoderState_JPEG& state) : state_(state) {}

    [[nodiscard]] Status begin() { return ENC_STATUS_OK; }

    /// validHeight: luminance rows of the MCU row that lie inside the picture.
    [[nodiscard]] Status bring(int32_t mcuRow, int32_t validHeight, PlanePointers& top);

private:
    const EncoderState_JPEG& state_;
};

/// What stands behind the source handle: planes one after another, in rows without gaps.
struct SourceLayout {
    int32_t planes;
    int64_t rowBytes[3];
    int64_t planeStart[3]; // in bytes from the picture's first byte
    int32_t bandRows[3];   // rows of a whole MCU row
    int32_t vertical[3];   // luminance rows per row of the plane

    SourceLayout(const ImageSpec& image, const MCUSpec& mcu, int32_t step0);

    /// Start of an MCU row in a plane, in bytes from the picture's first byte.
    int64_t bandStart(int32_t plane, int32_t mcuRow) const {
        return planeStart[plane] + int64_t{mcuRow} * bandRows[plane] * rowBytes[plane];
    }

    /// Bytes of a plane in an MCU row of validHeight luminance rows.
    int64_t bandBytes(int32_t plane, int32_t validHeight) const {
        return (validHeight + vertical[plane] - 1) / vertical[plane] * rowBytes[plane];
    }

    /// Whether every seek and every read of a walk fits a signed 32-bit count.
    bool fitsSeek(const ImageSpec& image, const MCUSpec& mcu, bool bottomUp) const;
};

/// The picture is pulled from the host's source, one MCU row at a time.
class SliceRows {
public:
    explicit SliceRows(const EncoderState_JPEG& state);

    [[nodiscard]] Status begin();
    [[nodiscard]] Status bring(int32_t mcuRow, int32_t validHeight, PlanePointers& top);

private:
    void seekBy(int64_t offset);
    bool read(int32_t plane, int64_t bytes);
    Status bringSinglePlane(int32_t validHeight, PlanePointers& top);
    Status bringPlanes(int32_t mcuRow, int32_t validHeight, PlanePointers& top);

    const EncoderState_JPEG& state_;
    const SourceLayout layout_;
    const bool bottomUp_; // rows stand in the source last row first
    void* slot_[3];       // where read has left each plane's rows
};

} // namespace vela
