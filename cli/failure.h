// The two ways in which a run ends early; main turns each into an exit code and one line.
#ifndef VELA_CLI_FAILURE_H
#define VELA_CLI_FAILURE_H

#include <stdexcept>

namespace cli {

// Something could not be done: a file, a picture, the encoder. Exit code 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line asks for what makes no sense. Exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace cli

#endif
