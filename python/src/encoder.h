// An encoder of the easy layer for Python: any thread may use it, one at a time gets its turn.
#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>

#include "options.h"
#include "picture.h"

namespace velajpeg_python {

class Encoder {
public:
    Encoder();
    ~Encoder();
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    /// into: None for bytes of its own; a writable buffer; or what has a method write. The last two give the
    /// number of bytes of the stream. Other threads run while it encodes.
    py::object encode(Picture& picture, const Options& options, const py::object& into);

    /// Of the last picture; None after a failure and before the first one.
    py::object qualityUsed() const;

private:
    template <class Sink>
    int32_t run(const Picture& picture, const Options& options, Sink& sink);
    py::bytes toBytes(const Picture& picture, const Options& options);
    py::int_ toBuffer(const Picture& picture, const Options& options, const py::object& buffer);
    py::int_ toWriter(const Picture& picture, const Options& options, const py::object& writer);
    void check(int32_t status) const;

    struct Delete {
        void operator()(VelaEncoder* encoder) const { velaEncoderDelete(encoder); }
    };
    struct Own {
        Own();
        std::unique_ptr<VelaEncoder, Delete> encoder;
        /// Taken without the GIL, so that who waits for it keeps nobody from giving it back. Recursive: a
        /// writer that uses the encoder which it writes for is refused by the easy layer.
        std::recursive_mutex turn;
        pid_t process;
    };
    /// After a fork one of the new process: the threads of the old one are not there, nor is who has its turn;
    /// so it is left as it is.
    Own& own() const;
    mutable std::unique_ptr<Own> own_;
};

/// Python's Error, with the status; ArgumentError for what the easy layer refuses to take.
[[noreturn]] void throwError(int32_t status, const std::string& text);

} // namespace velajpeg_python
