// The file that a JPEG stream goes to: whole, or not at all.
#ifndef VELA_CLI_OUTPUT_FILE_H
#define VELA_CLI_OUTPUT_FILE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace cli {

/// Makes every signal that would end the process, and can be caught, remove the temporary files first, and a
/// closed pipe and a file that is too large failed writes as any other. Once, before the first file.
void prepareForSignals();

/// Whether a call that has looked at a file has found it; throws Failure where that cannot be known, since what is
/// taken for not there would be written over.
bool isThere(int result, const std::string& name);

/// A regular file is written beside its target and takes the target's name in commit, with the mode and the
/// owner of the file that was there; until then that one stays as it is, and without commit the temporary file
/// disappears. Links are followed; one that leads nowhere is refused. Standard output ("-"), devices and
/// pipes are written directly. Several may be open, on several threads.
class OutputFile {
public:
    /// Refuses a terminal, a folder, and a file that is input (null: no file). Throws Failure.
    OutputFile(const std::string& target, const std::string* input);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// False after the first failure, which commit and throwIfFailed report: a callback of the library may not
    /// throw.
    bool write(const void* bytes, size_t count) noexcept;
    void throwIfFailed() const;
    /// sync: waits until the bytes, and the new name, are on the disk.
    void commit(bool sync);

    const std::string& name() const { return name_; }
    uint64_t bytesWritten() const { return bytesWritten_; }

private:
    void openTemporary(const std::string& target, bool replaces, mode_t mode, uid_t user,
                       gid_t group);
    void removeTemporary();
    [[noreturn]] void fail(const std::string& verb, int error) const;

    std::string name_;
    std::string target_, temporary_; // of the rename; empty where the file is written directly
    int slot_ = -1;                  // of temporary_ among those that signals remove
    int descriptor_ = -1;
    uint64_t bytesWritten_ = 0;
    int writeError_ = 0; // errno of the write that failed
};

} // namespace cli

#endif
