// A file that appears when it is whole.
#pragma once

#include <string>

#include "easy/error_text.h"
#include "easy/sink.h"

namespace vela::easy {

/// A new file beside the target takes its place at the end; without that it is removed again. A target that
/// is no regular file is written as it is.
class FileSink final : public Sink {
public:
    explicit FileSink(ErrorText& text) : text_(text) {}
    ~FileSink() override;

    [[nodiscard]] int32_t open(const char* path);
    int32_t take(const uint8_t* bytes, size_t count) override;
    [[nodiscard]] int32_t finish();

private:
    int32_t fail(const char* what);
    [[nodiscard]] bool openBeside(bool replaces, uint32_t mode, uint32_t user, uint32_t group);

    ErrorText& text_;
    std::string path_, temporary_;
    int descriptor_ = -1;
};

} // namespace vela::easy
