// What is encoded: pictures of B, G, R bytes, from files or generated.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct SourcePicture {
    std::string name;
    int32_t width, height;    // in pixels
    std::vector<uint8_t> bgr; // rows without gaps, top row first

    double megapixels() const { return 1e-6 * width * height; }
};

/// PNG, PPM or PGM; grey is widened. Throws cli::Failure.
SourcePicture readPicture(const std::string& path);

/// Its middle, of at most so many pixels each way.
SourcePicture middleOf(const SourcePicture& picture, int32_t width, int32_t height);

/// Writes a PPM file. Throws cli::Failure.
void writePpm(const SourcePicture& picture, const std::string& path);

/// Detail at every scale with the spectrum of a photograph, and objects with sharp outlines on it.
/// The same bytes in every run.
SourcePicture makePhotoTexture(int32_t width, int32_t height);

} // namespace bench
