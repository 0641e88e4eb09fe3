// velajpeg: encodes pictures as JPEG files.
#include <unistd.h>

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

/// One input; whether it was done.
bool encodeOne(const Options& options, const Job& job) {
    Report report(options, 1);
    try {
        job.throwIfUnlisted();
        InputEncoder(options, report).encode(job.input, job.target);
    } catch (const Failure& failure) {
        report.failed(job.input, failure.what());
    }
    return !report.finish();
}

/// All pictures of all inputs, which one that fails ends: half a picture in the stream would spoil the rest.
void encodeStream(const Options& options, const std::vector<Job>& jobs) {
    Report report(options, 1);
    if (options.noClobber && options.output != "-" &&
        isThere(access(options.output.c_str(), F_OK), options.output)) {
        report.skipped(options.output);
        return;
    }
    InputEncoder encoder(options, report);
    const std::string* const input = jobs.size() == 1 && !options.demo ? &jobs[0].input : nullptr;
    OutputFile stream(options.output, input);
    for (const Job& job : jobs) {
        job.throwIfUnlisted();
        encoder.encode(job.input, stream);
    }
    stream.commit(options.sync);
    report.finish();
}

bool encode(const Options& options) {
    const std::vector<Job> jobs = listJobs(options);
    if (options.mjpeg) {
        encodeStream(options, jobs);
        return true;
    }
    return options.outDir.empty() && jobs.size() == 1 ? encodeOne(options, jobs[0])
                                                      : runJobs(options, jobs);
}

int run(int argc, char** argv) {
    try {
        const auto options = parseOptions(argc, argv);
        if (!options)
            return kDone;
        prepareForSignals();
        return encode(*options) ? kDone : kFailed;
    } catch (const UsageError& error) {
        printErrorLine("velajpeg: ", error.what(), " (see velajpeg --help)");
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        printErrorLine("velajpeg: not enough memory");
    } catch (const std::exception& error) {
        printErrorLine("velajpeg: ", error.what());
    }
    return kFailed;
}

} // namespace
} // namespace cli

int main(int argc, char** argv) {
    return cli::run(argc, argv);
}
