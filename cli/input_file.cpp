#include "input_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "failure.h"

namespace cli {

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      file_(path == "-" ? stdin : std::fopen(path.c_str(), "rb")) {
    if (!file_)
        throw Failure("cannot open " + name_ + ": " + std::strerror(errno));
}

int InputFile::descriptor() const {
    return fileno(file_.get());
}

bool InputFile::canSeek() const {
    return lseek(descriptor(), 0, SEEK_CUR) >= 0;
}

std::optional<uint64_t> InputFile::bytesLeft() const {
    struct stat info {};
    const off_t position = ftello(file_.get());
    if (fstat(descriptor(), &info) != 0 || !S_ISREG(info.st_mode) || position < 0)
        return std::nullopt;
    return uint64_t(std::max<off_t>(info.st_size - position, 0));
}

int InputFile::getByte() {
    uint8_t byte = 0;
    return read(&byte, 1) == 1 ? byte : EOF;
}

size_t InputFile::read(uint8_t* out, size_t count) {
    const size_t got = std::fread(out, 1, count, file_.get());
    if (got < count && std::ferror(file_.get()) && readError_ == 0)
        readError_ = errno;
    return got;
}

bool InputFile::seekBy(int64_t offset) {
    return fseeko(file_.get(), off_t(offset), SEEK_CUR) == 0;
}

std::string InputFile::whyShort() const {
    return readError_ != 0 ? std::strerror(readError_) : "truncated, it ends within the picture";
}

} // namespace cli
