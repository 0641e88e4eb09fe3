// The encoder beside FFmpeg's mjpeg, on the same planes, in one thread.
//
//     mjpeg_bench PICTURE..
//
// FFmpeg's quality is another scale: the scale factor is taken that gives the stream nearest in size.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include "bench/cpu_time.h"
#include "bench/formats.h"
#include "bench/pictures.h"
#include "bench/vela_encoder.h"
#include "cli/failure.h"

namespace bench {
namespace {

struct Delete {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

void check(int status, const char* what) {
    if (status < 0)
        throw cli::Failure(std::string("FFmpeg: ") + what + " failed");
}

class MjpegEncoder {
public:
    /// scale: 2 (best) to 31.
    MjpegEncoder(const FormatPicture& picture, AVPixelFormat pixels, int scale)
        : codec_(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MJPEG))),
          frame_(av_frame_alloc()), packet_(av_packet_alloc()) {
        codec_->width = frame_->width = picture.width;
        codec_->height = frame_->height = picture.height;
        codec_->pix_fmt = pixels;
        codec_->time_base = {1, 25};
        codec_->thread_count = 1;
        codec_->flags |= AV_CODEC_FLAG_QSCALE;
        codec_->global_quality = frame_->quality = scale * FF_QP2LAMBDA;
        check(av_opt_set(codec_->priv_data, "huffman", "default", 0), "setting its tables");
        check(avcodec_open2(codec_.get(), nullptr, nullptr), "opening the encoder");
        frame_->format = pixels;
        for (size_t i = 0; i < 3; i++) {
            frame_->data[i] = const_cast<uint8_t*>(picture.plane[i].samples.data());
            frame_->linesize[i] = picture.plane[i].step;
        }
    }

    void encode() {
        frame_->pts++;
        check(avcodec_send_frame(codec_.get(), frame_.get()), "encoding");
        check(avcodec_receive_packet(codec_.get(), packet_.get()), "encoding");
        bytes_ = static_cast<size_t>(packet_->size);
        av_packet_unref(packet_.get());
    }
    size_t streamBytes() const { return bytes_; }

private:
    std::unique_ptr<AVCodecContext, Delete> codec_;
    std::unique_ptr<AVFrame, Delete> frame_;
    std::unique_ptr<AVPacket, Delete> packet_;
    size_t bytes_ = 0;
};

template <class Encoder>
double secondsOf(Encoder& encoder) {
    const double start = cpuSeconds();
    encoder.encode();
    return cpuSeconds() - start;
}

void compareWithMjpeg(const SourcePicture& source, const char* formatName, AVPixelFormat pixels,
                      uint32_t quality) {
    constexpr int kTurns = 31;
    const FormatPicture picture(*findFormat(formatName), source);
    VelaEncoder ours(
        picture.record(),
        {.quality = quality, .mode = ENC_MODE_BASELINE, .subsampling = picture.format.subsampling});
    ours.encode();
    const auto distance = [&](int scale) {
        MjpegEncoder encoder(picture, pixels, scale);
        encoder.encode();
        return std::abs(static_cast<double>(encoder.streamBytes()) -
                        static_cast<double>(ours.streamBytes()));
    };
    int best = 2;
    for (int scale = 3; scale <= 31; scale++)
        if (distance(scale) < distance(best))
            best = scale;

    MjpegEncoder theirs(picture, pixels, best);
    std::array<double, kTurns> our{}, their{};
    for (size_t turn = 0; turn < kTurns; turn++) {
        our[turn] = secondsOf(ours);
        their[turn] = secondsOf(theirs);
    }
    std::nth_element(our.begin(), our.begin() + kTurns / 2, our.end());
    std::nth_element(their.begin(), their.begin() + kTurns / 2, their.end());
    const double megapixels = source.megapixels();
    std::printf("%-16s %-8s q%-3u %8.1f MP/s %8zu bytes   mjpeg -q:v %-2d %8.1f MP/s %8zu bytes   "
                "%5.2f times as fast\n",
                source.name.c_str(), formatName, quality, megapixels / our[kTurns / 2],
                ours.streamBytes(), best, megapixels / their[kTurns / 2], theirs.streamBytes(),
                their[kTurns / 2] / our[kTurns / 2]);
}

void run(const SourcePicture& picture) {
    for (const uint32_t quality : {75u, 90u}) {
        compareWithMjpeg(picture, "yuv420p", AV_PIX_FMT_YUVJ420P, quality);
        compareWithMjpeg(picture, "yuv422p", AV_PIX_FMT_YUVJ422P, quality);
        compareWithMjpeg(picture, "yuv444p", AV_PIX_FMT_YUVJ444P, quality);
    }
}

} // namespace
} // namespace bench

int main(int argc, char** argv) {
    try {
        for (int i = 1; i < argc; i++)
            bench::run(bench::readPicture(argv[i]));
        if (argc < 2)
            bench::run(bench::makePhotoTexture(1920, 1080));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mjpeg_bench: %s\n", error.what());
        return 1;
    }
}
