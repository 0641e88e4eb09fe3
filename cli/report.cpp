#include "cli/report.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "cli/failure.h"

namespace cli {
namespace {

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

const char* chromaName(const Facts& facts) {
    return facts.grey                                  ? "gray"
           : facts.subsampling == VELA_SUBSAMPLING_444 ? "4:4:4"
           : facts.subsampling == VELA_SUBSAMPLING_422 ? "4:2:2"
                                                       : "4:2:0";
}

std::string number(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

} // namespace

void printErrorLine(std::string_view first, std::string_view second,
                    std::string_view third) noexcept {
    char line[8192]; // a longer one comes in several pieces
    size_t used = 0;
    for (const std::string_view part : {first, second, third})
        for (const char c : part) {
            if (used == sizeof line - 1) {
                std::fwrite(line, 1, used, stderr);
                used = 0;
            }
            line[used++] = static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c;
        }
    line[used++] = '\n';
    std::fwrite(line, 1, used, stderr);
}

Report::Report(const Options& options, size_t many)
    : options_(options), many_(many),
      bar_(many > 1 && !options.quiet && !options.verbose && isatty(STDERR_FILENO) != 0) {}

Report::~Report() {
    eraseBar();
}

void Report::printLine(std::string_view text) {
    eraseBar();
    printErrorLine(text);
}

void Report::encoded(const Facts& facts) {
    const std::lock_guard lock(mutex_);
    pictures_++;
    pixels_ += uint64_t(facts.width) * uint64_t(facts.height);
    bytes_ += facts.bytes;
    if (options_.json) {
        const nlohmann::json object = {
            {"input", facts.input},
            {"output", facts.output},
            {"format", facts.format},
            {"width", facts.width},
            {"height", facts.height},
            {"mode", facts.progressive ? "progressive" : "baseline"},
            {"subsampling", chromaName(facts)},
            {"quality", facts.quality},
            {"bytes", facts.bytes},
            {"milliseconds", std::round(1e6 * seconds(facts.time)) / 1000}};
        std::FILE* const to = options_.output == "-" ? stderr : stdout;
        eraseBar();
        const std::string line =
            object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
        if (std::fputs(line.c_str(), to) < 0 || std::fflush(to) != 0)
            throw Failure("cannot write to standard output");
        return;
    }
    if (options_.quiet || (many_ > 1 && !options_.verbose))
        return;
    const double pixels = double(facts.width) * double(facts.height);
    printLine(facts.output + ": " + std::to_string(facts.width) + "x" +
              std::to_string(facts.height) + ", " + facts.format + " to " +
              (facts.progressive ? "progressive " : "baseline ") + chromaName(facts) +
              (options_.encoding.maxBytes > 0 || options_.verbose
                   ? ", quality " + std::to_string(facts.quality)
                   : "") +
              ", " + std::to_string(facts.bytes) + " bytes, " +
              number("%.3f", 8 * double(facts.bytes) / pixels) + " bits per pixel, " +
              number("%.1f ms", 1000 * seconds(facts.time)));
}

void Report::failed(const std::string& input, std::string_view message,
                    std::string_view more) noexcept {
    const std::lock_guard lock(mutex_);
    failures_++;
    eraseBar();
    printErrorLine("velajpeg: ", message, more);
    if (!options_.json || input.empty())
        return;
    try {
        const nlohmann::json object = {{"input", input},
                                       {"error", std::string(message).append(more)}};
        std::fprintf(options_.output == "-" ? stderr : stdout, "%s\n",
                     object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    } catch (const std::bad_alloc&) { // the line has said it
    }
}

void Report::skipped(const std::string& output) {
    const std::lock_guard lock(mutex_);
    skipped_++;
    if (options_.verbose)
        printLine(output + ": is there already");
}

void Report::fileDone() {
    const std::lock_guard lock(mutex_);
    files_++;
    if (bar_ && Clock::now() - lastDrawn_ > std::chrono::milliseconds(100))
        drawBar();
}

void Report::drawBar() {
    constexpr size_t kCells = 24;
    lastDrawn_ = Clock::now();
    const double elapsed = seconds(lastDrawn_ - start_), share = double(files_) / double(many_);
    const auto full = size_t(share * kCells);
    const char* const noColor = std::getenv("NO_COLOR");
    const bool plain = noColor != nullptr && noColor[0] != '\0';
    const std::string cells = std::string(full, '#') + std::string(kCells - full, '.');
    std::fprintf(stderr, "\r%s[%s]%s %zu/%zu, %.1f MB/s, %.0f s left\x1b[K",
                 plain ? "" : "\x1b[32m", cells.c_str(), plain ? "" : "\x1b[0m", files_, many_,
                 double(bytes_) / 1e6 / std::max(elapsed, 1e-3),
                 elapsed * (1 - share) / std::max(share, 1e-9));
    std::fflush(stderr);
    drawn_ = true;
}

void Report::eraseBar() {
    if (drawn_)
        std::fputs("\r\x1b[K", stderr);
    drawn_ = false;
}

bool Report::finish() {
    const std::lock_guard lock(mutex_);
    eraseBar();
    if (many_ > 1 && !options_.quiet && !options_.json) {
        const double time = seconds(Clock::now() - start_);
        printLine(std::to_string(pictures_) + (pictures_ == 1 ? " picture" : " pictures") +
                  " encoded, " + std::to_string(failures_) + " failed, " +
                  std::to_string(skipped_) + " skipped: " + number("%.1f", double(pixels_) / 1e6) +
                  " megapixels, " + number("%.1f MB", double(bytes_) / 1e6) + " in " +
                  number("%.2f s", time));
    }
    return failures_ > 0;
}

} // namespace cli
