// A file or pipe that pictures are read from, front to back.
#ifndef VELA_CLI_INPUT_INPUT_FILE_H
#define VELA_CLI_INPUT_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace cli {

class InputFile {
public:
    explicit InputFile(const std::string& path); // "-" is standard input; throws Failure

    const std::string& name() const { return name_; }

    /// The first bytes, at most count, which read gives again; before anything else is read.
    std::string peek(size_t count);
    int getByte(); // EOF at the end or after an error
    /// Fewer than count bytes: the file has ended or cannot be read.
    size_t read(uint8_t* out, size_t count);
    /// Throws Failure where there are fewer; what says what they are part of.
    void readAll(uint8_t* out, size_t count, const char* what);
    bool atEnd(); // nothing is left to read

    bool failed() const { return readError_ != 0; }
    /// The reason for a failure line after a short read.
    std::string whyShort(const char* what = "the picture") const;

private:
    struct Close {
        void operator()(std::FILE* file) const {
            if (file != stdin)
                std::fclose(file);
        }
    };
    std::string name_;
    std::unique_ptr<std::FILE, Close> file_;
    std::string peeked_; // and not read yet
    int readError_ = 0;  // errno of the read that failed
};

} // namespace cli

#endif
