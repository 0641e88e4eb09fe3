// A generated picture with what makes encoding easy and hard: colour bars, gradients, edges, texture. The same
// bytes on every machine: integers only.
#include <algorithm>
#include <cstdlib>

#include "cli/input/picture_source.h"

namespace cli {
namespace {

struct Color {
    int32_t red, green, blue;
};

// One of the four quadrants, and a place in it.
struct Place {
    int32_t x, y;
    int32_t width, height;
};

// White, yellow, cyan, green, magenta, red, blue, black.
Color bars(const Place& at) {
    const int32_t bar = 7 - at.x * 8 / at.width;
    return {bar & 2 ? 255 : 0, bar & 4 ? 255 : 0, bar & 1 ? 255 : 0};
}

Color gradients(const Place& at) {
    const int32_t across = 255 * at.x / at.width, down = 255 * at.y / at.height;
    return {across, down, 255 - (across + down) / 2};
}

// A checkerboard whose colours change inside a disc.
Color edges(const Place& at) {
    const int64_t dx = 2 * at.x - at.width, dy = 2 * at.y - at.height;
    const int64_t side = std::min(at.width, at.height);
    const bool inDisc = (dx * dx + dy * dy) * 4 < side * side * 3;
    const bool odd = ((at.x / 20 + at.y / 20) & 1) != 0;
    if (inDisc)
        return odd ? Color{220, 40, 30} : Color{250, 220, 60};
    return odd ? Color{16, 16, 16} : Color{240, 240, 240};
}

// A weave of diagonal threads under noise.
Color texture(const Place& at) {
    uint32_t hash = uint32_t(at.x) * 0x9E3779B1u ^ uint32_t(at.y) * 0x85EBCA77u;
    hash = (hash ^ hash >> 15) * 0x2C1B3C6Du;
    const int32_t noise = int32_t(hash >> 26);
    const int32_t thread = 8 * std::abs((at.x + at.y) % 16 - 8) + 4 * std::abs((at.x - at.y) % 8);
    return {60 + thread + noise, 90 + thread / 2 + noise, 120 + noise - thread / 4};
}

Color colorAt(int32_t x, int32_t y, int32_t width, int32_t height) {
    const int32_t left = (width + 1) / 2, top = (height + 1) / 2;
    const bool isLeft = x < left, isTop = y < top;
    const Place at{isLeft ? x : x - left, isTop ? y : y - top, isLeft ? left : width - left,
                   isTop ? top : height - top};
    if (isTop)
        return isLeft ? bars(at) : gradients(at);
    return isLeft ? edges(at) : texture(at);
}

class DemoPicture final : public PictureSource {
public:
    explicit DemoPicture(Size size) : size_(size) { formatName_ = "demo picture"; }

    bool next() override {
        if (row_ > 0 || image_.width > 0)
            return false;
        setRows(VELA_FORMAT_RGB24, size_.width, size_.height);
        return true;
    }

private:
    void readRow(uint8_t* row) override {
        for (int32_t x = 0; x < size_.width; x++) {
            const Color color = colorAt(x, row_, size_.width, size_.height);
            *row++ = uint8_t(color.red);
            *row++ = uint8_t(color.green);
            *row++ = uint8_t(color.blue);
        }
        row_++;
    }

    Size size_;
    int32_t row_ = 0;
};

} // namespace

std::unique_ptr<PictureSource> demoPicture(Size size) {
    return std::make_unique<DemoPicture>(size);
}

} // namespace cli
