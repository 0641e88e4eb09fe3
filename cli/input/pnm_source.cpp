// PBM, PGM, PPM, plain and raw, and PAM; one picture after another.
#include <algorithm>
#include <charconv>

#include "cli/failure.h"
#include "cli/input/blend.h"
#include "cli/input/picture_source.h"

namespace cli {
namespace {

bool isSpace(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

class PnmSource final : public PictureSource {
public:
    PnmSource(InputFile file, const InputSettings& settings)
        : file_(std::move(file)), settings_(settings) {}

    bool next() override {
        int c = file_.getByte();
        while (pictures_ > 0 && isSpace(c)) // plain pictures are followed by the end of a line
            c = file_.getByte();
        if (c == EOF && pictures_ > 0 && !file_.failed())
            return false;
        const int kind = file_.getByte();
        if (c != 'P' || kind < '1' || kind > '7')
            throw refuse(kind == EOF ? file_.whyShort()
                                     : "damaged, no picture begins where the last one ends");
        pictures_++;
        plain_ = kind <= '3';
        bits_ = kind == '1' || kind == '4';
        channels_ = kind == '3' || kind == '6' ? 3 : 1;
        alpha_ = false;
        formatName_ = kind == '7' ? "PAM" : bits_ ? "PBM" : channels_ == 3 ? "PPM" : "PGM";
        if (kind == '7')
            readPamHeader();
        else
            readHeader();
        if (maxval_ < 1 || maxval_ > 65535)
            throw refuse("its maxval is " + std::to_string(maxval_) + ", not 1 to 65535");
        requireSize(file_, width_, height_, settings_.maxPixels);
        samples_.resize(size_t(width_) * size_t(channels_ + alpha_));
        setRows(channels_ == 3 || needsColour() ? VELA_FORMAT_RGB24 : VELA_FORMAT_GRAY8,
                int32_t(width_), int32_t(height_));
        return true;
    }

private:
    Failure refuse(const std::string& why) const {
        return Failure("cannot read " + file_.name() + ": " + why);
    }
    /// Of a grey picture with alpha on a colour.
    bool needsColour() const {
        const Rgb& c = settings_.background;
        return alpha_ && (c.red != c.green || c.green != c.blue);
    }

    /// The next byte that is neither white space nor in a comment.
    int skipSpace() {
        int c = file_.getByte();
        while (isSpace(c) || c == '#') {
            if (c == '#')
                while (c != '\n' && c != '\r' && c != EOF)
                    c = file_.getByte();
            else
                c = file_.getByte();
        }
        return c;
    }

    /// A number, and the one byte of white space that ends it.
    int64_t readNumber(const char* what = "its header") {
        constexpr int64_t kTooLarge = 1 << 24;
        int c = skipSpace();
        const bool isNumber = isDigit(c);
        int64_t value = 0;
        for (; isDigit(c); c = file_.getByte())
            value = value < kTooLarge ? value * 10 + (c - '0') : kTooLarge;
        if (c == '#') // a comment right after the number
            while (c != '\n' && c != '\r' && c != EOF)
                c = file_.getByte();
        if (c == EOF && !(isNumber && plain_))
            throw refuse(file_.whyShort(what));
        if (!isNumber || (c != EOF && !isSpace(c)))
            throw refuse("damaged, a number is missing in its header or samples");
        return value;
    }

    void readHeader() {
        width_ = readNumber();
        height_ = readNumber();
        maxval_ = bits_ ? 1 : readNumber();
    }

    void readPamHeader() {
        int64_t depth = 0;
        std::string tuple;
        width_ = height_ = maxval_ = 0;
        for (int lines = 0;; lines++) {
            std::string line;
            for (int c = lines == 0 ? skipSpace() : file_.getByte(); c != '\n';
                 c = file_.getByte()) {
                if (c == EOF || line.size() > 1024 || lines > 1000)
                    throw refuse(c == EOF ? file_.whyShort("its header")
                                          : "damaged, a PAM header without an end");
                line += static_cast<char>(c);
            }
            const size_t space = std::min(line.find_first_of(" \t"), line.size());
            const size_t from = std::min(line.find_first_not_of(" \t\r", space), line.size());
            const std::string word = line.substr(0, space), value = line.substr(from);
            if (word.empty() || word[0] == '#')
                continue;
            if (word == "ENDHDR" || word == "ENDHDR\r")
                break;
            if (word == "TUPLTYPE") {
                tuple = value.substr(0, value.find_last_not_of(" \t\r") + 1);
                continue;
            }
            int64_t number = 0;
            std::from_chars(value.data(), value.data() + value.size(), number);
            if (word == "WIDTH")
                width_ = number;
            else if (word == "HEIGHT")
                height_ = number;
            else if (word == "DEPTH")
                depth = number;
            else if (word == "MAXVAL")
                maxval_ = number;
            else
                throw refuse("damaged, a PAM header with '" + word + "'");
        }
        if (depth < 1 || depth > 4)
            throw refuse("its depth is " + std::to_string(depth) + "; PAM of depth 1 to 4 is read");
        alpha_ = depth == 2 || depth == 4;
        channels_ = depth > 2 ? 3 : 1;
        const std::string expected =
            std::string(channels_ == 3 ? "RGB" : "GRAYSCALE") + (alpha_ ? "_ALPHA" : "");
        const std::string black = std::string("BLACKANDWHITE") + (alpha_ ? "_ALPHA" : "");
        if (!tuple.empty() && tuple != expected && !(channels_ == 1 && tuple == black))
            throw refuse("a PAM of depth " + std::to_string(depth) + " with TUPLTYPE " + tuple);
    }

    void readSamples() {
        if (plain_) {
            for (uint32_t& sample : samples_)
                sample = bits_ ? readBit() : uint32_t(readNumber("its samples"));
        } else if (bits_) { // 1 is black
            bytes_.resize((size_t(width_) + 7) / 8);
            file_.readAll(bytes_.data(), bytes_.size(), "the picture");
            for (size_t x = 0; x < samples_.size(); x++)
                samples_[x] = ~(uint32_t(bytes_[x / 8]) >> (7 - x % 8)) & 1;
        } else {
            const size_t size = maxval_ > 255 ? 2 : 1;
            bytes_.resize(samples_.size() * size);
            file_.readAll(bytes_.data(), bytes_.size(), "the picture");
            for (size_t i = 0; i < samples_.size(); i++)
                samples_[i] =
                    size == 1 ? bytes_[i] : uint32_t(bytes_[2 * i]) << 8 | bytes_[2 * i + 1];
        }
        for (const uint32_t sample : samples_)
            if (sample > maxval_)
                throw refuse("damaged, a sample of " + std::to_string(sample) +
                             " above its maxval " + std::to_string(maxval_));
    }

    uint32_t readBit() {
        const int c = skipSpace();
        if (c != '0' && c != '1')
            throw refuse(c == EOF ? file_.whyShort() : "damaged, a PBM with neither 0 nor 1");
        return c == '0';
    }

    void readRow(uint8_t* row) override {
        if (maxval_ == 255 && !plain_ && !alpha_) { // as they are
            file_.readAll(row, samples_.size(), "the picture");
            return;
        }
        readSamples();
        const auto most = uint32_t(maxval_);
        if (!alpha_) {
            for (const uint32_t sample : samples_)
                *row++ = uint8_t((sample * 255 + most / 2) / most);
            return;
        }
        const bool colour = image_.format == VELA_FORMAT_RGB24;
        const uint8_t ground[3] = {settings_.background.red, settings_.background.green,
                                   settings_.background.blue};
        const size_t size = size_t(channels_) + 1;
        for (size_t i = 0; i < samples_.size(); i += size)
            for (size_t c = 0; c < (colour ? 3u : 1u); c++)
                *row++ = blend(samples_[i + (channels_ == 3 ? c : 0)], samples_[i + size - 1], most,
                               ground[c]);
    }

    InputFile file_;
    InputSettings settings_;
    int64_t pictures_ = 0;
    bool plain_ = false, bits_ = false, alpha_ = false;
    int channels_ = 1; // without alpha
    int64_t width_ = 0, height_ = 0, maxval_ = 0;
    std::vector<uint32_t> samples_; // of a row, 0 to maxval
    std::vector<uint8_t> bytes_;
};

} // namespace

std::unique_ptr<PictureSource> openPnm(InputFile file, const InputSettings& settings) {
    return std::make_unique<PnmSource>(std::move(file), settings);
}

} // namespace cli
