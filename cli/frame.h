// How the samples of one picture lie in a file or in memory: planes follow each other without gaps,
// each of so many rows of so many bytes.
#ifndef VELA_CLI_FRAME_H
#define VELA_CLI_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "vela/jpegenc.h"

namespace cli {

inline constexpr int32_t kMaxSide = 65535;   // what SOF's 16-bit fields hold
inline constexpr int32_t kMaxStep = 1 << 24; // bytes per row; far above any real frame
inline constexpr size_t kMaxPlanes = 3;

struct PixelFormat {
    std::string_view name;
    uint32_t colorFormat; // JPEG_CF_*
    size_t planeCount;
    int32_t componentCount;
    int32_t bytesPerPixel;               // of plane 0
    int32_t chromaBytes;                 // per chroma position: 1 planar, 2 semi-planar, 0 none
    int32_t chromaAcross, chromaDown;    // luma samples per chroma sample along each axis
    std::optional<uint32_t> subsampling; // ENC_SUBSAMPLE_* of the formats that bring their own
};

extern const std::array<PixelFormat, 9> kPixelFormats;

const PixelFormat* findPixelFormat(std::string_view name); // null where there is none
const PixelFormat& pixelFormatOf(uint32_t colorFormat);

struct Plane {
    int32_t rowBytes; // that hold samples
    int32_t rows;
    int32_t step; // bytes from row to row; negative where the bottom row comes first

    int32_t stepBytes() const { return step < 0 ? -step : step; }
    uint64_t bytes() const { return uint64_t(stepBytes()) * uint64_t(rows); }
};

struct Frame {
    const PixelFormat* format;
    int32_t width, height;
    std::array<Plane, kMaxPlanes> planes;

    uint64_t bytes() const;
};

struct LoadedFrame {
    Frame frame;
    std::unique_ptr<uint8_t[]> samples;
};

// Steps that are not given follow from step 0, or from the row length where none is given. Throws
// UsageError for steps that do not fit the format.
Frame makeFrame(const PixelFormat& format, int32_t width, int32_t height,
                const std::vector<int32_t>& steps = {});

// Throws UsageError where the planes do not lie as the library's slice mode assumes.
void requireSliceLayout(const Frame& frame);

// The library's description of a whole frame in memory at samples.
Picture_JPEG describeInMemory(const Frame& frame, uint8_t* samples);

// The same for slice mode: the planes are buffers, cut from bands, that take one MCU row each.
Picture_JPEG describeInBands(const Frame& frame, uint8_t* bands);
size_t bandBytes(const Frame& frame);

// Throws std::bad_alloc for what does not fit the address space, too. The bytes are not cleared: a
// header that promises too much costs no memory until data arrives.
std::unique_ptr<uint8_t[]> allocateBytes(uint64_t count);

void swapRedAndBlue(uint8_t* pixels, size_t bytes);

} // namespace cli

#endif
