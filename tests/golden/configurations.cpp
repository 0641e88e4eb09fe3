#include "golden/configurations.h"

#include <cinttypes>
#include <cstdio>

namespace test {
namespace {

struct Size {
    int width;
    int height;
};

// From a single pixel to rows of more MCUs than any instruction set takes at once; whole MCUs, and
// remainders on both sides of half a 4:2:0 MCU.
constexpr Size kSizes[] = {{1, 1},   {48, 32}, {33, 25},  {121, 8}, {16, 75},
                           {263, 9}, {25, 41}, {400, 19}, {64, 64}, {97, 17}};
constexpr uint32_t kQualities[] = {75, 100, 90, 1, 50, 95, 0, 25};
constexpr Content kContents[] = {Content::smooth, Content::noise, Content::extremes, Content::flat};
constexpr Flush kFlushes[] = {Flush::takesAll, Flush::takesSome, Flush::takesAll};
// A baseline MCU wants 768 bytes. The largest segment of the smooth pictures' progressive streams fits
// 230; the last one takes each of the others whole.
constexpr int32_t kBaselineOutput[] = {768, 1100, 4096, 1 << 16};
constexpr int32_t kProgressiveOutput[] = {230, 327, 291, 450, 1000, 1 << 16};

constexpr int kVariants = 8; // of a format in a mode and buffer mode

template <class T, size_t n>
T pick(const T (&values)[n], size_t i) {
    return values[i % n];
}

const char* nameOf(Content content) {
    switch (content) {
    case Content::noise:
        return "noise";
    case Content::smooth:
        return "smooth";
    case Content::flat:
        return "flat";
    case Content::extremes:
        return "extremes";
    }
    return "";
}

} // namespace

std::string Configuration::name() const {
    std::string text = format->name;
    text += mode == ENC_MODE_BASELINE ? " baseline" : " progressive";
    text += bufferMode == ENC_BUFFER_SLICE ? " slice " : " integrated ";
    text += std::to_string(width) + "x" + std::to_string(height) + " " + nameOf(content);
    text += " q" + std::to_string(quality) + " r" + std::to_string(restart);
    text += " out" + std::to_string(outputBytes) + (flush == Flush::takesSome ? "some" : "");
    text += " pad" + std::to_string(padding) + (bottomUp ? " bottom-up" : "");
    return text;
}

std::vector<Configuration> goldenConfigurations() {
    std::vector<Configuration> all;
    size_t i = 0; // the lists' lengths have few common factors, so that i pairs their entries anew
    for (const Format& format : kFormats) {
        for (const uint32_t mode : {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE}) {
            for (const uint32_t bufferMode : {ENC_BUFFER_SLICE, ENC_BUFFER_INTEGRATED}) {
                for (int variant = 0; variant < kVariants; variant++, i++) {
                    const Size size = pick(kSizes, i + i / 40);
                    const auto across = static_cast<uint32_t>(size.width / (8 * format.h()) + 1);
                    const uint32_t intervals[] = {0, 1, 3, across, 0, 2, 65535};
                    const bool baseline = mode == ENC_MODE_BASELINE;
                    all.push_back(
                        {&format, mode, bufferMode, size.width, size.height,
                         pick(kContents, i + i / 8), pick(kQualities, i + i / 16),
                         pick(intervals, i),
                         baseline ? pick(kBaselineOutput, i / 3) : pick(kProgressiveOutput, i / 5),
                         pick(kFlushes, i), static_cast<int>(i % 4),
                         format.planes() == 1 && i % 5 == 2});
                }
            }
        }
    }
    return all;
}

std::string goldenLine(const Configuration& configuration, const vela::RoutineTable* routines) {
    const Configuration& c = configuration;
    const TestPicture picture(*c.format, c.width, c.height, c.content, 1, c.padding, c.bottomUp);
    Host host;
    host.routines = routines;
    host.outputBytes = c.outputBytes;
    host.flushBehaviour = c.flush;
    const Result result =
        host.encode(params(*c.format, c.quality, c.restart, c.bufferMode, c.mode), picture);
    const std::vector<uint8_t>& stream =
        result.status == ENC_STATUS_OK ? result.jpeg : host.flushed();
    char sums[96];
    std::snprintf(sums, sizeof sums, ": %d %u %016" PRIx64 " %u %016" PRIx64, result.status,
                  static_cast<unsigned>(stream.size()), checksum(stream),
                  static_cast<unsigned>(host.calls.size()), checksum(host.calls));
    return c.name() + sums + (host.faultless() ? "" : " FAULT");
}

} // namespace test
