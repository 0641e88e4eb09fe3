// The file that the picture is read from, front to back or with relative seeks.
#ifndef VELA_CLI_INPUT_FILE_H
#define VELA_CLI_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace cli {

class InputFile {
public:
    explicit InputFile(const std::string& path); // "-" is standard input

    const std::string& name() const { return name_; }
    int descriptor() const;
    bool canSeek() const;                      // not a pipe or a terminal
    std::optional<uint64_t> bytesLeft() const; // known of regular files only

    int getByte(); // EOF at the end or after an error
    // Fewer than count bytes: the file has ended or cannot be read; whyShort tells.
    size_t read(uint8_t* out, size_t count);
    bool seekBy(int64_t offset);

    // The reason for a failure line after a short read.
    std::string whyShort() const;

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string name_;
    std::unique_ptr<std::FILE, Close> file_;
    int readError_ = 0; // errno of the read that failed
};

} // namespace cli

#endif
