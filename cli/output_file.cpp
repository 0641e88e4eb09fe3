#include "output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace cli {
namespace {

// The temporary file, where a signal handler can reach it: empty while there is none.
char temporaryPath[PATH_MAX];
volatile sig_atomic_t temporaryExists = 0;

void removeTemporary() {
    if (temporaryExists)
        unlink(temporaryPath);
    temporaryExists = 0;
}

// SA_RESETHAND has restored the default action, which ends the process once the handler returns.
void removeTemporaryAndDie(int signal) {
    removeTemporary();
    raise(signal);
}

void removeTemporaryOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeTemporaryAndDie;
    action.sa_flags = int(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

bool isSameRegularFile(const struct stat& a, int descriptor) {
    struct stat b {};
    return S_ISREG(a.st_mode) && descriptor >= 0 && fstat(descriptor, &b) == 0 &&
           a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::string resolveLinks(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               &std::free);
    return resolved ? resolved.get() : path;
}

mode_t modeOfNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& target, int inputDescriptor)
    : name_(target == "-" ? "standard output" : target) {
    struct stat info {};
    const bool exists =
        target == "-" ? fstat(STDOUT_FILENO, &info) == 0 : stat(target.c_str(), &info) == 0;
    if (exists && isSameRegularFile(info, inputDescriptor))
        throw Failure("cannot write " + name_ + ": it is the input file");
    if (exists && S_ISDIR(info.st_mode))
        fail("write", EISDIR);
    if (target == "-")
        file_.reset(stdout);
    else if (exists && !S_ISREG(info.st_mode))
        openDirectly(target);
    else if (!exists || access(target.c_str(), W_OK) == 0)
        openTemporary(resolveLinks(target));
    if (!file_)
        fail("write", errno);
    if (isatty(fileno(file_.get())))
        throw Failure("cannot write " + name_ + ": a terminal takes no binary data");
}

OutputFile::~OutputFile() {
    removeTemporary();
}

void OutputFile::openDirectly(const std::string& target) {
    const int descriptor = open(target.c_str(), O_WRONLY);
    if (descriptor >= 0)
        file_.reset(fdopen(descriptor, "wb"));
}

void OutputFile::openTemporary(const std::string& target) {
    target_ = target;
    const std::string path = target.substr(0, target.rfind('/') + 1) + ".velajpeg-XXXXXX";
    if (path.size() >= sizeof temporaryPath)
        fail("write", ENAMETOOLONG);
    std::strcpy(temporaryPath, path.c_str());
    removeTemporaryOnSignals();
    const int descriptor = mkstemp(temporaryPath);
    if (descriptor < 0)
        fail("create a temporary file beside", errno);
    temporaryExists = 1;
    file_.reset(fdopen(descriptor, "wb"));
    if (!file_ || fchmod(descriptor, modeOfNewFiles()) != 0) {
        const int error = errno;
        removeTemporary(); // the destructor of a half-made object does not run
        fail("write", error);
    }
}

bool OutputFile::write(const uint8_t* bytes, size_t count) {
    if (writeError_ == 0 && std::fwrite(bytes, 1, count, file_.get()) != count)
        writeError_ = errno;
    if (writeError_ == 0)
        bytesWritten_ += count;
    return writeError_ == 0;
}

void OutputFile::throwIfFailed() const {
    if (writeError_ != 0)
        fail("write", writeError_);
}

void OutputFile::commit() {
    throwIfFailed();
    if (std::fclose(file_.release()) != 0)
        fail("write", errno);
    if (target_.empty())
        return;
    if (std::rename(temporaryPath, target_.c_str()) != 0)
        fail("rename the temporary file to", errno);
    temporaryExists = 0;
}

void OutputFile::fail(const char* verb, int error) const {
    throw Failure(std::string("cannot ") + verb + " " + name_ + ": " + std::strerror(error));
}

} // namespace cli
