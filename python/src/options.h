// The options of Python's calls.
#pragma once

#include <optional>
#include <string>

#include "arguments.h"
#include "vela/easy.h"
#include "view.h"

namespace velajpeg_python {

/// VelaOptions, and what holds the memory that they point to.
class Options {
public:
    /// From keywords and their values; those that are missing have their defaults. Throws TypeError or
    /// ValueError, which name the keyword.
    explicit Options(const py::dict& keywords);
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    const VelaOptions& c() const { return options_; }

private:
    void set(const std::string& name, const py::object& value);
    void setExif(const py::object& value);
    void setDensity(const py::object& value);

    VelaOptions options_;
    std::optional<View> exif_, icc_;
    std::string comment_;
};

} // namespace velajpeg_python
