// velajpeg: encodes one picture as a JPEG file.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "demo_picture.h"
#include "encode_job.h"
#include "failure.h"
#include "input_file.h"
#include "options.h"
#include "output_file.h"
#include "picture_input.h"

namespace cli {
namespace {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

using Clock = std::chrono::steady_clock;

EncoderParams_JPEG paramsFrom(const Options& options) {
    EncoderParams_JPEG params{};
    params.quality = options.quality;
    params.restartInterval = options.restartInterval;
    params.mode = options.progressive ? ENC_MODE_PROGRESSIVE : ENC_MODE_BASELINE;
    params.subsampling = options.subsampling;
    return params;
}

const char* componentsName(const Picture_JPEG& picture, uint32_t subsampling) {
    if (picture.componentCount == 1)
        return "gray";
    return subsampling == ENC_SUBSAMPLE_444   ? "4:4:4"
           : subsampling == ENC_SUBSAMPLE_422 ? "4:2:2"
                                              : "4:2:0";
}

// Whatever the text holds (a file name may hold anything), it comes out as one line.
void printLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f')
            c = '?';
    std::fprintf(stderr, "%s\n", text.c_str());
}

void printSummary(const InputPicture& input, const Options& options, const OutputFile& output,
                  Clock::duration time) {
    const Picture_JPEG& picture = input.record;
    const double bits = 8.0 * double(output.bytesWritten());
    char facts[256];
    std::snprintf(facts, sizeof facts,
                  ": %dx%d, %s to %s %s, %llu bytes, %.3f bits per pixel, %.1f ms", picture.width,
                  picture.height, input.formatName.c_str(),
                  options.progressive ? "progressive" : "baseline",
                  componentsName(picture, options.subsampling),
                  static_cast<unsigned long long>(output.bytesWritten()),
                  bits / (double(picture.width) * double(picture.height)),
                  std::chrono::duration<double, std::milli>(time).count());
    printLine(output.name() + facts);
}

void encodePicture(const Options& options) {
    std::optional<InputFile> file;
    if (!options.demo)
        file.emplace(options.input);
    OutputFile output(options.output, file ? file->descriptor() : -1);
    InputPicture input =
        file ? readPicture(*file, options)
             : inMemory(makeDemoPicture(options.demoSize.width, options.demoSize.height),
                        "demo picture");

    const Clock::time_point start = Clock::now();
    EncodeJob job(output, input.source ? &*input.source : nullptr);
    job.run(paramsFrom(options), input.record, options.bufferBytes);
    const Clock::duration time = Clock::now() - start;

    if (file)
        requireEnd(*file, options);
    output.commit();
    if (!options.quiet)
        printSummary(input, options, output, time);
}

int run(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is a failed write like any other
    try {
        if (const auto options = parseOptions(argc, argv))
            encodePicture(*options);
        return kDone;
    } catch (const UsageError& error) {
        printLine(std::string("velajpeg: ") + error.what() + " (see velajpeg --help)");
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        printLine("velajpeg: not enough memory");
    } catch (const std::exception& error) {
        printLine(std::string("velajpeg: ") + error.what());
    }
    return kFailed;
}

} // namespace
} // namespace cli

int main(int argc, char** argv) {
    return cli::run(argc, argv);
}
