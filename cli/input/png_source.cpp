// PNG, by libpng: row by row where it is not interlaced.
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "cli/failure.h"
#include "cli/input/blend.h"
#include "cli/input/picture_source.h"

namespace cli {
namespace {

class PngSource final : public PictureSource {
public:
    PngSource(InputFile file, const InputSettings& settings)
        : file_(std::move(file)), settings_(settings) {
        formatName_ = "PNG";
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
        info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
        if (info_ == nullptr) {
            png_destroy_read_struct(&png_, &info_, nullptr);
            throw std::bad_alloc();
        }
        png_set_read_fn(png_, this, onRead);
        png_set_user_limits(png_, 0x7FFFFFFF, 0x7FFFFFFF); // sizes are looked at by requireSize
        png_set_chunk_malloc_max(png_, size_t{64} << 20);
    }
    ~PngSource() override { png_destroy_read_struct(&png_, &info_, nullptr); }

    bool next() override {
        if (image_.width > 0)
            return false;
        guarded([&] { png_read_info(png_, info_); });
        const int64_t width = png_get_image_width(png_, info_),
                      height = png_get_image_height(png_, info_);
        requireSize(file_, width, height, settings_.maxPixels);
        guarded([&] { setTransforms(); });
        readMetadata();
        rowBytes_ = png_get_rowbytes(png_, info_);
        const Rgb& ground = settings_.background;
        const bool greyGround = ground.red == ground.green && ground.green == ground.blue;
        setRows(channels_ >= 3 || (hasAlpha() && !greyGround) ? VELA_FORMAT_RGB24
                                                              : VELA_FORMAT_GRAY8,
                int32_t(width), int32_t(height));
        if (passes_ > 1)
            readInterlaced();
        else
            samples_.resize(rowBytes_);
        return true;
    }

private:
    /// libpng reports by a long jump, over its own frames alone: call may own nothing.
    template <class Call>
    void guarded(const Call& call) {
        if (setjmp(png_jmpbuf(png_)) == 0) {
            call();
            return;
        }
        throw Failure("cannot read " + file_.name() + ": " + message_);
    }

    static void onError(png_structp png, png_const_charp message) {
        auto& self = *static_cast<PngSource*>(png_get_error_ptr(png));
        if (self.message_[0] == '\0')
            std::snprintf(self.message_, sizeof self.message_, "%slibpng: %s",
                          std::strstr(message, "memory") != nullptr ? "" : "damaged, ", message);
        png_longjmp(png, 1);
    }

    /// A chunk beyond the limit is no more than a warning, after which libpng makes room for all of it.
    static void onWarning(png_structp png, png_const_charp message) {
        if (std::strstr(message, "too large") != nullptr)
            png_error(png, message);
    }

    static void onRead(png_structp png, png_bytep out, size_t count) {
        auto& self = *static_cast<PngSource*>(png_get_io_ptr(png));
        if (self.file_.read(out, count) < count) {
            self.setShort();
            png_error(png, "short");
        }
    }
    void setShort() { std::snprintf(message_, sizeof message_, "%s", file_.whyShort().c_str()); }

    /// To 8 or 16 bits, without a palette; alpha stays, to be blended in full precision.
    void setTransforms() {
        png_set_expand(png_);
        depth_ = png_get_bit_depth(png_, info_) == 16 ? 16 : 8;
        const bool alpha = (png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) != 0 ||
                           png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
        if (depth_ == 16 && !alpha) {
            png_set_scale_16(png_);
            depth_ = 8;
        }
        passes_ = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        channels_ = png_get_channels(png_, info_);
    }
    bool hasAlpha() const { return channels_ == 2 || channels_ == 4; }

    void readMetadata() {
        png_bytep exif = nullptr;
        png_uint_32 exifSize = 0;
        if (png_get_eXIf_1(png_, info_, &exifSize, &exif) != 0 && exifSize >= 8 &&
            exifSize <= 65527)
            metadata_.exif.assign(exif, exif + exifSize);
        png_charp name = nullptr;
        int compression = 0;
        png_bytep icc = nullptr;
        png_uint_32 iccSize = 0;
        if (png_get_iCCP(png_, info_, &name, &compression, &icc, &iccSize) != 0)
            metadata_.icc.assign(icc, icc + iccSize);
        png_uint_32 x = 0, y = 0;
        int unit = 0;
        if (png_get_pHYs(png_, info_, &x, &y, &unit) != 0 && x > 0 && y > 0)
            setDensity(x, y, unit == PNG_RESOLUTION_METER);
    }

    /// Per metre to per inch, as pictures are mostly meant, or per centimetre where that fits better.
    void setDensity(uint64_t x, uint64_t y, bool perMetre) {
        if (perMetre) {
            const auto inches = [](uint64_t v) { return (v * 254 + 5000) / 10000; };
            const bool isPerInch = (inches(x) * 10000 + 127) / 254 == x || x % 100 != 0;
            metadata_.densityUnits = isPerInch ? 1 : 2;
            x = isPerInch ? inches(x) : x / 100;
            y = isPerInch ? inches(y) : (y + 50) / 100;
        } else {
            for (; x > 65535 || y > 65535; x /= 2, y /= 2) {
            }
        }
        if (x >= 1 && x <= 65535 && y >= 1 && y <= 65535) {
            metadata_.xDensity = int32_t(x);
            metadata_.yDensity = int32_t(y);
        } else {
            metadata_.densityUnits = 0;
        }
    }

    void readInterlaced() {
        const auto height = size_t(image_.height);
        samples_.resize(rowBytes_ * height);
        std::vector<png_bytep> rows(height);
        for (size_t y = 0; y < height; y++)
            rows[y] = samples_.data() + y * rowBytes_;
        png_bytepp const first = rows.data();
        guarded([&] { png_read_image(png_, first); });
    }

    uint32_t sampleAt(const uint8_t* from, size_t i) const {
        return depth_ == 16 ? uint32_t(from[2 * i]) << 8 | from[2 * i + 1] : from[i];
    }

    void readRow(uint8_t* row) override {
        const uint8_t* from = samples_.data();
        if (passes_ > 1)
            from += rowBytes_ * size_t(row_);
        else
            guarded([&] { png_read_row(png_, samples_.data(), nullptr); });
        if (hasAlpha())
            blendRow(from, row);
        else
            std::memcpy(row, from, rowBytes_);
        if (++row_ == image_.height) // checksums, and whether all of it is there
            guarded([&] { png_read_end(png_, nullptr); });
    }

    void blendRow(const uint8_t* from, uint8_t* row) const {
        const uint8_t ground[3] = {settings_.background.red, settings_.background.green,
                                   settings_.background.blue};
        const size_t colours = image_.format == VELA_FORMAT_RGB24 ? 3 : 1;
        const uint32_t most = depth_ == 16 ? 65535 : 255;
        const auto channels = size_t(channels_);
        for (size_t x = 0; x < size_t(image_.width); x++)
            for (size_t c = 0; c < colours; c++)
                *row++ = blend(sampleAt(from, x * channels + (channels == 4 ? c : 0)),
                               sampleAt(from, x * channels + channels - 1), most, ground[c]);
    }

    InputFile file_;
    InputSettings settings_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    char message_[256] = "";
    int depth_ = 8, channels_ = 0, passes_ = 1;
    size_t rowBytes_ = 0;
    int32_t row_ = 0;
    std::vector<uint8_t> samples_; // of a row, or where it is interlaced of the picture
};

} // namespace

std::unique_ptr<PictureSource> openPng(InputFile file, const InputSettings& settings) {
    return std::make_unique<PngSource>(std::move(file), settings);
}

} // namespace cli
