// What callers give for arguments that are words or numbers.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

namespace velajpeg_python {

namespace py = pybind11;

/// The name of an object's type.
std::string typeOf(const py::handle& object);

/// str(object) in UTF-8; what is no text in Unicode, as Python's escapes.
std::string textOf(const py::handle& object);

/// Throws TypeError, which names the argument, for what is no str.
std::string stringArgument(const std::string& name, const py::object& value);

/// Of what has __index__: the number, or the nearest one that there is.
int64_t nearestNumber(const py::handle& value);

[[noreturn]] void refuseType(const std::string& name, const char* wanted, const py::object& value);

} // namespace velajpeg_python
