#include "cli/options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "cli/command_line.h"
#include "cli/failure.h"
#include "cli/input/frames.h"
#include "cli/input/raw_formats.h"
#include "cli/option_table.h"

namespace cli {
namespace {

// Decimal digits and nothing else, so that no value is read other than it was meant.
int64_t number(const char* option, std::string_view text, int64_t min, int64_t max) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < min || value > max)
        throw UsageError(std::string("--") + option + ": '" + std::string(text) +
                         "' is not a number from " + std::to_string(min) + " to " +
                         std::to_string(max));
    return value;
}

std::vector<int32_t> numbers(const char* option, std::string_view text, char separator, int32_t min,
                             int32_t max) {
    const std::string whole(text);
    std::vector<int32_t> values;
    for (size_t end = 0; end != text.npos; text.remove_prefix(std::min(end + 1, text.size()))) {
        end = text.find(separator);
        if (text.empty() || end == 0)
            throw UsageError(std::string("--") + option + ": a number is missing in '" + whole +
                             "'");
        values.push_back(static_cast<int32_t>(number(option, text.substr(0, end), min, max)));
    }
    return values;
}

/// Calls use with the argument of an option that was given.
template <class Use>
void with(const Given& given, const char* name, const Use& use) {
    if (const auto found = given.find(name); found != given.end())
        use(found->second);
}

Rgb colour(const std::string& text) {
    if (text == "white")
        return {255, 255, 255};
    if (text == "black")
        return {0, 0, 0};
    if (text == "gray" || text == "grey")
        return {128, 128, 128};
    uint32_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data() + (text.empty() ? 0 : 1), text.data() + text.size(), value, 16);
    if (text.size() != 7 || text[0] != '#' || error != std::errc() ||
        end != text.data() + text.size())
        throw UsageError("--background: '" + text + "' is not #rrggbb, white, black or gray");
    return {uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)};
}

std::vector<uint8_t> fileContents(const char* option, const std::string& path, size_t most) {
    InputFile file(path);
    std::vector<uint8_t> bytes(most + 1);
    bytes.resize(file.read(bytes.data(), bytes.size()));
    if (file.failed())
        throw Failure("cannot read " + file.name() + ": " + file.whyShort());
    if (bytes.empty() || bytes.size() > most)
        throw Failure(
            std::string("--") + option + ": " + file.name() +
            (bytes.empty() ? " is empty" : " has more than " + std::to_string(most) + " bytes"));
    return bytes;
}

void setReading(const Given& given, Options& options) {
    InputSettings& reading = options.reading;
    with(given, "raw", [&](const std::string& text) {
        reading.raw = rawFormat(text);
        reading.rawName = text;
    });
    with(given, "size", [&](const std::string& text) {
        const auto sides = numbers("size", text, 'x', 1, 65535);
        if (sides.size() != 2)
            throw UsageError("--size: '" + text + "' is not WIDTHxHEIGHT");
        reading.size = {sides[0], sides[1]};
    });
    with(given, "step", [&](const std::string& text) {
        constexpr int32_t kMaxStep = 1 << 24;
        reading.steps = numbers("step", text, ',', -kMaxStep, kMaxStep);
    });
    with(given, "range", [&](const std::string& text) {
        if (text != "full" && text != "limited")
            throw UsageError("--range: '" + text + "' is not full or limited");
        reading.range = text == "full" ? VELA_RANGE_FULL : VELA_RANGE_LIMITED;
    });
    with(given, "matrix", [&](const std::string& text) {
        if (text != "601" && text != "709")
            throw UsageError("--matrix: '" + text + "' is not 601 or 709");
        reading.matrix = text == "601" ? VELA_MATRIX_BT601 : VELA_MATRIX_BT709;
    });
    with(given, "background", [&](const std::string& text) { reading.background = colour(text); });
    with(given, "max-pixels", [&](const std::string& text) {
        reading.maxPixels = uint64_t(number("max-pixels", text, 1, int64_t{65535} * 65535));
    });
}

size_t byteCount(const std::string& text) {
    std::string_view digits = text;
    int64_t unit = 1;
    if (!digits.empty() && (digits.back() == 'k' || digits.back() == 'K' || digits.back() == 'M')) {
        unit = digits.back() == 'M' ? 1'000'000 : 1000;
        digits.remove_suffix(1);
    }
    return size_t(unit * number("target-size", digits, 1, INT32_MAX / unit));
}

void setEncoding(const Given& given, Options& options) {
    VelaOptions& encoding = options.encoding;
    velaOptionsInit(&encoding);
    with(given, "quality", [&](const std::string& text) {
        encoding.quality = int32_t(number("quality", text, 0, 100));
    });
    with(given, "subsampling", [&](const std::string& text) {
        if (text != "444" && text != "422" && text != "420")
            throw UsageError("--subsampling: '" + text + "' is not 444, 422 or 420");
        encoding.subsampling = text == "444"   ? VELA_SUBSAMPLING_444
                               : text == "422" ? VELA_SUBSAMPLING_422
                                               : VELA_SUBSAMPLING_420;
    });
    encoding.progressive = given.contains("progressive");
    with(given, "restart", [&](const std::string& text) {
        const bool mcus = text.ends_with('B') || text.ends_with('b');
        const auto count = int32_t(
            number("restart", std::string_view(text).substr(0, text.size() - mcus), 0, 65535));
        (mcus ? encoding.restartMcus : encoding.restartRows) = count;
        if (mcus || count == 0)
            encoding.restartRows = 0;
    });
    with(given, "target-size",
         [&](const std::string& text) { encoding.maxBytes = byteCount(text); });
    with(given, "threads", [&](const std::string& text) {
        encoding.threads = int32_t(number("threads", text, 0, 1024));
    });
}

void setMetadata(const Given& given, Options& options) {
    VelaOptions& encoding = options.encoding;
    options.strip = given.contains("strip");
    with(given, "exif", [&](const std::string& path) {
        options.exif = fileContents("exif", path, 65533);
        if (options.exif.size() > 6 && std::memcmp(options.exif.data(), "Exif\0\0", 6) == 0)
            options.exif.erase(options.exif.begin(), options.exif.begin() + 6);
    });
    with(given, "icc",
         [&](const std::string& path) { options.icc = fileContents("icc", path, 255 * 65519); });
    with(given, "comment", [&](const std::string& text) { options.comment = text; });
    with(given, "density", [&](const std::string& text) {
        const auto values = numbers("density", text, 'x', 1, 65535);
        if (values.size() > 2)
            throw UsageError("--density: '" + text + "' is not N or NxM");
        encoding.densityUnits = 1;
        encoding.xDensity = values.front();
        encoding.yDensity = values.back();
    });
    with(given, "orientation", [&](const std::string& text) {
        encoding.orientation = int32_t(number("orientation", text, 1, 8));
    });
}

void require(bool condition, const std::string& otherwise) {
    if (!condition)
        throw UsageError(otherwise);
}

/// A JPEG under the name of another kind of picture deceives whoever opens it.
void requireJpegName(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    for (const char* const other : {".png",  ".ppm",  ".pgm",  ".pbm", ".pnm", ".pam",  ".y4m",
                                    ".yuv",  ".raw",  ".bmp",  ".gif", ".tif", ".tiff", ".webp",
                                    ".avif", ".heic", ".heif", ".jxl", ".jp2", ".svg",  ".pdf"})
        require(extension != other, "--output: " + path +
                                        " would be a JPEG under the name of another format; "
                                        "--force-name allows it");
}

void setOutput(const Given& given, Options& options) {
    with(given, "out-dir", [&](const std::string& text) { options.outDir = text; });
    with(given, "output", [&](const std::string& text) {
        require(!text.empty(), "--output: the name is empty");
        require(options.outDir.empty(), "--output and --out-dir exclude each other");
        (text.size() > 1 && text.back() == '/' ? options.outDir : options.output) = text;
    });
    options.mjpeg = given.contains("mjpeg");
    options.noClobber = given.contains("no-clobber");
    options.sync = given.contains("sync");
    if (!given.contains("force-name") && !options.output.empty())
        requireJpegName(options.output);
}

/// Options against each other.
void requireSense(const Given& given, const Options& options) {
    require(options.demo || !options.inputs.empty(), "INPUT or --demo is required");
    require(!options.demo || options.inputs.empty(), "--demo takes no INPUT");
    for (const std::string& input : options.inputs)
        require(!input.empty(), "INPUT: the name is empty");
    require(!options.output.empty() || !options.outDir.empty(),
            "--output or --out-dir is required");
    require(!options.demo || !options.reading.raw, "--demo excludes --raw");
    require(!options.reading.raw || given.contains("size"), "--raw requires --size");
    require(options.reading.raw || options.reading.steps.empty(), "--step requires --raw");
    require(options.reading.raw || options.demo || !given.contains("size"),
            "--size requires --raw or --demo");
    require(!options.mjpeg || !options.output.empty(), "--mjpeg requires --output FILE");
    require(!options.mjpeg || countedName(options.output, 1).empty(),
            "--mjpeg writes one file, but --output has a counter");
    require(options.inputs.size() < 2 || options.mjpeg || !options.outDir.empty() ||
                !countedName(options.output, 1).empty(),
            "several inputs require --out-dir, --mjpeg or a counter such as %03d in --output");
    require(!options.recursive || options.mjpeg || !options.outDir.empty(),
            "--recursive requires --out-dir or --mjpeg");
    require(options.jobs == 1 || !options.outDir.empty(), "--jobs requires --out-dir");
    require(options.exif.empty() || options.encoding.orientation == 0,
            "--exif and --orientation exclude each other");
    require(std::count(options.inputs.begin(), options.inputs.end(), "-") < 2,
            "standard input can be read once");
    require(!options.quiet || !options.verbose, "--quiet and --verbose exclude each other");
    if (options.reading.raw) // steps that do not fit are the command line's fault
        frameLayout(*options.reading.raw, options.reading.size.width, options.reading.size.height,
                    options.reading.steps);
}

// An answer that cannot be delivered is a failed run.
void print(const std::string& text) {
    if (!(std::cout << text << std::flush))
        throw Failure("cannot write to standard output");
}

std::string versionText() {
    char text[sizeof ENC_VERSION_TEXT];
    GetLibVersion_JPEGENC(text, sizeof text);
    return std::string("velajpeg " VELA_VERSION_TEXT ", library ") + text + "\n";
}

/// Whether one of the questions was asked, which is answered then.
bool answered(const Given& given) {
    if (given.contains("help")) {
        print(helpText());
    } else if (given.contains("version")) {
        print(versionText());
    } else if (given.contains("man")) {
        print(manPage());
    } else if (const auto shell = given.find("completion"); shell != given.end()) {
        require(!completion(shell->second).empty(),
                "--completion: '" + shell->second + "' is not bash, zsh or fish");
        print(completion(shell->second));
    } else {
        return false;
    }
    return true;
}

} // namespace

std::string countedName(const std::string& pattern, int64_t n) {
    const size_t percent = pattern.find('%');
    if (percent == pattern.npos)
        return "";
    size_t end = percent + 1;
    while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end])))
        end++;
    if (end >= pattern.size() || pattern[end] != 'd' || end - percent > 3)
        return "";
    const std::string digits = std::to_string(n);
    const std::string width = pattern.substr(percent + 1, end - percent - 1);
    const size_t places = width.empty() ? 0 : std::stoul(width);
    const char fill = width.starts_with('0') ? '0' : ' ';
    return pattern.substr(0, percent) +
           std::string(digits.size() < places ? places - digits.size() : 0, fill) + digits +
           pattern.substr(end + 1);
}

std::optional<Options> parseOptions(int argc, char** argv) {
    Options options;
    const Given given = readCommandLine(argc, argv, options.inputs);
    if (answered(given))
        return std::nullopt;
    options.demo = given.contains("demo");
    options.recursive = given.contains("recursive");
    options.json = given.contains("json");
    options.verbose = given.contains("verbose");
    options.quiet = given.contains("quiet");
    with(given, "jobs",
         [&](const std::string& text) { options.jobs = int(number("jobs", text, 0, 256)); });
    setReading(given, options);
    setEncoding(given, options);
    setOutput(given, options);
    setMetadata(given, options);
    requireSense(given, options);
    return options;
}

} // namespace cli
