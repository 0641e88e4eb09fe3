// The element among those that others wrote.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "gstreamer/pipeline.h"
#include "support/jpeg_reader.h"

namespace {

using namespace test;

std::vector<Bytes> all(Pipeline& pipeline) {
    std::vector<Bytes> samples;
    for (Bytes sample = pipeline.next(); !sample.empty(); sample = pipeline.next())
        samples.push_back(std::move(sample));
    EXPECT_EQ(pipeline.run(), "");
    return samples;
}

const std::string kTestFrames = "videotestsrc num-buffers=10 pattern=ball ! video/x-raw,width=320,"
                                "height=240 ! ";
const std::string kOut = " ! appsink name=out sync=false";

TEST(GStreamerPipeline, StreamsAreReadByJpegdec) {
    Pipeline pipeline(kTestFrames + "velajpegenc ! jpegdec" + kOut);
    const std::vector<Bytes> frames = all(pipeline);
    ASSERT_EQ(frames.size(), 10u);
    EXPECT_EQ(std::count(frames.begin(), frames.end(), frames[0]), 1); // it moves
    EXPECT_NE(pipeline.caps().find("width=(int)320, height=(int)240"), std::string::npos);
}

/// The streams inside of what a muxer wrote to a file, found by the demuxer.
void expectStreamsBack(const std::string& muxer, const std::string& demuxer) {
    SCOPED_TRACE(muxer);
    const std::string path =
        (std::filesystem::temp_directory_path() / ("velajpegenc." + std::to_string(getpid())))
            .string();
    {
        Pipeline pipeline(kTestFrames + "velajpegenc ! tee name=t ! queue ! " + muxer +
                          " ! filesink location=" + path + " t. ! queue" + kOut);
        const std::vector<Bytes> streams = all(pipeline);
        ASSERT_EQ(streams.size(), 10u);
        Pipeline back("filesrc location=" + path + " ! " + demuxer + kOut);
        EXPECT_TRUE(all(back) == streams);
        for (const Bytes& stream : streams)
            EXPECT_EQ(readCoefficients(stream).error, "");
    }
    std::filesystem::remove(path);
}

TEST(GStreamerPipeline, MuxersHoldTheStreams) {
    expectStreamsBack("multipartmux", "multipartdemux single-stream=true");
    expectStreamsBack("matroskamux", "matroskademux");
    expectStreamsBack("avimux", "avidemux");
    expectStreamsBack("qtmux", "qtdemux");
}

TEST(GStreamerPipeline, StreamsGoOverRtp) {
    // RTP's type of JPEG has 4:2:0 and 4:2:2, tables sent along, and restart markers.
    for (const char* encoder : {"velajpegenc", "velajpegenc subsampling=422",
                                "velajpegenc restart-rows=1", "velajpegenc quality=30"}) {
        SCOPED_TRACE(encoder);
        Pipeline pipeline(kTestFrames + "tee name=t ! queue ! " + encoder +
                          " ! rtpjpegpay ! rtpjpegdepay ! jpegdec" + kOut);
        const std::vector<Bytes> received = all(pipeline);
        Pipeline direct(kTestFrames + encoder + " ! jpegdec" + kOut);
        EXPECT_EQ(received.size(), 10u);
        EXPECT_TRUE(received == all(direct));
    }
}

TEST(GStreamerPipeline, ConvertersFollowTheSubsampling) {
    Pipeline pipeline("videotestsrc ! video/x-raw,format=NV12,width=64,height=48 ! videoconvert ! "
                      "velajpegenc name=encoder" +
                      kOut + " max-buffers=1");
    const auto sampling = [&] {
        const DecodedJpeg read = readCoefficients(pipeline.next());
        EXPECT_EQ(read.error, "");
        return read.components.empty() ? std::pair(0, 0)
                                       : std::pair(read.components[0].h / read.components[1].h,
                                                   read.components[0].v / read.components[1].v);
    };
    EXPECT_EQ(sampling(), std::pair(2, 2));
    const auto comes = [&](std::pair<int, int> wanted) { // after the frames that were under way
        for (int i = 0; i < 100; i++)
            if (sampling() == wanted)
                return true;
        return false;
    };
    g_object_set(pipeline.element("encoder"), "subsampling", int{VELA_SUBSAMPLING_444}, nullptr);
    EXPECT_TRUE(comes({1, 1}));
    g_object_set(pipeline.element("encoder"), "subsampling", int{VELA_SUBSAMPLING_422}, nullptr);
    EXPECT_TRUE(comes({2, 1}));
}

TEST(GStreamerPipeline, GoesOnWhereNothingCanFollowTheSubsampling) {
    Pipeline pipeline("videotestsrc num-buffers=40 ! video/x-raw,format=NV12,width=64,height=48 ! "
                      "velajpegenc name=encoder" +
                      kOut + " max-buffers=1");
    EXPECT_FALSE(pipeline.next().empty());
    g_object_set(pipeline.element("encoder"), "subsampling", int{VELA_SUBSAMPLING_444}, nullptr);
    EXPECT_EQ(all(pipeline).size(), 39u);
}

TEST(GStreamerPipeline, ASnapshotEndsThePipeline) {
    Pipeline pipeline("videotestsrc ! velajpegenc snapshot=true progressive=true" + kOut);
    const std::vector<Bytes> streams = all(pipeline);
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_TRUE(readCoefficients(streams[0]).progressive);
}

} // namespace
