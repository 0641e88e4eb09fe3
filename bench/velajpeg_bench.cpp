// velajpeg_bench: throughput, size and quality against TurboJPEG on the same samples.
#include <cstdio>
#include <exception>

#include "bench/options.h"
#include "bench/report.h"
#include "cli/failure.h"
#include "encoder/routine_choice.h"

namespace {

using namespace bench;

std::vector<SourcePicture> loadPictures(const Options& options) {
    std::vector<SourcePicture> pictures;
    for (const std::string& path : options.pictures)
        pictures.push_back(readPicture(path));
    if (pictures.empty() || options.demo)
        pictures.push_back(makePhotoTexture(options.demoWidth, options.demoHeight));
    return pictures;
}

void runComparison(const Options& options, Results& results) {
    const std::vector<SourcePicture> pictures = loadPictures(options);
    printHead(stdout, results.instructionSet);
    for (const SourcePicture& source : pictures)
        for (const Format* const format : options.formats) {
            const FormatPicture picture(*format, source);
            for (const uint32_t mode : options.modes)
                for (const uint32_t quality : options.qualities) {
                    results.rows.push_back(compare(picture, source.name, quality, mode,
                                                   options.instructionSet, options.patience));
                    printRow(stdout, results.rows.back());
                }
        }
    printSummaries(stdout, results.rows);
    if (!options.chart.empty())
        writeChart(results, options.chart);
}

void runScaling(const Options& options, Results& results) {
    printScalingHead(stdout, results.instructionSet);
    measureScaling(options.instructionSet, [&](const ScalingCase& result) {
        results.scaling.push_back(result);
        printScalingCase(stdout, result);
    });
}

void run(const Options& options) {
    if (!options.ppm.empty())
        return writePpm(loadPictures(options).front(), options.ppm);
    const vela::RoutineTable& routines =
        options.instructionSet != nullptr ? *options.instructionSet : vela::routinesOfThisMachine();
    Results results{routines.name, {}, {}};
    if (options.scaling)
        runScaling(options, results);
    else
        runComparison(options, results);
    if (!options.json.empty())
        writeJson(results, options.json);
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (const auto options = parseOptions(argc, argv))
            run(*options);
        return 0;
    } catch (const cli::UsageError& error) {
        std::fprintf(stderr, "velajpeg_bench: %s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "velajpeg_bench: %s\n", error.what());
        return 1;
    }
}
