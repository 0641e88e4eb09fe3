#include "arguments.h"

#include <limits>

namespace velajpeg_python {

std::string typeOf(const py::handle& object) {
    return textOf(py::type::handle_of(object).attr("__name__"));
}

std::string textOf(const py::handle& object) {
    const auto text = py::reinterpret_steal<py::object>(
        PyUnicode_AsEncodedString(py::str(object).ptr(), "utf-8", "backslashreplace"));
    if (!text)
        throw py::error_already_set();
    return {PyBytes_AS_STRING(text.ptr()), static_cast<size_t>(PyBytes_GET_SIZE(text.ptr()))};
}

std::string stringArgument(const std::string& name, const py::object& value) {
    if (!py::isinstance<py::str>(value))
        refuseType(name, "a str", value);
    return textOf(value);
}

int64_t nearestNumber(const py::handle& value) {
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!number)
        throw py::error_already_set();
    int overflow = 0;
    const long long wide = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    if (overflow != 0)
        return overflow < 0 ? std::numeric_limits<int64_t>::min()
                            : std::numeric_limits<int64_t>::max();
    return wide;
}

void refuseType(const std::string& name, const char* wanted, const py::object& value) {
    throw py::type_error(name + " must be " + wanted + ", not " + typeOf(value));
}

} // namespace velajpeg_python
