// Raw frames and Y4M: frames of one layout, with or without headers.
#include <charconv>
#include <string_view>

#include "cli/failure.h"
#include "cli/input/frames.h"
#include "cli/input/picture_source.h"

namespace cli {
namespace {

/// Reads whole frames into memory, which is kept from one to the next. In a file planes follow each other, so
/// rows of all planes are not at hand before the last plane has begun.
class FrameSource : public PictureSource {
protected:
    FrameSource(InputFile file, const InputSettings& settings, VelaFormat format, Size size)
        : file_(std::move(file)) {
        requireSize(file_, size.width, size.height, settings.maxPixels);
        layout_ = frameLayout(format, size.width, size.height, settings.steps);
        image_.format = format;
        image_.width = size.width;
        image_.height = size.height;
        image_.range = settings.range.value_or(VELA_RANGE_FULL);
        image_.matrix = settings.matrix.value_or(VELA_MATRIX_BT601);
    }

    void readFrame() {
        frames_++;
        const auto bytes = size_t(layout_.bytes());
        // As it arrives: a size that promises too much takes no memory.
        for (size_t have = 0; have < bytes;) {
            const size_t step = std::min(bytes - have, std::max(kFirstStep, have));
            if (samples_.size() < have + step)
                samples_.resize(have + step);
            const size_t got = file_.read(samples_.data() + have, step);
            have += got;
            if (got < step)
                throw Failure("cannot read " + file_.name() + ": " +
                              (file_.failed() ? file_.whyShort()
                                              : "truncated, frame " + std::to_string(frames_) +
                                                    " has " + std::to_string(have) + " of " +
                                                    std::to_string(bytes) + " bytes"));
        }
        layout_.place(image_, samples_.data());
    }

    InputFile file_;
    int64_t frames_ = 0; // read or begun

private:
    static constexpr size_t kFirstStep = size_t{1} << 20;

    FrameLayout layout_{};
    std::vector<uint8_t> samples_;
};

class RawSource final : public FrameSource {
public:
    RawSource(InputFile file, const InputSettings& settings)
        : FrameSource(std::move(file), settings, *settings.raw, settings.size) {
        formatName_ = settings.rawName;
    }

    bool next() override {
        if (frames_ > 0 && file_.atEnd())
            return false;
        if (frames_ == 0 && file_.atEnd())
            throw Failure("cannot read " + file_.name() + ": " +
                          (file_.failed() ? file_.whyShort() : "empty"));
        readFrame();
        return true;
    }
};

/// What a stream's header says.
struct Y4mHeader {
    VelaFormat format = VELA_FORMAT_I420;
    Size size{};
    VelaRange range = VELA_RANGE_LIMITED; // of video, unless a tag says otherwise
};

/// One line without its end; throws where it is longer than any that makes sense.
std::string readLine(InputFile& file) {
    constexpr size_t kMost = 4096;
    std::string line;
    for (int c = file.getByte(); c != '\n'; c = file.getByte()) {
        if (c == EOF || line.size() > kMost)
            throw Failure("cannot read " + file.name() + ": " +
                          (c == EOF ? file.whyShort("a Y4M header")
                                    : "damaged, a Y4M header without an end"));
        line += static_cast<char>(c);
    }
    return line;
}

Y4mHeader readHeader(InputFile& file) {
    const std::string line = readLine(file);
    const auto refuse = [&](const std::string& why) {
        return Failure("cannot read " + file.name() + ": " + why);
    };
    Y4mHeader header;
    if (!line.starts_with("YUV4MPEG2"))
        throw refuse("not a Y4M file");
    for (size_t at = line.find(' '); at != line.npos; at = line.find(' ', at)) {
        const size_t begin = at + 1;
        at = std::min(line.find(' ', begin), line.size());
        const std::string_view tag = std::string_view(line).substr(begin, at - begin);
        const auto number = [&] {
            int32_t value = 0;
            const auto [end, error] =
                std::from_chars(tag.data() + 1, tag.data() + tag.size(), value);
            if (error != std::errc() || end != tag.data() + tag.size())
                throw refuse("damaged, a Y4M header with '" + std::string(tag) + "'");
            return value;
        };
        if (tag.starts_with("W")) {
            header.size.width = number();
        } else if (tag.starts_with("H")) {
            header.size.height = number();
        } else if (tag == "Cmono") {
            header.format = VELA_FORMAT_GRAY8;
        } else if (tag == "C420" || tag == "C420jpeg" || tag == "C420mpeg2" || tag == "C420paldv") {
            header.format = VELA_FORMAT_I420;
        } else if (tag == "C422") {
            header.format = VELA_FORMAT_I422;
        } else if (tag == "C444") {
            header.format = VELA_FORMAT_I444;
        } else if (tag.starts_with("C")) {
            throw refuse("Y4M of the kind " + std::string(tag) +
                         "; 8-bit 4:2:0, 4:2:2, 4:4:4 and mono are read");
        } else if (tag == "XCOLORRANGE=FULL") {
            header.range = VELA_RANGE_FULL;
        } else if (tag == "XCOLORRANGE=LIMITED") {
            header.range = VELA_RANGE_LIMITED;
        }
    }
    return header;
}

class Y4mSource final : public FrameSource {
public:
    Y4mSource(InputFile file, const InputSettings& settings, const Y4mHeader& header)
        : FrameSource(std::move(file), settings, header.format, header.size) {
        formatName_ = "Y4M";
        image_.range = settings.range.value_or(header.range);
    }

    bool next() override {
        if (file_.atEnd()) {
            if (frames_ == 0)
                throw Failure("cannot read " + file_.name() + ": it has no frame");
            return false;
        }
        if (!readLine(file_).starts_with("FRAME"))
            throw Failure("cannot read " + file_.name() + ": damaged, no Y4M frame after frame " +
                          std::to_string(frames_));
        readFrame();
        return true;
    }
};

} // namespace

std::unique_ptr<PictureSource> openRaw(InputFile file, const InputSettings& settings) {
    return std::make_unique<RawSource>(std::move(file), settings);
}

std::unique_ptr<PictureSource> openY4m(InputFile file, const InputSettings& settings) {
    const Y4mHeader header = readHeader(file);
    return std::make_unique<Y4mSource>(std::move(file), settings, header);
}

} // namespace cli
