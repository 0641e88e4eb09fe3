#include "gstreamer/settings.h"

namespace vela::gst {
namespace {

enum Property : guint {
    kQuality = 1, // GObject keeps 0
    kSnapshot,
    kProgressive,
    kRestartRows,
    kSubsampling,
    kThreads,
    kMaxBytes
};

GType subsamplingType() {
    static const GEnumValue values[] = {
        {VELA_SUBSAMPLING_AUTO, "That of YCbCr frames; of RGB 4:2:0", "auto"},
        {VELA_SUBSAMPLING_444, "Full resolution", "444"},
        {VELA_SUBSAMPLING_422, "Halved across", "422"},
        {VELA_SUBSAMPLING_420, "Halved across and down", "420"},
        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("GstVelaJpegEncSubsampling", values);
    return type;
}

} // namespace

void Settings::install(GObjectClass* object) {
    constexpr auto kFlags =
        GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
    const Settings usual;
    const auto add = [object](Property id, GParamSpec* spec) {
        g_object_class_install_property(object, id, spec);
    };
    add(kQuality, g_param_spec_int("quality", "Quality", "Quality of encoding", 0, 100,
                                   usual.quality, kFlags));
    add(kSnapshot, g_param_spec_boolean("snapshot", "Snapshot",
                                        "Send EOS after encoding a frame, useful for snapshots",
                                        usual.snapshot, kFlags));
    add(kProgressive,
        g_param_spec_boolean("progressive", "Progressive",
                             "Progressive streams, smaller and slower, instead of baseline",
                             usual.progressive, kFlags));
    add(kRestartRows,
        g_param_spec_int("restart-rows", "Restart rows",
                         "MCU rows per restart interval; 0: no restart markers; -1: none, or 1 "
                         "where threads is not 1",
                         -1, 65535, usual.restartRows, kFlags));
    add(kSubsampling,
        g_param_spec_enum("subsampling", "Subsampling",
                          "Resolution of chroma; formats with another one are not accepted",
                          subsamplingType(), usual.subsampling, kFlags));
    add(kThreads, g_param_spec_int("threads", "Threads",
                                   "Threads that encode a frame; 0: as many as the machine has", 0,
                                   1024, usual.threads, kFlags));
    add(kMaxBytes,
        g_param_spec_uint("max-bytes", "Most bytes",
                          "Streams have at most so many bytes, at the best quality up to the one "
                          "given; 0: no limit",
                          0, G_MAXUINT, usual.maxBytes, kFlags));
    gst_type_mark_as_plugin_api(subsamplingType(), GstPluginAPIFlags(0));
}

bool Settings::set(guint id, const GValue* value) {
    switch (id) {
    case kQuality:
        quality = g_value_get_int(value);
        return true;
    case kSnapshot:
        snapshot = g_value_get_boolean(value);
        return true;
    case kProgressive:
        progressive = g_value_get_boolean(value);
        return true;
    case kRestartRows:
        restartRows = g_value_get_int(value);
        return true;
    case kSubsampling:
        subsampling = VelaSubsampling(g_value_get_enum(value));
        return true;
    case kThreads:
        threads = g_value_get_int(value);
        return true;
    case kMaxBytes:
        maxBytes = g_value_get_uint(value);
        return true;
    default:
        return false;
    }
}

bool Settings::get(guint id, GValue* value) const {
    switch (id) {
    case kQuality:
        g_value_set_int(value, quality);
        return true;
    case kSnapshot:
        g_value_set_boolean(value, snapshot);
        return true;
    case kProgressive:
        g_value_set_boolean(value, progressive);
        return true;
    case kRestartRows:
        g_value_set_int(value, restartRows);
        return true;
    case kSubsampling:
        g_value_set_enum(value, subsampling);
        return true;
    case kThreads:
        g_value_set_int(value, threads);
        return true;
    case kMaxBytes:
        g_value_set_uint(value, maxBytes);
        return true;
    default:
        return false;
    }
}

VelaOptions Settings::options() const {
    VelaOptions options;
    velaOptionsInit(&options);
    options.quality = quality;
    options.progressive = progressive;
    options.restartRows = restartRows;
    options.subsampling = subsampling;
    options.threads = threads;
    options.maxBytes = maxBytes;
    return options;
}

} // namespace vela::gst
