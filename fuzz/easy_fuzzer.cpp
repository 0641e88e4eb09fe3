// The easy layer with every field of picture and options, hostile ones too, sources and sinks that fail, several
// threads, and one encoder for all runs: what it accepts decodes, and what it refuses it says why.
#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cpu/cpu_features.h"
#include "easy/easy_picture.h"
#include "fuzz/input.h"
#include "support/failing_memory.h"
#include "support/jpeg_reader.h"
#include "support/strict_decoder.h"

namespace {

using fuzz::Input;
using fuzz::require;
using test::EasyPicture;
using test::Guarded;

/// Numbers around what is allowed.
int32_t number(Input& input, int32_t least, int32_t most) {
    switch (input.byte() % 8) {
    case 0:
        return input.any<int32_t>();
    case 1:
        return least - 1;
    case 2:
        return most < INT_MAX ? most + 1 : most;
    case 3:
        return most;
    default:
        return input.integer(least, std::min(most, least + 300));
    }
}

/// Metadata in memory of its exact size.
struct Block {
    Guarded memory;
    void* bytes = nullptr;
    size_t size = 0;

    Block(Input& input, const char* head) {
        if (input.byte() % 4 != 0)
            return;
        size = input.byte() % 16 == 0 ? input.integer<size_t>(0, 200000)
                                      : input.integer<size_t>(0, 64);
        memory = Guarded(size);
        std::fill_n(memory.data(), size, input.byte());
        if (input.byte() % 8 != 0)
            std::memcpy(memory.data(), head, std::min(size, size_t{8}));
        bytes = memory.data();
    }
};

struct Settings {
    Block exif, icc;
    std::string comment;
    VelaOptions options;

    explicit Settings(Input& input) : exif(input, "II*\0\10\0\0\0"), icc(input, "12345678") {
        velaOptionsInit(&options);
        const auto changed = [&input] { return input.byte() % 4 == 0; };
        if (input.byte() % 64 == 0)
            options.structSize = input.integer<size_t>(0, 200);
        if (changed())
            options.quality = number(input, 0, 100);
        if (changed())
            options.subsampling = static_cast<VelaSubsampling>(input.integer(0, 4));
        if (changed())
            options.progressive = number(input, 0, 1);
        if (changed())
            options.restartRows = number(input, -1, 9000);
        if (changed())
            options.restartMcus = number(input, 0, 65535);
        if (changed())
            options.threads =
                input.byte() % 16 == 0 ? (input.flag() ? -1 : 1025) : input.integer(0, 4);
        if (changed())
            options.maxBytes = input.flag() ? input.integer<size_t>(0, 3000) : input.any<size_t>();
        if (changed()) {
            options.densityUnits = number(input, 0, 2);
            options.xDensity = number(input, 1, 65535);
            options.yDensity = number(input, 1, 65535);
        }
        if (changed())
            options.orientation = number(input, 0, 8);
        options.exif = exif.bytes;
        options.exifSize = exif.size;
        options.icc = icc.bytes;
        options.iccSize = icc.size;
        if (changed()) {
            comment.assign(input.byte() % 32 == 0 ? input.integer<size_t>(0, 66000)
                                                  : input.integer<size_t>(0, 40),
                           'c');
            options.comment = comment.c_str();
        }
    }
};

/// Spoils one field, such that nothing can be read by it: a picture like this has to be refused, or is the same.
void spoil(Input& input, VelaImage& image) {
    const int p = input.integer(0, 2);
    switch (input.integer(0, 6)) {
    case 0:
        image.format = static_cast<VelaFormat>(input.any<int32_t>() | 64);
        break;
    case 1:
        image.width = input.flag() ? input.integer(65536, INT_MAX) : input.integer(INT_MIN, 0);
        break;
    case 2:
        image.height = input.flag() ? input.integer(65536, INT_MAX) : input.integer(INT_MIN, 0);
        break;
    case 3:
        image.plane[p] = nullptr;
        break;
    case 4:
        image.stride[p] =
            input.flag() ? PTRDIFF_MIN : ptrdiff_t{INT_MAX} + (sizeof(ptrdiff_t) > 4 ? 1 : 0);
        break;
    case 5:
        image.range = static_cast<VelaRange>(input.integer(2, 9));
        break;
    default:
        image.matrix = static_cast<VelaMatrix>(input.integer(2, 9));
        break;
    }
}

/// A folder for the run's files, taken away at its end.
struct Folder {
    std::string name = std::filesystem::temp_directory_path() / "velaXXXXXX";
    Folder() { require(mkdtemp(name.data()) != nullptr, "a folder"); }
    ~Folder() { std::filesystem::remove_all(name); }
};

struct Sink {
    VelaEncoder* encoder;
    std::vector<uint8_t> bytes = {};
    int calls = 0, failsAt = 0, answer = 1;

    static int write(void* context, const void* from, size_t count) {
        auto& self = *static_cast<Sink*>(context);
        if (++self.calls == self.failsAt)
            return self.answer;
        if (self.calls == 1)
            require(velaEncode(self.encoder, nullptr, nullptr, nullptr, nullptr) == ENC_STATUS_ERR,
                    "a call within a call is refused");
        const auto* const first = static_cast<const uint8_t*>(from);
        self.bytes.insert(self.bytes.end(), first, first + count);
        return 0;
    }
};

void checkStream(const std::vector<uint8_t>& jpeg, const VelaImage& image,
                 const VelaOptions& options) {
    require(options.maxBytes == 0 || jpeg.size() <= options.maxBytes,
            "a stream keeps to its limit");
    VelaImage whole = image;
    require(jpeg.size() <= velaMaxBytes(&whole, &options), "and to the most that there can be");
    const test::DecodedJpeg decoded = test::readCoefficients(jpeg);
    require(decoded.error.empty(), "libjpeg reads it");
    require(decoded.width == image.width && decoded.height == image.height, "the picture's size");
    require(decoded.progressive == (options.progressive != 0), "the process");
    require(test::decodeStrictly(jpeg) == decoded, "it has nothing but what the standard allows");
}

/// Rows of pixels or samples through the conversions of two instruction sets.
void colours(Input& input) {
    std::vector<const vela::ColourRoutines*> sets;
    for (const vela::ColourRoutines* const set : vela::colourRoutineTables())
        if ((set->requiredFeatures & ~vela::cpuFeatures()) == 0)
            sets.push_back(set);
    const vela::ColourRoutines* const tables[2] = {sets.back(),
                                                   sets[input.integer<size_t>(0, sets.size() - 1)]};
    const int32_t width = input.integer(1, 150), half = (width + 1) / 2, kind = input.integer(0, 6);
    const auto order = static_cast<vela::PixelOrder>(input.integer(0, vela::kPixelOrders - 1));
    const auto pairs = static_cast<vela::PairOrder>(input.integer(0, vela::kPairOrders - 1));
    const int32_t pixel = order <= vela::PixelOrder::bgr    ? 3
                          : order <= vela::PixelOrder::xbgr ? 4
                                                            : 2;
    const bool limited = input.flag(), bt709 = input.flag(), halved = input.flag();
    const vela::YcbcrAdjustment by = vela::adjustmentOf(limited, bt709);
    const int32_t rowBytes = kind < 3    ? width * pixel
                             : kind == 3 ? 4 * half
                             : kind == 4 ? 2 * width
                                         : width;
    const auto length = static_cast<size_t>(rowBytes);
    Guarded rows[3] = {Guarded(length), Guarded(length), Guarded(length)};
    for (Guarded& row : rows)
        for (size_t i = 0; i < length; i++)
            row.data()[i] = input.byte();
    constexpr auto kRoom = static_cast<size_t>(vela::kOutputPadding);
    const auto pixels = static_cast<size_t>(width),
               samples = static_cast<size_t>(kind == 0 || kind >= 4 ? width : half);
    const size_t sizes[4] = {pixels, samples, samples, kind == 2 ? pixels : 0};
    Guarded out[2][4];
    for (int side = 0; side < 2; side++) {
        for (int i = 0; i < 4; i++)
            out[side][i] = Guarded(sizes[i] + kRoom);
        Guarded* const to = out[side];
        const vela::ColourRoutines& colour = *tables[side];
        const uint8_t* const both[2] = {rows[0].data(), rows[1].data()};
        uint8_t* const lumas[2] = {to[0].data(), to[3].data()};
        switch (kind) {
        case 0:
            colour.rgbTo444(both[0], order, width, to[0].data(), to[1].data(), to[2].data());
            break;
        case 1:
            colour.rgbTo422(both[0], order, width, to[0].data(), to[1].data(), to[2].data());
            break;
        case 2:
            colour.rgbTo420(both, order, width, lumas, to[1].data(), to[2].data());
            break;
        case 3:
            colour.splitPacked422(both[0], pairs, width, to[0].data(), to[1].data(), to[2].data());
            break;
        case 4:
            colour.splitPairs(both[0], width, to[1].data(), to[2].data());
            break;
        case 5:
            colour.adjustLuma(both[0], both[1], rows[2].data(), halved, width, by, to[0].data());
            break;
        default:
            colour.adjustChroma(both[0], both[1], width, by, to[1].data(), to[2].data());
            break;
        }
    }
    const bool written[4] = {kind != 4 && kind != 6, kind != 5, kind != 5, kind == 2};
    for (int i = 0; i < 4; i++)
        require(!written[i] ||
                    std::equal(out[0][i].data(), out[0][i].data() + sizes[i], out[1][i].data()),
                "every instruction set gives the same");
    for (auto& side : out)
        for (Guarded& one : side)
            require(one.intact(), "nothing is written beyond the room");
}

void nothing(VelaEncoder* encoder, Input& input, const VelaImage& image) {
    const uint8_t* jpeg = nullptr;
    size_t count = 1;
    const auto write = [](void*, const void*, size_t) { return 0; };
    switch (input.integer(0, 6)) {
    case 0:
        require(velaEncode(nullptr, &image, nullptr, write, nullptr) == ENC_STATUS_BADARG,
                "no encoder");
        break;
    case 1:
        require(velaEncode(encoder, nullptr, nullptr, write, nullptr) == ENC_STATUS_BADARG,
                "no image");
        break;
    case 2:
        require(velaEncode(encoder, &image, nullptr, nullptr, nullptr) == ENC_STATUS_BADARG,
                "no write");
        break;
    case 3:
        require(velaEncodeToMemory(encoder, &image, nullptr, nullptr, &count) == ENC_STATUS_BADARG,
                "no jpeg");
        break;
    case 4:
        require(velaEncodeToMemory(encoder, &image, nullptr, &jpeg, nullptr) == ENC_STATUS_BADARG,
                "no size");
        break;
    case 5:
        require(velaEncodeToFile(encoder, &image, nullptr, nullptr) == ENC_STATUS_BADARG,
                "no path");
        break;
    default:
        require(velaMaxBytes(nullptr, nullptr) == 0 && velaQualityUsed(nullptr) == -1,
                "nothing of nothing");
        require(*velaErrorText(nullptr) == 0 && velaVersion() > 0, "no words of nothing");
        velaOptionsInit(nullptr);
        velaEncoderDelete(nullptr);
        for (int32_t status = -40; status < 5; status++)
            require(*velaStatusText(status) != 0, "every status has words");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static VelaEncoder* const encoder = velaEncoderNew();
    static const Folder folder;
    Input input(bytes, size);
    if (const uint8_t what = input.byte(); what % 4 == 0) {
        colours(input);
        return 0;
    } else if (what % 32 == 1) {
        EasyPicture small(VELA_FORMAT_NV12, 20, 10);
        nothing(encoder, input, small.image());
        return 0;
    }
    const VelaFormat format = input.choose(test::kEasyFormats);
    const int most = input.byte() % 16 == 0 ? 300 : 50;
    const int width = input.integer(1, most), height = input.integer(1, most);
    EasyPicture picture(format, width, height, input.byte(), input.integer(-9, 9));
    const bool byRows = input.byte() % 4 == 0;
    VelaImage image = byRows ? picture.imageByRows(input.integer(0, 40)) : picture.image();
    image.range = input.flag() ? VELA_RANGE_LIMITED : VELA_RANGE_FULL;
    image.matrix = input.flag() ? VELA_MATRIX_BT709 : VELA_MATRIX_BT601;
    const Settings settings(input);
    if (input.byte() % 8 == 0)
        spoil(input, image);

    Sink sink{encoder};
    sink.failsAt = input.integer(0, 30);
    sink.answer = input.flag() ? 1 : INT_MIN;
    const int target = input.integer(0, 2);
    const int refused = input.byte() % 8 == 0 ? input.integer(1, 60) : 0;
    int32_t status;
    if (refused > 0) {
        const test::RefusedAllocation refusal(refused, input.flag());
        VelaEncoder* const other = velaEncoderNew();
        const uint8_t* jpeg = nullptr;
        size_t count = 0;
        if (other != nullptr)
            velaEncodeToMemory(other, &image, &settings.options, &jpeg, &count);
        velaEncoderDelete(other);
        return 0;
    }
    if (target == 2) {
        const std::string path = folder.name + (input.byte() % 8 == 0   ? "/none/x.jpg"
                                                : input.byte() % 8 == 0 ? ""
                                                                        : "/x.jpg");
        status = velaEncodeToFile(encoder, &image, &settings.options, path.c_str());
        std::ifstream file(path, std::ios::binary);
        if (status == ENC_STATUS_OK)
            sink.bytes.assign(std::istreambuf_iterator<char>(file), {});
        std::filesystem::remove(folder.name + "/x.jpg");
        require(std::filesystem::is_empty(folder.name), "no file but the target is left");
    } else if (target == 1) {
        const uint8_t* jpeg;
        size_t count;
        status = velaEncodeToMemory(encoder, &image, &settings.options, &jpeg, &count);
        require((jpeg != nullptr) == (status == ENC_STATUS_OK), "a stream or none");
        require(status == ENC_STATUS_OK || count == 0, "of no bytes");
        if (status == ENC_STATUS_OK)
            sink.bytes.assign(jpeg, jpeg + count);
    } else {
        status = velaEncode(encoder, &image, &settings.options, Sink::write, &sink);
        require((status == VELA_STATUS_WRITE) == (sink.calls == sink.failsAt && sink.failsAt > 0),
                "a write that fails is told, and none comes after it");
    }
    require(std::strlen(velaStatusText(status)) > 0, "every status has words");
    if (status == ENC_STATUS_OK) {
        require(velaQualityUsed(encoder) >= 0 &&
                    velaQualityUsed(encoder) <= settings.options.quality,
                "at most the quality given");
        checkStream(sink.bytes, image, settings.options);
    } else {
        require(status < 0 && velaQualityUsed(encoder) == -1, "no quality of what has failed");
        require(std::strlen(velaErrorText(encoder)) > 0, "an error has its words");
    }
    return 0;
}
