#include "cli/batch.h"

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string_view>
#include <thread>

#include "cli/encode.h"
#include "cli/failure.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/// Whether a file of a folder is looked at: of raw frames all are, for their names say nothing.
bool isPictureName(const fs::path& path, const Options& options) {
    if (options.reading.raw)
        return true;
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    for (const char* const one : {".png", ".ppm", ".pgm", ".pbm", ".pnm", ".pam", ".y4m"})
        if (extension == one)
            return true;
    return false;
}

/// Whether it is there and no file: a linked folder, a pipe, a device.
bool isOther(fs::file_status status) {
    return fs::exists(status) && !fs::is_regular_file(status);
}

/// An input, and the folder below the target that its name is kept in.
struct Found {
    std::string input;
    fs::path below;
    int error = 0; // errno, where it could not be looked at
};

/// Adds what is in a folder; errno where it could not be read to its end, or 0. Not by std::filesystem, whose
/// iterator ends the process where it has no memory (GCC 12).
int readFolder(const fs::path& folder, std::vector<fs::path>& entries) {
    struct Close {
        void operator()(DIR* one) const { closedir(one); }
    };
    const std::unique_ptr<DIR, Close> open(opendir(folder.c_str()));
    if (!open)
        return errno;
    for (;;) {
        errno = 0;
        const dirent* const entry = readdir(open.get());
        if (entry == nullptr)
            return errno;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            entries.push_back(folder / name);
    }
}

/// The pictures of a folder and of the folders in it, in the order of their names. What cannot be read is
/// listed as well, so that it is reported in its turn and the others are done.
void listFolder(const fs::path& folder, const fs::path& below, const Options& options,
                std::vector<Found>& found) {
    std::vector<fs::path> entries;
    if (const int error = readFolder(folder, entries); error != 0)
        found.push_back({folder.string(), below.parent_path(), error});
    std::sort(entries.begin(), entries.end());
    for (const fs::path& entry : entries) {
        std::error_code error, ignored;
        const fs::file_type type = fs::symlink_status(entry, error).type();
        if (type == fs::file_type::none)
            found.push_back({entry.string(), below, error.value()});
        else if (type == fs::file_type::directory)
            listFolder(entry, below / entry.filename(), options, found);
        else if (isPictureName(entry, options) && !isOther(fs::status(entry, ignored)))
            found.push_back({entry.string(), below});
    }
}

std::vector<Found> listInputs(const Options& options) {
    std::vector<Found> found;
    for (const std::string& input : options.inputs) {
        std::error_code error;
        const size_t before = found.size();
        if (!options.recursive || input == "-" || !fs::is_directory(input, error))
            found.push_back({input, {}, error.value()});
        else
            listFolder(input, {}, options, found);
        if (found.size() == before)
            throw Failure("there are no pictures in " + input);
    }
    return found;
}

} // namespace

void Job::throwIfUnlisted() const {
    if (error != 0)
        throw Failure("cannot read " + input + ": " + std::strerror(error));
}

std::vector<Job> listJobs(const Options& options) {
    if (options.demo)
        return {{"", options.outDir.empty() ? options.output
                                            : (fs::path(options.outDir) / "demo.jpg").string()}};
    std::vector<Job> jobs;
    std::map<std::string, std::string> owner; // of a target
    for (const Found& found : listInputs(options)) {
        if (options.outDir.empty()) {
            jobs.push_back({found.input, options.output, found.error});
            continue;
        }
        const fs::path name = found.input == "-" ? fs::path("stdin") : fs::path(found.input).stem();
        const std::string target =
            (fs::path(options.outDir) / found.below / name).string() + ".jpg";
        if (const auto [other, isNew] = owner.emplace(target, found.input); !isNew)
            throw Failure("cannot write " + target + " of both " + other->second + " and " +
                          found.input);
        jobs.push_back({found.input, target, found.error});
    }
    return jobs;
}

namespace {

void createFolders(const std::vector<Job>& jobs) {
    for (const Job& job : jobs) {
        std::error_code error;
        const fs::path parent = fs::path(job.target).parent_path();
        if (!parent.empty() && !fs::is_directory(parent, error)) {
            fs::create_directories(parent, error);
            if (error)
                throw Failure("cannot create the folder " + parent.string() + ": " +
                              error.message());
        }
    }
}

} // namespace

bool runJobs(const Options& options, const std::vector<Job>& jobs) {
    if (!options.outDir.empty())
        createFolders(jobs);
    Report report(options, jobs.size());
    std::atomic<size_t> next{0};
    const auto work = [&] {
        try {
            InputEncoder encoder(options, report);
            for (size_t i = next++; i < jobs.size(); i = next++) {
                try {
                    jobs[i].throwIfUnlisted();
                    encoder.encode(jobs[i].input, jobs[i].target);
                } catch (const std::bad_alloc&) {
                    report.failed(jobs[i].input, "not enough memory for ", jobs[i].input);
                } catch (const std::exception& error) {
                    report.failed(jobs[i].input, error.what());
                }
                report.fileDone();
            }
        } catch (const std::bad_alloc&) {
            report.failed({}, "not enough memory");
        }
    };
    const auto cores = std::max(1u, std::thread::hardware_concurrency());
    const size_t threads =
        std::min(jobs.size(), options.jobs == 0 ? size_t{cores} : size_t(options.jobs));
    std::vector<std::thread> others;
    others.reserve(threads);
    try {
        while (others.size() + 1 < threads)
            others.emplace_back(work);
    } catch (
        const std::exception&) { // no thread, or no memory for it: those that there are do it all
    }
    work();
    for (std::thread& thread : others)
        thread.join();
    return !report.finish();
}

} // namespace cli
