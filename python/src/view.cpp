#include "view.h"

#include <algorithm>
#include <utility>

#include "arguments.h"

namespace velajpeg_python {
namespace {

/// What the object's own library calls its samples, else the name that the protocol has.
std::string dtypeOf(const py::object& object, const std::string& protocolName) {
    if (py::hasattr(object, "dtype"))
        return textOf(object.attr("dtype"));
    return protocolName;
}

std::string imageMode(const py::object& object) {
    return py::hasattr(object, "mode") ? " (mode " + textOf(object.attr("mode")) + ")" : "";
}

[[noreturn]] void refuseSamples(const std::string& name, const std::string& dtype,
                                const std::string& shape, const std::string& mode = "") {
    throw py::value_error(name + " has dtype " + dtype + " and shape " + shape + mode +
                          "; samples must be uint8");
}

/// Of a buffer's format: what is one unsigned byte. "c" is what memoryview.cast calls it.
bool isByteFormat(const char* format) {
    if (!format)
        return true;
    std::string text = format;
    if (!text.empty() && std::string("@=<>!").find(text[0]) != std::string::npos)
        text.erase(0, 1);
    return text == "B" || text == "c";
}

/// Of rows without gaps, in bytes.
std::vector<int64_t> denseStrides(const std::vector<int64_t>& shape) {
    std::vector<int64_t> strides(shape.size(), 1);
    for (size_t i = shape.size(); i-- > 1;)
        strides[i - 1] = static_cast<int64_t>(static_cast<uint64_t>(strides[i]) *
                                              static_cast<uint64_t>(shape[i])); // checked later
    return strides;
}

/// An entry of __array_interface__ that is a tuple of numbers.
std::vector<int64_t> numbersOf(const py::object& entry) {
    std::vector<int64_t> numbers;
    for (const py::handle number : py::tuple(entry))
        numbers.push_back(nearestNumber(number));
    return numbers;
}

} // namespace

View::View(const py::object& object, const std::string& name) : name_(name) {
    if (PyObject_CheckBuffer(object.ptr())) {
        useBuffer(object);
    } else if (py::hasattr(object, "__array_interface__")) {
        owner_ = object;
        try {
            useArrayInterface(object.attr("__array_interface__"));
        } catch (py::error_already_set& error) {
            if (!error.matches(PyExc_Exception))
                throw;
            const std::string text = name_ + ": its __array_interface__ is not what it should be";
            py::raise_from(error, PyExc_ValueError, text.c_str());
            throw py::error_already_set();
        }
    } else {
        throw py::type_error(
            name_ + " is a " + typeOf(object) +
            "; an array is wanted, with the buffer protocol or __array_interface__");
    }
}

View::View(View&& other) noexcept
    : name_(std::move(other.name_)), buffer_(std::exchange(other.buffer_, Py_buffer{})),
      owner_(std::move(other.owner_)), data_(other.data_), shape_(std::move(other.shape_)),
      strides_(std::move(other.strides_)) {}

View::~View() {
    if (buffer_.obj)
        PyBuffer_Release(&buffer_);
}

void View::useBuffer(const py::object& object) {
    // Into a place that stays: exporters may keep pointers into the record itself, and give its shape
    // as one of them; what is needed of it is copied.
    if (PyObject_GetBuffer(object.ptr(), &buffer_, PyBUF_RECORDS_RO) != 0) {
        buffer_.obj = nullptr;
        throw py::error_already_set();
    }
    shape_.assign(buffer_.shape, buffer_.shape + buffer_.ndim);
    data_ = static_cast<const uint8_t*>(buffer_.buf);
    if (buffer_.itemsize == 1 && isByteFormat(buffer_.format)) {
        // The arrays of ctypes have none, whatever they are asked for.
        if (buffer_.strides)
            strides_.assign(buffer_.strides, buffer_.strides + buffer_.ndim);
        else
            strides_ = denseStrides(shape_);
        return;
    }
    const std::string dtype = dtypeOf(
        object, buffer_.format ? buffer_.format : std::to_string(buffer_.itemsize) + " bytes");
    const std::string shape = shapeText();
    PyBuffer_Release(&buffer_); // the destructor does not run where the constructor throws
    refuseSamples(name_, dtype, shape);
}

void View::useArrayInterface(const py::dict& interface) {
    const std::string type = textOf(interface["typestr"]);
    if (type != "|u1")
        refuseSamples(name_, dtypeOf(owner_, type), textOf(interface["shape"]), imageMode(owner_));
    shape_ = numbersOf(interface["shape"]);
    const py::object strides = interface.attr("get")("strides");
    strides_ = strides.is_none() ? denseStrides(shape_) : numbersOf(strides);
    const py::object data = interface["data"];
    if (py::isinstance<py::tuple>(data)) {
        const int64_t address = nearestNumber(py::object(data[py::int_(0)]));
        const auto end = std::min<uint64_t>(UINTPTR_MAX, INT64_MAX);
        if (address <= 0 || !staysWithin(address, static_cast<int64_t>(end)))
            throw py::value_error(name_ + ": its __array_interface__ has shape " + shapeText() +
                                  " and an address or strides that cannot be");
        data_ = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(address));
        return;
    }
    const int64_t offset = nearestNumber(interface.attr("get")("offset", 0));
    if (PyObject_GetBuffer(data.ptr(), &buffer_, PyBUF_SIMPLE) != 0) {
        buffer_.obj = nullptr;
        throw py::error_already_set();
    }
    if (!staysWithin(offset, buffer_.len)) {
        PyBuffer_Release(&buffer_);
        throw py::value_error(name_ + ": its __array_interface__ has " + shapeText() +
                              " samples beyond its data");
    }
    data_ = static_cast<const uint8_t*>(buffer_.buf) + offset;
}

/// Whether all elements lie in so many bytes, the first one at offset. In double, which has room for what
/// does not.
bool View::staysWithin(int64_t offset, int64_t bytes) const {
    if (strides_.size() != shape_.size() ||
        std::any_of(shape_.begin(), shape_.end(), [](int64_t extent) { return extent < 0; }))
        return false;
    if (std::find(shape_.begin(), shape_.end(), 0) != shape_.end())
        return offset >= 0 && offset <= bytes;
    auto low = static_cast<double>(offset), high = low;
    for (size_t i = 0; i < shape_.size(); ++i)
        (strides_[i] < 0 ? low : high) +=
            static_cast<double>(strides_[i]) * static_cast<double>(shape_[i] - 1);
    return low >= 0 && high < static_cast<double>(bytes);
}

int64_t View::count(size_t first) const {
    int64_t all = 1;
    for (size_t i = first; i < shape_.size(); ++i)
        all *= shape_[i];
    return all;
}

bool View::isDense(size_t first) const {
    int64_t expected = 1;
    for (size_t i = shape_.size(); i-- > first;) {
        if (shape_[i] != 1 && strides_[i] != expected)
            return false;
        expected *= shape_[i];
    }
    return true;
}

std::string View::shapeText() const {
    std::string text = "(";
    for (const int64_t extent : shape_)
        text += (text.size() > 1 ? ", " : "") + std::to_string(extent);
    return text + (shape_.size() == 1 ? ",)" : ")");
}

} // namespace velajpeg_python
