#include "cli/output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "cli/failure.h"

namespace cli {
namespace {

/// What a call gives, made again where a signal ends it early.
template <class Call>
int uninterrupted(Call call) {
    int result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

// Temporary files, where a signal handler can reach them. A slot is taken before its path is written and
// live while the file is there.
struct TemporarySlot {
    std::atomic<bool> taken, live;
    char path[PATH_MAX];
};
TemporarySlot temporaries[512];
static_assert(std::atomic<bool>::is_always_lock_free);

// Between them no temporary file escapes a signal: the handler waits for the files that are being made, and
// none is made after it has begun.
std::atomic<int> filesBeingMade{0};
std::atomic<bool> ending{false};
static_assert(std::atomic<int>::is_always_lock_free);

[[noreturn]] void waitForTheEnd() {
    for (;;)
        pause();
}

/// While it lives, this thread may make a temporary file. Signals are held back, because the handler would
/// wait for the thread that it runs on.
class MakingFile {
public:
    MakingFile() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
        filesBeingMade++;
        if (ending) {
            leave();
            waitForTheEnd();
        }
    }
    ~MakingFile() { leave(); }
    MakingFile(const MakingFile&) = delete;
    MakingFile& operator=(const MakingFile&) = delete;

private:
    void leave() const {
        filesBeingMade--;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    sigset_t before_;
};

// SA_RESETHAND has restored the default action, which ends the process once the handler returns.
void removeTemporariesAndDie(int signal) {
    ending = true;
    while (filesBeingMade > 0) {
        const timespec moment{0, 100'000};
        nanosleep(&moment, nullptr);
    }
    for (TemporarySlot& slot : temporaries)
        if (slot.live)
            unlink(slot.path);
    raise(signal);
}

/// Whether a signal is without effect, stops the process for a while, or cannot be caught.
bool leavesProcess(int signal) {
    for (const int one : {SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU, SIGSTOP,
                          SIGKILL, SIGPIPE, SIGXFSZ})
        if (signal == one)
            return true;
    return false;
}

int takeSlot(const std::string& path) {
    for (size_t i = 0; i < std::size(temporaries); i++) {
        bool free = false;
        if (temporaries[i].taken.compare_exchange_strong(free, true)) {
            std::strcpy(temporaries[i].path, path.c_str());
            temporaries[i].live =
                true; // before the file is there: removing what is not there does no harm
            return int(i);
        }
    }
    return -1;
}

void freeSlot(int slot) {
    if (slot < 0)
        return;
    temporaries[slot].live = false;
    temporaries[slot].taken = false;
}

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

bool isSameFile(const struct stat& a, const std::string& input) {
    struct stat b {};
    return isThere(input == "-" ? fstat(STDIN_FILENO, &b) : stat(input.c_str(), &b), input) &&
           S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

bool isThere(int result, const std::string& name) {
    if (result != 0 && errno != ENOENT && errno != ENOTDIR)
        throw Failure("cannot look at " + name + ": " + std::strerror(errno));
    return result == 0;
}

void prepareForSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    struct sigaction action {};
    action.sa_handler = removeTemporariesAndDie;
    action.sa_flags = int(SA_RESETHAND);
    sigfillset(&action.sa_mask);
    for (int signal = 1; signal <= SIGRTMAX; signal++) {
        struct sigaction before {};
        if (!leavesProcess(signal) && sigaction(signal, nullptr, &before) == 0 &&
            before.sa_handler == SIG_DFL)
            sigaction(signal, &action, nullptr);
    }
}

OutputFile::OutputFile(const std::string& target, const std::string* input)
    : name_(target == "-" ? "standard output" : target) {
    struct stat info {};
    const bool exists = target == "-" ? fstat(STDOUT_FILENO, &info) == 0
                                      : isThere(stat(target.c_str(), &info), name_);
    if (exists && input != nullptr && isSameFile(info, *input))
        throw Failure("cannot write " + name_ + ": it is the input file");
    if (exists && S_ISDIR(info.st_mode))
        throw Failure("cannot write " + name_ + ": it is a folder; --out-dir takes one");
    if (target == "-") {
        descriptor_ = dup(STDOUT_FILENO);
    } else if (exists && !S_ISREG(info.st_mode)) {
        descriptor_ = uninterrupted([&] { return open(target.c_str(), O_WRONLY | O_CLOEXEC); });
    } else {
        std::string path = target;
        struct stat link {};
        if (isThere(lstat(target.c_str(), &link), name_) && S_ISLNK(link.st_mode)) {
            if (!exists)
                throw Failure("cannot write " + name_ + ": it is a link that leads nowhere");
            const std::unique_ptr<char, decltype(&std::free)> resolved(
                realpath(target.c_str(), nullptr), &std::free);
            if (!resolved)
                fail("write", errno);
            path = resolved.get();
        }
        if (exists && access(target.c_str(), W_OK) != 0)
            fail("write", errno);
        struct stat folder {};
        const std::string parent = folderOf(path);
        const int error = parent.empty() || stat(parent.c_str(), &folder) == 0 ? 0 : errno;
        if (error == ENOENT)
            throw Failure("cannot write " + name_ + ": the folder " + parent + " does not exist");
        if (error == ENOTDIR)
            throw Failure("cannot write " + name_ + ": " + parent + " is not a folder");
        openTemporary(path, exists, info.st_mode, info.st_uid, info.st_gid);
    }
    if (descriptor_ < 0)
        fail("write", errno);
    if (isatty(descriptor_))
        throw Failure("cannot write " + name_ + ": a terminal takes no binary data");
}

OutputFile::~OutputFile() {
    removeTemporary();
}

void OutputFile::removeTemporary() {
    if (descriptor_ >= 0)
        close(descriptor_);
    descriptor_ = -1;
    if (!temporary_.empty())
        unlink(temporary_.c_str());
    freeSlot(slot_);
    temporary_.clear();
    slot_ = -1;
}

void OutputFile::openTemporary(const std::string& target, bool replaces, mode_t mode, uid_t user,
                               gid_t group) {
    static std::atomic<unsigned> counter{0};
    target_ = target;
    while (descriptor_ < 0) {
        temporary_ = folderOf(target) + ".velajpeg-" + std::to_string(getpid()) + "-" +
                     std::to_string(counter++);
        if (temporary_.size() >= PATH_MAX)
            fail("write", ENAMETOOLONG);
        const MakingFile making;
        slot_ = takeSlot(temporary_);
        descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ >= 0)
            break;
        const int error = errno;
        freeSlot(slot_);
        slot_ = -1;
        temporary_.clear();
        if (error != EEXIST && error != EINTR)
            fail("create a temporary file beside", error);
    }
    if (!replaces)
        return;
    // Owners before modes, which they clear; what only root may do is no failure for others.
    if (fchown(descriptor_, user, group) != 0 && geteuid() == 0) {
        const int error = errno;
        removeTemporary();
        fail("keep the owner of", error);
    }
    if (fchmod(descriptor_, mode & 07777) != 0) {
        const int error = errno;
        removeTemporary();
        fail("keep the mode of", error);
    }
}

bool OutputFile::write(const void* bytes, size_t count) noexcept {
    const auto* from = static_cast<const uint8_t*>(bytes);
    while (count > 0 && writeError_ == 0) {
        const ssize_t written = ::write(descriptor_, from, count);
        if (written < 0) {
            if (errno != EINTR)
                writeError_ = errno;
            continue;
        }
        from += written;
        count -= size_t(written);
        bytesWritten_ += uint64_t(written);
    }
    return writeError_ == 0;
}

void OutputFile::throwIfFailed() const {
    if (writeError_ != 0)
        fail("write", writeError_);
}

void OutputFile::commit(bool sync) {
    throwIfFailed();
    if (sync && uninterrupted([&] { return fsync(descriptor_); }) != 0 && errno != EINVAL &&
        errno != EROFS) // pipes cannot
        fail("write", errno);
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0 && errno != EINTR)
        fail("write", errno);
    if (target_.empty())
        return;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        if (ending) // the signal handler has removed it
            waitForTheEnd();
        fail("rename the temporary file to", errno);
    }
    temporary_.clear();
    removeTemporary();
    if (sync) {
        const std::string parent = folderOf(target_);
        const int folder = uninterrupted([&] {
            return open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        });
        const bool good = folder >= 0 && uninterrupted([&] { return fsync(folder); }) == 0;
        const int error = errno;
        if (folder >= 0)
            close(folder);
        if (!good)
            fail("write", error);
    }
}

void OutputFile::fail(const std::string& verb, int error) const {
    throw Failure("cannot " + verb + " " + name_ + ": " + std::strerror(error));
}

} // namespace cli
