// Metadata: the segments between APP0 and the core's tables.
#pragma once

#include <vector>

#include "easy/error_text.h"
#include "easy/sink.h"
#include "vela/easy.h"

namespace vela::easy {

/// Density and segments of a picture. Checks the fields of the options that hold them.
class Metadata {
public:
    /// ENC_STATUS_OK, or what the options are refused with and the text about it. May throw std::bad_alloc.
    [[nodiscard]] int32_t set(const VelaOptions& options, int32_t width, int32_t height,
                              ErrorText& text);
    /// Of all segments.
    size_t size() const { return segments_.size(); }

private:
    friend class MetadataSink;
    void addSegment(uint8_t marker, const char* name, size_t nameSize, const void* bytes,
                    size_t count);
    void addOrientation(int32_t orientation, bool srgb, int32_t width, int32_t height);
    void addProfile(const uint8_t* profile, size_t size);

    uint16_t density_[3] = {}; // units, x, y; x 0: as the core writes it
    std::vector<uint8_t> segments_;
};

/// Passes a stream of the core on, with the metadata put in after APP0.
class MetadataSink final : public Sink {
public:
    MetadataSink(const Metadata& metadata, Sink& next) : metadata_(metadata), next_(next) {}
    int32_t take(const uint8_t* bytes, size_t count) override;

private:
    static constexpr size_t kHeaderSize = 20; // SOI and APP0

    const Metadata& metadata_;
    Sink& next_;
    uint8_t header_[kHeaderSize];
    size_t headerBytes_ = 0; // of them seen
};

} // namespace vela::easy
