// Many pictures on all cores: each thread has an encoder of its own and takes the next picture.
//
//     ./batch 100        batch-0.jpg .. batch-99.jpg
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <vela/easy.hpp>

/// NV12 of 640 x 480: a bright square that wanders over grey.
static std::vector<std::uint8_t> frame(int n) {
    std::vector<std::uint8_t> samples(640 * 480 * 3 / 2, 128);
    for (int y = 0; y < 64; y++)
        for (int x = 0; x < 64; x++)
            samples[static_cast<std::size_t>(200 + y) * 640 +
                    static_cast<std::size_t>(n * 5 % 576 + x)] = 235;
    return samples;
}

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 100;
    std::atomic<int> next{0}, failed{0};
    const auto work = [&] {
        velajpeg::Encoder encoder;
        for (int n = next++; n < count; n = next++) {
            try {
                const std::vector<std::uint8_t> samples = frame(n);
                encoder.encodeToFile(velajpeg::Image::nv12(samples, 640, 480), {},
                                     "batch-" + std::to_string(n) + ".jpg");
            } catch (const velajpeg::Error& error) {
                failed++;
                std::cerr << "batch: " << error.what() << "\n";
            }
        }
    };
    std::vector<std::thread> threads(std::max(1u, std::thread::hardware_concurrency()));
    for (std::thread& thread : threads)
        thread = std::thread(work);
    for (std::thread& thread : threads)
        thread.join();
    return failed > 0 ? 1 : 0;
}
