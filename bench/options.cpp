#include "bench/options.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "cli/failure.h"
#include "encoder/routine_choice.h"

namespace bench {
namespace {

/// Lists after one flag, separated by commas.
template <class Value>
void addList(CLI::App& app, const std::string& flag, std::vector<Value>& values,
             const CLI::Validator& allowed, const std::string& help) {
    app.add_option(flag, values, help)
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(allowed)
        ->capture_default_str();
}

const vela::RoutineTable* findInstructionSet(const std::string& name) {
    std::string known;
    for (const vela::RoutineTable* const routines : vela::routineTables()) {
        if (!vela::canRun(*routines))
            continue;
        if (name == routines->name)
            return routines;
        known += std::string(" ") + routines->name;
    }
    throw cli::UsageError("--isa: '" + name + "' is none of this machine's:" + known);
}

/// WIDTHxHEIGHT.
void parseSize(const std::string& text, Options& options) {
    const size_t x = text.find('x');
    const CLI::Range side(1, 65535);
    std::string width = text.substr(0, x);
    std::string height = x == text.npos ? "" : text.substr(x + 1);
    if (!side(width).empty() || !side(height).empty())
        throw CLI::ValidationError("--demo", "'" + text + "' is not WIDTHxHEIGHT");
    options.demoWidth = std::stoi(width);
    options.demoHeight = std::stoi(height);
}

constexpr const char* kFooter =
    R"(Both encoders take the same samples in turns, in one thread; a row's ratio is the median over its
pairs of turns, against TurboJPEG's fast transform (its default) or its accurate one, whichever is
faster there. The set-up that each encoding needs is included on both sides, the memory for the
stream on neither.)";

} // namespace

std::optional<Options> parseOptions(int argc, char** argv) {
    Options options;
    std::vector<std::string> names, modes{"baseline", "progressive"}, allNames;
    for (const Format& format : kFormats)
        allNames.emplace_back(format.name);
    names = allNames;
    std::vector<uint32_t> qualities{50, 75, 90, 95};
    std::string isa;
    bool quick = false;

    CLI::App app("Compares Vela JPEG with TurboJPEG.", "velajpeg_bench");
    app.footer(kFooter);
    app.add_option("PICTURES", options.pictures, "PNG, PPM or PGM files")->type_name("");
    app.add_option_function<std::string>(
           "--demo",
           [&options](const std::string& text) {
               parseSize(text, options);
               options.demo = true;
           },
           "Size of the generated picture, which is encoded if there are no PICTURES or this is "
           "given")
        ->type_name("WxH")
        ->default_str("1920x1080");
    addList(app, "--formats", names, CLI::IsMember(allNames), "Input formats");
    addList(app, "--qualities", qualities, CLI::Range(0, 100), "Qualities");
    addList(app, "--modes", modes, CLI::IsMember({"baseline", "progressive"}), "Modes");
    app.add_option("--isa", isa, "Instruction set; else the library chooses")->type_name("NAME");
    app.add_option("--pairs", options.patience.pairs, "Pairs of turns, at least")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str();
    app.add_option("--min-time", options.patience.seconds, "Seconds per row, at least")
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str();
    app.add_flag("--quick", quick, "3 pairs and no least time, at qualities 75 and 90");
    app.add_flag("--scaling", options.scaling,
                 "Instead of the comparison: time and memory from 0.3 to 256 megapixels");
    app.add_flag("--stages", options.stages,
                 "Instead of the comparison: where the time goes, with each instruction set");
    app.add_flag("--small", options.small,
                 "Middles of the pictures, 16 x 16 to 640 x 480, instead of the whole");
    app.add_option("--json", options.json, "Write the results there")->type_name("FILE");
    app.add_option("--ppm", options.ppm, "Only write the first picture there")->type_name("FILE");
    try {
        app.parse(argc, argv);
        if (quick) {
            if (app.count("--pairs") == 0)
                options.patience.pairs = 3;
            if (app.count("--min-time") == 0)
                options.patience.seconds = 0;
            if (app.count("--qualities") == 0)
                qualities = {75, 90};
        }
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help() << std::flush;
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw cli::UsageError(error.what());
    }

    for (const std::string& name : names)
        options.formats.push_back(findFormat(name));
    options.qualities = qualities;
    for (const std::string& mode : modes)
        options.modes.push_back(mode == "baseline" ? uint32_t{ENC_MODE_BASELINE}
                                                   : uint32_t{ENC_MODE_PROGRESSIVE});
    if (!isa.empty())
        options.instructionSet = findInstructionSet(isa);
    return options;
}

} // namespace bench
