#include "easy/band_source.h"

#include <algorithm>
#include <cstring>

namespace vela::easy {
namespace {

/// Rows of the band are so far apart that a kernel may write past each one's end, in half of that for
/// halved chroma as well, whose rows have half the distance.
int64_t bandStride(int32_t width) {
    return (int64_t{width} + 1) / 2 * 2 + 2 * kOutputPadding;
}

int64_t chromaStride(const Request& request) {
    return request.halvedAcross ? bandStride(request.width) / 2 : bandStride(request.width);
}

} // namespace

int64_t BandSource::sourceBytes(const Request& request, int32_t mcuRows) {
    if (request.format->layout == Layout::grey) // read from the top down, without a seek
        mcuRows = 1;
    const int64_t rows = int64_t{mcuRows} * request.mcuHeight;
    const int64_t chromaRows = request.halvedDown ? rows / 2 : rows;
    return bandStride(request.width) * rows + 2 * chromaStride(request) * chromaRows;
}

/// Only rows from readRows pass through without being touched.
bool BandSource::passes() const {
    return !piece_.inMemory && request_->format->coreCode >= 0 && !request_->adjusts;
}

void BandSource::allocate(std::vector<uint8_t>& memory, const int64_t (&strides)[3],
                          const int64_t (&rows)[3], Rows& planes) {
    int64_t start[3], size = 0;
    for (int p = 0; p < 3; p++) {
        start[p] = size;
        size += strides[p] * rows[p] + kOutputPadding;
    }
    if (memory.size() < static_cast<size_t>(size))
        memory.resize(static_cast<size_t>(size));
    for (int p = 0; p < 3; p++) {
        planes.plane[p] = rows[p] > 0 ? memory.data() + start[p] : nullptr;
        planes.stride[p] = static_cast<ptrdiff_t>(strides[p]);
    }
}

void BandSource::begin(const Request& request, const Piece& piece) {
    request_ = &request;
    piece_ = piece;
    row_ = 0;
    const PictureFormat& format = *request.format;
    const int64_t height = request.mcuHeight;
    const int64_t chromaRows = format.layout == Layout::grey ? 0
                               : request.halvedDown          ? height / 2
                                                             : height;
    const int64_t luma = bandStride(request.width);
    if (passes() && format.layout == Layout::semiPlanar)
        allocate(bandMemory_, {luma, luma, 0}, {height, chromaRows, 0}, band_);
    else
        allocate(bandMemory_, {luma, chromaStride(request), chromaStride(request)},
                 {height, chromaRows, chromaRows}, band_);
    if (piece.inMemory || passes())
        return;
    int64_t strides[3] = {}, rows[3] = {};
    for (int32_t p = 0; p < format.planes(); p++) {
        strides[p] = format.rowBytes(p, request.width);
        rows[p] = format.planeRows(p, request.mcuHeight);
    }
    allocate(inputMemory_, strides, rows, input_);
}

void BandSource::describe(Picture_JPEG& picture) const {
    const PictureFormat& format = *request_->format;
    const bool grey = format.layout == Layout::grey;
    picture.componentCount = grey ? 1 : 3;
    if (passes()) {
        picture.colorFormat = static_cast<uint32_t>(format.coreCode);
        picture.planeCount = format.planes();
    } else {
        picture.colorFormat = grey                     ? JPEG_CF_GRAY8
                              : request_->halvedDown   ? JPEG_CF_YCBCR411_P3
                              : request_->halvedAcross ? JPEG_CF_YCBCR422_P3
                                                       : JPEG_CF_YCBCR444_P3;
        picture.planeCount = grey ? 1 : 3;
    }
    for (int p = 0; p < 3; p++) {
        picture.plane[p] = const_cast<uint8_t*>(band_.plane[p]);
        picture.step[p] = static_cast<int32_t>(band_.stride[p]);
    }
}

bool BandSource::next() {
    const int32_t rowCount = std::min(request_->mcuHeight, piece_.rowCount - row_);
    bool good = true;
    const Rows from = sourceRows(rowCount, good);
    if (!good)
        return false;
    if (!passes())
        convert(from, rowCount);
    row_ += rowCount;
    return true;
}

/// Where the next rows lie: in the picture, or where readRows has put them.
Rows BandSource::sourceRows(int32_t rowCount, bool& good) {
    const PictureFormat& format = *request_->format;
    if (piece_.inMemory) {
        Rows from = piece_.rows;
        for (int32_t p = 0; p < format.planes(); p++)
            from.plane[p] += ptrdiff_t{format.planeRows(p, row_)} * from.stride[p];
        return from;
    }
    const Rows& to = passes() ? band_ : input_;
    void* planes[3] = {};
    ptrdiff_t strides[3] = {};
    for (int32_t p = 0; p < format.planes(); p++) {
        // The core's band has Cb before Cr.
        const int32_t lies =
            passes() && format.layout == Layout::planar && format.crFirst && p > 0 ? 3 - p : p;
        planes[p] = const_cast<uint8_t*>(to.plane[lies]);
        strides[p] = to.stride[lies];
    }
    good = request_->readRows(request_->readContext, piece_.firstRow + row_, rowCount, planes,
                              strides) == 0;
    return to;
}

void BandSource::convert(const Rows& from, int32_t rowCount) {
    const PictureFormat& format = *request_->format;
    if (format.layout == Layout::rgb) {
        convertRgb(from, rowCount);
        return;
    }
    const int32_t width = request_->width;
    for (int32_t r = 0; r < rowCount; r++) {
        const uint8_t* const row = from.plane[0] + r * from.stride[0];
        if (format.layout == Layout::packed422)
            colour_.splitPacked422(row, format.pairs, width, at(0, r), at(1, r), at(2, r));
        else if (!request_->adjusts || format.layout != Layout::grey)
            std::memcpy(at(0, r), row, static_cast<size_t>(width));
        else
            colour_.adjustLuma(row, nullptr, nullptr, false, width, request_->adjustment, at(0, r));
    }
    if (format.layout == Layout::grey)
        return;
    if (format.layout != Layout::packed422)
        for (int32_t r = 0; r < format.planeRows(1, rowCount); r++)
            copyChroma(from, r);
    if (request_->adjusts)
        adjust(rowCount);
}

void BandSource::copyChroma(const Rows& from, int32_t row) {
    const PictureFormat& format = *request_->format;
    const auto columns = static_cast<int32_t>(format.rowBytes(1, request_->width));
    const uint8_t* const first = from.plane[1] + row * from.stride[1];
    uint8_t* cb = at(1, row);
    uint8_t* cr = at(2, row);
    if (format.crFirst)
        std::swap(cb, cr);
    if (format.layout == Layout::semiPlanar) {
        colour_.splitPairs(first, columns / 2, cb, cr);
    } else {
        std::memcpy(cb, first, static_cast<size_t>(columns));
        std::memcpy(cr, from.plane[2] + row * from.stride[2], static_cast<size_t>(columns));
    }
}

/// In place, luminance first, since it depends on chroma as it was.
void BandSource::adjust(int32_t rowCount) {
    const int32_t width = request_->width;
    const bool halved = request_->halvedAcross;
    const YcbcrAdjustment& by = request_->adjustment;
    const int32_t down = request_->halvedDown ? 2 : 1;
    for (int32_t r = 0; r < rowCount; r++)
        colour_.adjustLuma(at(0, r), at(1, r / down), at(2, r / down), halved, width, by, at(0, r));
    for (int32_t r = 0; r < (rowCount + down - 1) / down; r++)
        colour_.adjustChroma(at(1, r), at(2, r), halved ? (width + 1) / 2 : width, by, at(1, r),
                             at(2, r));
}

void BandSource::convertRgb(const Rows& from, int32_t rowCount) {
    const PixelOrder order = request_->format->pixels;
    const int32_t width = request_->width;
    const auto source = [&](int32_t r) { return from.plane[0] + r * from.stride[0]; };
    if (!request_->halvedDown) {
        const auto convert = request_->halvedAcross ? colour_.rgbTo422 : colour_.rgbTo444;
        for (int32_t r = 0; r < rowCount; r++)
            convert(source(r), order, width, at(0, r), at(1, r), at(2, r));
        return;
    }
    for (int32_t r = 0; r < rowCount; r += 2) {
        const uint8_t* const pixels[2] = {source(r), source(std::min(r + 1, rowCount - 1))};
        uint8_t* const y[2] = {at(0, r), at(0, r + 1)};
        colour_.rgbTo420(pixels, order, width, y, at(1, r / 2), at(2, r / 2));
    }
}

} // namespace vela::easy
