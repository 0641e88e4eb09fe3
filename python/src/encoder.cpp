#include "encoder.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

#include "arguments.h"
#include "gil.h"

namespace velajpeg_python {
namespace {

using Turn = std::unique_lock<std::recursive_mutex>;

Turn takeTurn(std::recursive_mutex& mutex) {
    const OthersRun others;
    return Turn(mutex);
}

/// bytes in the making: written to where they will be, so that a stream is not copied once more.
class NewBytes {
public:
    explicit NewBytes(const VelaImage& image)
        : bytes_(PyBytes_FromStringAndSize(nullptr,
                                           image.width * ptrdiff_t{image.height} / 8 + 4096)) {
        if (!bytes_)
            throw py::error_already_set();
    }
    NewBytes(const NewBytes&) = delete;
    NewBytes& operator=(const NewBytes&) = delete;
    ~NewBytes() { Py_XDECREF(bytes_); }

    int take(const void* bytes, size_t count, OthersRun& others) {
        const auto room = static_cast<size_t>(PyBytes_GET_SIZE(bytes_)) - used_;
        if (count > room) {
            const OthersRun::Pause mine(others);
            if (_PyBytes_Resize(&bytes_, static_cast<Py_ssize_t>((used_ + count) * 2)) != 0) {
                PyErr_Clear(); // what the caller raises is that there is no memory
                return 1;
            }
        }
        std::memcpy(PyBytes_AS_STRING(bytes_) + used_, bytes, count);
        used_ += count;
        return 0;
    }

    py::bytes finish() {
        if (_PyBytes_Resize(&bytes_, static_cast<Py_ssize_t>(used_)) != 0)
            throw py::error_already_set();
        return py::reinterpret_steal<py::bytes>(std::exchange(bytes_, nullptr));
    }

private:
    PyObject* bytes_; // null after a failure to get memory
    size_t used_ = 0;
};

/// A buffer to write to, which gets no larger.
struct Room {
    explicit Room(const py::object& object) {
        if (PyObject_GetBuffer(object.ptr(), &buffer, PyBUF_CONTIG) == 0)
            return;
        if (!PyErr_ExceptionMatches(PyExc_BufferError) && !PyErr_ExceptionMatches(PyExc_ValueError))
            throw py::error_already_set();
        PyErr_Clear();
        throw py::type_error(
            "into is read-only, has gaps or is released; a writable buffer is wanted");
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() { PyBuffer_Release(&buffer); }

    int take(const void* bytes, size_t count, OthersRun&) {
        if (count > static_cast<size_t>(buffer.len) - used)
            return 1;
        std::memcpy(static_cast<uint8_t*>(buffer.buf) + used, bytes, count);
        used += count;
        return 0;
    }

    Py_buffer buffer{};
    size_t used = 0;
};

/// A file, a socket's file, a response: what has a method write.
struct Writer {
    explicit Writer(const py::object& object)
        : write(object.attr("write")),
          raw(py::isinstance(object, py::module_::import("io").attr("RawIOBase"))) {}

    py::object write;
    bool raw; // says None where it would have to wait
    size_t used = 0;
    std::exception_ptr thrown{};

    int take(const void* bytes, size_t count, OthersRun& others) {
        const OthersRun::Pause mine(others);
        try {
            writeAll(static_cast<const char*>(bytes), count);
            return 0;
        } catch (...) {
            thrown = std::current_exception();
            return 1;
        }
    }

    void writeAll(const char* at, size_t count) {
        while (count > 0) {
            const py::bytes piece(at, count);
            const auto result =
                py::reinterpret_steal<py::object>(OthersRun::call(write.ptr(), piece.ptr()));
            if (!result)
                throw py::error_already_set();
            const size_t taken = takenOf(result, count);
            if (taken == 0 || taken > count)
                throw py::value_error("into: write took " + std::to_string(taken) + " of " +
                                      std::to_string(count) + " bytes");
            at += taken;
            count -= taken;
            used += taken;
        }
    }

    size_t takenOf(const py::object& result, size_t count) const {
        if (result.is_none())
            return raw ? 0 : count;
        if (!PyIndex_Check(result.ptr()) || PyBool_Check(result.ptr()))
            throw py::type_error("into: write gave a " + typeOf(result) +
                                 ", not None or the number of bytes that it took");
        return static_cast<size_t>(std::max<int64_t>(0, nearestNumber(result)));
    }
};

} // namespace

void throwError(int32_t status, const std::string& text) {
    const bool argument = status == ENC_STATUS_BADARG || status == ENC_STATUS_NOTSUPPORTED;
    const py::object type =
        py::module_::import("velajpeg.errors").attr(argument ? "ArgumentError" : "Error");
    const py::object error = type(text, status);
    PyErr_SetObject(type.ptr(), error.ptr());
    throw py::error_already_set();
}

Encoder::Own::Own() : encoder(velaEncoderNew()), process(getpid()) {
    if (!encoder)
        throw std::bad_alloc();
}

Encoder::Encoder() : own_(std::make_unique<Own>()) {
    // pybind11's exceptions wait for ever in others.
    if (PyInterpreterState_Get() != PyInterpreterState_Main())
        throw std::runtime_error("velajpeg works in Python's main interpreter alone");
}

Encoder::~Encoder() {
    if (own_->process != getpid())
        static_cast<void>(own_.release());
}

Encoder::Own& Encoder::own() const {
    if (own_->process != getpid()) {
        auto fresh = std::make_unique<Own>();
        static_cast<void>(own_.release());
        own_ = std::move(fresh);
    }
    return *own_;
}

py::object Encoder::encode(Picture& picture, const Options& options, const py::object& into) {
    if (options.c().maxBytes > 0) {
        const OthersRun others;
        picture.gather();
    }
    const Turn turn = takeTurn(own().turn);
    if (into.is_none())
        return toBytes(picture, options);
    if (PyObject_CheckBuffer(into.ptr()) && !py::hasattr(into, "write"))
        return toBuffer(picture, options, into);
    if (py::hasattr(into, "write"))
        return toWriter(picture, options, into);
    throw py::type_error("into is a " + typeOf(into) +
                         "; a writable buffer, or an object with a method write, is wanted");
}

/// velaEncode without the GIL, to what has take(bytes, count) as VelaWrite has.
template <class Sink>
int32_t Encoder::run(const Picture& picture, const Options& options, Sink& sink) {
    OthersRun others;
    struct Context {
        Sink& sink;
        OthersRun& others;
    } context = {sink, others};
    return velaEncode(
        own_->encoder.get(), &picture.image(), &options.c(),
        [](void* where, const void* bytes, size_t count) {
            const auto& to = *static_cast<Context*>(where);
            return to.sink.take(bytes, count, to.others);
        },
        &context);
}

py::bytes Encoder::toBytes(const Picture& picture, const Options& options) {
    NewBytes bytes(picture.image());
    const int32_t status = run(picture, options, bytes);
    if (status == VELA_STATUS_WRITE)
        throw std::bad_alloc();
    check(status);
    return bytes.finish();
}

py::int_ Encoder::toBuffer(const Picture& picture, const Options& options,
                           const py::object& buffer) {
    Room room(buffer);
    const int32_t status = run(picture, options, room);
    if (status == VELA_STATUS_WRITE)
        throwError(status,
                   "into has " + std::to_string(room.buffer.len) + " bytes, the stream is longer");
    check(status);
    return py::int_(room.used);
}

py::int_ Encoder::toWriter(const Picture& picture, const Options& options,
                           const py::object& object) {
    Writer writer(object);
    const int32_t status = run(picture, options, writer);
    if (writer.thrown)
        std::rethrow_exception(writer.thrown);
    check(status);
    return py::int_(writer.used);
}

void Encoder::check(int32_t status) const {
    if (status == ENC_STATUS_OK)
        return;
    const std::string text = velaErrorText(own_->encoder.get());
    throwError(status, text.empty() ? velaStatusText(status) : text);
}

py::object Encoder::qualityUsed() const {
    const Turn turn = takeTurn(own().turn);
    const int32_t quality = velaQualityUsed(own_->encoder.get());
    return quality < 0 ? py::object(py::none()) : py::object(py::int_(quality));
}

} // namespace velajpeg_python
