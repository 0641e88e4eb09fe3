// The easy layer beside what it stands on and beside TurboJPEG: what its conversions and threads cost and bring.
//
//     easy_bench [--json FILE] PICTURE..
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/formats.h"
#include "bench/pictures.h"
#include "bench/turbo_encoder.h"
#include "bench/vela_encoder.h"
#include "cli/failure.h"
#include "vela/easy.hpp"

namespace bench {
namespace {

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Seconds of one call of each: the median over turns, one after the other, by the clock, since threads are
/// what some rows are about.
std::pair<double, double> turns(const std::function<void()>& ours,
                                const std::function<void()>& others) {
    constexpr int kTurns = 15;
    std::vector<double> a, b;
    ours();
    others();
    double start = now();
    ours();
    const int repeats = std::max(1, static_cast<int>(0.01 / (now() - start)));
    for (int turn = 0; turn < kTurns; turn++)
        for (const auto& [call, times] : {std::pair(&ours, &a), {&others, &b}}) {
            start = now();
            for (int i = 0; i < repeats; i++)
                (*call)();
            times->push_back((now() - start) / repeats);
        }
    const auto median = [](std::vector<double>& times) {
        std::nth_element(times.begin(), times.begin() + kTurns / 2, times.end());
        return times[kTurns / 2];
    };
    return {median(a), median(b)};
}

/// The picture's pixels in another order of bytes.
std::vector<uint8_t> pixels(const SourcePicture& picture, const std::vector<size_t>& order) {
    std::vector<uint8_t> out;
    out.reserve(picture.bgr.size() / 3 * order.size());
    for (size_t i = 0; i < picture.bgr.size(); i += 3)
        for (const size_t channel : order)
            out.push_back(channel < 3 ? picture.bgr[i + channel] : uint8_t{255});
    return out;
}

/// Side by side and one below the other, to a camera's size.
SourcePicture tiled(const SourcePicture& picture, int32_t width, int32_t height) {
    SourcePicture large{picture.name, width, height, {}};
    large.bgr.resize(3 * static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int32_t y = 0; y < height; y++)
        for (int32_t x = 0; x < width; x++)
            std::copy_n(&picture.bgr[3 * (static_cast<size_t>(y % picture.height) *
                                              static_cast<size_t>(picture.width) +
                                          static_cast<size_t>(x % picture.width))],
                        3,
                        &large.bgr[3 * (static_cast<size_t>(y) * static_cast<size_t>(width) +
                                        static_cast<size_t>(x))]);
    return large;
}

class EasyBench {
public:
    void run(const SourcePicture& picture) {
        for (const int32_t quality : {75, 90}) {
            options_ = {};
            options_.quality = quality;
            rgbRows(picture);
            packedRow(picture);
        }
        threadRow(tiled(picture, 3264, 2448));
    }
    const nlohmann::json& rows() const { return rows_; }

private:
    void row(const SourcePicture& picture, const char* what, const char* beside, double ours,
             double others) {
        const double megapixels = picture.megapixels();
        std::printf("%-16s %-20s q%-3d %8.1f MP/s   %-20s %8.1f MP/s  %6.3f\n",
                    picture.name.c_str(), what, options_.quality, megapixels / ours, beside,
                    megapixels / others, others / ours);
        rows_.push_back({{"picture", picture.name},
                         {"row", what},
                         {"quality", options_.quality},
                         {"mp_per_s", megapixels / ours},
                         {"beside", beside},
                         {"beside_mp_per_s", megapixels / others},
                         {"ratio", others / ours}});
    }

    VelaEncoder core(const FormatPicture& picture) const {
        return VelaEncoder(picture.record(), {.quality = static_cast<uint32_t>(options_.quality),
                                              .mode = ENC_MODE_BASELINE,
                                              .subsampling = picture.format.subsampling});
    }

    void rgbRows(const SourcePicture& picture) {
        const FormatPicture bgr(*findFormat("bgr888-420"), picture);
        VelaEncoder core = this->core(bgr);
        struct Order {
            const char* name;
            VelaFormat format;
            std::vector<size_t> channels; // 0 blue, 1 green, 2 red, 3 none
        };
        for (const Order& order : {Order{"easy rgb24", VELA_FORMAT_RGB24, {2, 1, 0}},
                                   {"easy bgr24", VELA_FORMAT_BGR24, {0, 1, 2}},
                                   {"easy rgbx32", VELA_FORMAT_RGBX32, {2, 1, 0, 3}},
                                   {"easy xbgr32", VELA_FORMAT_XBGR32, {3, 0, 1, 2}}}) {
            const std::vector<uint8_t> memory = pixels(picture, order.channels);
            const auto image =
                velajpeg::Image::packed(order.format, memory, picture.width, picture.height);
            const auto [ours, others] =
                turns([&] { encoder_.encodeToMemory(image, options_); }, [&] { core.encode(); });
            row(picture, order.name, "core bgr888", ours, others);
        }
        const std::vector<uint8_t> memory = pixels(picture, {2, 1, 0});
        const auto image = velajpeg::Image::rgb24(memory, picture.width, picture.height);
        TurboEncoder turbo(bgr, {options_.quality, false, false});
        TurboEncoder fastTurbo(bgr, {options_.quality, false, true});
        const auto encode = [&] { encoder_.encodeToMemory(image, options_); };
        const auto [exactOurs, exact] = turns(encode, [&] { turbo.encode(); });
        const auto [fastOurs, fast] = turns(encode, [&] { fastTurbo.encode(); });
        if (exact < fast)
            row(picture, "easy rgb24", "TurboJPEG", exactOurs, exact);
        else
            row(picture, "easy rgb24", "TurboJPEG, fast", fastOurs, fast);
        const auto stream = encoder_.encodeToMemory(image, options_);
        const double size =
            static_cast<double>(stream.size()) / static_cast<double>(turbo.streamBytes());
        const double decibels = psnr(stream, bgr) - psnr(turbo.stream(), bgr);
        std::printf("%-16s %-20s q%-3d size %+.2f %%, %+.2f dB beside TurboJPEG\n",
                    picture.name.c_str(), "easy rgb24", options_.quality, 100 * (size - 1),
                    decibels);
        rows_.push_back({{"picture", picture.name},
                         {"row", "easy rgb24"},
                         {"quality", options_.quality},
                         {"size_ratio", size},
                         {"psnr_difference", decibels}});
    }

    void packedRow(const SourcePicture& picture) {
        const FormatPicture planar(*findFormat("yuv422p"), picture);
        VelaEncoder core = this->core(planar);
        const size_t half = (static_cast<size_t>(picture.width) + 1) / 2;
        std::vector<uint8_t> packed;
        for (size_t y = 0; y < static_cast<size_t>(picture.height); y++)
            for (size_t i = 0; i < half; i++) {
                const uint8_t* const luma =
                    &planar.plane[0].samples[y * static_cast<size_t>(planar.plane[0].step)];
                packed.push_back(luma[2 * i]);
                packed.push_back(
                    planar.plane[1].samples[y * static_cast<size_t>(planar.plane[1].step) + i]);
                packed.push_back(luma[std::min(2 * i + 1, static_cast<size_t>(picture.width) - 1)]);
                packed.push_back(
                    planar.plane[2].samples[y * static_cast<size_t>(planar.plane[2].step) + i]);
            }
        const auto image = velajpeg::Image::yuyv(packed, picture.width, picture.height);
        const auto [ours, others] =
            turns([&] { encoder_.encodeToMemory(image, options_); }, [&] { core.encode(); });
        row(picture, "easy yuyv", "core yuv422p", ours, others);
    }

    void threadRow(const SourcePicture& picture) {
        const std::vector<uint8_t> memory = pixels(picture, {2, 1, 0});
        const auto image = velajpeg::Image::rgb24(memory, picture.width, picture.height);
        options_.quality = 90;
        velajpeg::Options one = options_, two = options_;
        one.restartRows = 1;
        two.threads = 2;
        velajpeg::Encoder other;
        const auto [ours, others] = turns([&] { encoder_.encodeToMemory(image, two); },
                                          [&] { other.encodeToMemory(image, one); });
        row(picture, "two threads, 8 MP", "one thread", ours, others);
    }

    velajpeg::Encoder encoder_;
    velajpeg::Options options_;
    nlohmann::json rows_ = nlohmann::json::array();
};

} // namespace
} // namespace bench

int main(int argc, char** argv) {
    std::string json;
    bench::EasyBench all;
    try {
        for (int i = 1; i < argc; i++) {
            if (std::string(argv[i]) == "--json" && i + 1 < argc)
                json = argv[++i];
            else
                all.run(bench::readPicture(argv[i]));
        }
        if (argc < 2)
            all.run(bench::makePhotoTexture(1920, 1080));
        if (!json.empty() && !(std::ofstream(json) << all.rows().dump(1) << "\n"))
            throw cli::Failure("cannot write " + json);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "easy_bench: %s\n", error.what());
        return 1;
    }
}
