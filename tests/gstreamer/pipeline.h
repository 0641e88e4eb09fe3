// A pipeline that runs to its end, as gst-launch-1.0 has it.
#pragma once

#include <gst/gst.h>

#include <string>

#include "gstreamer/element.h"

namespace test {

class Pipeline {
public:
    explicit Pipeline(const std::string& description);
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    /// Pushes a frame into the appsrc called "in".
    void feed(GstBuffer* buffer);
    /// Ends what comes from "in".
    void endFeed();
    /// The next sample of the appsink called "out": its bytes; empty at the end.
    Bytes next();
    /// Runs until everything is done; what was posted as an error, or "".
    std::string run();
    /// The caps of the last sample.
    const std::string& caps() const { return caps_; }
    GstElement* element(const char* name);

private:
    GstElement* pipeline_;
    std::string caps_;
};

} // namespace test
