// velajpeg: encodes pictures as JPEG files.
#include <exception>
#include <new>
#include <string>

#include "cli/batch.h"
#include "cli/encode.h"
#include "cli/failure.h"
#include "cli/options.h"
#include "cli/report.h"

namespace cli {
namespace {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

/// One input, or several into the files of one counter.
void encodeInto(const Options& options, const std::vector<Job>& jobs) {
    Report report(options, 1);
    InputEncoder encoder(options, report);
    if (options.demo)
        encoder.encode("", options.output);
    for (const Job& job : jobs)
        encoder.encode(job.input, job.target);
    report.finish();
}

/// All pictures of all inputs.
void encodeStream(const Options& options, const std::vector<Job>& jobs) {
    Report report(options, 1);
    InputEncoder encoder(options, report);
    const std::string* const input = jobs.size() == 1 ? &jobs[0].input : nullptr;
    OutputFile stream(options.output, input);
    if (options.demo)
        encoder.encode("", stream);
    for (const Job& job : jobs)
        encoder.encode(job.input, stream);
    stream.commit(options.sync);
    report.finish();
}

bool encode(Options& options) {
    std::vector<Job> jobs = listJobs(options);
    if (!options.outDir.empty() && options.demo)
        jobs.push_back({"", options.outDir + "/demo.jpg"});
    if (!options.outDir.empty())
        return runJobs(options, jobs);
    if (options.mjpeg)
        encodeStream(options, jobs);
    else
        encodeInto(options, jobs);
    return true;
}

int run(int argc, char** argv) {
    try {
        auto options = parseOptions(argc, argv);
        if (!options)
            return kDone;
        prepareForSignals();
        return encode(*options) ? kDone : kFailed;
    } catch (const UsageError& error) {
        printErrorLine(std::string("velajpeg: ") + error.what() + " (see velajpeg --help)");
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        printErrorLine("velajpeg: not enough memory");
    } catch (const std::exception& error) {
        printErrorLine(std::string("velajpeg: ") + error.what());
    }
    return kFailed;
}

} // namespace
} // namespace cli

int main(int argc, char** argv) {
    return cli::run(argc, argv);
}
