#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>
#include <string_view>
#include <vector>

#include "failure.h"

namespace cli {
namespace {

constexpr const char* kFooter =
    R"(Input is recognised by its content: PNG, PPM (P6) or PGM (P5), the latter two with 8-bit samples.
Gray input gives a gray JPEG. Transparent PNG pixels are laid on white. A PNG is decoded whole, so
--slice does not take it.

A raw frame holds its planes one after another, without a header and with nothing after the last:
  bgr888                    B, G, R bytes
  bgr555 bgr565             little-endian 16-bit words, blue in the low bits
  gray8                     one byte per pixel
  yuv444p yuv422p yuv420p   planes Y, Cb, Cr
  nv12 nv21                 plane Y, then a plane of Cb,Cr (nv21: Cr,Cb) pairs
Chroma that is halved across or down has (size + 1) / 2 columns or rows. --step gives each plane's
bytes from row to row, padding included, also of its last row; steps left out follow from the first,
and rows without --step are tight. A negative step (one-plane formats) says that the bottom row comes
first. With --slice, chroma rows must be exactly half the luma step (yuv422p, yuv420p; it is then
even) or the same (yuv444p, nv12, nv21), and what is read from a pipe must be one plane, top row
first.

Exit codes: 0 done, 1 failed, 2 wrong usage.)";

// What parsing collects before options are held against each other.
struct Arguments {
    Options options;
    const PixelFormat* raw = nullptr;
    std::optional<uint32_t> subsampling;
    std::optional<Size> size;
    std::vector<int32_t> steps;
};

// Decimal digits and nothing else, so that no value is read other than it was meant.
int32_t parseInteger(const std::string& option, std::string_view text, int32_t min, int32_t max) {
    int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < min || value > max)
        throw CLI::ValidationError(option, "'" + std::string(text) + "' is not a number from " +
                                               std::to_string(min) + " to " + std::to_string(max));
    return value;
}

std::vector<int32_t> parseIntegers(const std::string& option, std::string_view text, char separator,
                                   int32_t min, int32_t max) {
    std::vector<int32_t> values;
    for (size_t end = 0; end != text.npos; text.remove_prefix(std::min(end + 1, text.size()))) {
        end = text.find(separator);
        values.push_back(parseInteger(option, text.substr(0, end), min, max));
    }
    return values;
}

template <typename Value>
void addNumber(CLI::App& app, const std::string& flags, Value& value, int32_t min, int32_t max,
               const std::string& help) {
    const std::string name = flags.substr(flags.rfind(',') + 1);
    app.add_option_function<std::string>(
           flags,
           [=, &value](const std::string& text) {
               value = static_cast<Value>(parseInteger(name, text, min, max));
           },
           help)
        ->type_name(std::to_string(min) + ".." + std::to_string(max))
        ->default_str(std::to_string(value));
}

void addEncoding(CLI::App& app, Arguments& arguments) {
    Options& options = arguments.options;
    addNumber(app, "-q,--quality", options.quality, 0, 100, "Higher is better and larger");
    app.add_option_function<std::string>(
           "-s,--subsampling",
           [&arguments](const std::string& text) {
               if (text == "444")
                   arguments.subsampling = ENC_SUBSAMPLE_444;
               else if (text == "422")
                   arguments.subsampling = ENC_SUBSAMPLE_422;
               else if (text == "420")
                   arguments.subsampling = ENC_SUBSAMPLE_420;
               else
                   throw CLI::ValidationError("--subsampling",
                                              "'" + text + "' is not 444, 422 or 420");
           },
           "Chroma resolution; raw YCbCr formats bring theirs")
        ->type_name("444|422|420")
        ->default_str("420");
    app.add_flag("-p,--progressive", options.progressive, "Progressive instead of baseline");
    addNumber(app, "-r,--restart", options.restartInterval, 0, 65535,
              "MCUs per restart interval; 0 for no restart markers");
    app.add_flag("--slice", options.slice,
                 "Pull raw, PPM or PGM input a band of rows at a time, never whole in memory");
    addNumber(app, "--buffer", options.bufferBytes, 1, 1 << 30, "Bytes of the output buffer");
}

void addInput(CLI::App& app, Arguments& arguments) {
    Options& options = arguments.options;
    app.add_option("INPUT", options.input, "PNG, PPM, PGM or raw file; - is standard input")
        ->type_name("");
    app.add_option("-o,--output", options.output, "JPEG file to write; - is standard output")
        ->type_name("FILE")
        ->required();
    app.add_option_function<std::string>(
           "--raw",
           [&arguments](const std::string& text) {
               arguments.raw = findPixelFormat(text);
               if (arguments.raw == nullptr)
                   throw CLI::ValidationError("--raw", "'" + text + "' is not a raw format");
           },
           "INPUT is a raw frame; formats below")
        ->type_name("FORMAT");
    app.add_option_function<std::string>(
           "--size",
           [&arguments](const std::string& text) {
               const auto sides = parseIntegers("--size", text, 'x', 1, kMaxSide);
               if (sides.size() != 2)
                   throw CLI::ValidationError("--size", "'" + text + "' is not WIDTHxHEIGHT");
               arguments.size = Size{sides[0], sides[1]};
           },
           "Pixels of the raw frame or the demo picture")
        ->type_name("WxH");
    app.add_option_function<std::string>(
           "--step",
           [&arguments](const std::string& text) {
               arguments.steps = parseIntegers("--step", text, ',', -kMaxStep, kMaxStep);
           },
           "Bytes from row to row of each raw plane")
        ->type_name("N[,N[,N]]");
    app.add_flag("--demo", options.demo, "Encode a generated test picture instead of INPUT");
}

void require(bool condition, const std::string& otherwise) {
    if (!condition)
        throw UsageError(otherwise);
}

Options settle(Arguments& arguments) {
    Options& options = arguments.options;
    require(options.demo || !options.input.empty(), "INPUT or --demo is required");
    require(!options.demo || options.input.empty(), "--demo takes no INPUT");
    require(!options.output.empty(), "--output: the name is empty");
    require(!options.demo || !arguments.raw, "--demo excludes --raw");
    require(!options.demo || !options.slice, "--slice takes raw, PPM and PGM input only");
    require(!arguments.raw || arguments.size, "--raw requires --size");
    require(arguments.raw || arguments.steps.empty(), "--step requires --raw");
    require(arguments.raw || options.demo || !arguments.size, "--size requires --raw or --demo");

    options.demoSize = arguments.size.value_or(options.demoSize);
    if (arguments.raw) {
        const Size size = *arguments.size;
        options.raw = makeFrame(*arguments.raw, size.width, size.height, arguments.steps);
        if (options.slice)
            requireSliceLayout(*options.raw);
    }
    const auto own = arguments.raw ? arguments.raw->subsampling : std::nullopt;
    require(!own || arguments.subsampling.value_or(*own) == *own,
            "--subsampling: " + std::string(own ? arguments.raw->name : "") + " has its own");
    options.subsampling = own.value_or(arguments.subsampling.value_or(options.subsampling));
    return options;
}

std::string libraryVersion() {
    char text[sizeof ENC_VERSION_TEXT];
    return GetLibVersion_JPEGENC(text, sizeof text) == ENC_STATUS_OK ? text : "unknown";
}

// An answer that cannot be delivered is a failed run.
void print(const std::string& text) {
    if (!(std::cout << text << std::flush))
        throw Failure("cannot write to standard output");
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv) {
    Arguments arguments;
    CLI::App app("Encodes a picture as JPEG.", "velajpeg");
    app.set_help_flag("-h,--help", "Print this help");
    app.set_version_flag(
        "--version", [] { return "velajpeg " VELA_VERSION_TEXT ", library " + libraryVersion(); },
        "Print the version");
    app.footer(kFooter);
    addInput(app, arguments);
    addEncoding(app, arguments);
    app.add_flag("--quiet", arguments.options.quiet, "No summary line on standard error");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        print(app.help());
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        print(std::string(version.what()) + "\n");
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    return settle(arguments);
}

} // namespace cli
