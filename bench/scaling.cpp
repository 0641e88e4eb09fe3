#include "bench/scaling.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>

#include "bench/cpu_time.h"
#include "bench/pictures.h"
#include "bench/vela_encoder.h"
#include "cli/failure.h"

namespace bench {
namespace {

constexpr int32_t kHeights[] = {74, 250, 1000, 4000, 16000, 62500};
constexpr int32_t kTileHeight = 512; // rows, that repeat downwards
constexpr size_t kRowBytes = size_t{3} * kScalingWidth;
constexpr uint32_t kModes[] = {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE};

/// The picture's bytes from position on, with the tile repeated as often as need be.
void copyTiled(const SourcePicture& tile, uint64_t position, uint8_t* to, size_t count) {
    while (count > 0) {
        const auto offset = static_cast<size_t>(position % tile.bgr.size());
        const size_t part = std::min(count, tile.bgr.size() - offset);
        std::memcpy(to, tile.bgr.data() + offset, part);
        position += part;
        to += part;
        count -= part;
    }
}

class TiledFeed : public SliceFeed {
public:
    explicit TiledFeed(const SourcePicture& tile) : tile_(tile) {}

    void read(uint8_t* to, size_t count) override {
        copyTiled(tile_, position_, to, count);
        position_ += count;
    }
    void seek(int32_t offset) override { position_ += static_cast<uint64_t>(int64_t{offset}); }
    void rewind() { position_ = 0; }

private:
    const SourcePicture& tile_;
    uint64_t position_ = 0;
};

Picture_JPEG describe(uint8_t* samples, int32_t height) {
    Picture_JPEG picture{};
    picture.plane[0] = samples;
    picture.width = kScalingWidth;
    picture.height = height;
    picture.step[0] = static_cast<int32_t>(kRowBytes);
    picture.planeCount = 1;
    picture.componentCount = 3;
    picture.colorFormat = JPEG_CF_BGR888;
    return picture;
}

/// Fills in what the process itself can know.
void run(ScalingCase& result, const vela::RoutineTable* instructionSet) {
    const SourcePicture tile = makePhotoTexture(kScalingWidth, kTileHeight);
    const size_t wholeBytes = kRowBytes * static_cast<size_t>(result.height);
    const size_t sampleBytes = result.slice ? kRowBytes * 16 /* rows of an MCU */ : wholeBytes;
    const auto samples = std::make_unique_for_overwrite<uint8_t[]>(sampleBytes);
    if (!result.slice)
        copyTiled(tile, 0, samples.get(), sampleBytes);
    TiledFeed feed(tile);
    VelaEncoder encoder(describe(samples.get(), result.height),
                        {.quality = kScalingQuality,
                         .mode = result.mode,
                         .subsampling = ENC_SUBSAMPLE_420,
                         .instructionSet = instructionSet,
                         .feed = result.slice ? &feed : nullptr,
                         .keepStream = false});
    double spent = 0;
    for (int i = 0; i < 15 && (i < 2 || spent < 0.3); i++) {
        feed.rewind();
        const double start = cpuSeconds();
        encoder.encode();
        const double seconds = cpuSeconds() - start;
        result.seconds = i == 0 ? seconds : std::min(result.seconds, seconds);
        spent += seconds;
    }
    result.bytesAskedFor = encoder.memoryUse().bytes;
    result.pictureBytes = tile.bgr.size() + sampleBytes;
    result.streamBytes = encoder.streamBytes();
}

ScalingCase runApart(ScalingCase result, const vela::RoutineTable* instructionSet) {
    int ends[2];
    if (pipe(ends) != 0)
        throw cli::Failure("cannot create a pipe");
    const pid_t child = fork();
    if (child < 0)
        throw cli::Failure("cannot start a process");
    if (child == 0) {
        try {
            run(result, instructionSet);
        } catch (const std::exception&) {
            _exit(1);
        }
        const bool written = write(ends[1], &result, sizeof result) == sizeof result;
        _exit(written ? 0 : 1);
    }
    close(ends[1]);
    const bool complete = read(ends[0], &result, sizeof result) == sizeof result;
    close(ends[0]);
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || status != 0 || !complete)
        throw cli::Failure("a picture of " + std::to_string(result.height) +
                           " rows could not be encoded; is there enough memory?");
    result.peakResident = uint64_t{1024} * static_cast<uint64_t>(usage.ru_maxrss);
    return result;
}

} // namespace

void measureScaling(const vela::RoutineTable* instructionSet,
                    const std::function<void(const ScalingCase&)>& onResult) {
    for (const uint32_t mode : kModes)
        for (const int32_t height : kHeights) {
            uint64_t streamBytes[2];
            for (const bool slice : {false, true}) {
                const ScalingCase result =
                    runApart({.height = height, .mode = mode, .slice = slice}, instructionSet);
                streamBytes[slice ? 1 : 0] = result.streamBytes;
                onResult(result);
            }
            if (streamBytes[0] != streamBytes[1])
                throw cli::Failure("integrated and slice mode give different streams");
        }
}

} // namespace bench
