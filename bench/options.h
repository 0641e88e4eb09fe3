// What the command line of velajpeg_bench asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/comparison.h"

namespace vela {
struct RoutineTable;
}

namespace bench {

struct Options {
    std::vector<std::string> pictures; // files; empty: the generated one alone
    int32_t demoWidth = 1920, demoHeight = 1080;
    bool demo = false; // the generated picture beside files
    std::vector<const Format*> formats;
    std::vector<uint32_t> qualities;
    std::vector<uint32_t> modes;                        // ENC_MODE_*
    const vela::RoutineTable* instructionSet = nullptr; // null: the library's choice
    Patience patience;
    bool small = false;    // the middles of the pictures, instead of the whole
    bool scaling = false;  // instead of the comparison
    bool stages = false;   // the same
    std::string json, ppm; // files to write; empty: none
};

/// No value when --help has been answered. Throws cli::UsageError.
std::optional<Options> parseOptions(int argc, char** argv);

} // namespace bench
