// What the command line asks for.
#ifndef VELA_CLI_OPTIONS_H
#define VELA_CLI_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "cli/input/picture_source.h"

namespace cli {

struct Options {
    std::vector<std::string> inputs; // "-" is standard input
    bool demo = false;               // then there are none
    InputSettings reading;

    // Where pictures go: one of these.
    std::string output; // "-" is standard output; with a counter, a file for each picture
    std::string outDir;
    bool mjpeg = false; // all into output
    bool noClobber = false, sync = false;

    VelaOptions encoding; // but what is read from files, which stands below
    std::vector<uint8_t> exif, icc;
    std::string comment;
    bool strip = false;

    bool recursive = false;
    int jobs = 1; // 0: as many as there are cores
    bool json = false, verbose = false, quiet = false;
};

/// Null when --help or the like was asked for and has been answered. Throws UsageError and Failure.
std::optional<Options> parseOptions(int argc, char** argv);

/// The name of picture number n where pattern has a counter such as %05d; empty where it has none.
std::string countedName(const std::string& pattern, int64_t n);

} // namespace cli

#endif
