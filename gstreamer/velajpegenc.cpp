#include "gstreamer/velajpegenc.h"

#include "gstreamer/input_picture.h"
#include "gstreamer/output_pool.h"
#include "gstreamer/settings.h"
#include "gstreamer/stream_tags.h"
#include "vela/easy.h"

using vela::gst::InputPicture;
using vela::gst::OutputPool;
using vela::gst::Settings;
using vela::gst::StreamTags;
using vela::gst::subsamplingName;
using vela::gst::subsamplingOf;

GST_DEBUG_CATEGORY_STATIC(velajpegenc_debug);
#define GST_CAT_DEFAULT velajpegenc_debug

namespace {

/// What the caps of the streams follow, beside the frames' own.
struct StreamShape {
    gint width, height;
    bool progressive;
    bool operator==(const StreamShape&) const = default;
};

} // namespace

/// Settings are read and written under the object's lock, all else by the streaming thread alone, or while
/// that does not run.
struct _GstVelaJpegEnc {
    GstVideoEncoder parent;

    Settings settings;
    VelaEncoder* encoder;
    GstVideoCodecState* input;
    StreamShape output;     // of the caps that went out, or all 0
    bool droppedTooLarge;   // the last frame, for maxBytes
    bool toldOfSubsampling; // that what comes has another one than asked for
    OutputPool* pool;
    StreamTags* tags;
};

G_DEFINE_FINAL_TYPE(GstVelaJpegEnc, gst_vela_jpeg_enc, GST_TYPE_VIDEO_ENCODER)
GST_ELEMENT_REGISTER_DEFINE(velajpegenc, "velajpegenc", GST_RANK_NONE, gst_vela_jpeg_enc_get_type())

namespace {

GstVideoEncoderClass* parentClass() {
    return GST_VIDEO_ENCODER_CLASS(gst_vela_jpeg_enc_parent_class);
}

// ------------------------------------------------------------------------------------ settings

Settings settingsOf(GstVelaJpegEnc* self) {
    GST_OBJECT_LOCK(self);
    const Settings settings = self->settings;
    GST_OBJECT_UNLOCK(self);
    return settings;
}

/// Asks for frames from which the new resolution of chroma can be made, if what sends can give them.
void renegotiate(GstVelaJpegEnc* self, VelaSubsampling subsampling) {
    GstPad* const pad = GST_VIDEO_ENCODER_SINK_PAD(self);
    GstCaps* const current = gst_pad_get_current_caps(pad);
    if (current == nullptr)
        return; // nothing has been agreed on yet
    GstCaps* const wanted = vela::gst::inputCaps(subsampling);
    GstCaps* const offered = gst_pad_peer_query_caps(pad, wanted);
    if (!gst_caps_is_empty(offered))
        gst_pad_push_event(pad, gst_event_new_reconfigure());
    gst_caps_unref(offered);
    gst_caps_unref(wanted);
    gst_caps_unref(current);
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(object);
    GST_OBJECT_LOCK(self);
    const VelaSubsampling before = self->settings.subsampling;
    const bool known = self->settings.set(id, value);
    const VelaSubsampling after = self->settings.subsampling;
    GST_OBJECT_UNLOCK(self);
    if (!known)
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    if (after != before)
        renegotiate(self, after);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
    if (!settingsOf(GST_VELA_JPEG_ENC(object)).get(id, value))
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

// ------------------------------------------------------------------------------- start and stop

void forgetInput(GstVelaJpegEnc* self) {
    if (self->input != nullptr)
        gst_video_codec_state_unref(self->input);
    self->input = nullptr;
    self->output = {};
    self->droppedTooLarge = self->toldOfSubsampling = false;
}

gboolean start(GstVideoEncoder* base) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(base);
    self->encoder = velaEncoderNew();
    if (self->encoder == nullptr)
        GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, (nullptr), ("no memory for an encoder"));
    return self->encoder != nullptr;
}

gboolean stop(GstVideoEncoder* base) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(base);
    forgetInput(self);
    self->tags->clear();
    self->pool->clear();
    velaEncoderDelete(self->encoder);
    self->encoder = nullptr;
    return TRUE;
}

void finalize(GObject* object) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(object);
    delete self->tags;
    delete self->pool;
    G_OBJECT_CLASS(gst_vela_jpeg_enc_parent_class)->finalize(object);
}

// ------------------------------------------------------------------------------------ agreement

GstCaps* getCaps(GstVideoEncoder* base, GstCaps* filter) {
    GstCaps* const ours = vela::gst::inputCaps(settingsOf(GST_VELA_JPEG_ENC(base)).subsampling);
    GstCaps* const caps = gst_video_encoder_proxy_getcaps(base, ours, filter);
    gst_caps_unref(ours);
    return caps;
}

gboolean setFormat(GstVideoEncoder* base, GstVideoCodecState* state) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(base);
    forgetInput(self);
    self->input = gst_video_codec_state_ref(state);
    return TRUE;
}

gboolean proposeAllocation(GstVideoEncoder* base, GstQuery* query) {
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    gst_query_add_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr);
    return parentClass()->propose_allocation(base, query);
}

gboolean decideAllocation(GstVideoEncoder* base, GstQuery* query) {
    if (!parentClass()->decide_allocation(base, query))
        return FALSE;
    GstAllocator* allocator = nullptr;
    GstAllocationParams params;
    gst_query_parse_nth_allocation_param(query, 0, &allocator, &params);
    OutputPool& pool = *GST_VELA_JPEG_ENC(base)->pool;
    pool.configure(allocator, params);
    gst_clear_object(&allocator);
    return TRUE;
}

/// The caps that go out: of the first frame, and where a crop or a setting has changed what they say.
GstFlowReturn agreeOnOutput(GstVelaJpegEnc* self, const StreamShape& shape) {
    if (self->output == shape)
        return GST_FLOW_OK;
    GstCaps* const caps = gst_caps_new_simple("image/jpeg", "parsed", G_TYPE_BOOLEAN, TRUE,
                                              "sof-marker", G_TYPE_INT, shape.progressive ? 2 : 0,
                                              nullptr); // the n of SOFn in ITU-T T.81
    GstVideoEncoder* const base = GST_VIDEO_ENCODER(self);
    GstVideoCodecState* const state = gst_video_encoder_set_output_state(base, caps, self->input);
    state->info.width = shape.width;
    state->info.height = shape.height;
    state->info.colorimetry.range = GST_VIDEO_COLOR_RANGE_0_255; // JFIF's
    state->info.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_BT601;
    gst_video_codec_state_unref(state);
    self->pool->expect(gsize(shape.width) * gsize(shape.height) / 4);
    if (!gst_video_encoder_negotiate(base))
        return GST_PAD_IS_FLUSHING(GST_VIDEO_ENCODER_SRC_PAD(self)) ? GST_FLOW_FLUSHING
                                                                    : GST_FLOW_NOT_NEGOTIATED;
    self->output = shape;
    return GST_FLOW_OK;
}

// --------------------------------------------------------------------------------------- frames

/// JFIF's density without a unit gives the shape of pixels that are not square (ITU-T T.871: vertical to
/// horizontal density is width to height of a pixel).
void setPixelShape(const GstVideoInfo& info, VelaOptions& options) {
    const gint width = GST_VIDEO_INFO_PAR_N(&info), height = GST_VIDEO_INFO_PAR_D(&info);
    if (width == height || width < 1 || height < 1 || width > 65535 || height > 65535)
        return;
    options.densityUnits = 0;
    options.xDensity = height;
    options.yDensity = width;
}

/// The frame's own resolution of chroma where it has one: frames that were under way when another one was
/// asked for are encoded as they are, and those of a sender that has no other.
void useOwnSubsampling(GstVelaJpegEnc* self, VelaOptions& options) {
    const GstVideoFormat format = GST_VIDEO_INFO_FORMAT(&self->input->info);
    const VelaSubsampling own = subsamplingOf(format), asked = options.subsampling;
    const bool differs =
        own != VELA_SUBSAMPLING_AUTO && asked != VELA_SUBSAMPLING_AUTO && own != asked;
    if (differs) {
        options.subsampling = VELA_SUBSAMPLING_AUTO;
        if (!self->toldOfSubsampling)
            GST_ELEMENT_WARNING(self, STREAM, FORMAT,
                                ("Subsampling stays %s, which %s has, until frames come from which "
                                 "%s can be made.",
                                 subsamplingName(own), gst_video_format_to_string(format),
                                 subsamplingName(asked)),
                                ("RGB and grey formats allow every subsampling"));
    }
    self->toldOfSubsampling = differs;
}

int appendToPool(void* pool, const void* bytes, size_t count) {
    return static_cast<OutputPool*>(pool)->append(bytes, count) ? 0 : 1;
}

/// Posts what has failed, and says how the stream goes on.
GstFlowReturn afterFailure(GstVelaJpegEnc* self, int32_t status, const VelaOptions& options) {
    const char* const text = velaErrorText(self->encoder);
    switch (status) {
    case VELA_STATUS_TOO_LARGE: // a limit of a network, say: the next frame may fit
        if (!self->droppedTooLarge)
            GST_ELEMENT_WARNING(self, STREAM, ENCODE,
                                ("Frames are dropped: max-bytes is %" G_GSIZE_FORMAT
                                 ", and at quality 0 they are longer.",
                                 options.maxBytes),
                                ("%s", text));
        self->droppedTooLarge = true;
        return GST_FLOW_OK;
    case VELA_STATUS_WRITE:
    case ENC_STATUS_NOMEM:
        GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, ("There is no memory to encode a frame."),
                          ("%s", text));
        return GST_FLOW_ERROR;
    default:
        GST_ELEMENT_ERROR(self, STREAM, ENCODE, ("A frame cannot be encoded: %s.", text),
                          ("%s", velaStatusText(status)));
        return GST_FLOW_ERROR;
    }
}

GstFlowReturn encode(GstVelaJpegEnc* self, const VelaImage& image, const Settings& settings,
                     GstVideoCodecFrame* frame) {
    const GstFlowReturn agreed =
        agreeOnOutput(self, {image.width, image.height, settings.progressive != FALSE});
    if (agreed != GST_FLOW_OK)
        return agreed;

    VelaOptions options = settings.options();
    self->tags->set(options);
    setPixelShape(self->input->info, options);
    useOwnSubsampling(self, options);
    OutputPool& pool = *self->pool;
    const int32_t status = pool.begin()
                               ? velaEncode(self->encoder, &image, &options, appendToPool, &pool)
                               : int32_t{ENC_STATUS_NOMEM};
    if (status != ENC_STATUS_OK) {
        pool.drop();
        return afterFailure(self, status, options);
    }
    self->droppedTooLarge = false;
    frame->output_buffer = pool.end();
    GST_VIDEO_CODEC_FRAME_SET_SYNC_POINT(frame);
    return GST_FLOW_OK;
}

GstFlowReturn handleFrame(GstVideoEncoder* base, GstVideoCodecFrame* frame) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(base);
    const Settings settings = settingsOf(self);
    GstFlowReturn result;
    {
        InputPicture picture;
        char* const wrong = picture.map(self->input->info, frame->input_buffer);
        if (wrong != nullptr) {
            GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("A frame cannot be read: %s.", wrong),
                              (nullptr));
            result = GST_FLOW_ERROR;
        } else {
            result = encode(self, picture.image(), settings, frame);
        }
        g_free(wrong);
    }
    if (result != GST_FLOW_OK) {
        gst_video_codec_frame_unref(frame);
        return result;
    }
    const bool hasStream = frame->output_buffer != nullptr;
    result = gst_video_encoder_finish_frame(base, frame); // without a stream: drops it
    return result == GST_FLOW_OK && hasStream && settings.snapshot ? GST_FLOW_EOS : result;
}

/// What goes over from a frame's buffer to its stream's: a crop has been made.
gboolean transformMeta(GstVideoEncoder* base, GstVideoCodecFrame* frame, GstMeta* meta) {
    return meta->info->api != GST_VIDEO_CROP_META_API_TYPE &&
           parentClass()->transform_meta(base, frame, meta);
}

gboolean sinkEvent(GstVideoEncoder* base, GstEvent* event) {
    GstVelaJpegEnc* const self = GST_VELA_JPEG_ENC(base);
    if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
        self->tags->clear();
    } else if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
        GstTagList* tags = nullptr;
        gst_event_parse_tag(event, &tags);
        self->tags->take(tags);
    }
    return parentClass()->sink_event(base, event);
}

} // namespace

static void gst_vela_jpeg_enc_init(GstVelaJpegEnc* self) {
    self->settings = Settings();
    self->pool = new OutputPool;
    self->tags = new StreamTags;
}

static void gst_vela_jpeg_enc_class_init(GstVelaJpegEncClass* type) {
    GST_DEBUG_CATEGORY_INIT(velajpegenc_debug, "velajpegenc", 0, "JPEG encoder of Vela JPEG");

    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    Settings::install(object);

    GstVideoEncoderClass* const encoder = GST_VIDEO_ENCODER_CLASS(type);
    encoder->start = start;
    encoder->stop = stop;
    encoder->getcaps = getCaps;
    encoder->set_format = setFormat;
    encoder->propose_allocation = proposeAllocation;
    encoder->decide_allocation = decideAllocation;
    encoder->handle_frame = handleFrame;
    encoder->transform_meta = transformMeta;
    encoder->sink_event = sinkEvent;

    GstElementClass* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(
        element, "Vela JPEG encoder", "Codec/Encoder/Image",
        "Encodes pictures and camera frames as JPEG, baseline or progressive",
        "The Vela JPEG authors");
    GstCaps* caps = vela::gst::inputCaps(VELA_SUBSAMPLING_AUTO);
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
    caps = gst_caps_from_string("image/jpeg, width = [ 1, 65535 ], height = [ 1, 65535 ], "
                                "framerate = [ 0/1, 2147483647/1 ], parsed = true, "
                                "sof-marker = { 0, 2 }");
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
}
