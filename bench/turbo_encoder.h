// The other side: TurboJPEG, with the buffers it needs reused likewise; and its decoder as judge.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include <turbojpeg.h>

#include "bench/formats.h"

namespace bench {

struct DestroyTurbo {
    void operator()(tjhandle handle) const { tjDestroy(handle); }
};
using TurboHandle = std::unique_ptr<std::remove_pointer_t<tjhandle>, DestroyTurbo>;

/// One handle per object and so per mode: release 2.1.5 keeps a progressive pass's code tables in
/// its handle and then writes wrong baseline streams.
class TurboEncoder {
public:
    struct Settings {
        int quality;
        bool progressive;
        bool fastTransform; // which is its default, too; else the accurate one
    };

    TurboEncoder(const FormatPicture& picture, const Settings& settings);

    /// Throws cli::Failure.
    void encode();

    std::span<const uint8_t> stream() const { return {stream_.data(), streamBytes_}; }
    size_t streamBytes() const { return streamBytes_; }

private:
    int encodePlanes(unsigned char** out, unsigned long* bytes);

    const FormatPicture& picture_;
    int quality_;
    int flags_;
    TurboHandle handle_;
    std::vector<uint8_t> chroma_[2]; // Cb and Cr of a semi-planar picture
    std::vector<uint8_t> stream_;
    size_t streamBytes_ = 0;
};

/// How close a stream comes to the picture it was made from, in dB over all samples of the
/// picture's own form (B, G, R; Y, Cb, Cr at their resolutions; grey). Throws cli::Failure.
double psnr(std::span<const uint8_t> stream, const FormatPicture& picture);

} // namespace bench
