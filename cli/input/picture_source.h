// Pictures from a file or a pipe, one after another, as the easy layer takes them.
#ifndef VELA_CLI_INPUT_PICTURE_SOURCE_H
#define VELA_CLI_INPUT_PICTURE_SOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/input/input_file.h"
#include "vela/easy.h"

namespace cli {

struct Size {
    int32_t width, height; // in pixels
};

struct Rgb {
    uint8_t red, green, blue;
};

/// How to read what does not say it itself.
struct InputSettings {
    std::optional<VelaFormat>
        raw;                    // the input holds frames of this format, of size, without headers
    std::string rawName;        // as it was given
    Size size{640, 480};        // of raw frames and the demo picture
    std::vector<int32_t> steps; // of raw planes, in bytes; negative: the bottom row comes first
    std::optional<VelaRange> range;
    std::optional<VelaMatrix> matrix;
    Rgb background{255, 255, 255}; // of transparent pixels
    uint64_t maxPixels = 268'435'456;
};

/// What a picture's file says about it beside its pixels.
struct Metadata {
    std::vector<uint8_t> exif, icc;
    int32_t densityUnits = 0, xDensity = 0, yDensity = 0; // as in VelaOptions; 0, 0, 0: nothing
};

class PictureSource {
public:
    PictureSource() = default;
    PictureSource(const PictureSource&) = delete;
    PictureSource& operator=(const PictureSource&) = delete;
    virtual ~PictureSource() = default;

    /// Goes on to the next picture; false where there is no further one. Throws Failure.
    virtual bool next() = 0;

    /// The picture: in memory, or by readRows, which can be read once. Lasts until the next call of next.
    const VelaImage& image() const { return image_; }
    const Metadata& metadata() const { return metadata_; }
    const std::string& formatName() const { return formatName_; } // as the summary names it

    /// Reads the picture into memory where it is not there yet. Throws Failure.
    void load();
    /// Throws what made readRows fail.
    void throwIfFailed() const;

protected:
    /// A picture whose rows come by readRow, from the top down.
    void setRows(VelaFormat format, int32_t width, int32_t height);
    /// One row of a picture of one plane. Throws Failure.
    virtual void readRow(uint8_t* row);

    void requireSize(const InputFile& file, int64_t width, int64_t height,
                     uint64_t maxPixels) const;

    VelaImage image_{};
    Metadata metadata_;
    std::string formatName_;

private:
    static int readRows(void* context, int32_t firstRow, int32_t rowCount, void* const plane[3],
                        const ptrdiff_t stride[3]) noexcept;

    std::vector<uint8_t> loaded_;
    std::exception_ptr failure_;
};

/// What stands at path ("-": standard input), by its content, or by settings.raw.
std::unique_ptr<PictureSource> openPictures(const std::string& path, const InputSettings& settings);

// The kinds. Each has read so much of the file that it is known for what it is: the first byte.
std::unique_ptr<PictureSource> openPng(InputFile file, const InputSettings& settings);
std::unique_ptr<PictureSource> openPnm(InputFile file, const InputSettings& settings);
std::unique_ptr<PictureSource> openY4m(InputFile file, const InputSettings& settings);
std::unique_ptr<PictureSource> openRaw(InputFile file, const InputSettings& settings);
std::unique_ptr<PictureSource> demoPicture(Size size);

} // namespace cli

#endif
