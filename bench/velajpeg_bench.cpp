// velajpeg_bench: throughput, size and quality against TurboJPEG on the same samples.
#include <cstdio>
#include <exception>
#include <utility>

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
    if (!options.small)
        return pictures;
    std::vector<SourcePicture> middles;
    for (const SourcePicture& picture : pictures)
        for (const auto& [width, height] :
             {std::pair(16, 16), {32, 32}, {64, 64}, {160, 120}, {320, 240}, {640, 480}})
            if (width <= picture.width && height <= picture.height)
                middles.push_back(middleOf(picture, width, height));
    return middles;
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
}

void runStages(const Options& options, Results& results) {
    std::vector<const vela::RoutineTable*> tables;
    for (const vela::RoutineTable* const table : vela::routineTables())
        if (options.instructionSet == nullptr ? vela::canRun(*table)
                                              : table == options.instructionSet)
            tables.push_back(table);
    printStagesHead(stdout);
    for (const SourcePicture& source : loadPictures(options))
        for (const Format* const format : options.formats) {
            const FormatPicture picture(*format, source);
            for (const uint32_t mode : options.modes)
                for (const uint32_t quality : options.qualities)
                    for (const vela::RoutineTable* const table : tables) {
                        results.stages.push_back(
                            measureStages(picture, source.name, quality, mode, *table));
                        printStages(stdout, results.stages.back());
                    }
        }
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
    Results results{.instructionSet = routines.name};
    if (options.scaling)
        runScaling(options, results);
    else if (options.stages)
        runStages(options, results);
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
