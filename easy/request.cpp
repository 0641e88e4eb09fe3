#include "easy/request.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>

#include "easy/band_source.h"
#include "easy/colour/adjustment.h"

namespace vela::easy {
namespace {

constexpr int32_t kMostSide = 65535;
constexpr int32_t kMostInterval = 65535; // of DRI's field
constexpr int32_t kMostThreads = 1024;

bool isOneOf(int32_t value, int32_t first, int32_t last) {
    return value >= first && value <= last;
}

/// A number of the options or the picture between its least and its most.
bool inRange(const char* field, int32_t value, int32_t least, int32_t most, ErrorText& text) {
    if (isOneOf(value, least, most))
        return true;
    text.set("%s is %d, not %d to %d", field, value, least, most);
    return false;
}

/// An enumeration's value as the caller has stored it, which may be none of its codes.
template <class Enumeration>
int32_t codeOf(const Enumeration& field) {
    static_assert(sizeof field == sizeof(int32_t));
    int32_t code;
    std::memcpy(&code, &field, sizeof code);
    return code;
}

bool isKnown(const char* field, int32_t value, int32_t last, ErrorText& text) {
    if (isOneOf(value, 0, last))
        return true;
    text.set("%s is %d, which is none of its codes", field, value);
    return false;
}

/// Strides of a plane, and whether it ends where addresses do.
bool checkPlane(const VelaImage& image, int32_t p, Request& request, ErrorText& text) {
    const int64_t rowBytes = request.format->rowBytes(p, image.width);
    int64_t stride = image.stride[p];
    if (image.plane[p] == nullptr) {
        text.set("plane[%d] is null", p);
        return false;
    }
    if (stride == 0)
        stride = rowBytes;
    if (stride > INT32_MAX || stride < -INT32_MAX || (stride < rowBytes && stride > -rowBytes)) {
        text.set("stride[%d] is %lld; a row has %lld bytes, a stride at most %d", p,
                 static_cast<long long>(stride), static_cast<long long>(rowBytes), INT32_MAX);
        return false;
    }
    const int64_t rows = request.format->planeRows(p, image.height);
    if ((rows - 1) * (stride < 0 ? -stride : stride) + rowBytes > PTRDIFF_MAX) {
        text.set("stride[%d] is %lld: %lld rows do not fit the memory of this machine", p,
                 static_cast<long long>(stride), static_cast<long long>(rows));
        return false;
    }
    request.rows.plane[p] = static_cast<const uint8_t*>(image.plane[p]);
    request.rows.stride[p] = static_cast<ptrdiff_t>(stride);
    return true;
}

int32_t checkImage(const VelaImage* image, Request& request, ErrorText& text) {
    if (image == nullptr) {
        text.set("image is null");
        return ENC_STATUS_BADARG;
    }
    request.format = pictureFormatOf(codeOf(image->format));
    if (request.format == nullptr) {
        text.set("format is %d, which is none of its codes", codeOf(image->format));
        return ENC_STATUS_NOTSUPPORTED;
    }
    if (!inRange("width", image->width, 1, kMostSide, text) ||
        !inRange("height", image->height, 1, kMostSide, text))
        return ENC_STATUS_BADARG;
    if (!isKnown("range", codeOf(image->range), VELA_RANGE_LIMITED, text) ||
        !isKnown("matrix", codeOf(image->matrix), VELA_MATRIX_BT709, text))
        return ENC_STATUS_NOTSUPPORTED;
    request.width = image->width;
    request.height = image->height;
    request.readRows = image->readRows;
    request.readContext = image->readContext;
    for (int32_t p = 0; p < 3; p++) {
        if (image->readRows != nullptr && image->plane[p] != nullptr) {
            text.set("plane[%d] is not null beside readRows", p);
            return ENC_STATUS_BADARG;
        }
        if (image->readRows == nullptr && p < request.format->planes() &&
            !checkPlane(*image, p, request, text))
            return ENC_STATUS_BADARG;
    }
    const bool limited =
        image->range == VELA_RANGE_LIMITED && request.format->layout != Layout::rgb;
    const bool bt709 = image->matrix == VELA_MATRIX_BT709 && request.format->isYcbcr();
    request.adjusts = limited || bt709;
    request.adjustment = adjustmentOf(limited, bt709);
    return ENC_STATUS_OK;
}

int32_t checkSubsampling(const VelaOptions& options, Request& request, ErrorText& text) {
    if (request.format->layout == Layout::grey) // halves nothing, whatever is asked for
        return ENC_STATUS_OK;
    if (!isKnown("subsampling", codeOf(options.subsampling), VELA_SUBSAMPLING_420, text))
        return ENC_STATUS_NOTSUPPORTED;
    VelaSubsampling subsampling = options.subsampling;
    if (request.format->layout == Layout::rgb) {
        if (subsampling == VELA_SUBSAMPLING_AUTO)
            subsampling = VELA_SUBSAMPLING_420;
    } else {
        if (subsampling == VELA_SUBSAMPLING_AUTO)
            subsampling = request.format->subsampling;
        if (subsampling != request.format->subsampling) {
            text.set("subsampling is %d, but format %d has %d", static_cast<int32_t>(subsampling),
                     static_cast<int32_t>(request.format->code),
                     static_cast<int32_t>(request.format->subsampling));
            return ENC_STATUS_NOTSUPPORTED;
        }
    }
    request.halvedAcross = subsampling != VELA_SUBSAMPLING_444;
    request.halvedDown = subsampling == VELA_SUBSAMPLING_420;
    return ENC_STATUS_OK;
}

int32_t checkRestarts(const VelaOptions& options, Request& request, ErrorText& text) {
    if (!inRange("restartMcus", options.restartMcus, 0, kMostInterval, text))
        return ENC_STATUS_BADARG;
    if (!inRange("restartRows", options.restartRows, -1, kMostInterval, text))
        return ENC_STATUS_BADARG;
    const int32_t mcuWidth = request.halvedAcross ? 16 : 8;
    request.mcuHeight = request.halvedDown ? 16 : 8;
    request.mcusPerRow = (request.width + mcuWidth - 1) / mcuWidth;
    request.mcuRows = (request.height + request.mcuHeight - 1) / request.mcuHeight;
    const int32_t rows =
        options.restartRows < 0 ? (options.threads != 1 ? 1 : 0) : options.restartRows;
    const int64_t interval =
        options.restartMcus > 0 ? options.restartMcus : int64_t{rows} * request.mcusPerRow;
    if (interval > kMostInterval) {
        text.set("restartRows is %d: %lld MCUs of a restart interval, above %d", rows,
                 static_cast<long long>(interval), kMostInterval);
        return ENC_STATUS_BADARG;
    }
    request.restartInterval = static_cast<int32_t>(interval);
    return ENC_STATUS_OK;
}

int32_t checkOptions(const VelaOptions& options, Request& request, ErrorText& text) {
    if (options.structSize != sizeof(VelaOptions)) {
        text.set("structSize is %zu, not %zu: velaOptionsInit sets it", options.structSize,
                 sizeof(VelaOptions));
        return ENC_STATUS_BADARG;
    }
    if (!inRange("quality", options.quality, 0, 100, text) ||
        !inRange("progressive", options.progressive, 0, 1, text) ||
        !inRange("threads", options.threads, 0, kMostThreads, text))
        return ENC_STATUS_BADARG;
    if (const int32_t status = checkSubsampling(options, request, text); status != ENC_STATUS_OK)
        return status;
    if (const int32_t status = checkRestarts(options, request, text); status != ENC_STATUS_OK)
        return status;
    if (options.maxBytes > 0 && request.readRows != nullptr) {
        text.set("maxBytes is %zu beside readRows, whose rows come only once", options.maxBytes);
        return ENC_STATUS_BADARG;
    }
    request.quality = options.quality;
    request.progressive = options.progressive != 0;
    request.threads = options.threads;
    request.maxBytes = options.maxBytes;
    return ENC_STATUS_OK;
}

} // namespace

Rows Request::rowsFrom(int32_t firstRow) const {
    Rows from = rows;
    for (int32_t p = 0; p < format->planes(); p++)
        from.plane[p] += ptrdiff_t{format->planeRows(p, firstRow)} * rows.stride[p];
    return from;
}

uint32_t Request::coreSubsampling() const {
    return halvedDown ? ENC_SUBSAMPLE_420 : halvedAcross ? ENC_SUBSAMPLE_422 : ENC_SUBSAMPLE_444;
}

bool Request::isDirect() const {
    if (readRows != nullptr || adjusts || format->coreCode < 0)
        return false;
    for (int32_t p = 0; p < format->planes(); p++) // one plane may go upwards in memory
        if (rows.stride[p] < 0 && format->planes() > 1)
            return false;
    return true;
}

int32_t Request::leastMcuRows() const {
    if (progressive || restartInterval == 0)
        return mcuRows;
    return std::min(mcuRows, restartInterval / std::gcd(restartInterval, mcusPerRow));
}

int32_t checkRequest(const VelaImage* image, const VelaOptions* options, Request& request,
                     ErrorText& text) {
    request = {};
    VelaOptions usual;
    if (options == nullptr) {
        velaOptionsInit(&usual);
        options = &usual;
    }
    if (const int32_t status = checkImage(image, request, text); status != ENC_STATUS_OK)
        return status;
    if (const int32_t status = checkOptions(*options, request, text); status != ENC_STATUS_OK)
        return status;
    const int64_t bytes = BandSource::sourceBytes(request, request.leastMcuRows());
    if (!request.isDirect() && bytes > INT32_MAX) {
        text.set("width and height are %d and %d: %lld bytes of samples to convert, above %d; a "
                 "baseline picture "
                 "with restart rows can be converted in parts",
                 request.width, request.height, static_cast<long long>(bytes), INT32_MAX);
        return ENC_STATUS_NOTSUPPORTED;
    }
    return ENC_STATUS_OK;
}

uint64_t largestStream(const Request& request) {
    // A block in baseline mode: a DC difference of 9 + 11 bits and 63 coefficients of 16 + 10. In
    // progressive mode a coefficient takes 16 + 10 bits at first and one in the refinement, DC 16 + 11 and
    // one, and each of at most four AC scans of a component an EOB run of 16 + 14 bits and three ZRL of 16.
    // Every byte may be stuffed. Restart markers: each of 8 scans may have one after each block, with a
    // byte of padding before it, stuffed.
    const uint64_t bits = request.progressive ? 28 + 63 * 27 + 4 * (30 + 3 * 16) : 20 + 63 * 26;
    const uint64_t scans = request.progressive ? 8 : 1;
    uint64_t blockBytes = 2 * ((bits + 7) / 8);
    if (request.restartInterval > 0)
        blockBytes += 4 * scans;
    const int32_t chroma = request.format->layout == Layout::grey ? 0 : 2;
    const int32_t luma = (request.halvedAcross ? 2 : 1) * (request.halvedDown ? 2 : 1);
    const uint64_t mcus = uint64_t(request.mcusPerRow) * uint64_t(request.mcuRows);
    // Headers: quantization tables and frame, and for each scan its header and two Huffman tables.
    const uint64_t headers = 512 + scans * (16 + 2 * 280);
    return headers + mcus * uint64_t(luma + chroma) * blockBytes;
}

} // namespace vela::easy
