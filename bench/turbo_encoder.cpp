#include "bench/turbo_encoder.h"

#include <array>
#include <cmath>
#include <string>

#include "cli/failure.h"

namespace bench {
namespace {

[[noreturn]] void fail(const TurboHandle& handle) {
    throw cli::Failure(std::string("TurboJPEG: ") + tjGetErrorStr2(handle.get()));
}

/// What the user of a camera's NV12 or NV21 has to do first.
void deinterleave(const uint8_t* __restrict__ pairs, uint8_t* __restrict__ first,
                  uint8_t* __restrict__ second, size_t count) {
    for (size_t i = 0; i < count; i++) {
        first[i] = pairs[2 * i];
        second[i] = pairs[2 * i + 1];
    }
}

} // namespace

TurboEncoder::TurboEncoder(const FormatPicture& picture, const Settings& settings)
    : picture_(picture), quality_(settings.quality),
      flags_(TJFLAG_NOREALLOC | (settings.progressive ? TJFLAG_PROGRESSIVE : 0) |
             (settings.fastTransform ? TJFLAG_FASTDCT : TJFLAG_ACCURATEDCT)),
      handle_(tjInitCompress()),
      stream_(tjBufSize(picture.width, picture.height, picture.format.turboSubsampling)) {
    if (picture.format.layout == Layout::semiPlanar)
        for (std::vector<uint8_t>& plane : chroma_)
            plane.resize(picture.plane[1].samples.size() / 2);
}

int TurboEncoder::encodePlanes(unsigned char** out, unsigned long* bytes) {
    const std::array<SamplePlane, 3>& plane = picture_.plane;
    std::array<const unsigned char*, 3> planes{};
    std::array<int, 3> steps{};
    for (size_t i = 0; i < planes.size(); i++) {
        planes[i] = plane[i].samples.data();
        steps[i] = plane[i].step;
    }
    if (picture_.format.layout == Layout::semiPlanar) {
        const size_t cb = picture_.format.crFirst ? 1 : 0;
        deinterleave(plane[1].samples.data(), chroma_[cb].data(), chroma_[1 - cb].data(),
                     chroma_[0].size());
        for (size_t i = 0; i < 2; i++) {
            planes[1 + i] = chroma_[i].data();
            steps[1 + i] = plane[1].step / 2;
        }
    }
    return tjCompressFromYUVPlanes(handle_.get(), planes.data(), picture_.width, steps.data(),
                                   picture_.height, picture_.format.turboSubsampling, out, bytes,
                                   quality_, flags_);
}

void TurboEncoder::encode() {
    unsigned char* out = stream_.data();
    unsigned long bytes = stream_.size();
    int status = 0;
    switch (picture_.format.layout) {
    case Layout::packed:
    case Layout::grey: {
        const int pixels = picture_.format.layout == Layout::grey ? TJPF_GRAY : TJPF_BGR;
        status = tjCompress2(handle_.get(), picture_.plane[0].samples.data(), picture_.width,
                             picture_.plane[0].step, picture_.height, pixels, &out, &bytes,
                             picture_.format.turboSubsampling, quality_, flags_);
        break;
    }
    default:
        status = encodePlanes(&out, &bytes);
    }
    if (status != 0)
        fail(handle_);
    streamBytes_ = bytes;
}

namespace {

struct SquaredError {
    double sum = 0;
    double samples = 0;

    void add(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
        for (size_t i = 0; i < a.size(); i++)
            sum += (a[i] - b[i]) * (a[i] - b[i]);
        samples += static_cast<double>(a.size());
    }
    double decibels() const { return 10 * std::log10(255.0 * 255.0 * samples / sum); }
};

/// The decoded stream's Y, Cb and Cr, laid out as the picture's planes are.
std::array<SamplePlane, 3> decodePlanes(const TurboHandle& handle, std::span<const uint8_t> stream,
                                        const FormatPicture& picture) {
    std::array<SamplePlane, 3> decoded;
    std::array<unsigned char*, 3> planes{};
    for (size_t i = 0; i < 3; i++) {
        const auto k = static_cast<int>(i);
        const int subsampling = picture.format.turboSubsampling;
        decoded[i].step = planeWidth(k, picture.width, subsampling);
        decoded[i].samples.resize(static_cast<size_t>(decoded[i].step) *
                                  static_cast<size_t>(planeHeight(k, picture.height, subsampling)));
        planes[i] = decoded[i].samples.data();
    }
    if (tjDecompressToYUVPlanes(handle.get(), stream.data(), stream.size(), planes.data(),
                                picture.width, nullptr, picture.height, TJFLAG_ACCURATEDCT) != 0)
        fail(handle);
    if (picture.format.layout == Layout::semiPlanar)
        interleaveChroma(decoded, picture.format.crFirst);
    return decoded;
}

} // namespace

double psnr(std::span<const uint8_t> stream, const FormatPicture& picture) {
    const TurboHandle handle(tjInitDecompress());
    SquaredError error;
    if (picture.format.layout == Layout::planar || picture.format.layout == Layout::semiPlanar) {
        const std::array<SamplePlane, 3> decoded = decodePlanes(handle, stream, picture);
        for (size_t i = 0; i < decoded.size(); i++)
            error.add(picture.plane[i].samples, decoded[i].samples);
        return error.decibels();
    }
    std::vector<uint8_t> decoded(picture.plane[0].samples.size());
    if (tjDecompress2(handle.get(), stream.data(), stream.size(), decoded.data(), picture.width,
                      picture.plane[0].step, picture.height,
                      picture.format.layout == Layout::grey ? TJPF_GRAY : TJPF_BGR,
                      TJFLAG_ACCURATEDCT) != 0)
        fail(handle);
    error.add(picture.plane[0].samples, decoded);
    return error.decibels();
}

} // namespace bench
