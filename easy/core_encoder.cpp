#include "easy/core_encoder.h"

#include <algorithm>
#include <new>

namespace vela::easy {
namespace {

// The core's callbacks for memory have no handle: they serve the encoder whose call is running on this
// thread. A write callback may encode another picture meanwhile, with another encoder; so each call puts
// itself on top of those that wait for it, and takes itself off when it is done.
thread_local CoreEncoder* current = nullptr;

constexpr uint32_t kHandle = 1; // any but 0, which would switch a callback off

} // namespace

class CoreEncoder::Current {
public:
    explicit Current(CoreEncoder& encoder) : before_(current) { current = &encoder; }
    ~Current() { current = before_; }
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;

private:
    CoreEncoder* before_;
};

const CallbackTable_JPEG CoreEncoder::kCallbacks = {
    .reserved = nullptr,
    .allocate = [](void** out, uint32_t size,
                   uint32_t alignment) { *out = current->memory_.allocate(size, alignment); },
    .release = [](void** block) { current->memory_.release(*block); },
    .grow = [](void** block, uint32_t oldSize, uint32_t newSize) -> int32_t {
        return current->memory_.grow(block, oldSize, newSize) ? 0 : 1;
    },
    .flush = [](uint8_t* start, uint32_t, int32_t count,
                uint32_t) { return current->flush(start, count); },
    .seek = [](uint32_t, int32_t, uint32_t) -> int32_t { return 0; }, // reads come in a known order
    .read = [](void** pDst, uint32_t, uint32_t count,
               uint32_t) { return current->read(pDst, count); },
};

CoreEncoder::CoreEncoder()
    : bands_(colourRoutinesOfThisMachine()), output_(std::make_unique<uint8_t[]>(kOutputSize)) {}

int32_t CoreEncoder::encode(const Request& request, const Piece& piece, int32_t quality,
                            Sink& sink) {
    const bool direct = piece.inMemory && request.isDirect();
    const EncoderParams_JPEG params = {
        .quality = static_cast<uint32_t>(quality),
        .restartInterval = static_cast<uint32_t>(request.restartInterval),
        .mode = request.progressive ? ENC_MODE_PROGRESSIVE : ENC_MODE_BASELINE,
        .subsampling = request.coreSubsampling(),
        .bufferMode = direct ? ENC_BUFFER_INTEGRATED : ENC_BUFFER_SLICE,
        .flushContext = kHandle,
        .sourceHandle = kHandle,
    };
    Picture_JPEG picture{};
    picture.width = request.width;
    picture.height = piece.rowCount;
    if (direct) {
        const PictureFormat& format = *request.format;
        picture.planeCount = format.planes();
        picture.componentCount = format.layout == Layout::grey ? 1 : 3;
        picture.colorFormat = static_cast<uint32_t>(format.coreCode);
        for (int32_t p = 0; p < format.planes(); p++) {
            const int32_t lies =
                p > 0 && format.layout == Layout::planar && format.crFirst ? 3 - p : p;
            picture.plane[p] = const_cast<uint8_t*>(piece.rows.plane[lies]);
            picture.step[p] = static_cast<int32_t>(piece.rows.stride[lies]);
        }
    } else {
        bands_.begin(request, piece);
        bands_.describe(picture);
    }
    firstPlane_ = picture.plane[0];
    sink_ = &sink;
    failure_ = ENC_STATUS_OK;
    return run(params, picture);
}

int32_t CoreEncoder::run(const EncoderParams_JPEG& params, const Picture_JPEG& picture) {
    const Current call(*this);
    Bitstream_JPEG stream = {
        .start = output_.get(), .size = kOutputSize, .cursor = nullptr, .bitCount = 0};
    EncoderState_JPEG* state = nullptr;
    int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &kCallbacks, &state);
    if (status == ENC_STATUS_OK)
        status = Encode_JPEG(nullptr, &stream, state);
    EncoderFree_JPEG(&state);
    if (status == ENC_STATUS_OK && failure_ == ENC_STATUS_OK)
        flush(stream.start, static_cast<int32_t>(stream.cursor - stream.start));
    return failure_ != ENC_STATUS_OK ? failure_ : status;
}

int32_t CoreEncoder::flush(const uint8_t* bytes, int32_t count) noexcept {
    if (count > 0) {
        try {
            failure_ = sink_->take(bytes, static_cast<size_t>(count));
        } catch (const std::bad_alloc&) {
            failure_ = ENC_STATUS_NOMEM;
        }
    }
    return failure_ == ENC_STATUS_OK ? count : -1;
}

/// The core asks for an MCU row's planes in their order, all of a row before the next one's; of a single
/// plane it is what the last read has left. The first plane's read brings them all.
int32_t CoreEncoder::read(void** pDst, uint32_t count) noexcept {
    if (failure_ == ENC_STATUS_OK && *pDst == firstPlane_ && !bands_.next())
        failure_ = VELA_STATUS_READ;
    return failure_ == ENC_STATUS_OK ? static_cast<int32_t>(count) : -1;
}

} // namespace vela::easy
