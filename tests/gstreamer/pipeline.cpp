#include "gstreamer/pipeline.h"

#include <gst/app/app.h>
#include <gtest/gtest.h>

namespace test {

Pipeline::Pipeline(const std::string& description) {
    GError* error = nullptr;
    pipeline_ = gst_parse_launch(description.c_str(), &error);
    EXPECT_EQ(error, nullptr) << description << ": " << (error != nullptr ? error->message : "");
    g_clear_error(&error);
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
}

Pipeline::~Pipeline() {
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(pipeline_);
}

GstElement* Pipeline::element(const char* name) {
    GstElement* const element = gst_bin_get_by_name(GST_BIN(pipeline_), name);
    gst_object_unref(element); // the pipeline keeps it
    return element;
}

void Pipeline::feed(GstBuffer* buffer) {
    EXPECT_EQ(gst_app_src_push_buffer(GST_APP_SRC(element("in")), buffer), GST_FLOW_OK);
}

void Pipeline::endFeed() {
    gst_app_src_end_of_stream(GST_APP_SRC(element("in")));
}

Bytes Pipeline::next() {
    GstSample* const sample =
        gst_app_sink_try_pull_sample(GST_APP_SINK(element("out")), 20 * GST_SECOND);
    if (sample == nullptr)
        return {};
    gchar* const caps = gst_caps_to_string(gst_sample_get_caps(sample));
    caps_ = caps;
    g_free(caps);
    GstMapInfo map;
    EXPECT_TRUE(gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ));
    Bytes bytes(map.data, map.data + map.size);
    gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
    gst_sample_unref(sample);
    return bytes;
}

std::string Pipeline::run() {
    GstBus* const bus = gst_element_get_bus(pipeline_);
    GstMessage* const message = gst_bus_timed_pop_filtered(
        bus, 30 * GST_SECOND, GstMessageType(int{GST_MESSAGE_ERROR} | int{GST_MESSAGE_EOS}));
    gst_object_unref(bus);
    if (message == nullptr)
        return "it does not end";
    std::string text;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        text = error->message;
        g_error_free(error);
    }
    gst_message_unref(message);
    return text;
}

} // namespace test
