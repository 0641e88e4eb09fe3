// What tag events say that a JPEG file can hold.
#pragma once

#include <gst/gst.h>

#include <string>

#include "vela/easy.h"

namespace vela::gst {

class StreamTags {
public:
    /// Takes over what the list has; what it has not stays.
    void take(GstTagList* tags);
    void clear();
    /// Sets the options' comment and orientation; valid until the next call of another function.
    void set(VelaOptions& options) const;

private:
    std::string comment_;
    int orientation_ = 0; // as Exif has it
};

} // namespace vela::gst
