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
    const SourceLayout& layout_;
    const bool bottomUp_; // rows stand in the source last row first
    void* slot_[3];       // where read has left each plane's rows
};

} // namespace vela
