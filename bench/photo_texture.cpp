#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "bench/pictures.h"

namespace bench {
namespace {

/// -1..1 for a lattice point, the same whenever it is asked for.
float latticeValue(int32_t x, int32_t y, uint32_t seed) {
    uint32_t h = static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u ^
                 seed * 0xC2B2AE3Du;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h = (h ^ (h >> 12)) * 0x297A2D39u;
    return static_cast<float>(h >> 8) / 8388608.0f - 1.0f;
}

/// Lattice values at distances of period pixels, blended in between.
float valueNoise(int32_t x, int32_t y, int32_t period, uint32_t seed) {
    const auto smooth = [](float t) { return t * t * (3 - 2 * t); };
    const int32_t column = x / period, row = y / period;
    const float tx = smooth(static_cast<float>(x % period) / static_cast<float>(period));
    const float ty = smooth(static_cast<float>(y % period) / static_cast<float>(period));
    const float top =
        std::lerp(latticeValue(column, row, seed), latticeValue(column + 1, row, seed), tx);
    const float bottom =
        std::lerp(latticeValue(column, row + 1, seed), latticeValue(column + 1, row + 1, seed), tx);
    return std::lerp(top, bottom, ty);
}

struct Octave {
    int32_t period;  // in pixels
    float amplitude; // in sample values
};

// A photograph's variance is nearly the same in every octave down to a few pixels, where the lens
// ends it. What is left at the finest scale is the sensor's noise.
constexpr std::array<Octave, 4> kCoarse{{{384, 42}, {192, 30}, {96, 24}, {48, 18}}};
constexpr std::array<Octave, 5> kFine{{{24, 20}, {12, 18}, {6, 14}, {3, 7}, {1, 2.5f}}};

template <size_t count>
float octaves(const std::array<Octave, count>& all, int32_t x, int32_t y, uint32_t seed) {
    float sum = 0;
    for (const Octave& octave : all)
        sum += octave.amplitude *
               valueNoise(x, y, octave.period, seed + static_cast<uint32_t>(octave.period));
    return sum;
}

/// A disc or a box in front of what was drawn before it.
struct Object {
    bool disc;
    float x, y, halfWidth, halfHeight; // in pixels
    float blue, green, red;            // added to what every object shows
    float roughness;                   // of its fine detail, 0 smooth

    bool covers(float px, float py) const {
        const float dx = (px - x) / halfWidth, dy = (py - y) / halfHeight;
        return disc ? dx * dx + dy * dy <= 1 : std::abs(dx) <= 1 && std::abs(dy) <= 1;
    }
};

std::vector<Object> makeObjects(int32_t width, int32_t height) {
    std::mt19937 random(20240607);
    const auto between = [&](float low, float high) {
        return low + (high - low) * static_cast<float>(random() >> 8) / 16777216.0f;
    };
    const auto w = static_cast<float>(width), h = static_cast<float>(height);
    std::vector<Object> objects{{false, w / 2, h / 2, w, h, 120, 118, 112, 0.5f}};
    for (int i = 0; i < 48; i++) {
        const float size = between(0.02f, 0.16f) * std::min(w, h);
        const float light = between(20, 190);
        objects.push_back({i % 3 != 0, between(0, w), between(0, h), size * between(0.6f, 1.6f),
                           size, light + between(-45, 45), light + between(-30, 30),
                           light + between(-45, 45), between(0, 1.3f)});
    }
    return objects;
}

uint8_t toSample(float value) {
    return static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

} // namespace

SourcePicture makePhotoTexture(int32_t width, int32_t height) {
    SourcePicture picture{"generated", width, height, {}};
    picture.bgr.reserve(size_t{3} * static_cast<size_t>(width) * static_cast<size_t>(height));
    const std::vector<Object> objects = makeObjects(width, height);
    for (int32_t y = 0; y < height; y++)
        for (int32_t x = 0; x < width; x++) {
            const auto front = std::find_if(objects.rbegin(), objects.rend(), [&](const Object& o) {
                return o.covers(static_cast<float>(x), static_cast<float>(y));
            });
            const float light =
                octaves(kCoarse, x, y, 1) + front->roughness * octaves(kFine, x, y, 2);
            const float hue = 20 * valueNoise(x, y, 160, 3) + 5 * valueNoise(x, y, 10, 4);
            picture.bgr.push_back(toSample(front->blue + light + hue));
            picture.bgr.push_back(toSample(front->green + light));
            picture.bgr.push_back(toSample(front->red + light - hue));
        }
    return picture;
}

} // namespace bench
