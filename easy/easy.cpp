// The calls of vela/easy.h.
#include "vela/easy.h"

#include <atomic>
#include <new>
#include <system_error>

#include "easy/file_sink.h"
#include "easy/metadata.h"
#include "easy/piece_encoder.h"
#include "easy/quality_search.h"

using namespace vela::easy;

struct VelaEncoder {
    std::atomic_flag busy = ATOMIC_FLAG_INIT;
    ErrorText text;
    int32_t qualityUsed = -1;
    int32_t lastLimited = -1; // the quality that the last size limit led to

    Request request{};
    Metadata metadata;
    CoreEncoder encoder;
    PieceEncoder pieces;
    std::vector<uint8_t> stream;      // of velaEncodeToMemory
    std::vector<uint8_t> best, trial; // of a size limit
};

namespace {

/// One encoding of the request, with its metadata.
int32_t encodeOnce(VelaEncoder& encoder, int32_t quality, Sink& sink) {
    const Request& request = encoder.request;
    MetadataSink all(encoder.metadata, sink);
    const Cut cut = cutOf(request);
    if (cut.pieces > 1)
        return encoder.pieces.encode(request, cut, quality, all);
    const Piece whole = {0, request.height, request.readRows == nullptr, request.rows};
    return encoder.encoder.encode(request, whole, quality, all);
}

/// The best quality within maxBytes: the streams that fit are kept until a better one does.
int32_t encodeLimited(VelaEncoder& encoder, Sink& sink, int32_t& quality) {
    const Request& request = encoder.request;
    QualitySearch search(request.quality,
                         encoder.lastLimited >= 0 ? encoder.lastLimited : request.quality);
    while (!search.isDone()) {
        const int32_t tried = search.next();
        MemorySink memory(encoder.trial, request.maxBytes);
        const int32_t status = encodeOnce(encoder, tried, memory);
        if (status != ENC_STATUS_OK && status != VELA_STATUS_TOO_LARGE)
            return status;
        search.tried(tried, status == ENC_STATUS_OK);
        if (status == ENC_STATUS_OK)
            encoder.best.swap(encoder.trial);
    }
    quality = search.best();
    if (quality < 0) {
        encoder.text.set("maxBytes is %zu: the stream is longer at every quality",
                         request.maxBytes);
        return VELA_STATUS_TOO_LARGE;
    }
    encoder.lastLimited = quality;
    return sink.take(encoder.best.data(), encoder.best.size());
}

const char* reasonOf(int32_t status) {
    return status == VELA_STATUS_WRITE  ? "write did not take what it was given"
           : status == VELA_STATUS_READ ? "readRows did not bring its rows"
                                        : velaStatusText(status);
}

/// Holds an encoder for one call; refuses a second one meanwhile.
class Call {
public:
    explicit Call(VelaEncoder& encoder) : encoder_(encoder), mine_(!encoder.busy.test_and_set()) {}
    ~Call() {
        if (mine_)
            encoder_.busy.clear();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    bool isMine() const { return mine_; }

private:
    VelaEncoder& encoder_;
    bool mine_;
};

/// Does a call's work: checks, has the stream made by way of body(encode), and turns what is thrown into
/// statuses. encode is given the sink.
template <class Body>
int32_t serve(VelaEncoder* encoder, const VelaImage* image, const VelaOptions* options,
              const char* missing, const Body& body) {
    if (encoder == nullptr)
        return ENC_STATUS_BADARG;
    const Call call(*encoder);
    if (!call.isMine())
        return ENC_STATUS_ERR;
    encoder->text.clear();
    encoder->qualityUsed = -1;
    int32_t quality = -1;
    int32_t status;
    try {
        VelaOptions usual;
        velaOptionsInit(&usual);
        if (options == nullptr)
            options = &usual;
        status = checkRequest(image, options, encoder->request, encoder->text);
        if (status == ENC_STATUS_OK)
            status = encoder->metadata.set(*options, image->width, image->height, encoder->text);
        if (status == ENC_STATUS_OK && missing != nullptr) {
            encoder->text.set("%s is null", missing);
            status = ENC_STATUS_BADARG;
        }
        if (status == ENC_STATUS_OK)
            status = body([&](Sink& sink) {
                if (encoder->request.maxBytes > 0)
                    return encodeLimited(*encoder, sink, quality);
                quality = encoder->request.quality;
                return encodeOnce(*encoder, quality, sink);
            });
    } catch (const std::bad_alloc&) {
        status = ENC_STATUS_NOMEM;
    } catch (const std::system_error& error) {
        encoder->text.set("threads: %s", error.what());
        status = ENC_STATUS_NOMEM;
    }
    if (status == ENC_STATUS_OK)
        encoder->qualityUsed = quality;
    else if (encoder->text.text()[0] == '\0')
        encoder->text.set("%s", reasonOf(status));
    return status;
}

} // namespace

VelaEncoder* velaEncoderNew(void) {
    try {
        return new VelaEncoder;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void velaEncoderDelete(VelaEncoder* encoder) {
    delete encoder;
}

void velaOptionsInit(VelaOptions* options) {
    if (options == nullptr)
        return;
    *options = {};
    options->structSize = sizeof *options;
    options->quality = 75;
    options->restartRows = -1;
    options->threads = 1;
}

int32_t velaEncode(VelaEncoder* encoder, const VelaImage* image, const VelaOptions* options,
                   VelaWrite* write, void* context) {
    return serve(encoder, image, options, write == nullptr ? "write" : nullptr,
                 [&](const auto& encode) {
                     CallbackSink sink(write, context);
                     return encode(sink);
                 });
}

int32_t velaEncodeToMemory(VelaEncoder* encoder, const VelaImage* image, const VelaOptions* options,
                           const uint8_t** jpeg, size_t* size) {
    if (jpeg != nullptr)
        *jpeg = nullptr;
    if (size != nullptr)
        *size = 0;
    const char* const missing = jpeg == nullptr ? "jpeg" : size == nullptr ? "size" : nullptr;
    return serve(encoder, image, options, missing, [&](const auto& encode) {
        MemorySink sink(encoder->stream);
        const int32_t status = encode(sink);
        if (status == ENC_STATUS_OK) {
            *jpeg = encoder->stream.data();
            *size = encoder->stream.size();
        }
        return status;
    });
}

int32_t velaEncodeToFile(VelaEncoder* encoder, const VelaImage* image, const VelaOptions* options,
                         const char* path) {
    return serve(encoder, image, options, path == nullptr ? "path" : nullptr,
                 [&](const auto& encode) {
                     FileSink sink(encoder->text);
                     int32_t status = sink.open(path);
                     if (status == ENC_STATUS_OK)
                         status = encode(sink);
                     return status == ENC_STATUS_OK ? sink.finish() : status;
                 });
}

const char* velaErrorText(const VelaEncoder* encoder) {
    return encoder != nullptr ? encoder->text.text() : "";
}

const char* velaStatusText(int32_t status) {
    switch (status) {
    case ENC_STATUS_OK:
        return "done";
    case ENC_STATUS_ERR:
        return "the encoder is busy with another call, or a source gave another count than asked";
    case ENC_STATUS_NOMEM:
        return "memory, or a thread, could not be had";
    case ENC_STATUS_BADARG:
        return "an argument is null or out of its range";
    case ENC_STATUS_NODATA:
        return "a stream holds less than was asked of it";
    case ENC_STATUS_NOTSUPPORTED:
        return "a format, a setting or a size is not supported";
    case ENC_STATUS_OUTPUT_FULL:
        return "the output did not take what it was given";
    case VELA_STATUS_WRITE:
        return "the stream could not be written";
    case VELA_STATUS_READ:
        return "the rows of the picture could not be read";
    case VELA_STATUS_TOO_LARGE:
        return "no quality gives a stream that is short enough";
    default:
        return "a status that this version does not know";
    }
}

int32_t velaQualityUsed(const VelaEncoder* encoder) {
    return encoder != nullptr ? encoder->qualityUsed : -1;
}

size_t velaMaxBytes(const VelaImage* image, const VelaOptions* options) {
    VelaOptions usual;
    velaOptionsInit(&usual);
    if (options == nullptr)
        options = &usual;
    Request request;
    ErrorText text;
    if (checkRequest(image, options, request, text) != ENC_STATUS_OK)
        return 0;
    try {
        Metadata metadata;
        if (metadata.set(*options, image->width, image->height, text) != ENC_STATUS_OK)
            return 0;
        uint64_t most = largestStream(request) + metadata.size();
        if (options->maxBytes > 0 && options->maxBytes < most)
            most = options->maxBytes;
        return most > SIZE_MAX ? SIZE_MAX : static_cast<size_t>(most);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

uint32_t velaVersion(void) {
    return VELA_VERSION_MAJOR << 16 | VELA_VERSION_MINOR << 8 | VELA_VERSION_PATCH;
}
