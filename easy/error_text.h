// One line about why a call has failed.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace vela::easy {

class ErrorText {
public:
    const char* text() const { return text_; }
    void clear() { text_[0] = '\0'; }

    [[gnu::format(printf, 2, 3)]] void set(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, sizeof text_, format, arguments);
        va_end(arguments);
    }

private:
    char text_[256] = "";
};

} // namespace vela::easy
