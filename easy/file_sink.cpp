#include "easy/file_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vela::easy {

FileSink::~FileSink() {
    if (descriptor_ >= 0)
        close(descriptor_);
    if (!temporary_.empty())
        unlink(temporary_.c_str());
}

int32_t FileSink::fail(const char* what) {
    const int error = errno;
    char words[96];
    text_.set("path: cannot %s %.120s: %s", what, path_.c_str(),
              strerror_r(error, words, sizeof words));
    return VELA_STATUS_WRITE;
}

int32_t FileSink::open(const char* path) {
    path_ = path;
    struct stat info {};
    const bool exists = stat(path, &info) == 0;
    if (!exists && errno != ENOENT && errno != ENOTDIR) // what is there would be written over
        return fail("look at");
    if (exists && S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return fail("write");
    }
    if (exists && !S_ISREG(info.st_mode)) {
        do // a pipe is opened when somebody reads it
            descriptor_ = ::open(path, O_WRONLY | O_CLOEXEC);
        while (descriptor_ < 0 && errno == EINTR);
        return descriptor_ >= 0 ? ENC_STATUS_OK : fail("write");
    }
    if (exists && access(path, W_OK) != 0)
        return fail("write");
    struct stat link {};
    const bool found = lstat(path, &link) == 0;
    if (!found && errno != ENOENT && errno != ENOTDIR)
        return fail("look at");
    if (found && S_ISLNK(link.st_mode)) {
        const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path, nullptr),
                                                                   &std::free);
        if (!resolved) // it leads nowhere
            return fail("write");
        path_ = resolved.get();
    }
    return openBeside(exists, info.st_mode, info.st_uid, info.st_gid) ? ENC_STATUS_OK
                                                                      : fail("create a file for");
}

bool FileSink::openBeside(bool replaces, uint32_t mode, uint32_t user, uint32_t group) {
    static std::atomic<uint32_t> counter{0};
    while (descriptor_ < 0) {
        temporary_ =
            path_ + "." + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".tmp";
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0) { // what is there is somebody else's
            temporary_.clear();
            if (errno != EEXIST && errno != EINTR)
                return false;
        }
    }
    if (replaces) { // what is not allowed stays as it is for a new file
        if (fchown(descriptor_, user, group) != 0)
            errno = 0;
        if (fchmod(descriptor_, mode & 07777) != 0)
            errno = 0;
    }
    return true;
}

int32_t FileSink::take(const uint8_t* bytes, size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(descriptor_, bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return fail("write");
        bytes += written;
        count -= static_cast<size_t>(written);
    }
    return ENC_STATUS_OK;
}

int32_t FileSink::finish() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0 && errno != EINTR)
        return fail("write");
    if (!temporary_.empty() && rename(temporary_.c_str(), path_.c_str()) != 0)
        return fail("replace");
    temporary_.clear();
    return ENC_STATUS_OK;
}

} // namespace vela::easy
