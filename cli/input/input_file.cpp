#include "cli/input/input_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli/failure.h"

namespace cli {

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      file_(path == "-" ? stdin : std::fopen(path.c_str(), "rb")) {
    if (!file_)
        throw Failure("cannot open " + name_ + ": " + std::strerror(errno));
    struct stat info {};
    if (fstat(fileno(file_.get()), &info) == 0 && S_ISDIR(info.st_mode))
        throw Failure("cannot read " + name_ + ": it is a folder; --recursive takes those");
}

std::string InputFile::peek(size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(read(reinterpret_cast<uint8_t*>(bytes.data()), count));
    return peeked_ = bytes;
}

int InputFile::getByte() {
    uint8_t byte = 0;
    return read(&byte, 1) == 1 ? byte : EOF;
}

size_t InputFile::read(uint8_t* out, size_t count) {
    const size_t before = std::min(count, peeked_.size());
    std::memcpy(out, peeked_.data(), before);
    peeked_.erase(0, before);
    if (before == count)
        return count;
    const size_t got = std::fread(out + before, 1, count - before, file_.get());
    if (got < count - before && std::ferror(file_.get()) && readError_ == 0)
        readError_ = errno;
    return before + got;
}

void InputFile::readAll(uint8_t* out, size_t count, const char* what) {
    if (read(out, count) < count)
        throw Failure("cannot read " + name_ + ": " + whyShort(what));
}

bool InputFile::atEnd() {
    const int byte = getByte();
    if (byte != EOF)
        peeked_.insert(peeked_.begin(), static_cast<char>(byte));
    return byte == EOF;
}

std::string InputFile::whyShort(const char* what) const {
    return readError_ != 0 ? std::strerror(readError_)
                           : "truncated, it ends within " + std::string(what);
}

} // namespace cli
