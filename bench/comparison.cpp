#include "bench/comparison.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "bench/cpu_time.h"
#include "bench/turbo_encoder.h"
#include "bench/vela_encoder.h"

namespace bench {
namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Seconds per encoding.
template <class Encoder>
double turn(Encoder& encoder, int encodings) {
    const double start = cpuSeconds();
    for (int i = 0; i < encodings; i++)
        encoder.encode();
    return (cpuSeconds() - start) / encodings;
}

/// The turns of our encoder and of one of theirs right after it.
struct Pairs {
    std::vector<double> ours, theirs, ratios; // seconds; theirs / ours

    void add(double our, double their) {
        ours.push_back(our);
        theirs.push_back(their);
        ratios.push_back(their / our);
    }
};

} // namespace

const char* modeName(uint32_t mode) {
    return mode == ENC_MODE_PROGRESSIVE ? "progressive" : "baseline";
}

double geometricMean(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values)
        sum += std::log(value);
    return std::exp(sum / static_cast<double>(values.size()));
}

Row compare(const FormatPicture& picture, const std::string& pictureName, uint32_t quality,
            uint32_t mode, const vela::RoutineTable* instructionSet, const Patience& patience) {
    const bool progressive = mode == ENC_MODE_PROGRESSIVE;
    VelaEncoder ours(picture.record(), {.quality = quality,
                                        .mode = mode,
                                        .subsampling = picture.format.subsampling,
                                        .instructionSet = instructionSet});
    const auto theirQuality = static_cast<int>(quality);
    std::array<TurboEncoder, 2> theirs{{TurboEncoder(picture, {theirQuality, progressive, false}),
                                        TurboEncoder(picture, {theirQuality, progressive, true})}};

    turn(ours, 1); // everybody's memory and caches are warm afterwards
    const double once = turn(ours, 1);
    const int encodings = std::max(1, static_cast<int>(std::ceil(patience.turn / once)));
    for (TurboEncoder& encoder : theirs)
        encoder.encode();

    std::array<Pairs, 2> pairs;
    const double start = cpuSeconds();
    for (int i = 0; i < patience.pairs || cpuSeconds() - start < patience.seconds; i++)
        for (size_t k = 0; k < theirs.size(); k++) {
            const double our = turn(ours, encodings);
            pairs[k].add(our, turn(theirs[k], encodings));
        }

    const std::array<double, 2> ratios{median(pairs[0].ratios), median(pairs[1].ratios)};
    const size_t faster = ratios[1] < ratios[0] ? 1 : 0;
    const double megapixels = 1e-6 * picture.width * picture.height;
    return {.picture = pictureName,
            .format = std::string(picture.format.name),
            .quality = quality,
            .mode = mode,
            .ours = megapixels / median(pairs[faster].ours),
            .theirs = megapixels / median(pairs[faster].theirs),
            .theirsFast = faster == 1,
            .ratio = ratios[faster],
            .ourBytes = ours.streamBytes(),
            .theirBytes = theirs[faster].streamBytes(),
            .ourPsnr = psnr(ours.stream(), picture),
            .theirPsnr = psnr(theirs[faster].stream(), picture),
            .encodeAllocations = ours.memoryUse().encodeCalls};
}

} // namespace bench
