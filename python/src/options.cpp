#include "options.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace velajpeg_python {
namespace {

/// What does not fit becomes the nearest that does: the easy layer names the range that it wants.
template <class Number>
Number wholeNumber(const std::string& name, const py::object& value) {
    if (!PyIndex_Check(value.ptr()) || PyBool_Check(value.ptr()))
        refuseType(name, "a whole number", value);
    return static_cast<Number>(std::clamp<int64_t>(nearestNumber(value),
                                                   std::numeric_limits<Number>::min(),
                                                   std::numeric_limits<Number>::max()));
}

VelaSubsampling subsamplingOf(const py::object& value) {
    std::string name = textOf(value);
    name.erase(std::remove(name.begin(), name.end(), ':'), name.end());
    if (name == "444")
        return VELA_SUBSAMPLING_444;
    if (name == "422")
        return VELA_SUBSAMPLING_422;
    if (name == "420")
        return VELA_SUBSAMPLING_420;
    throw py::value_error("subsampling is " + textOf(py::repr(value)) +
                          ", not None, '444', '422' or '420'");
}

bool truth(const std::string& name, const py::object& value) {
    const int result = PyObject_IsTrue(value.ptr());
    if (result < 0)
        throw py::type_error(name + " must be true or false, not " + typeOf(value));
    return result != 0;
}

View block(const std::string& name, const py::object& value) {
    if (!PyObject_CheckBuffer(value.ptr()))
        refuseType(name, "bytes", value);
    View view(value, name);
    if (!view.isDense())
        throw py::value_error(name + " has gaps");
    return view;
}

} // namespace

Options::Options(const py::dict& keywords) {
    velaOptionsInit(&options_);
    for (const auto& [name, value] : keywords)
        set(name.cast<std::string>(), py::reinterpret_borrow<py::object>(value));
}

void Options::set(const std::string& name, const py::object& value) {
    if (name == "quality") {
        options_.quality = wholeNumber<int32_t>(name, value);
    } else if (name == "subsampling") {
        options_.subsampling = value.is_none() ? VELA_SUBSAMPLING_AUTO : subsamplingOf(value);
    } else if (name == "progressive") {
        options_.progressive = truth(name, value) ? 1 : 0;
    } else if (name == "restart_rows") {
        // 0 leaves it to the easy layer, which puts markers where threads need them.
        const auto rows = wholeNumber<int32_t>(name, value);
        if (rows < 0)
            throw py::value_error("restart_rows is " + std::to_string(rows) + ", not 0 or more");
        options_.restartRows = rows == 0 ? -1 : rows;
    } else if (name == "threads") {
        options_.threads = wholeNumber<int32_t>(name, value);
    } else if (name == "max_bytes") {
        const int64_t most = value.is_none() ? 0 : wholeNumber<int64_t>(name, value);
        if (!value.is_none() && most < 1)
            throw py::value_error("max_bytes is " + std::to_string(most) +
                                  ", not None, or 1 or more");
        options_.maxBytes = static_cast<size_t>(
            std::min<uint64_t>(static_cast<uint64_t>(most), std::numeric_limits<size_t>::max()));
    } else if (name == "exif") {
        setExif(value);
    } else if (name == "icc") {
        if (value.is_none())
            return;
        icc_.emplace(block(name, value));
        options_.icc = icc_->data();
        options_.iccSize = static_cast<size_t>(icc_->count());
    } else if (name == "comment") {
        if (value.is_none())
            return;
        comment_ = stringArgument(name, value);
        if (!PyUnicode_AsUTF8AndSize(value.ptr(), nullptr)) {
            PyErr_Clear();
            throw py::value_error("comment has surrogates, which are no text in UTF-8");
        }
        if (comment_.find('\0') != std::string::npos)
            throw py::value_error("comment has a null character");
        options_.comment = comment_.c_str();
    } else if (name == "density") {
        setDensity(value);
    } else if (name == "orientation") {
        options_.orientation = value.is_none() ? 0 : wholeNumber<int32_t>(name, value);
        if (!value.is_none() && options_.orientation == 0)
            throw py::value_error("orientation is 0, not None, or 1 to 8");
    } else {
        throw py::type_error("there is no option '" + name + "'");
    }
}

/// "Exif\0\0" before the TIFF structure, as other libraries hand it over, is taken off.
void Options::setExif(const py::object& value) {
    if (value.is_none())
        return;
    exif_.emplace(block("exif", value));
    const uint8_t* bytes = exif_->data();
    auto size = static_cast<size_t>(exif_->count());
    if (size >= 6 && std::memcmp(bytes, "Exif\0\0", 6) == 0) {
        bytes += 6;
        size -= 6;
    }
    options_.exif = bytes;
    options_.exifSize = size;
}

/// A number of dots per inch, (x, y) of them, or (x, y, unit).
void Options::setDensity(const py::object& value) {
    if (value.is_none())
        return;
    const char* const wanted =
        "density must be dots per inch, (x, y) or (x, y, 'inch', 'cm' or 'aspect')";
    py::tuple parts;
    if (PyNumber_Check(value.ptr()))
        parts = py::make_tuple(value, value);
    else if (py::isinstance<py::tuple>(value) || py::isinstance<py::list>(value))
        parts = py::tuple(value);
    if (parts.size() != 2 && parts.size() != 3)
        throw py::type_error(wanted);
    const std::string unit = parts.size() == 2 ? "inch" : textOf(parts[2]);
    if (unit != "inch" && unit != "cm" && unit != "aspect")
        throw py::value_error(std::string(wanted) + ", not '" + unit + "'");
    options_.densityUnits = unit == "inch" ? 1 : unit == "cm" ? 2 : 0;
    int32_t* const sides[2] = {&options_.xDensity, &options_.yDensity};
    for (size_t i = 0; i < 2; ++i) {
        const py::object part = parts[i];
        if (!PyNumber_Check(part.ptr()))
            throw py::type_error(wanted);
        double number = PyFloat_AsDouble(part.ptr());
        if (PyErr_Occurred()) {
            if (!PyErr_ExceptionMatches(PyExc_OverflowError))
                throw py::type_error(wanted);
            PyErr_Clear();
            number = HUGE_VAL;
        }
        if (!(number >= 0.5 && number < 65535.5))
            throw py::value_error("density is " + textOf(py::repr(value)) + ", not 1 to 65535");
        *sides[i] = static_cast<int32_t>(std::lround(number));
    }
}

} // namespace velajpeg_python
