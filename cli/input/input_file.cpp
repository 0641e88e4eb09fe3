#include "cli/input/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli/failure.h"

namespace cli {

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path), room_(kRoom) {
    if (path == "-")
        file_.descriptor = STDIN_FILENO;
    while (file_.descriptor < 0 &&
           (file_.descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC)) < 0)
        if (errno != EINTR)
            throw Failure("cannot open " + name_ + ": " + std::strerror(errno));
    struct stat info {};
    if (fstat(file_.descriptor, &info) == 0 && S_ISDIR(info.st_mode))
        throw Failure("cannot read " + name_ + ": it is a folder; --recursive takes those");
}

InputFile::Descriptor::~Descriptor() {
    if (descriptor > STDIN_FILENO)
        close(descriptor);
}

/// Reads at most count bytes; 0 at the end, and from the first failure on.
size_t InputFile::readSome(uint8_t* out, size_t count) {
    while (readError_ == 0) {
        const ssize_t got = ::read(file_.descriptor, out, count);
        if (got >= 0)
            return size_t(got);
        if (errno != EINTR)
            readError_ = errno;
    }
    return 0;
}

std::string InputFile::peek(size_t count) {
    while (end_ < count) {
        const size_t got = readSome(room_.data() + end_, room_.size() - end_);
        if (got == 0)
            break;
        end_ += got;
    }
    return {room_.begin(), room_.begin() + ptrdiff_t(std::min(count, end_))};
}

int InputFile::getByte() {
    uint8_t byte = 0;
    if (read(&byte, 1) == 1)
        return byte;
    if (failed())
        throw Failure("cannot read " + name_ + ": " + whyShort());
    return EOF;
}

size_t InputFile::read(uint8_t* out, size_t count) {
    size_t have = 0;
    while (have < count) {
        if (begin_ == end_) {
            begin_ = 0;
            end_ = 0;
            const bool large = count - have >= room_.size(); // past the room
            const size_t got =
                large ? readSome(out + have, count - have) : readSome(room_.data(), room_.size());
            if (got == 0)
                break;
            (large ? have : end_) += got;
        }
        const size_t step = std::min(count - have, end_ - begin_);
        std::memcpy(out + have, room_.data() + begin_, step);
        begin_ += step;
        have += step;
    }
    return have;
}

void InputFile::readAll(uint8_t* out, size_t count, const char* what) {
    if (read(out, count) < count)
        throw Failure("cannot read " + name_ + ": " + whyShort(what));
}

bool InputFile::atEnd() {
    const int byte = getByte();
    if (byte != EOF)
        begin_--; // it has just been taken from there
    return byte == EOF;
}

std::string InputFile::whyShort(const char* what) const {
    return readError_ != 0 ? std::strerror(readError_)
                           : "truncated, it ends within " + std::string(what);
}

} // namespace cli
