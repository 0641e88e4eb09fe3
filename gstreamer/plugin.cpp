// What GStreamer loads.
#include "gstreamer/velajpegenc.h"
#include "vela/version.h"

#define PACKAGE "velajpeg" // asked for by GST_PLUGIN_DEFINE

static gboolean registerElements(GstPlugin* plugin) {
    return GST_ELEMENT_REGISTER(velajpegenc, plugin);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, velajpeg, "JPEG encoder of Vela JPEG",
                  registerElements, VELA_VERSION_TEXT, "BSD", "velajpeg", "Vela JPEG")
