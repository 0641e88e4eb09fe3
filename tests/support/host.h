// A host for the encoder: canaried memory, an output sink with a choice of flush behaviours, a
// picture source, and any callback failing at its n-th call.
#pragma once

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "state/routines.h"
#include "support/guarded.h"
#include "support/picture.h"
#include "vela/jpegenc.h"

namespace test {

/// How read delivers: copied to *pDst, by its own address, or by turns its own address and copied to the
/// plane's buffer, whose address it then stores.
enum class Read { copies, points, byTurns };

enum class Flush { takesAll, takesSome, takesNothing, negative, tooMuch };

struct Faults { // the n-th call (from 1) fails; 0: never
    int allocate = 0;
    int grow = 0;
    int flush = 0;
    int read = 0;
    int nullRead = 0;                       // leaves a null pointer
    Flush flushGives = Flush::takesNothing; // what the flush that fails does
    int32_t readGives = -1; // what the read that fails answers, beyond what it was asked for
};

/// One call that the encoder made of its host. Blocks of memory are numbered in the order in which
/// allocate handed them out; the size and alignment of block 0, the encoder's state, are the machine's and
/// count as 0. The amounts:
///
///     allocate  size, alignment
///     release   block
///     grow      block, new size
///     flush     bytes offered, bytes taken
///     seek      offset
///     read      bytes asked for
struct Call {
    enum Kind : uint8_t { allocate, release, grow, flush, seek, read } kind;
    int64_t amount;
    int64_t second;

    bool operator==(const Call&) const = default;
};

/// Where two sequences part, and how; empty if they do not.
std::string firstDifference(const std::vector<Call>& calls, const std::vector<Call>& expected);

/// FNV-1a of bytes, and of the calls in an order of bytes that is no machine's own.
uint64_t checksum(const std::vector<uint8_t>& bytes);
uint64_t checksum(const std::vector<Call>& calls);

struct Result {
    int32_t initStatus;
    int32_t status; // of the last call made
    std::vector<uint8_t> jpeg;
};

/// One encoding. The callbacks that have no handle find the host in a static, so there is one at a
/// time.
class Host {
public:
    Flush flushBehaviour = Flush::takesAll;
    Read readBehaviour = Read::copies;
    bool flushContextZero = false;
    int32_t outputBytes = 4096;
    uint32_t seed = 1;
    Faults faults;
    const vela::RoutineTable* routines = nullptr; // instead of those that set-up chooses

    Host() { current = this; }
    ~Host() { current = nullptr; }

    /// Bytes that flush has taken, also before a failure.
    const std::vector<uint8_t>& flushed() const { return flushed_; }

    CallbackTable_JPEG callbacks() const {
        return {nullptr, allocate, release, grow, flush, seek, read};
    }

    /// Encodes and releases. Memory, source and canaries are checked by the caller through
    /// faultless().
    Result encode(EncoderParams_JPEG params, const TestPicture& picture);

    /// Nothing was leaked, overrun, released twice or read outside the source.
    bool faultless() const { return blocks_.empty() && !fault_; }

    // What the calls looked like
    std::vector<Call> calls; // in order
    int allocations = 0;
    int growths = 0;
    int flushes = 0;
    int reads = 0;
    int seeks = 0;
    std::vector<std::pair<uint32_t, uint32_t>> requests; // size and alignment of each allocation

private:
    static constexpr uint32_t kFlushContext = 0x5EED;
    static constexpr uint32_t kSourceHandle = 77;
    static inline Host* current = nullptr;

    static void allocate(void** out, uint32_t size, uint32_t alignment);
    static void release(void** p);
    static int32_t grow(void** inout, uint32_t oldSize, uint32_t newSize);
    static int32_t flush(uint8_t* start, uint32_t context, int32_t used, uint32_t zero);
    static int32_t seek(uint32_t handle, int32_t offset, uint32_t whence);
    static int32_t read(void** pDst, uint32_t elementSize, uint32_t count, uint32_t handle);

    int32_t bytesToTake(int32_t used);
    void* newBlock(int64_t number, uint32_t size, uint32_t alignment);
    void log(Call::Kind kind, int64_t amount, int64_t second = 0) {
        calls.push_back({kind, amount, second});
    }
    bool insideEncoder(const void* variable) const;
    void fail(bool when) { fault_ = fault_ || when; }

    struct Block {
        int64_t number;
        Guarded memory;
    };

    std::map<void*, Block> blocks_;
    std::vector<uint8_t> flushed_;
    std::vector<uint8_t> source_;
    int64_t position_ = 0;
    std::mt19937 random_;
    const uint8_t* outputStart_ = nullptr;
    uint8_t* planeBuffer_[3] = {}; // in slice mode
    void* slot_ = nullptr;         // what the last read has left in *pDst
    int planes_ = 0;
    bool fault_ = false;
};

EncoderParams_JPEG params(const Format& format, uint32_t quality = 75, uint32_t restart = 0,
                          uint32_t bufferMode = ENC_BUFFER_INTEGRATED,
                          uint32_t mode = ENC_MODE_BASELINE);

/// The plain way: integrated, a roomy buffer. Expects success and a faultless host.
std::vector<uint8_t> encodeWhole(const EncoderParams_JPEG& params, const TestPicture& picture);

} // namespace test
