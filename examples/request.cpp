// A server's answer: pixels of a request to a JPEG in a std::vector, at most so many bytes long.
//
//     ./request request.jpg 320 240
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <vector>

#include <vela/easy.hpp>

/// What a request would bring: RGBA pixels, here a gradient.
static std::vector<std::uint8_t> renderedPage(std::int32_t width, std::int32_t height) {
    std::vector<std::uint8_t> pixels;
    for (std::int32_t y = 0; y < height; y++)
        for (std::int32_t x = 0; x < width; x++)
            for (const std::int32_t value : {255 * x / width, 255 * y / height, 128, 255})
                pixels.push_back(static_cast<std::uint8_t>(value));
    return pixels;
}

/// Throws velajpeg::Error, for example for a size that no JPEG has.
static std::vector<std::uint8_t> answer(const std::vector<std::uint8_t>& rgba, std::int32_t width,
                                        std::int32_t height) {
    thread_local velajpeg::Encoder encoder; // each thread of the server keeps one
    velajpeg::Options options;
    options.quality = 90;
    options.maxBytes = 100'000;
    return encoder.encode(velajpeg::Image::rgbx32(rgba, width, height), options);
}

int main(int argc, char** argv) {
    const char* const path = argc > 1 ? argv[1] : "request.jpg";
    const std::int32_t width = argc > 2 ? std::atoi(argv[2]) : 320,
                       height = argc > 3 ? std::atoi(argv[3]) : 240;
    try {
        const std::vector<std::uint8_t> jpeg = answer(renderedPage(width, height), width, height);
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(jpeg.data()),
                   static_cast<std::streamsize>(jpeg.size()));
        file.close();
        return file.good() ? 0 : 1;
    } catch (const velajpeg::Error& error) {
        std::cerr << "request: " << error.what() << " (status " << error.status() << ")\n";
        return 1;
    }
}
