// A file or pipe that pictures are read from, front to back.
#ifndef VELA_CLI_INPUT_INPUT_FILE_H
#define VELA_CLI_INPUT_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace cli {

class InputFile {
public:
    explicit InputFile(const std::string& path); // "-" is standard input; throws Failure

    const std::string& name() const { return name_; }

    /// The first bytes, at most count, which read gives again; before anything else is read.
    std::string peek(size_t count);
    /// EOF at the end. Throws Failure where the file cannot be read: an error is no end.
    int getByte();
    /// Fewer than count bytes: the file has ended or cannot be read.
    size_t read(uint8_t* out, size_t count);
    /// Throws Failure where there are fewer; what says what they are part of.
    void readAll(uint8_t* out, size_t count, const char* what);
    bool atEnd(); // nothing is left to read; throws Failure as getByte does

    bool failed() const { return readError_ != 0; }
    /// The reason for a failure line after a short read.
    std::string whyShort(const char* what = "the picture") const;

private:
    size_t readSome(uint8_t* out, size_t count);

    struct Descriptor {
        int descriptor = -1;
        Descriptor() = default;
        Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
        Descriptor& operator=(Descriptor&&) = delete;
        ~Descriptor();
    };
    static constexpr size_t kRoom = size_t{1} << 16;

    std::string name_;
    Descriptor file_;
    std::vector<uint8_t> room_;  // read in advance
    size_t begin_ = 0, end_ = 0; // what is left of it
    int readError_ = 0;          // errno of the read that failed
};

} // namespace cli

#endif
