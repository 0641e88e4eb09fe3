// The GStreamer element velajpegenc beside jpegenc: milliseconds per frame of 1920 x 1080, both at their usual
// quality of 85, in one streaming thread. RGB goes into jpegenc's streams as it comes, without a step to YCbCr
// (Adobe's transform 0): 4:2:0 takes a videoconvert ahead of it. Of YCbCr in limited range and BT.709, which
// these frames have, velajpegenc alone makes what JPEG has.
//
//     gstreamer_bench [PICTURE..]
#include <gst/app/app.h>
#include <gst/gst.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "cli/failure.h"

namespace bench {
namespace {

constexpr int kFrames = 100, kTurns = 7;

/// Started; ended when it goes.
class Pipeline {
public:
    explicit Pipeline(const std::string& description)
        : pipeline_(gst_parse_launch(description.c_str(), nullptr)),
          source_(gst_bin_get_by_name(GST_BIN(pipeline_), "in")),
          sink_(gst_bin_get_by_name(GST_BIN(pipeline_), "out")) {}
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline() {
        gst_element_set_state(pipeline_, GST_STATE_NULL);
        gst_object_unref(source_);
        gst_object_unref(sink_);
        gst_object_unref(pipeline_);
    }

    /// Without a copy of the pixels.
    void feed(GstBuffer* frame) {
        gst_app_src_push_buffer(GST_APP_SRC(source_), gst_buffer_copy(frame));
    }
    void endFeed() { gst_app_src_end_of_stream(GST_APP_SRC(source_)); }
    void play() { gst_element_set_state(pipeline_, GST_STATE_PLAYING); }
    GstSample* next() { return gst_app_sink_pull_sample(GST_APP_SINK(sink_)); }

private:
    GstElement *pipeline_, *source_, *sink_;
};

/// A picture that moves, as raw video of a format; its colours as GStreamer has them in high definition.
class Video {
public:
    Video(const SourcePicture& picture, const std::string& format)
        : caps_("video/x-raw,format=" + format + ",width=1920,height=1080,framerate=30/1") {
        Pipeline pipeline(
            "appsrc name=in format=time caps=video/x-raw,format=BGR,framerate=30/1,width=" +
            std::to_string(picture.width) + ",height=" + std::to_string(picture.height) +
            " ! videoconvert ! videoscale ! " + caps_ + " ! appsink name=out sync=false");
        const size_t rowBytes = 3 * static_cast<size_t>(picture.width);
        std::vector<uint8_t> padded; // GStreamer's rows of BGR begin at multiples of four bytes
        pipeline.play();
        for (int32_t i = 0; i < 8; i++) {
            padded.clear();
            for (int32_t y = 0; y < picture.height; y++) {
                const auto row = picture.bgr.begin() +
                                 static_cast<ptrdiff_t>(rowBytes) * ((y + 5 * i) % picture.height);
                padded.insert(padded.end(), row, row + static_cast<ptrdiff_t>(rowBytes));
                padded.resize((padded.size() + 3) / 4 * 4);
            }
            GstBuffer* const frame = gst_buffer_new_memdup(padded.data(), padded.size());
            pipeline.feed(frame);
            gst_buffer_unref(frame);
            GstSample* const sample = pipeline.next();
            if (sample == nullptr)
                throw cli::Failure("GStreamer cannot convert " + picture.name + " to " + format);
            frames_.push_back(gst_buffer_ref(gst_sample_get_buffer(sample)));
            gst_sample_unref(sample);
        }
    }
    Video(const Video&) = delete;
    Video& operator=(const Video&) = delete;
    ~Video() {
        for (GstBuffer* const frame : frames_)
            gst_buffer_unref(frame);
    }

    struct Run {
        double milliseconds; // per frame
        gsize bytes;         // of a stream, in the mean
    };

    /// All frames wait when the clock begins.
    Run run(const std::string& encoder) const {
        Pipeline pipeline("appsrc name=in format=time max-bytes=0 caps=" + caps_ + " ! " + encoder +
                          " ! appsink name=out sync=false");
        for (int i = 0; i < kFrames; i++)
            pipeline.feed(frames_[static_cast<size_t>(i) % frames_.size()]);
        pipeline.endFeed();
        const auto start = std::chrono::steady_clock::now();
        pipeline.play();
        int count = 0;
        gsize bytes = 0;
        while (GstSample* const sample = pipeline.next()) {
            bytes += gst_buffer_get_size(gst_sample_get_buffer(sample));
            gst_sample_unref(sample);
            count++;
        }
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        if (count != kFrames)
            throw cli::Failure(encoder + " gave " + std::to_string(count) + " streams");
        return {time.count() / kFrames, bytes / kFrames};
    }

private:
    std::string caps_;
    std::vector<GstBuffer*> frames_;
};

double median(std::vector<double>& times) {
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void run(const SourcePicture& picture) {
    struct Row {
        const char *format, *others, *name;
    };
    for (const Row& row :
         {Row{"NV12", "jpegenc", "jpegenc"},
          {"YUY2", "jpegenc", "jpegenc"},
          {"BGRx", "jpegenc", "jpegenc, RGB"},
          {"BGRx", "videoconvert ! video/x-raw,format=I420,colorimetry=1:4:0:0 ! jpegenc",
           "videoconvert ! jpegenc"}}) {
        const Video video(picture, row.format);
        std::vector<double> ours, theirs;
        Video::Run a{}, b{};
        for (int turn = 0; turn < kTurns; turn++) { // one after the other
            a = video.run("velajpegenc");
            b = video.run(row.others);
            ours.push_back(a.milliseconds);
            theirs.push_back(b.milliseconds);
        }
        std::printf("%-12s %-5s velajpegenc %6.2f ms %7zu bytes   %-22s %6.2f ms %7zu bytes   "
                    "%5.2f times as fast\n",
                    picture.name.c_str(), row.format, median(ours), a.bytes, row.name,
                    median(theirs), b.bytes, median(theirs) / median(ours));
    }
}

} // namespace
} // namespace bench

int main(int argc, char** argv) {
    gst_init(nullptr, nullptr);
    try {
        for (int i = 1; i < argc; i++)
            bench::run(bench::readPicture(argv[i]));
        if (argc < 2)
            bench::run(bench::makePhotoTexture(1920, 1080));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "gstreamer_bench: %s\n", error.what());
        return 1;
    }
}
