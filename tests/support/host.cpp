#include "support/host.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "encoder/setup.h"

namespace test {
namespace {

constexpr uint64_t kFnvStart = 0xCBF29CE484222325;

uint64_t fnv(uint64_t sum, uint8_t byte) {
    return (sum ^ byte) * 0x100000001B3;
}

std::string describe(const std::vector<Call>& calls, size_t i) {
    constexpr const char* kNames[] = {"allocate", "release", "grow", "flush", "seek", "read"};
    if (i >= calls.size())
        return "no call";
    const Call& call = calls[i];
    return std::string(kNames[call.kind]) + " " + std::to_string(call.amount) + " " +
           std::to_string(call.second);
}

} // namespace

std::string firstDifference(const std::vector<Call>& calls, const std::vector<Call>& expected) {
    if (calls == expected)
        return "";
    size_t i = 0;
    while (i < calls.size() && i < expected.size() && calls[i] == expected[i])
        i++;
    return "call " + std::to_string(i) + ": " + describe(calls, i) + ", expected " +
           describe(expected, i);
}

uint64_t checksum(const std::vector<uint8_t>& bytes) {
    uint64_t sum = kFnvStart;
    for (const uint8_t byte : bytes)
        sum = fnv(sum, byte);
    return sum;
}

uint64_t checksum(const std::vector<Call>& calls) {
    uint64_t sum = kFnvStart;
    for (const Call& call : calls) {
        sum = fnv(sum, call.kind);
        for (const int64_t amount : {call.amount, call.second})
            for (int shift = 0; shift < 64; shift += 8)
                sum = fnv(sum, static_cast<uint8_t>(amount >> shift));
    }
    return sum;
}

Result Host::encode(EncoderParams_JPEG params, const TestPicture& picture) {
    Picture_JPEG record = picture.record();
    Guarded bands[3];
    params.flushContext = flushContextZero ? 0 : kFlushContext;
    if (params.bufferMode == ENC_BUFFER_SLICE) {
        params.sourceHandle = kSourceHandle;
        source_ = picture.source();
        for (int p = 0; p < picture.format().planes(); p++) {
            const size_t bytes =
                static_cast<size_t>(std::abs(record.step[p]) * picture.bandRows(p));
            bands[p] = Guarded(bytes);
            record.plane[p] = bands[p].data();
            planeBuffer_[p] = bands[p].data();
        }
    }
    Guarded output(static_cast<size_t>(std::max(outputBytes, 1)));
    outputStart_ = output.data();
    random_.seed(seed);

    Bitstream_JPEG stream{output.data(), outputBytes, nullptr, 99};
    const CallbackTable_JPEG table = callbacks();
    EncoderState_JPEG* state = nullptr;
    planes_ = picture.format().planes();
    Result result{};
    result.initStatus =
        routines == nullptr
            ? EncoderInitAlloc_JPEG(&params, &record, &stream, &table, &state)
            : vela::initEncoder(&params, &record, &stream, &table, &state, *routines);
    result.status = result.initStatus;
    if (result.status == ENC_STATUS_OK)
        result.status = Encode_JPEG(nullptr, &stream, state);
    if (result.status == ENC_STATUS_OK) {
        result.jpeg = flushed_;
        result.jpeg.insert(result.jpeg.end(), stream.start, stream.cursor);
    }
    const size_t made =
        calls.size(); // one state encodes one picture, and none once anything has failed
    fail(state != nullptr && Encode_JPEG(nullptr, &stream, state) != ENC_STATUS_ERR);
    fail(calls.size() != made);
    fail(EncoderFree_JPEG(&state) != ENC_STATUS_OK || state != nullptr);
    fail(!output.intact());
    fail(params.bufferMode == ENC_BUFFER_SLICE && source_ != picture.source()); // read alone
    for (Guarded& band : bands)
        fail(band.data() != nullptr && !band.intact());
    return result;
}

void Host::allocate(void** out, uint32_t size, uint32_t alignment) {
    Host& host = *current;
    const int number = host.allocations++;
    host.requests.emplace_back(size, alignment);
    host.log(Call::allocate, number == 0 ? 0 : size, number == 0 ? 0 : alignment);
    const bool fails = host.allocations == host.faults.allocate;
    *out = fails ? nullptr : host.newBlock(number, size, alignment);
}

void* Host::newBlock(int64_t number, uint32_t size, uint32_t alignment) {
    Block block{number, Guarded(size, alignment)};
    void* const address = block.memory.data();
    blocks_.emplace(address, std::move(block));
    return address;
}

/// Whether a variable lies inside the encoder, which is block 0.
bool Host::insideEncoder(const void* variable) const {
    const auto* const at = static_cast<const uint8_t*>(variable);
    return std::any_of(blocks_.begin(), blocks_.end(), [at](const auto& entry) {
        const auto& [number, memory] = entry.second;
        return number == 0 && at >= memory.data() && at < memory.data() + memory.size();
    });
}

void Host::release(void** p) {
    Host& host = *current;
    const auto block = host.blocks_.find(*p);
    host.fail(block == host.blocks_.end());
    if (block == host.blocks_.end())
        return;
    const int64_t number = block->second.number;
    host.log(Call::release, number);
    host.fail(number > 0 && !host.insideEncoder(p)); // by the address of the encoder's own variable
    host.fail(!block->second.memory.intact());
    host.blocks_.erase(block);
}

int32_t Host::grow(void** inout, uint32_t oldSize, uint32_t newSize) {
    Host& host = *current;
    const auto old = host.blocks_.find(*inout);
    if (old == host.blocks_.end()) {
        host.fail(true);
        return -1;
    }
    host.fail(!host.insideEncoder(inout));
    host.log(Call::grow, old->second.number, newSize);
    if (++host.growths == host.faults.grow)
        return -1;
    host.fail(old->second.memory.size() != oldSize || newSize <= oldSize);
    void* const moved = host.newBlock(old->second.number, newSize, 32);
    std::copy_n(static_cast<uint8_t*>(*inout), oldSize, static_cast<uint8_t*>(moved));
    host.fail(!old->second.memory.intact());
    host.blocks_.erase(old);
    *inout = moved;
    return 0;
}

int32_t Host::flush(uint8_t* start, uint32_t context, int32_t used, uint32_t zero) {
    Host& host = *current;
    host.fail(host.outputStart_ != nullptr &&
              (start != host.outputStart_ || context != kFlushContext ||
               used > std::max(host.outputBytes, 0)));
    host.fail(zero != 0 || used < 0);
    const int32_t taken = host.bytesToTake(used);
    host.log(Call::flush, used, taken);
    if (taken > 0 && taken <= used)
        host.flushed_.insert(host.flushed_.end(), start, start + taken);
    return taken;
}

/// How many of used bytes the next flush takes.
int32_t Host::bytesToTake(int32_t used) {
    const bool fails = ++flushes == faults.flush;
    switch (fails ? faults.flushGives : flushBehaviour) {
    case Flush::takesNothing:
        return 0;
    case Flush::negative:
        return INT32_MIN;
    case Flush::tooMuch:
        return used + 1;
    case Flush::takesSome: {
        // Enough for the 768 bytes that an MCU wants, and sometimes more.
        const int32_t least = std::clamp(768 - (outputBytes - used), 0, used);
        return least + static_cast<int32_t>(random_() % static_cast<uint32_t>(used - least + 1));
    }
    case Flush::takesAll:
        break;
    }
    return used;
}

int32_t Host::seek(uint32_t handle, int32_t offset, uint32_t whence) {
    Host& host = *current;
    host.seeks++;
    host.log(Call::seek, offset);
    host.position_ += offset;
    host.fail(handle != kSourceHandle || whence != 1);
    host.fail(host.position_ < 0 || host.position_ > static_cast<int64_t>(host.source_.size()));
    return -1; // not read
}

int32_t Host::read(void** pDst, uint32_t elementSize, uint32_t count, uint32_t handle) {
    Host& host = *current;
    const int64_t left = static_cast<int64_t>(host.source_.size()) - host.position_;
    host.fail(handle != kSourceHandle || elementSize != 1 || left < count);
    host.log(Call::read, count);
    if (++host.reads == host.faults.read)
        return static_cast<int32_t>(count) + host.faults.readGives;
    uint8_t* const from = host.source_.data() + host.position_;
    const int plane = (host.reads - 1) % host.planes_;
    const int band = (host.reads - 1) / host.planes_;
    // The plane's buffer; with a single plane what the last read has left there
    host.fail(*pDst !=
              (host.planes_ == 1 && host.reads > 1 ? host.slot_ : host.planeBuffer_[plane]));
    if (host.readBehaviour == Read::points ||
        (host.readBehaviour == Read::byTurns && band % 2 == 0)) {
        *pDst = from;
    } else {
        if (host.readBehaviour == Read::byTurns)
            *pDst = host.planeBuffer_[plane];
        std::copy_n(from, std::min<int64_t>(count, left), static_cast<uint8_t*>(*pDst));
    }
    if (host.reads == host.faults.nullRead)
        *pDst = nullptr;
    host.slot_ = *pDst;
    host.position_ += count;
    return static_cast<int32_t>(count);
}

EncoderParams_JPEG params(const Format& format, uint32_t quality, uint32_t restart,
                          uint32_t bufferMode, uint32_t mode) {
    return {quality, restart, mode, format.subsampling, bufferMode, 0, 0};
}

std::vector<uint8_t> encodeWhole(const EncoderParams_JPEG& params, const TestPicture& picture) {
    Host host;
    host.outputBytes = 1 << 16;
    const Result result = host.encode(params, picture);
    EXPECT_EQ(result.status, ENC_STATUS_OK) << describe(picture);
    EXPECT_TRUE(host.faultless()) << describe(picture);
    return result.jpeg;
}

} // namespace test
