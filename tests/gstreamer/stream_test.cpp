// A stream of frames: what changes on the way, and what the buffers that come out are like.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "gstreamer/element.h"
#include "support/jpeg_reader.h"

namespace {

using namespace test;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(GStreamerStream, FollowsChangesOfCaps) {
    Element element;
    for (const FormatPair& format : {kNv12, kBgrx, FormatPair{"GRAY8", VELA_FORMAT_GRAY8}, kNv12})
        for (const auto& [width, height] : {std::pair(64, 48), {33, 65}, {320, 240}}) {
            SCOPED_TRACE(testing::Message() << format.name << " " << width << " x " << height);
            element.setCaps(frameCaps(format, width, height));
            for (unsigned seed = 1; seed < 3; seed++) {
                const Frame frame(format, width, height, seed, int(seed) - 1);
                EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
            }
            EXPECT_TRUE(has(element.outputCaps(), "width=(int)" + std::to_string(width) +
                                                      ", height=(int)" + std::to_string(height)))
                << element.outputCaps();
        }
    EXPECT_EQ(element.message(), "");
}

TEST(GStreamerStream, SaysInItsCapsWhatIsKnown) {
    Element element;
    element.setCaps(rawCaps(
        "YUY2", 64, 48, ",colorimetry=bt709,pixel-aspect-ratio=4/3,interlace-mode=interleaved"));
    const Frame frame({"YUY2", VELA_FORMAT_YUYV}, 64, 48);
    const Bytes stream = element.encode(frame);
    const std::string caps = element.outputCaps();
    for (const char* part :
         {"image/jpeg, ", "parsed=(boolean)true", "sof-marker=(int)0", "width=(int)64",
          "height=(int)48", "framerate=(fraction)30/1", "pixel-aspect-ratio=(fraction)4/3",
          "interlace-mode=(string)interleaved", "colorimetry=(string)1:4:5:1"})
        EXPECT_TRUE(has(caps, part)) << part << " is not in " << caps;
    // Units 0, then 3 across and 4 down.
    EXPECT_EQ(segment(stream, 0xe0), (Bytes{'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 3, 0, 4, 0, 0}));

    element.set("progressive", TRUE);
    element.encode(frame);
    EXPECT_TRUE(has(element.outputCaps(), "sof-marker=(int)2")) << element.outputCaps();
}

TEST(GStreamerStream, GoesOnAfterAFlush) {
    Element element;
    element.setCaps(frameCaps(kNv12, 64, 48));
    const Frame first(kNv12, 64, 48, 1), second(kNv12, 64, 48, 2);
    EXPECT_TRUE(element.encode(first) == easyStream(first.image()));
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    for (int turn = 0; turn < 3; turn++) {
        EXPECT_TRUE(gst_harness_push_event(element.harness(), gst_event_new_flush_start()));
        EXPECT_EQ(element.push(second), GST_FLOW_FLUSHING);
        EXPECT_TRUE(gst_harness_push_event(element.harness(), gst_event_new_flush_stop(TRUE)));
        EXPECT_TRUE(gst_harness_push_event(element.harness(), gst_event_new_segment(&segment)));
        EXPECT_TRUE(element.encode(second) == easyStream(second.image()));
    }
    EXPECT_EQ(element.message(), "");
}

TEST(GStreamerStream, PassesEosOnAfterTheLastFrameAndStartsAgain) {
    Element element;
    const Frame frame(kNv12, 64, 48);
    for (int turn = 0; turn < 3; turn++) {
        gst_harness_play(element.harness());
        gst_harness_push_event(element.harness(), gst_event_new_stream_start("again"));
        element.setCaps(frameCaps(kNv12, 64, 48));
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_harness_push_event(element.harness(), gst_event_new_segment(&segment));
        EXPECT_EQ(element.push(frame), GST_FLOW_OK);
        EXPECT_TRUE(gst_harness_push_event(element.harness(), gst_event_new_eos()));
        EXPECT_TRUE(element.pull() == easyStream(frame.image()));
        EXPECT_EQ(element.push(frame), GST_FLOW_EOS);
        bool sawEos = false;
        while (GstEvent* const event = gst_harness_try_pull_event(element.harness())) {
            sawEos |= GST_EVENT_TYPE(event) == GST_EVENT_EOS;
            gst_event_unref(event);
        }
        EXPECT_TRUE(sawEos);
        gst_element_set_state(element.element(), GST_STATE_NULL);
    }
    EXPECT_EQ(element.message(), "");
}

TEST(GStreamerStream, HasEachPropertyFromTheNextFrameOn) {
    Element element("quality=60 restart-rows=2");
    element.setCaps(frameCaps(kBgrx, 161, 99));
    const Frame frame(kBgrx, 161, 99);
    VelaOptions options = usualOptions();
    options.quality = 60;
    options.restartRows = 2;
    const auto expectSame = [&](const char* what) {
        EXPECT_TRUE(element.encode(frame) == easyStream(frame.image(), options)) << what;
        EXPECT_EQ(element.message(), "") << what;
    };
    expectSame("as set at first");
    element.set("quality", options.quality = 100);
    expectSame("quality");
    element.set("quality", options.quality = 0);
    expectSame("quality 0");
    element.set("quality", options.quality = 90);
    element.set("progressive", options.progressive = 1);
    expectSame("progressive");
    element.set("progressive", options.progressive = 0);
    element.set("restart-rows", options.restartRows = 0);
    expectSame("no restart markers");
    element.set("restart-rows", options.restartRows = -1);
    element.set("threads", options.threads = 3);
    expectSame("threads");
    element.set("threads", options.threads = 1);
    for (const VelaSubsampling subsampling :
         {VELA_SUBSAMPLING_444, VELA_SUBSAMPLING_422, VELA_SUBSAMPLING_420}) {
        element.set("subsampling", options.subsampling = subsampling);
        expectSame("subsampling");
    }
    options.maxBytes = 5000;
    element.set("max-bytes", guint(options.maxBytes));
    const Bytes limited = element.encode(frame);
    EXPECT_TRUE(limited.size() > 2500 && limited.size() <= 5000) << limited.size();
    EXPECT_EQ(readCoefficients(limited).error, "");
}

TEST(GStreamerStream, IsSetFromOtherThreadsWhileItRuns) {
    Element element;
    element.setCaps(frameCaps(kBgrx, 64, 48));
    const Frame frame(kBgrx, 64, 48);
    std::atomic<bool> done{false};
    std::thread setter([&] {
        for (int i = 0; !done; i++) {
            element.set("quality", i % 101);
            element.set("subsampling", i % 4);
            element.set("restart-rows", i % 3 - 1);
            element.set("progressive", i % 2);
            element.set("max-bytes", guint(i % 7 == 0 ? 0 : 20000));
        }
    });
    for (int i = 0; i < 300; i++) {
        const DecodedJpeg read = readCoefficients(element.encode(frame));
        ASSERT_EQ(read.error, "");
        ASSERT_EQ(read.width, 64);
    }
    done = true;
    setter.join();
    EXPECT_EQ(element.message(), "");
}

TEST(GStreamerStream, EndsAfterASnapshot) {
    Element element("snapshot=true");
    element.setCaps(frameCaps(kNv12, 64, 48));
    const Frame frame(kNv12, 64, 48);
    EXPECT_EQ(element.push(frame), GST_FLOW_EOS);
    EXPECT_TRUE(element.pull() == easyStream(frame.image()));
    EXPECT_TRUE(element.pull().empty());
}

// ------------------------------------------------------------------------------- resolution of chroma

TEST(GStreamerSubsampling, AcceptsOnlyFormatsThatAllowIt) {
    for (const FormatPair& format : kFormatPairs)
        for (const auto& [name, subsampling] : {std::pair("444", VELA_SUBSAMPLING_444),
                                                {"422", VELA_SUBSAMPLING_422},
                                                {"420", VELA_SUBSAMPLING_420}}) {
            SCOPED_TRACE(testing::Message() << format.name << " as " << name);
            VelaOptions options = usualOptions();
            options.subsampling = subsampling;
            const Frame frame(format, 64, 48);
            const VelaImage image = frame.image();
            const bool allowed = velaMaxBytes(&image, &options) > 0; // 0: the easy layer refuses

            Element element(std::string("subsampling=") + name);
            GstPad* const sink = gst_element_get_static_pad(element.element(), "sink");
            GstCaps* const caps = gst_caps_from_string(frameCaps(format, 64, 48).c_str());
            EXPECT_EQ(gst_pad_query_accept_caps(sink, caps) != FALSE, allowed);
            gst_caps_unref(caps);
            gst_object_unref(sink);
            if (allowed) {
                element.setCaps(frameCaps(format, 64, 48));
                EXPECT_TRUE(element.encode(frame) == easyStream(image, options));
            }
        }
}

TEST(GStreamerSubsampling, WarnsOnceWhereFramesCannotFollow) {
    Element element;
    element.setCaps(frameCaps(kNv12, 64, 48));
    const Frame frame(kNv12, 64, 48);
    EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
    element.set("subsampling", int{VELA_SUBSAMPLING_444});
    for (int i = 0; i < 2; i++)
        EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
    EXPECT_EQ(element.message(),
              "warning: Subsampling stays 4:2:0, which NV12 has, until frames come "
              "from which 4:4:4 can be made.");
    EXPECT_EQ(element.message(), "");
    element.set("subsampling", int{VELA_SUBSAMPLING_AUTO});
    EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
    EXPECT_EQ(element.message(), "");
}

// ------------------------------------------------------------------------------------------ buffers

TEST(GStreamerBuffers, AreTakenFromAPoolThatFollowsTheStreams) {
    Element element("quality=20");
    element.setCaps(frameCaps(kNv12, 640, 480));
    const Frame frame(kNv12, 640, 480);
    std::set<const void*> memories;
    gsize most = 0; // bytes that the last buffer has room for
    const auto encode = [&] {
        EXPECT_EQ(element.push(frame), GST_FLOW_OK);
        GstBuffer* const buffer = gst_harness_pull(element.harness());
        EXPECT_EQ(gst_buffer_n_memory(buffer), 1u);
        EXPECT_FALSE(GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT));
        memories.insert(gst_buffer_peek_memory(buffer, 0));
        gsize offset;
        const gsize size = gst_buffer_get_sizes(buffer, &offset, &most);
        gst_buffer_unref(buffer);
        return size;
    };
    for (int i = 0; i < 20; i++)
        encode();
    EXPECT_LE(memories.size(), 2u);

    memories.clear();
    element.set("quality", 100); // longer than any guess
    const gsize large = encode();
    EXPECT_GT(large, 640u * 480 / 4);
    for (int i = 0; i < 20; i++)
        EXPECT_EQ(encode(), large);
    EXPECT_LE(memories.size(), 3u);

    element.set("quality", 5);
    for (int i = 0; i < 300; i++)
        encode();
    EXPECT_LT(most, large);
}

TEST(GStreamerBuffers, KeepTimesAndNoMetadataOfPixels) {
    Element element;
    element.setCaps(frameCaps(kNv12, 64, 48));
    Frame frame(kNv12, 64, 48, 1, 16);
    GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(frame.own());
    crop->width = crop->height = 32;
    GST_BUFFER_PTS(frame.own()) = 5 * GST_SECOND;
    GST_BUFFER_DURATION(frame.own()) = GST_SECOND / 30;
    EXPECT_EQ(element.push(frame), GST_FLOW_OK);
    GstBuffer* const stream = gst_harness_pull(element.harness());
    EXPECT_EQ(GST_BUFFER_PTS(stream), 5 * GST_SECOND);
    EXPECT_EQ(GST_BUFFER_DURATION(stream), GST_SECOND / 30);
    EXPECT_EQ(gst_buffer_get_video_meta(stream), nullptr);
    EXPECT_EQ(gst_buffer_get_video_crop_meta(stream), nullptr);
    gst_buffer_unref(stream);
}

TEST(GStreamerBuffers, MayComeWithLayoutsAndCrops) {
    Element element;
    element.setCaps(frameCaps(kNv12, 64, 48));
    GstCaps* const caps = gst_caps_from_string(frameCaps(kNv12, 64, 48).c_str());
    GstQuery* const query = gst_query_new_allocation(caps, TRUE);
    EXPECT_TRUE(gst_pad_peer_query(element.harness()->srcpad, query));
    EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr));
    EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr));
    gst_query_unref(query);
    gst_caps_unref(caps);
}

} // namespace
