// Many inputs into a folder, several at a time, or into the files of one counter.
#ifndef VELA_CLI_BATCH_H
#define VELA_CLI_BATCH_H

#include <string>
#include <vector>

#include "cli/options.h"

namespace cli {

struct Job {
    std::string input, target;
    int error = 0; // errno, where not even the listing could look at the input

    void throwIfUnlisted() const; // Failure
};

/// The inputs with folders replaced by the pictures in them (only with options.recursive), in the order of
/// their names, and where each one goes; of the demo picture the input is "". Throws Failure.
std::vector<Job> listJobs(const Options& options);

/// Encodes all; whether every one was done.
bool runJobs(const Options& options, const std::vector<Job>& jobs);

} // namespace cli

#endif
