// What the command says: lines on standard error, facts as JSON, a progress bar.
#ifndef VELA_CLI_REPORT_H
#define VELA_CLI_REPORT_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "cli/options.h"

namespace cli {

using Clock = std::chrono::steady_clock;

/// One picture that was encoded.
struct Facts {
    std::string input, output, format;
    int32_t width, height;
    bool grey, progressive;
    VelaSubsampling subsampling;
    int32_t quality;
    uint64_t bytes;
    Clock::duration time;
};

class Report {
public:
    /// many: files in all, for the progress bar and the summary.
    Report(const Options& options, size_t many);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    // From any thread.
    void encoded(const Facts& facts);
    /// The reason is message and more. Needs no memory for its line.
    void failed(const std::string& input, std::string_view message,
                std::string_view more = {}) noexcept;
    void skipped(const std::string& output);
    void fileDone(); // whatever came of it

    /// The summary of many files; whether one has failed.
    bool finish();

private:
    void printLine(std::string_view text);
    void drawBar();
    void eraseBar();

    const Options& options_;
    size_t many_;
    bool bar_;
    std::mutex mutex_;
    size_t files_ = 0, pictures_ = 0, failures_ = 0, skipped_ = 0;
    uint64_t pixels_ = 0, bytes_ = 0;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now(), lastDrawn_{};
};

/// Whatever the text holds (a file name may hold anything), it comes out as one line of standard error. Needs no
/// memory, which may be what has run out.
void printErrorLine(std::string_view first, std::string_view second = {},
                    std::string_view third = {}) noexcept;

} // namespace cli

#endif
