#include "bench/formats.h"

#include <algorithm>

#include <turbojpeg.h>

#include "cli/failure.h"

namespace bench {

const std::array<Format, 9> kFormats{{
    {"bgr888-420", Layout::packed, JPEG_CF_BGR888, ENC_SUBSAMPLE_420, TJSAMP_420},
    {"bgr888-422", Layout::packed, JPEG_CF_BGR888, ENC_SUBSAMPLE_422, TJSAMP_422},
    {"bgr888-444", Layout::packed, JPEG_CF_BGR888, ENC_SUBSAMPLE_444, TJSAMP_444},
    {"yuv420p", Layout::planar, JPEG_CF_YCBCR411_P3, ENC_SUBSAMPLE_420, TJSAMP_420},
    {"yuv422p", Layout::planar, JPEG_CF_YCBCR422_P3, ENC_SUBSAMPLE_422, TJSAMP_422},
    {"yuv444p", Layout::planar, JPEG_CF_YCBCR444_P3, ENC_SUBSAMPLE_444, TJSAMP_444},
    {"nv12", Layout::semiPlanar, JPEG_CF_NV12, ENC_SUBSAMPLE_420, TJSAMP_420},
    {"nv21", Layout::semiPlanar, JPEG_CF_NV21, ENC_SUBSAMPLE_420, TJSAMP_420, true},
    {"gray8", Layout::grey, JPEG_CF_GRAY8, ENC_SUBSAMPLE_444, TJSAMP_GRAY},
}};

const Format* findFormat(std::string_view name) {
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [&](const Format& format) { return format.name == name; });
    return found == kFormats.end() ? nullptr : &*found;
}

int32_t planeWidth(int component, int32_t width, int turboSubsampling) {
    return tjPlaneWidth(component, width, turboSubsampling);
}

int32_t planeHeight(int component, int32_t height, int turboSubsampling) {
    return tjPlaneHeight(component, height, turboSubsampling);
}

namespace {

std::array<SamplePlane, 3> toPlanes(const SourcePicture& source, int subsampling) {
    std::array<SamplePlane, 3> planes;
    std::array<unsigned char*, 3> pointers{};
    std::array<int, 3> steps{};
    const int components = subsampling == TJSAMP_GRAY ? 1 : 3;
    for (int k = 0; k < components; k++) {
        const auto i = static_cast<size_t>(k);
        const int32_t columns = planeWidth(k, source.width, subsampling);
        const int32_t rows = planeHeight(k, source.height, subsampling);
        planes[i].samples.resize(static_cast<size_t>(columns) * static_cast<size_t>(rows));
        planes[i].step = columns;
        pointers[i] = planes[i].samples.data();
        steps[i] = columns;
    }
    const tjhandle handle = tjInitCompress();
    const int status =
        tjEncodeYUVPlanes(handle, source.bgr.data(), source.width, 0, source.height, TJPF_BGR,
                          pointers.data(), steps.data(), subsampling, TJFLAG_ACCURATEDCT);
    tjDestroy(handle);
    if (status != 0)
        throw cli::Failure(source.name + " cannot be converted to YCbCr");
    return planes;
}

} // namespace

void interleaveChroma(std::array<SamplePlane, 3>& planes, bool crFirst) {
    const std::vector<uint8_t>& first = planes[crFirst ? 2 : 1].samples;
    const std::vector<uint8_t>& second = planes[crFirst ? 1 : 2].samples;
    std::vector<uint8_t> pairs;
    pairs.reserve(2 * first.size());
    for (size_t i = 0; i < first.size(); i++) {
        pairs.push_back(first[i]);
        pairs.push_back(second[i]);
    }
    planes[1] = {std::move(pairs), 2 * planes[1].step};
    planes[2] = {{}, 0};
}

FormatPicture::FormatPicture(const Format& chosen, const SourcePicture& source)
    : format(chosen), width(source.width), height(source.height) {
    if (format.layout == Layout::packed)
        plane[0] = {source.bgr, 3 * source.width};
    else
        plane = toPlanes(source, format.turboSubsampling);
    if (format.layout == Layout::semiPlanar)
        interleaveChroma(plane, format.crFirst);
}

Picture_JPEG FormatPicture::record() const {
    Picture_JPEG picture{};
    for (size_t i = 0; i < plane.size() && !plane[i].samples.empty(); i++) {
        picture.plane[i] = const_cast<uint8_t*>(plane[i].samples.data());
        picture.step[i] = plane[i].step;
        picture.planeCount++;
    }
    picture.width = width;
    picture.height = height;
    picture.componentCount = format.layout == Layout::grey ? 1 : 3;
    picture.colorFormat = format.colorFormat;
    return picture;
}

} // namespace bench
