// Frames of samples that follow each other in a file: planes one after another, each of so many rows.
#ifndef VELA_CLI_INPUT_FRAMES_H
#define VELA_CLI_INPUT_FRAMES_H

#include <array>
#include <cstdint>
#include <vector>

#include "vela/easy.h"

namespace cli {

struct FramePlane {
    int64_t rowBytes; // that hold samples
    int64_t rows;
    int64_t step; // bytes from row to row; negative where the bottom row comes first

    int64_t bytes() const { return (step < 0 ? -step : step) * rows; }
};

struct FrameLayout {
    int planes;
    std::array<FramePlane, 3> plane;

    int64_t bytes() const;
    /// Sets the planes of an image whose frame stands at samples.
    void place(VelaImage& image, const uint8_t* samples) const;
};

/// Steps that are not given follow from the first, or from the row length where none is given. Throws
/// UsageError for steps that do not fit the format.
FrameLayout frameLayout(VelaFormat format, int32_t width, int32_t height,
                        const std::vector<int32_t>& steps = {});

} // namespace cli

#endif
