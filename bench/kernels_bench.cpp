// Every routine of every instruction set that this machine can run, on what it meets inside the
// encoder. Names are ROUTINE/INSTRUCTION SET; bytes per second count what a routine reads.
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/formats.h"
#include "bench/kernel_inputs.h"
#include "encoder/routine_choice.h"
#include "tables/block_coder/plain.h"

namespace {

using bench::KernelInputs;
using bench::Layout;
using vela::InputRoutines;
using vela::RoutineTable;

using Body = std::function<void(benchmark::State&)>;

void add(const std::string& routine, const RoutineTable& routines, Body body) {
    benchmark::RegisterBenchmark((routine + "/" + routines.name).c_str(), std::move(body));
}

void countBlocks(benchmark::State& state, size_t perIteration) {
    const auto blocks = state.iterations() * static_cast<int64_t>(perIteration);
    state.SetItemsProcessed(blocks);
    state.SetBytesProcessed(blocks * vela::kBlockSamples * int64_t{sizeof(int16_t)});
}

/// So many MCUs at once as the encoder hands over. Includes the copy of the samples, which the
/// transform replaces.
void transformMcus(benchmark::State& state, const RoutineTable& routines) {
    KernelInputs inputs(75, routines);
    for (auto _ : state)
        for (size_t mcu = 0; mcu < inputs.mcus();) {
            const int32_t count = inputs.atOnce(mcu);
            routines.transformMcus(inputs.samples(mcu, count), count);
            benchmark::ClobberMemory();
            mcu += static_cast<size_t>(count);
        }
    countBlocks(state, 6 * inputs.mcus());
}

void encodeMcus(benchmark::State& state, const RoutineTable& routines, uint32_t quality) {
    KernelInputs inputs(quality, routines);
    vela::PreparedCodes codes;
    if (routines.prepareCodes != nullptr)
        routines.prepareCodes(inputs.blocks(), codes);
    std::vector<uint8_t> out(
        static_cast<size_t>(6 * inputs.atOnce(0) * vela::kMaxBlockBytes + vela::kCoderSlack));
    for (auto _ : state) {
        int32_t bits = 0;
        for (size_t mcu = 0; mcu < inputs.mcus();) {
            const int32_t count = inputs.atOnce(mcu);
            bits = routines.encodeMcus(inputs.coded(mcu), codes, count, out.data(), bits) % 8;
            benchmark::ClobberMemory();
            mcu += static_cast<size_t>(count);
        }
    }
    countBlocks(state, 6 * inputs.mcus());
}

/// The luminance blocks, for both AC scans.
void packAc(benchmark::State& state, const RoutineTable& routines, uint32_t quality) {
    KernelInputs inputs(quality, routines);
    struct Scan {
        std::array<uint32_t, vela::kScanStatsEntries> counts{};
        vela::ScanCoderState coder{};
        Bitstream_JPEG buffer{};
        std::vector<uint8_t> bytes;
    };
    std::array<Scan, 2> scans;
    for (Scan& scan : scans)
        scan.bytes.resize(1024 * 4 * inputs.mcus()); // a block takes less than 1024
    const auto begin = [](Scan& scan) {
        scan.coder = {};
        scan.buffer = {scan.bytes.data(), static_cast<int32_t>(scan.bytes.size()),
                       scan.bytes.data(), 0};
        return vela::AcScan{scan.counts.data(), &scan.buffer, &scan.coder};
    };
    for (auto _ : state) {
        const vela::AcScan first = begin(scans[0]), refine = begin(scans[1]);
        for (size_t mcu = 0; mcu < inputs.mcus(); mcu++)
            for (size_t i = 0; i < 4; i++)
                routines.packAc(inputs.coded(mcu).blockSamples[i], first, refine);
        benchmark::ClobberMemory();
    }
    countBlocks(state, 4 * inputs.mcus());
}

/// Whole MCUs of a picture, by a function of their top-left pixel's position in it.
void convert(benchmark::State& state, int32_t mcuWidth, int32_t mcuHeight, size_t pictureBytes,
             const std::function<void(int32_t x, int32_t y, int16_t* const* blocks)>& convertMcu) {
    alignas(64) static int16_t area[6 * vela::kBlockSamples];
    const int32_t luma = mcuWidth / 8 * (mcuHeight / 8);
    int16_t* const blocks[3] = {area, area + luma * vela::kBlockSamples,
                                area + (luma + 1) * vela::kBlockSamples};
    for (auto _ : state)
        for (int32_t y = 0; y < bench::kInputHeight; y += mcuHeight)
            for (int32_t x = 0; x < bench::kInputWidth; x += mcuWidth) {
                convertMcu(x, y, blocks);
                benchmark::ClobberMemory();
            }
    state.SetItemsProcessed(state.iterations() * bench::kInputWidth * bench::kInputHeight);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(pictureBytes));
}

struct McuSize {
    int32_t width, height;
};
constexpr McuSize kMcuSizes[3] = {{8, 8}, {16, 8}, {16, 16}}; // 4:4:4, 4:2:2, 4:2:0

void addSinglePlane(const std::string& name, const RoutineTable& routines, VelaConvertMcu* routine,
                    McuSize mcu, int32_t bytesPerPixel) {
    add(name, routines, [=](benchmark::State& state) {
        const bench::SourcePicture source =
            bench::makePhotoTexture(bench::kInputWidth, bench::kInputHeight);
        const int32_t step = bytesPerPixel * source.width;
        convert(state, mcu.width, mcu.height,
                static_cast<size_t>(step) * static_cast<size_t>(source.height),
                [&](int32_t x, int32_t y, int16_t* const* blocks) {
                    routine(source.bgr.data() + step * y + bytesPerPixel * x, step, blocks);
                });
    });
}

void addPlanes(const std::string& formatName, const RoutineTable& routines,
               VelaConvertMcuPlanar* routine, McuSize mcu) {
    add("convert " + formatName, routines, [=](benchmark::State& state) {
        const bench::FormatPicture picture(
            *bench::findFormat(formatName),
            bench::makePhotoTexture(bench::kInputWidth, bench::kInputHeight));
        const Picture_JPEG record = picture.record();
        const int32_t chromaBytes = picture.format.layout == Layout::semiPlanar ? 2 : 1;
        const int32_t across = mcu.width / 8, down = mcu.height / 8;
        size_t bytes = 0;
        for (const bench::SamplePlane& plane : picture.plane)
            bytes += plane.samples.size();
        convert(state, mcu.width, mcu.height, bytes,
                [&](int32_t x, int32_t y, int16_t* const* blocks) {
                    const uint8_t* corner[3] = {record.plane[0] + record.step[0] * y + x, nullptr,
                                                nullptr};
                    for (int32_t p = 1; p < record.planeCount; p++)
                        corner[p] = record.plane[p] + record.step[p] * (y / down) +
                                    chromaBytes * (x / across);
                    routine(corner, record.step, blocks);
                });
    });
}

void addRoutines(const RoutineTable& routines) {
    add("transformMcus", routines,
        [&routines](benchmark::State& state) { transformMcus(state, routines); });
    for (const uint32_t quality : {75u, 90u}) {
        const std::string suffix = " q" + std::to_string(quality);
        add("encodeMcus" + suffix, routines, [&routines, quality](benchmark::State& state) {
            encodeMcus(state, routines, quality);
        });
        add("packAc" + suffix, routines,
            [&routines, quality](benchmark::State& state) { packAc(state, routines, quality); });
    }
    constexpr const char* kSubsamplings[3] = {"-444", "-422", "-420"};
    constexpr const char* kPacked[3] = {"bgr888", "bgr555", "bgr565"};
    constexpr const char* kPlanar[3] = {"yuv444p", "yuv422p", "yuv420p"};
    constexpr const char* kSemiPlanar[2] = {"nv12", "nv21"};
    const InputRoutines& input = *routines.input;
    const vela::SinglePlaneInput* const packed[3] = {&input.bgr888, &input.bgr555, &input.bgr565};
    addSinglePlane("convert gray8", routines, input.grey[0], kMcuSizes[0], 1);
    for (size_t f = 0; f < 3; f++)
        for (size_t s = 0; s < 3; s++)
            addSinglePlane(std::string("convert ") + kPacked[f] + kSubsamplings[s], routines,
                           (*packed[f])[s], kMcuSizes[s], f == 0 ? 3 : 2);
    for (size_t s = 0; s < 3; s++)
        addPlanes(kPlanar[s], routines, input.planar[s], kMcuSizes[s]);
    addPlanes(kSemiPlanar[0], routines, input.nv12[2], kMcuSizes[2]);
    addPlanes(kSemiPlanar[1], routines, input.nv21[2], kMcuSizes[2]);
}

} // namespace

int main(int argc, char** argv) {
    for (const RoutineTable* const routines : vela::routineTables())
        if (vela::canRun(*routines))
            addRoutines(*routines);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
