// The module velajpeg._velajpeg: what the package's Python files are a friendly face of.
#include "encoder.h"

namespace velajpeg_python {
namespace {

std::string versionText() {
    const uint32_t version = velaVersion();
    return std::to_string(version >> 16) + "." + std::to_string(version >> 8 & 0xFF) + "." +
           std::to_string(version & 0xFF);
}

py::object encodeArray(Encoder& encoder, const py::object& array, const py::object& order,
                       const py::object& into, const py::dict& options) {
    const Options checked(options);
    Picture picture = pictureOfArray(array, order);
    return encoder.encode(picture, checked, into);
}

py::object encodeFrame(Encoder& encoder, const py::object& planes, const py::object& format,
                       const py::object& size, const py::object& strides, const py::object& range,
                       const py::object& matrix, const py::object& into, const py::dict& options) {
    const Options checked(options);
    Picture picture = pictureOfFrame(planes, format, size, strides, range, matrix);
    return encoder.encode(picture, checked, into);
}

} // namespace
} // namespace velajpeg_python

PYBIND11_MODULE(_velajpeg, module) {
    using namespace velajpeg_python;
    module.attr("__version__") = versionText();
    py::class_<Encoder>(module, "Encoder")
        .def(py::init<>())
        .def("encode", &encodeArray, py::arg("array"), py::arg("order"), py::arg("into"),
             py::arg("options"))
        .def("encode_frame", &encodeFrame, py::arg("planes"), py::arg("format"), py::arg("size"),
             py::arg("strides"), py::arg("range"), py::arg("matrix"), py::arg("into"),
             py::arg("options"))
        .def_property_readonly("quality_used", &Encoder::qualityUsed);
}
