// Rows of pixels, taken in chunks of a vector kernel's own size.
#pragma once

#include <cstring>

#include "cpu/isa.h"
#ifdef __SSE4_1__
#include "cpu/vectors_x86.h"
#endif
#include "easy/colour/routines.h"

namespace vela::VELA_ISA {
namespace {

/// Of the orders that kernels read: where red, green and blue stand among a pixel's bytes.
template <int32_t size, int32_t red, int32_t green, int32_t blue>
struct Bytes {
    static constexpr int32_t kSize = size, kRed = red, kGreen = green, kBlue = blue;
};

#ifdef __SSE4_1__
template <int32_t bits>
VELA_INLINE V128 byteOfField(V128 field) {
    return shiftLeft16<8 - bits>(field) | shiftRight16<2 * bits - 8>(field);
}
#endif

/// Words of 16 bits (red in the upper bits, 5 bits each, green greenBits) as bytes of red, green, blue and one
/// more, a field's high bits standing again below it. Writes up to a multiple of eight pixels.
template <int32_t greenBits>
inline void widen(const uint8_t* words, int32_t count, uint8_t* out) {
    constexpr int32_t kGreenMask = (1 << greenBits) - 1;
#ifdef __SSE4_1__
    for (int32_t x = 0; x < count; x += 8) {
        uint8_t last[16] = {};
        if (count - x < 8)
            std::memcpy(last, words + ptrdiff_t{x} * 2, static_cast<size_t>(count - x) * 2);
        const V128 v = V128::load(count - x < 8 ? last : words + ptrdiff_t{x} * 2);
        const V128 red = byteOfField<5>(shiftRight16<5 + greenBits>(v) & V128::set16(31));
        const V128 green = byteOfField<greenBits>(shiftRight16<5>(v) & V128::set16(kGreenMask));
        const V128 blue = byteOfField<5>(v & V128::set16(31));
        const V128 redGreen = red | shiftLeft16<8>(green);
        unpackLow16(redGreen, blue).store(out + ptrdiff_t{x} * 4);
        unpackHigh16(redGreen, blue).store(out + ptrdiff_t{x} * 4 + 16);
    }
#else
    const auto byteOf = [](int32_t field, int32_t bits) {
        return static_cast<uint8_t>(field << (8 - bits) | field >> (2 * bits - 8));
    };
    for (int32_t x = 0; x < count; x++) {
        const int32_t v = words[2 * x] | words[2 * x + 1] << 8;
        out[4 * x] = byteOf(v >> (5 + greenBits) & 31, 5);
        out[4 * x + 1] = byteOf(v >> 5 & kGreenMask, greenBits);
        out[4 * x + 2] = byteOf(v & 31, 5);
    }
#endif
}

/// Runs a kernel over rows of pixels, chunk by chunk: take<Order>(pixels, x) for kPixels pixels of each row from
/// column x on. It may read kReadBytes from pixels[0..rows - 1]; where a row has fewer, and for 16-bit words,
/// they come from a buffer, in which a last pixel at an even column stands twice.
template <class Kernel, int32_t rows, int32_t kPixels, int32_t kReadBytes>
class Chunks {
public:
    Chunks(const uint8_t* const (&pixels)[rows], int32_t width, const Kernel& kernel)
        : width_(width), kernel_(kernel) {
        for (int32_t r = 0; r < rows; r++)
            pixels_[r] = pixels[r];
    }

    VELA_INLINE void run(PixelOrder order) const {
        switch (order) {
        case PixelOrder::rgb:
            return runBytes<Bytes<3, 0, 1, 2>>();
        case PixelOrder::bgr:
            return runBytes<Bytes<3, 2, 1, 0>>();
        case PixelOrder::rgbx:
            return runBytes<Bytes<4, 0, 1, 2>>();
        case PixelOrder::bgrx:
            return runBytes<Bytes<4, 2, 1, 0>>();
        case PixelOrder::xrgb:
            return runBytes<Bytes<4, 1, 2, 3>>();
        case PixelOrder::xbgr:
            return runBytes<Bytes<4, 3, 2, 1>>();
        case PixelOrder::rgb565:
            return runWords(widen<6>);
        case PixelOrder::rgb555:
            return runWords(widen<5>);
        }
    }

private:
    struct Buffer {
        alignas(64) uint8_t bytes[rows][kReadBytes + 64];
    };

    /// A large picture comes from memory, or from a cache that is far. The processor's own prefetching ends at
    /// each page, of which a row has few: with this the encoding of 4K RGB takes a tenth less time (x86, with
    /// each instruction set).
    VELA_INLINE static void fetchAhead(const uint8_t* const (&from)[rows], int32_t bytes) {
#ifdef __SSE4_1__
        for (int32_t r = 0; r < rows; r++)
            for (int32_t b = 0; b < bytes; b += 64)
                _mm_prefetch(reinterpret_cast<const char*>(from[r]) + 2048 + b, _MM_HINT_T0);
#else
        static_cast<void>(from), static_cast<void>(bytes);
#endif
    }

    /// The last pixel once more after count of them; where they are, for the kernel.
    template <class Order>
    VELA_INLINE static void finish(Buffer& buffer, int32_t count, const uint8_t* (&from)[rows]) {
        for (int32_t r = 0; r < rows; r++) {
            uint8_t* const last = buffer.bytes[r] + (count - 1) * Order::kSize;
            std::memcpy(last + Order::kSize, last, Order::kSize);
            from[r] = buffer.bytes[r];
        }
    }

    template <class Order>
    void runBytes() const {
        Buffer buffer;
        const int64_t rowBytes = int64_t{width_} * Order::kSize;
        for (int32_t x = 0; x < width_; x += kPixels) {
            const uint8_t* from[rows];
            for (int32_t r = 0; r < rows; r++)
                from[r] = pixels_[r] + ptrdiff_t{x} * Order::kSize;
            if (int64_t{x} * Order::kSize + kReadBytes <= rowBytes) {
                fetchAhead(from, kPixels * Order::kSize);
            } else {
                const int32_t count = width_ - x < kPixels ? width_ - x : kPixels;
                buffer = {};
                for (int32_t r = 0; r < rows; r++)
                    std::memcpy(buffer.bytes[r], from[r],
                                static_cast<size_t>(count * Order::kSize));
                finish<Order>(buffer, count, from);
            }
            kernel_.template take<Order>(from, x);
        }
    }

    void runWords(void (*widen)(const uint8_t* words, int32_t count, uint8_t* out)) const {
        using Widened = Bytes<4, 0, 1, 2>;
        for (int32_t x = 0; x < width_; x += kPixels) {
            Buffer buffer{};
            const int32_t count = width_ - x < kPixels ? width_ - x : kPixels;
            for (int32_t r = 0; r < rows; r++)
                widen(pixels_[r] + ptrdiff_t{x} * 2, count, buffer.bytes[r]);
            const uint8_t* from[rows];
            finish<Widened>(buffer, count, from);
            kernel_.template take<Widened>(from, x);
        }
    }

    const uint8_t* pixels_[rows];
    int32_t width_;
    Kernel kernel_;
};

} // namespace
} // namespace vela::VELA_ISA
