// Somebody's memory as Python hands it over: an array of bytes with a shape and strides.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velajpeg_python {

namespace py = pybind11;

/// Any object with the buffer protocol, or else with __array_interface__ (PIL's images), as an array of uint8.
/// The memory stays where it is, and is held until the view goes, which needs the GIL as making one does.
class View {
public:
    /// name is the argument's, for messages. Throws TypeError for what has no memory to show, ValueError for
    /// samples that are not uint8.
    View(const py::object& object, const std::string& name);
    View(View&& other) noexcept;
    View& operator=(View&&) = delete;
    ~View();

    const uint8_t* data() const { return data_; }
    const std::vector<int64_t>& shape() const { return shape_; }
    const std::vector<int64_t>& strides() const { return strides_; } // in bytes
    const std::string& name() const { return name_; }
    size_t dimensions() const { return shape_.size(); }

    /// Elements of the dimensions from the first one on.
    int64_t count(size_t first = 0) const;
    /// Whether the dimensions from the first one on lie in memory without gaps, the last one fastest.
    bool isDense(size_t first = 0) const;
    /// As Python writes it: (480, 640, 3).
    std::string shapeText() const;

private:
    void useBuffer(const py::object& object);
    void useArrayInterface(const py::dict& interface);
    bool staysWithin(int64_t offset, int64_t bytes) const;

    std::string name_;
    Py_buffer buffer_{}; // obj is null where there is none
    py::object owner_;   // of memory that an address was given for
    const uint8_t* data_ = nullptr;
    std::vector<int64_t> shape_, strides_;
};

} // namespace velajpeg_python
