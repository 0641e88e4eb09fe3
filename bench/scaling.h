// Time and memory as the picture grows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vela {
struct RoutineTable;
}

namespace bench {

inline constexpr uint32_t kScalingQuality = 75;
inline constexpr int32_t kScalingWidth = 4096; // the height alone grows

struct ScalingCase {
    int32_t height; // in rows
    uint32_t mode;  // ENC_MODE_*
    bool slice;

    double seconds = 0;         // of processor time, the least of some runs
    uint64_t bytesAskedFor = 0; // through allocate and grow
    uint64_t peakResident = 0;  // bytes, of a process that does nothing else
    uint64_t pictureBytes = 0;  // of that: the picture, or the source of the slices
    uint64_t streamBytes = 0;

    double megapixels() const { return 1e-6 * kScalingWidth * height; }
};

/// From 0.3 to 256 megapixels, integrated and slice, baseline and progressive, each in a process of
/// its own. Hands over each result when it is there. Throws cli::Failure; also where integrated and
/// slice mode give streams of different lengths.
void measureScaling(const vela::RoutineTable* instructionSet,
                    const std::function<void(const ScalingCase&)>& onResult);

} // namespace bench
