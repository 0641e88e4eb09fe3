// The command's readers of pictures and of words. A file is the fuzzer's bytes; of a PNG the checksums are put
// right first, and where it says so its data are compressed, so that more than the first chunk is looked at.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "cli/failure.h"
#include "cli/input/picture_source.h"
#include "cli/options.h"
#include "fuzz/input.h"
#include "support/jpeg_reader.h"

namespace {

using fuzz::Input;
using fuzz::require;
using Bytes = std::vector<uint8_t>;

constexpr size_t kSignature = 8, kChunkHead = 8, kChunkEnd = 4;

uint32_t word(const uint8_t* at) {
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}

void putWord(Bytes& to, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        to.push_back(static_cast<uint8_t>(value >> shift));
}

/// The chunks anew, as far as they are whole.
Bytes repairedPng(const Bytes& file, bool compress) {
    Bytes png(file.begin(), file.begin() + kSignature);
    size_t at = kSignature;
    while (file.size() - at >= kChunkHead + kChunkEnd) {
        const size_t length = word(&file[at]);
        if (length > file.size() - at - kChunkHead - kChunkEnd)
            break;
        Bytes chunk(file.begin() + static_cast<ptrdiff_t>(at + 4),
                    file.begin() + static_cast<ptrdiff_t>(at + kChunkHead + length));
        if (compress && std::memcmp(chunk.data(), "IDAT", 4) == 0) {
            uLongf size = compressBound(length);
            Bytes packed(4 + size);
            std::memcpy(packed.data(), "IDAT", 4);
            compress2(packed.data() + 4, &size, chunk.data() + 4, length, 1);
            packed.resize(4 + size);
            chunk = packed;
        }
        putWord(png, static_cast<uint32_t>(chunk.size() - 4));
        png.insert(png.end(), chunk.begin(), chunk.end());
        putWord(png,
                static_cast<uint32_t>(crc32(0, chunk.data(), static_cast<uInt>(chunk.size()))));
        at += kChunkHead + length + kChunkEnd;
    }
    png.insert(png.end(), file.begin() + static_cast<ptrdiff_t>(at), file.end());
    return png;
}

struct MemoryFile {
    int descriptor = memfd_create("picture", 0);
    explicit MemoryFile(const Bytes& bytes) {
        require(descriptor >= 0 &&
                    write(descriptor, bytes.data(), bytes.size()) ==
                        static_cast<ssize_t>(bytes.size()) &&
                    lseek(descriptor, 0, SEEK_SET) == 0,
                "a file in memory");
    }
    ~MemoryFile() { close(descriptor); }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }
};

int append(void* context, const void* bytes, size_t count) {
    auto& jpeg = *static_cast<Bytes*>(context);
    const auto* const first = static_cast<const uint8_t*>(bytes);
    jpeg.insert(jpeg.end(), first, first + count);
    return 0;
}

void pictures(Input& input) {
    cli::InputSettings settings;
    settings.maxPixels = 20000;
    const uint8_t how = input.byte();
    if (how % 8 == 0) {
        settings.raw =
            static_cast<VelaFormat>(input.choose({1, 10, 12, 16, 30, 32, 34, 36, 50, 52}));
        settings.size = {input.integer(0, 60), input.integer(0, 60)};
        for (int n = input.integer(0, 4); n > 0; n--)
            settings.steps.push_back(input.integer(-200, 200));
    }
    if (how & 0x10)
        settings.range = how & 0x20 ? VELA_RANGE_LIMITED : VELA_RANGE_FULL;
    Bytes file(input.rest().begin(), input.rest().end());
    if (file.size() >= kSignature && std::memcmp(file.data(), "\x89PNG\r\n\x1A\n", kSignature) == 0)
        file = repairedPng(file, (how & 0x40) != 0);
    const MemoryFile memory(file);
    static VelaEncoder* const encoder = velaEncoderNew();
    VelaOptions options;
    velaOptionsInit(&options);
    try {
        const auto source = cli::openPictures(memory.path(), settings);
        for (int n = 0; n < 5 && source->next(); n++) {
            if (how & 0x80)
                source->load();
            const cli::Metadata& said = source->metadata();
            // What is no Exif is refused in words, and that is that.
            const std::string head(
                said.exif.begin(),
                said.exif.begin() + static_cast<ptrdiff_t>(std::min<size_t>(said.exif.size(), 4)));
            const bool isExif = head == std::string("II*\0", 4) || head == std::string("MM\0*", 4);
            options.exif = isExif ? said.exif.data() : nullptr;
            options.exifSize = isExif ? said.exif.size() : 0;
            options.icc = said.icc.empty() ? nullptr : said.icc.data();
            options.iccSize = said.icc.size();
            options.densityUnits = said.densityUnits;
            options.xDensity = said.xDensity;
            options.yDensity = said.yDensity;
            Bytes jpeg;
            const int32_t status = velaEncode(encoder, &source->image(), &options, append, &jpeg);
            source->throwIfFailed();
            require(status == ENC_STATUS_OK,
                    velaErrorText(encoder)); // a reader brings what can be encoded
            const test::DecodedJpeg decoded = test::readCoefficients(jpeg);
            require(decoded.error.empty() && decoded.width == source->image().width &&
                        decoded.height == source->image().height,
                    "libjpeg reads it");
        }
    } catch (const cli::Failure& failure) {
        require(*failure.what() != 0, "a failure has words");
    } catch (const cli::UsageError& error) {
        require(*error.what() != 0, "so has wrong usage");
    }
}

/// Words that could open a file are left out: that is another's.
void options(Input& input) {
    std::vector<std::string> words = {"velajpeg"};
    while (!input.empty() && words.size() < 40) {
        std::string one;
        for (uint8_t c = input.byte(); c != '\n' && c != 0; c = input.byte())
            one += static_cast<char>(c);
        if (one.find('/') == one.npos)
            words.push_back(one);
    }
    std::vector<char*> argv;
    for (std::string& one : words)
        argv.push_back(one.data());
    argv.push_back(nullptr);
    try {
        const auto parsed = cli::parseOptions(static_cast<int>(words.size()), argv.data());
        if (parsed)
            require(parsed->encoding.quality >= 0 && parsed->encoding.quality <= 100,
                    "a quality is one");
    } catch (const cli::Failure& failure) {
        require(*failure.what() != 0, "a failure has words");
    } catch (const cli::UsageError& error) {
        require(*error.what() != 0, "so has wrong usage");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    if (input.byte() % 4 == 0)
        options(input);
    else
        pictures(input);
    return 0;
}
