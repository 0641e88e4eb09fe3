#include "easy/piece_encoder.h"

#include <algorithm>

namespace vela::easy {
namespace {

// Pieces large enough that setting an encoder up does not count, small enough that the threads end at
// about the same time and that what waits for its turn stays small.
constexpr int64_t kPiecePixels = 256 * 1024;
constexpr int32_t kPiecesPerThread = 4;
constexpr int32_t kSlotsPerThread = 3;

int32_t machineThreads() {
    return std::max(1, static_cast<int32_t>(std::thread::hardware_concurrency()));
}

} // namespace

Cut cutOf(const Request& request) {
    const Cut whole = {1, request.mcuRows, 1};
    const int32_t unit = request.leastMcuRows();
    if (unit == request.mcuRows)
        return whole;
    // A single thread cuts what the core cannot read as one source.
    const bool tooLarge =
        !request.isDirect() && BandSource::sourceBytes(request, request.mcuRows) > INT32_MAX;
    int32_t threads = request.threads == 0 ? machineThreads() : request.threads;
    if (threads == 1 && !tooLarge)
        return whole;
    const int32_t units = (request.mcuRows + unit - 1) / unit;
    const int64_t unitPixels = int64_t{unit} * request.mcuHeight * request.width;
    const int32_t together = std::max(1, std::min(static_cast<int32_t>(kPiecePixels / unitPixels),
                                                  units / (threads * kPiecesPerThread)));
    const int32_t pieces = (units + together - 1) / together;
    return {pieces, unit * together, std::min(threads, pieces)};
}

/// Ends an encoder's work soon after the call has been cancelled.
class PieceEncoder::StoppableSink final : public Sink {
public:
    StoppableSink(PieceEncoder& owner, std::vector<uint8_t>& bytes)
        : owner_(owner), memory_(bytes) {}
    int32_t take(const uint8_t* bytes, size_t count) override {
        {
            const std::lock_guard lock(owner_.mutex_);
            if (owner_.cancelled_)
                return VELA_STATUS_WRITE;
        }
        return memory_.take(bytes, count);
    }

private:
    PieceEncoder& owner_;
    MemorySink memory_;
};

PieceEncoder::~PieceEncoder() {
    stop();
}

void PieceEncoder::stop() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    toWorkers_.notify_all();
    for (const std::unique_ptr<Worker>& worker : workers_)
        worker->thread.join();
    workers_.clear();
    ended_ = false;
}

void PieceEncoder::start(int32_t threads) {
    const auto others = static_cast<size_t>(threads - 1);
    if (workers_.size() > others)
        stop();
    workers_.reserve(others);
    while (workers_.size() < others) {
        auto worker = std::make_unique<Worker>();
        worker->thread = std::thread([this, &encoder = worker->encoder] { work(encoder); });
        workers_.push_back(std::move(worker));
    }
    const auto slots = static_cast<size_t>(threads) * kSlotsPerThread;
    if (slots_.size() != slots)
        slots_.resize(slots);
}

void PieceEncoder::work(CoreEncoder& encoder) {
    std::unique_lock lock(mutex_);
    for (;;) {
        toWorkers_.wait(lock, [this] { return ended_ || (taken_ < filled_ && !cancelled_); });
        if (ended_)
            return;
        busy_++;
        encodeNext(encoder, lock);
        busy_--;
        toCaller_.notify_one();
    }
}

/// Takes the next piece; lock is held before and afterwards.
void PieceEncoder::encodeNext(CoreEncoder& encoder, std::unique_lock<std::mutex>& lock) {
    Slot& slot = slotOf(taken_++);
    lock.unlock();
    int32_t status;
    try {
        StoppableSink sink(*this, slot.output);
        status = encoder.encode(*request_, slot.piece, quality_, sink);
    } catch (const std::bad_alloc&) {
        status = ENC_STATUS_NOMEM;
    }
    lock.lock();
    slot.status = status;
    slot.done = true;
}

int32_t PieceEncoder::encode(const Request& request, const Cut& cut, int32_t quality, Sink& sink) {
    start(cut.threads);
    {
        const std::lock_guard lock(mutex_);
        request_ = &request;
        cut_ = cut;
        quality_ = quality;
        filled_ = taken_ = 0;
        cancelled_ = false;
    }
    // Whatever happens, no worker may look at this call's request afterwards.
    struct Settle {
        PieceEncoder& owner;
        ~Settle() {
            std::unique_lock lock(owner.mutex_);
            owner.cancelled_ = true;
            owner.toCaller_.wait(lock, [this] { return owner.busy_ == 0; });
        }
    } const settle{*this};
    return encodePieces(sink);
}

/// The caller's thread reads and writes, and encodes as well while there is nothing to write.
int32_t PieceEncoder::encodePieces(Sink& sink) {
    int32_t filled = 0;
    for (int32_t next = 0; next < cut_.pieces; next++) {
        Slot& slot = slotOf(next);
        for (;;) {
            while (filled < cut_.pieces && filled - next < static_cast<int32_t>(slots_.size())) {
                if (const int32_t status = fill(slotOf(filled), filled); status != ENC_STATUS_OK)
                    return status;
                const std::lock_guard lock(mutex_);
                filled_ = ++filled;
                toWorkers_.notify_one();
            }
            std::unique_lock lock(mutex_);
            if (slot.done)
                break;
            if (taken_ < filled_)
                encodeNext(own_, lock);
            else
                toCaller_.wait(lock, [&slot] { return slot.done; });
        }
        if (slot.status != ENC_STATUS_OK)
            return slot.status;
        const int64_t mcus = int64_t{next} * cut_.mcuRows * request_->mcusPerRow;
        const auto interval = static_cast<int32_t>(mcus / request_->restartInterval);
        const int32_t status = joinPiece(slot.output, next == 0, next + 1 == cut_.pieces,
                                         request_->height, interval, sink);
        if (status != ENC_STATUS_OK)
            return status;
    }
    return ENC_STATUS_OK;
}

int32_t PieceEncoder::fill(Slot& slot, int32_t index) {
    const int32_t rows = cut_.mcuRows * request_->mcuHeight;
    const int32_t firstRow = index * rows;
    const int32_t rowCount = std::min(rows, request_->height - firstRow);
    slot.done = false;
    slot.piece = {firstRow, rowCount, true, {}};
    if (request_->readRows == nullptr) {
        slot.piece.rows = request_->rowsFrom(firstRow);
        return ENC_STATUS_OK;
    }
    const PictureFormat& format = *request_->format;
    size_t start[3] = {}, size = 0;
    for (int32_t p = 0; p < format.planes(); p++) {
        start[p] = size;
        slot.piece.rows.stride[p] = static_cast<ptrdiff_t>(format.rowBytes(p, request_->width));
        size += static_cast<size_t>(slot.piece.rows.stride[p]) *
                static_cast<size_t>(format.planeRows(p, rowCount));
    }
    if (slot.input.size() < size)
        slot.input.resize(size);
    void* planes[3] = {};
    for (int32_t p = 0; p < format.planes(); p++) {
        planes[p] = slot.input.data() + start[p];
        slot.piece.rows.plane[p] = slot.input.data() + start[p];
    }
    const int failed = request_->readRows(request_->readContext, firstRow, rowCount, planes,
                                          slot.piece.rows.stride);
    return statusOf(failed == 0, VELA_STATUS_READ);
}

int32_t joinPiece(std::vector<uint8_t>& stream, bool first, bool last, int32_t height,
                  int32_t firstInterval, Sink& sink) {
    constexpr uint8_t kSof0 = 0xC0, kSos = 0xDA, kRst0 = 0xD0, kRst7 = 0xD7;
    const size_t end = stream.size() - 2; // EOI
    size_t at = 2;                        // after SOI
    for (uint8_t marker = 0; marker != kSos;) {
        marker = stream[at + 1];
        if (marker == kSof0) { // length, precision, height
            stream[at + 5] = static_cast<uint8_t>(height >> 8);
            stream[at + 6] = static_cast<uint8_t>(height & 0xFF);
        }
        at += 2 + size_t{stream[at + 2]} * 256 + stream[at + 3];
    }
    if (firstInterval % 8 != 0) {
        // In entropy-coded data a byte 0xFF is followed by 0, or begins a marker.
        const auto from = stream.begin() + static_cast<ptrdiff_t>(at);
        const auto to = stream.begin() + static_cast<ptrdiff_t>(end);
        for (auto i = std::find(from, to, 0xFF); i != to; i = std::find(i + 2, to, 0xFF))
            if (i[1] >= kRst0 && i[1] <= kRst7)
                i[1] = static_cast<uint8_t>(kRst0 + (i[1] - kRst0 + firstInterval) % 8);
    }
    const size_t begin = first ? 0 : at;
    int32_t status = ENC_STATUS_OK;
    if (!first) {
        // The marker between the pieces, which no piece has, ends interval firstInterval - 1.
        const uint8_t marker[] = {0xFF, static_cast<uint8_t>(kRst0 + (firstInterval - 1) % 8)};
        status = sink.take(marker, sizeof marker);
    }
    if (status == ENC_STATUS_OK)
        status = sink.take(stream.data() + begin, (last ? stream.size() : end) - begin);
    return status;
}

} // namespace vela::easy
