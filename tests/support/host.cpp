#include "support/host.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "encoder/setup.h"

namespace test {

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
        }
    }
    Guarded output(static_cast<size_t>(std::max(outputBytes, 1)));
    outputStart_ = output.data();
    random_.seed(seed);

    Bitstream_JPEG stream{output.data(), outputBytes, nullptr, 99};
    const CallbackTable_JPEG table = callbacks();
    EncoderState_JPEG* state = nullptr;
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
        fail(Encode_JPEG(nullptr, &stream, state) >= 0); // one state encodes one picture
    }
    fail(EncoderFree_JPEG(&state) != ENC_STATUS_OK || state != nullptr);
    fail(!output.intact());
    for (Guarded& band : bands)
        fail(band.data() != nullptr && !band.intact());
    return result;
}

void Host::allocate(void** out, uint32_t size, uint32_t alignment) {
    Host& host = *current;
    host.requests.emplace_back(size, alignment);
    *out = ++host.allocations == host.faults.allocate ? nullptr : host.newBlock(size, alignment);
}

void* Host::newBlock(uint32_t size, uint32_t alignment) {
    Guarded block(size, alignment);
    void* const address = block.data();
    blocks_.emplace(address, std::move(block));
    return address;
}

void Host::release(void** p) {
    Host& host = *current;
    const auto block = host.blocks_.find(*p);
    host.fail(block == host.blocks_.end());
    if (block == host.blocks_.end())
        return;
    host.fail(!block->second.intact());
    host.blocks_.erase(block);
}

int32_t Host::grow(void** inout, uint32_t oldSize, uint32_t newSize) {
    Host& host = *current;
    if (++host.growths == host.faults.grow)
        return -1;
    const auto old = host.blocks_.find(*inout);
    host.fail(old == host.blocks_.end() || old->second.size() != oldSize || newSize <= oldSize);
    void* const moved = host.newBlock(newSize, 32);
    std::copy_n(static_cast<uint8_t*>(*inout), oldSize, static_cast<uint8_t*>(moved));
    release(inout);
    *inout = moved;
    return 0;
}

int32_t Host::flush(uint8_t* start, uint32_t context, int32_t used, uint32_t zero) {
    Host& host = *current;
    host.fail(host.outputStart_ != nullptr &&
              (start != host.outputStart_ || context != kFlushContext || used > host.outputBytes));
    host.fail(zero != 0 || used < 0);
    host.flushSizes.push_back(used);
    const bool fails = ++host.flushes == host.faults.flush;
    switch (fails ? Flush::takesNothing : host.flushBehaviour) {
    case Flush::takesNothing:
        return 0;
    case Flush::negative:
        return -1;
    case Flush::tooMuch:
        return used + 1;
    default:
        break;
    }
    // Some: enough for the 768 bytes that an MCU wants, and sometimes more.
    const int32_t least = std::clamp(768 - (host.outputBytes - used), 0, used);
    int32_t taken = used;
    if (host.flushBehaviour == Flush::takesSome)
        taken = std::uniform_int_distribution<int32_t>(least, used)(host.random_);
    host.flushed_.insert(host.flushed_.end(), start, start + taken);
    return taken;
}

int32_t Host::seek(uint32_t handle, int32_t offset, uint32_t whence) {
    Host& host = *current;
    host.seeks++;
    host.position_ += offset;
    host.fail(handle != kSourceHandle || whence != 1);
    host.fail(host.position_ < 0 || host.position_ > static_cast<int64_t>(host.source_.size()));
    return -1; // not read
}

int32_t Host::read(void** pDst, uint32_t elementSize, uint32_t count, uint32_t handle) {
    Host& host = *current;
    const int64_t left = static_cast<int64_t>(host.source_.size()) - host.position_;
    host.fail(handle != kSourceHandle || elementSize != 1 || left < count);
    if (++host.reads == host.faults.read)
        return static_cast<int32_t>(count) - 1;
    uint8_t* const from = host.source_.data() + host.position_;
    if (host.readPointsIntoSource)
        *pDst = from;
    else
        std::copy_n(from, std::min<int64_t>(count, left), static_cast<uint8_t*>(*pDst));
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
