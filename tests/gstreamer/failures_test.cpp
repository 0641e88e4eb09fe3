// Frames that are none, limits that cannot be met: what is posted, and how the stream goes on.
#include <gtest/gtest.h>

#include "gstreamer/element.h"

namespace {

using namespace test;

GstBuffer* shortened(const Frame& frame, gsize by) {
    GstBuffer* const whole = frame.buffer();
    GstBuffer* const part = gst_buffer_copy(whole);
    gst_buffer_set_size(part, gssize(gst_buffer_get_size(whole) - by));
    gst_buffer_unref(whole);
    return part;
}

TEST(GStreamerFailures, PostsAnErrorForAShortBuffer) {
    for (const FormatPair& format : kFormatPairs) {
        SCOPED_TRACE(format.name);
        Element element;
        element.setCaps(frameCaps(format, 64, 48));
        EXPECT_EQ(gst_harness_push(element.harness(), shortened(Frame(format, 64, 48), 1)),
                  GST_FLOW_ERROR);
        EXPECT_TRUE(element.pull().empty());
        const std::string message = element.message();
        EXPECT_TRUE(message.starts_with("error: A frame cannot be read: a buffer of ")) << message;
        EXPECT_EQ(element.message(), "");
    }
}

// With a GstVideoMeta nobody else looks whether the planes fit: the last byte that is needed is not there.
TEST(GStreamerFailures, PostsAnErrorForALayoutBeyondItsBuffer) {
    for (const FormatPair& format : kFormatPairs)
        for (const bool lacksOne : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << format.name << (lacksOne ? " short by 1" : " whole"));
            Element element;
            element.setCaps(frameCaps(format, 64, 48));
            const gsize gap = 16;
            const Frame frame(format, 64, 48, 1, int(gap));
            const gsize planes =
                gst_video_format_get_info(gst_video_format_from_string(format.name))->n_planes;
            const gsize afterLast = gap + (gap + planes - 1); // after the plane, after its last row
            const GstFlowReturn result = gst_harness_push(
                element.harness(), shortened(frame, afterLast + (lacksOne ? 1 : 0)));
            EXPECT_EQ(result, lacksOne ? GST_FLOW_ERROR : GST_FLOW_OK);
            EXPECT_EQ(element.pull().empty(), lacksOne);
            EXPECT_EQ(element.message().starts_with("error: A frame cannot be read: plane "),
                      lacksOne);
        }
}

TEST(GStreamerFailures, PostsAnErrorForACropOutsideTheFrame) {
    Frame frame(kNv12, 64, 48);
    GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(frame.own());
    struct Region {
        guint x, y, width, height;
    };
    for (const Region& region :
         {Region{64, 0, 8, 8}, {0, 48, 8, 8}, {0, 0, 0, 8}, {G_MAXUINT, G_MAXUINT, 8, 8}}) {
        crop->x = region.x;
        crop->y = region.y;
        crop->width = region.width;
        crop->height = region.height;
        Element element;
        element.setCaps(frameCaps(kNv12, 64, 48));
        EXPECT_EQ(element.push(frame), GST_FLOW_ERROR);
        EXPECT_TRUE(element.message().starts_with("error: A frame cannot be read: the crop "));
    }
    // A crop that reaches beyond the frame ends with it.
    crop->x = crop->y = 32;
    crop->width = crop->height = G_MAXUINT;
    Element element;
    element.setCaps(frameCaps(kNv12, 64, 48));
    EXPECT_TRUE(element.encode(frame) == easyStream(frame.crop(32, 32, 32, 16)));
}

TEST(GStreamerFailures, PostsTheEasyLayersWordsForSettingsThatItRefuses) {
    const FormatPair grey = {"GRAY8", VELA_FORMAT_GRAY8};
    Element element("restart-rows=10"); // of 8192 MCUs each
    element.setCaps(frameCaps(grey, 65535, 8));
    EXPECT_EQ(element.push(Frame(grey, 65535, 8)), GST_FLOW_ERROR);
    const std::string message = element.message();
    EXPECT_TRUE(message.starts_with("error: A frame cannot be encoded: restartRows is 10"))
        << message;
}

TEST(GStreamerFailures, DropsFramesThatAreLongerThanAllowedAndGoesOn) {
    Element element("max-bytes=700");
    element.setCaps(frameCaps(kNv12, 320, 240));
    const Frame frame(kNv12, 320, 240);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(element.push(frame), GST_FLOW_OK);
        EXPECT_TRUE(element.pull().empty());
    }
    const std::string message = element.message();
    EXPECT_TRUE(message.starts_with("warning: Frames are dropped: max-bytes is 700")) << message;
    EXPECT_EQ(element.message(), ""); // once for all of them
    element.set("max-bytes", 0u);
    EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
    element.set("max-bytes", 100u);
    EXPECT_EQ(element.push(frame), GST_FLOW_OK);
    EXPECT_TRUE(element.message().starts_with("warning: "));
}

// ---- memory that fails: an allocator of the receiver's, whose n-th allocation or mapping (from 1) gives nothing,
// nor do those that follow; a mapping that fails alone makes GStreamer copy the memory

struct FailingMemory {
    GstMemory base;
    guint8* bytes;
};

int allocationsLeft, mappingsLeft; // counted down to 1, which fails; 0: none fails
bool failed;

bool comesTo(int& left) {
    const bool fails = left == 1;
    failed = failed || fails;
    left -= left > 1 ? 1 : 0;
    return fails;
}

GstMemory* allocateOrFail(GstAllocator* allocator, gsize size, GstAllocationParams*) {
    if (comesTo(allocationsLeft))
        return nullptr;
    auto* const memory = new FailingMemory{{}, new guint8[size]};
    gst_memory_init(&memory->base, GstMemoryFlags(0), allocator, nullptr, size, 0, 0, size);
    return &memory->base;
}

void freeMemory(GstAllocator*, GstMemory* memory) {
    auto* const one = reinterpret_cast<FailingMemory*>(memory);
    delete[] one->bytes;
    delete one;
}

gpointer mapOrFail(GstMemory* memory, GstMapInfo*, gsize) {
    return comesTo(mappingsLeft) ? nullptr : reinterpret_cast<FailingMemory*>(memory)->bytes;
}

GstAllocator* failingAllocator() {
    static const GType type = g_type_register_static_simple(
        GST_TYPE_ALLOCATOR, "VelaFailingAllocator", sizeof(GstAllocatorClass),
        [](gpointer type_class, gpointer) {
            GST_ALLOCATOR_CLASS(type_class)->alloc = allocateOrFail;
            GST_ALLOCATOR_CLASS(type_class)->free = freeMemory;
        },
        sizeof(GstAllocator),
        [](GTypeInstance* instance, gpointer) {
            auto* const allocator = GST_ALLOCATOR(instance);
            allocator->mem_type = "VelaFailing";
            allocator->mem_map_full = mapOrFail;
            allocator->mem_unmap_full = [](GstMemory*, GstMapInfo*) {};
            GST_OBJECT_FLAG_SET(allocator, GST_ALLOCATOR_FLAG_CUSTOM_ALLOC);
        },
        GTypeFlags(0));
    return GST_ALLOCATOR(gst_object_ref_sink(g_object_new(type, nullptr)));
}

// Fault: a stream that is cut short, memory that is not given back, a stream of frames that cannot go on.
TEST(GStreamerFailures, PostsAnErrorWhereMemoryEndsAndGoesOnWithTheNextFrame) {
    const Frame frame(kNv12, 320, 240);
    VelaOptions options = usualOptions();
    options.quality = 100; // longer than the element expects at first
    const Bytes stream = easyStream(frame.image(), options);
    for (int* const failing : {&allocationsLeft, &mappingsLeft})
        for (int n = 1;; n++) {
            SCOPED_TRACE(testing::Message()
                         << (failing == &mappingsLeft ? "mapping " : "allocation ") << n);
            Element element("quality=100");
            GstAllocator* const allocator = failingAllocator();
            gst_harness_set_propose_allocator(element.harness(), allocator, nullptr);
            element.setCaps(frameCaps(kNv12, 320, 240));
            failed = false;
            *failing = n;
            const GstFlowReturn result = element.push(frame);
            *failing = 0;
            EXPECT_EQ(result, failed ? GST_FLOW_ERROR : GST_FLOW_OK);
            EXPECT_EQ(element.message(),
                      failed ? "error: There is no memory to encode a frame." : "");
            EXPECT_EQ(element.pull().empty(), failed);
            EXPECT_TRUE(element.encode(frame) == stream);
            if (!failed) {
                EXPECT_GT(n, 2);
                break;
            }
        }
}

} // namespace
