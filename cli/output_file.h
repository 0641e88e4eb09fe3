// The file that the JPEG stream goes to: whole, or not at all.
#ifndef VELA_CLI_OUTPUT_FILE_H
#define VELA_CLI_OUTPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace cli {

// A regular file is written beside its target and takes the target's name in commit; until then an
// existing target stays as it is, and without commit, or on SIGINT, SIGTERM or SIGHUP, the
// temporary file disappears. Standard output ("-"), devices and pipes are written directly.
class OutputFile {
public:
    // Refuses a terminal, a directory, and the file that is open as inputDescriptor (-1 for none).
    OutputFile(const std::string& target, int inputDescriptor);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // False after the first failure, which throwIfFailed and commit report: a library callback may
    // not throw.
    bool write(const uint8_t* bytes, size_t count);
    void throwIfFailed() const;
    void commit();

    const std::string& name() const { return name_; }
    uint64_t bytesWritten() const { return bytesWritten_; }

private:
    void openDirectly(const std::string& target); // leaves errno where it fails
    void openTemporary(const std::string& target);
    [[noreturn]] void fail(const char* verb, int error) const;

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string name_;
    std::string target_; // of the rename; empty where the file is written directly
    std::unique_ptr<std::FILE, Close> file_;
    uint64_t bytesWritten_ = 0;
    int writeError_ = 0; // errno of the write that failed
};

} // namespace cli

#endif
