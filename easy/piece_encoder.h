// A picture cut at restart intervals: its pieces are encoded by several threads and joined to the stream
// that one thread would write.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "easy/core_encoder.h"

namespace vela::easy {

/// How many pieces of how many MCU rows each; one piece where the picture cannot be cut, or where one
/// thread is to encode it and can do so at once.
struct Cut {
    int32_t pieces;
    int32_t mcuRows; // of each but the last
    int32_t threads;
};
Cut cutOf(const Request& request);

class PieceEncoder {
public:
    PieceEncoder() = default;
    PieceEncoder(const PieceEncoder&) = delete;
    PieceEncoder& operator=(const PieceEncoder&) = delete;
    ~PieceEncoder();

    /// Encodes by cut.threads threads, this one and others, which stay for the next picture. readRows and the
    /// sink are called on this thread, in the picture's order. Status as of CoreEncoder. May throw std::bad_alloc and
    /// std::system_error (no further thread).
    [[nodiscard]] int32_t encode(const Request& request, const Cut& cut, int32_t quality,
                                 Sink& sink);

private:
    /// A piece on its way: filled by the caller's thread, encoded by any, written by the caller's.
    struct Slot {
        Piece piece{};
        std::vector<uint8_t> input; // rows from readRows
        std::vector<uint8_t> output;
        int32_t status = ENC_STATUS_OK;
        bool done = false;
    };
    struct Worker {
        CoreEncoder encoder;
        std::thread thread;
    };
    class StoppableSink;

    void start(int32_t threads);
    void stop();
    void work(CoreEncoder& encoder);
    void encodeNext(CoreEncoder& encoder, std::unique_lock<std::mutex>& lock);
    [[nodiscard]] int32_t fill(Slot& slot, int32_t index);
    [[nodiscard]] int32_t encodePieces(Sink& sink);
    Slot& slotOf(int32_t piece) { return slots_[static_cast<size_t>(piece) % slots_.size()]; }

    CoreEncoder own_; // of the caller's thread
    std::vector<std::unique_ptr<Worker>> workers_;
    std::vector<Slot> slots_;
    const Request* request_ = nullptr; // that is being encoded
    Cut cut_{};
    int32_t quality_ = 0;

    // Under the mutex: pieces 0..taken - 1 have been taken by workers, 0..filled - 1 have been filled.
    std::mutex mutex_;
    std::condition_variable toWorkers_, toCaller_;
    int32_t filled_ = 0, taken_ = 0, busy_ = 0;
    bool cancelled_ = false, ended_ = false;
};

/// Writes the entropy-coded data of a piece's stream, its RST markers numbered on from firstInterval. The
/// first piece brings the headers as well, with the height of the whole picture; the last one EOI.
[[nodiscard]] int32_t joinPiece(std::vector<uint8_t>& stream, bool first, bool last, int32_t height,
                                int32_t firstInterval, Sink& sink);

} // namespace vela::easy
