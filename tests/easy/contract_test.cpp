// What the easy layer refuses, and how it says so; what it writes before the tables; files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "easy/easy_picture.h"
#include "support/differences.h"

namespace {

using namespace test;
namespace fs = std::filesystem;

struct EncoderHolder {
    EncoderHolder() { velaOptionsInit(&options); }
    ~EncoderHolder() { velaEncoderDelete(encoder); }

    std::vector<uint8_t> encode(const VelaImage& image) {
        const uint8_t* jpeg;
        size_t size;
        EXPECT_EQ(velaEncodeToMemory(encoder, &image, &options, &jpeg, &size), ENC_STATUS_OK)
            << velaErrorText(encoder);
        return {jpeg, jpeg + size};
    }

    VelaEncoder* encoder = velaEncoderNew();
    VelaOptions options;
};

TEST(EasyContract, EveryRefusalNamesItsFieldAndValue) {
    // Fault: a hostile value that is followed, a status for another reason, a text without the value.
    EasyPicture picture(VELA_FORMAT_NV12, 64, 48);
    static const std::vector<uint8_t> large(17'000'000, 'x');
    static const std::string longComment(65534, 'c');
    using Change = std::function<void(VelaImage&, VelaOptions&)>;
    const auto format = [](int code) {
        return [code](VelaImage& i, VelaOptions&) { std::memcpy(&i.format, &code, 4); };
    };
    struct Case {
        const char* words[2];
        int32_t status;
        Change change;
    };
    const int32_t bad = ENC_STATUS_BADARG, unknown = ENC_STATUS_NOTSUPPORTED;
    const Case cases[] = {
        {{"format", "99"}, unknown, format(99)},
        {{"format", "-1"}, unknown, format(-1)},
        {{"width", "0"}, bad, [](VelaImage& i, VelaOptions&) { i.width = 0; }},
        {{"width", "65536"}, bad, [](VelaImage& i, VelaOptions&) { i.width = 65536; }},
        {{"height", "0"}, bad, [](VelaImage& i, VelaOptions&) { i.height = 0; }},
        {{"height", "-7"}, bad, [](VelaImage& i, VelaOptions&) { i.height = -7; }},
        {{"height", "2147483647"}, bad, [](VelaImage& i, VelaOptions&) { i.height = INT_MAX; }},
        {{"plane[0]", "null"}, bad, [](VelaImage& i, VelaOptions&) { i.plane[0] = nullptr; }},
        {{"plane[1]", "null"}, bad, [](VelaImage& i, VelaOptions&) { i.plane[1] = nullptr; }},
        {{"stride[0]", "63"}, bad, [](VelaImage& i, VelaOptions&) { i.stride[0] = 63; }},
        {{"stride[0]", "-63"}, bad, [](VelaImage& i, VelaOptions&) { i.stride[0] = -63; }},
        {{"stride[1]", "1"}, bad, [](VelaImage& i, VelaOptions&) { i.stride[1] = 1; }},
        {{"stride[0]", ""}, bad, [](VelaImage& i, VelaOptions&) { i.stride[0] = PTRDIFF_MAX; }},
        {{"stride[1]", ""}, bad, [](VelaImage& i, VelaOptions&) { i.stride[1] = PTRDIFF_MIN; }},
        {{"plane[0]", "readRows"},
         bad,
         [](VelaImage& i, VelaOptions&) {
             i.readRows = [](void*, int32_t, int32_t, void* const*, const ptrdiff_t*) { return 0; };
         }},
        {{"plane[1]", "readRows"},
         bad,
         [](VelaImage& i, VelaOptions&) {
             i.readRows = [](void*, int32_t, int32_t, void* const*, const ptrdiff_t*) { return 0; };
             i.plane[0] = nullptr;
         }},
        {{"range", "2"},
         unknown,
         [](VelaImage& i, VelaOptions&) {
             const int c = 2;
             std::memcpy(&i.range, &c, 4);
         }},
        {{"matrix", "77"},
         unknown,
         [](VelaImage& i, VelaOptions&) {
             const int c = 77;
             std::memcpy(&i.matrix, &c, 4);
         }},
        {{"subsampling", "9"},
         unknown,
         [](VelaImage&, VelaOptions& o) {
             const int c = 9;
             std::memcpy(&o.subsampling, &c, 4);
         }},
        {{"subsampling", "1"},
         unknown,
         [](VelaImage&, VelaOptions& o) { o.subsampling = VELA_SUBSAMPLING_444; }},
        {{"structSize", "8"}, bad, [](VelaImage&, VelaOptions& o) { o.structSize = 8; }},
        {{"structSize", "0"}, bad, [](VelaImage&, VelaOptions& o) { o.structSize = 0; }},
        {{"structSize", ""}, bad, [](VelaImage&, VelaOptions& o) { o.structSize++; }},
        {{"quality", "101"}, bad, [](VelaImage&, VelaOptions& o) { o.quality = 101; }},
        {{"quality", "-1"}, bad, [](VelaImage&, VelaOptions& o) { o.quality = -1; }},
        {{"progressive", "2"}, bad, [](VelaImage&, VelaOptions& o) { o.progressive = 2; }},
        {{"threads", "-1"}, bad, [](VelaImage&, VelaOptions& o) { o.threads = -1; }},
        {{"threads", "2000000000"},
         bad,
         [](VelaImage&, VelaOptions& o) { o.threads = 2000000000; }},
        {{"restartRows", "-2"}, bad, [](VelaImage&, VelaOptions& o) { o.restartRows = -2; }},
        {{"restartRows", "16384"}, bad, [](VelaImage&, VelaOptions& o) { o.restartRows = 16384; }},
        {{"restartRows", "40000"}, bad, [](VelaImage&, VelaOptions& o) { o.restartRows = 40000; }},
        {{"restartMcus", "65536"}, bad, [](VelaImage&, VelaOptions& o) { o.restartMcus = 65536; }},
        {{"densityUnits", "3"}, bad, [](VelaImage&, VelaOptions& o) { o.densityUnits = 3; }},
        {{"xDensity", "0"}, bad, [](VelaImage&, VelaOptions& o) { o.densityUnits = 1; }},
        {{"yDensity", "65536"},
         bad,
         [](VelaImage&, VelaOptions& o) {
             o.densityUnits = o.xDensity = 1;
             o.yDensity = 65536;
         }},
        {{"orientation", "9"}, bad, [](VelaImage&, VelaOptions& o) { o.orientation = 9; }},
        {{"orientation", "exif"},
         bad,
         [](VelaImage&, VelaOptions& o) {
             o.orientation = 1;
             o.exif = "II*\0\10\0\0\0\0\0\0\0\0\0";
             o.exifSize = 14;
         }},
        {{"exif", "45 78 69 66"},
         bad,
         [](VelaImage&, VelaOptions& o) {
             o.exif = "Exif\0\0II*\0";
             o.exifSize = 10;
         }},
        {{"exifSize", "65528"},
         bad,
         [](VelaImage&, VelaOptions& o) {
             o.exif = large.data();
             o.exifSize = 65528;
         }},
        {{"exif", "null"}, bad, [](VelaImage&, VelaOptions& o) { o.exifSize = 100; }},
        {{"iccSize", "16707346"},
         bad,
         [](VelaImage&, VelaOptions& o) {
             o.icc = large.data();
             o.iccSize = 16707346;
         }},
        {{"icc", "0"}, bad, [](VelaImage&, VelaOptions& o) { o.icc = large.data(); }},
        {{"comment", "65533"},
         bad,
         [](VelaImage&, VelaOptions& o) { o.comment = longComment.c_str(); }},
    };
    EncoderHolder user;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.words[0] + std::string(" ") + c.words[1]);
        VelaImage image = picture.image();
        velaOptionsInit(&user.options);
        c.change(image, user.options);
        const uint8_t* jpeg = large.data();
        size_t size = 1;
        EXPECT_EQ(velaEncodeToMemory(user.encoder, &image, &user.options, &jpeg, &size), c.status);
        EXPECT_TRUE(jpeg == nullptr && size == 0);
        const std::string text = velaErrorText(user.encoder);
        EXPECT_NE(text.find(c.words[0]), std::string::npos) << text;
        EXPECT_NE(text.find(c.words[1]), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(velaQualityUsed(user.encoder), -1);
        EXPECT_EQ(velaMaxBytes(&image, &user.options), 0u);
        EXPECT_STRNE(velaStatusText(c.status), velaStatusText(ENC_STATUS_OK));
    }
    // What cannot be followed at all.
    const VelaImage image = picture.image();
    EXPECT_EQ(velaEncode(nullptr, &image, nullptr, nullptr, nullptr), ENC_STATUS_BADARG);
    EXPECT_EQ(velaEncode(user.encoder, &image, nullptr, nullptr, nullptr), ENC_STATUS_BADARG);
    EXPECT_EQ(velaEncodeToFile(user.encoder, &image, nullptr, nullptr), ENC_STATUS_BADARG);
    EXPECT_EQ(velaEncodeToMemory(user.encoder, nullptr, nullptr, nullptr, nullptr),
              ENC_STATUS_BADARG);
    EXPECT_STREQ(velaErrorText(nullptr), "");
    EXPECT_EQ(velaQualityUsed(nullptr), -1);
    EXPECT_NE(velaStatusText(INT_MIN), nullptr);
    velaEncoderDelete(nullptr);
    velaOptionsInit(&user.options);
    EXPECT_EQ(user.encode(image).size(), user.encode(image).size()); // of use as before
    EXPECT_EQ(velaVersion(), 0x010100u);
}

/// The segments of a stream up to SOS: marker and contents.
std::vector<std::pair<int, std::string>> segmentsOf(const std::vector<uint8_t>& jpeg) {
    std::vector<std::pair<int, std::string>> segments;
    for (size_t at = 2; at + 4 <= jpeg.size() && jpeg[at + 1] != 0xDA;) {
        const size_t length = jpeg[at + 2] * 256u + jpeg[at + 3];
        segments.emplace_back(jpeg[at + 1], std::string(jpeg.begin() + long(at) + 4,
                                                        jpeg.begin() + long(at + 2 + length)));
        at += 2 + length;
    }
    return segments;
}

TEST(EasyContract, MetadataInItsOrderAndThePictureUntouched) {
    // Fault: segments in another order or place, a piece of a profile that is numbered wrongly or lost, a
    // length off by one, metadata repeated in a joined stream.
    EasyPicture picture(VELA_FORMAT_I422, 500, 900);
    const VelaImage image = picture.image();
    EncoderHolder user;
    user.options.restartRows = 1;
    auto plain = user.encode(image);
    std::string exif("MM\0*\0\0\0\10\0\0\0\0\0\0", 14), icc;
    for (size_t size : {1u, 65519u, 65520u, 200000u, 255u * 65519u}) {
        for (const int threads : {1, 2}) {
            user.options.threads = threads;
            icc.resize(size);
            for (size_t i = 0; i < size; i++)
                icc[i] = char(i * 7 / 5);
            user.options.icc = icc.data();
            user.options.iccSize = icc.size();
            user.options.exif = exif.data();
            user.options.exifSize = exif.size();
            user.options.comment = "gr\xC3\xBC\xC3\x9F";
            user.options.densityUnits = 2;
            user.options.xDensity = 118;
            user.options.yDensity = 65535;
            const auto bytes = user.encode(image);
            const auto segments = segmentsOf(bytes);
            const size_t pieces = (size + 65518) / 65519;
            ASSERT_GE(segments.size(), 3 + pieces);
            EXPECT_EQ(segments[0],
                      std::pair(0xE0, std::string("JFIF\0\1\2\2\0\x76\xFF\xFF\0\0", 14)));
            EXPECT_EQ(segments[1], std::pair(0xE1, std::string("Exif\0\0", 6) + exif));
            std::string joined;
            for (size_t i = 0; i < pieces; i++) {
                EXPECT_EQ(segments[2 + i].first, 0xE2);
                EXPECT_EQ(segments[2 + i].second.substr(0, 14),
                          std::string("ICC_PROFILE\0", 12) + char(i + 1) + char(pieces));
                joined += segments[2 + i].second.substr(14);
            }
            EXPECT_TRUE(joined == icc);
            EXPECT_EQ(segments[2 + pieces], std::pair(0xFE, std::string("gr\xC3\xBC\xC3\x9F")));
            size_t before = 0; // what follows is the stream without metadata
            for (size_t i = 0; i < 3 + pieces; i++)
                before += 4 + segments[i].second.size();
            EXPECT_TRUE(
                sameBytes(std::span(plain).subspan(20), std::span(bytes).subspan(2 + before)));
        }
    }
    velaOptionsInit(&user.options);
    user.options.orientation = 6;
    const auto segments = segmentsOf(user.encode(image));
    ASSERT_EQ(segments[1].first, 0xE1);
    EXPECT_EQ(segments[1].second.substr(
                  0, 28), // TIFF, first directory, first entry: tag 0x0112, SHORT, 1, 6
              std::string("Exif\0\0II*\0\10\0\0\0\6\0\x12\1\3\0\1\0\0\0\6\0\0\0", 28));
}

fs::path newFolder() {
    std::string name = fs::temp_directory_path() / "velaXXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    return name;
}

std::vector<char> read(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(EasyContract, AFileAppearsWhenItIsWhole) {
    // Fault: a target that is lost or cut short when the encoding fails, a mode that is not kept, a temporary
    // file that stays, a link that is replaced.
    const fs::path folder = newFolder();
    const auto path = folder / "out.jpg";
    const auto count = [&] { return std::distance(fs::directory_iterator(folder), {}); };
    EasyPicture picture(VELA_FORMAT_RGB24, 300, 300);
    const VelaImage image = picture.image();
    EncoderHolder user;
    const auto expected = user.encode(image);
    ASSERT_EQ(velaEncodeToFile(user.encoder, &image, &user.options, path.c_str()), ENC_STATUS_OK);
    EXPECT_TRUE(sameBytes(std::vector<char>(expected.begin(), expected.end()), read(path)));

    chmod(path.c_str(), 0640);
    fs::create_symlink(path, folder / "link.jpg");
    user.options.quality = 50;
    ASSERT_EQ(velaEncodeToFile(user.encoder, &image, &user.options, (folder / "link.jpg").c_str()),
              ENC_STATUS_OK);
    EXPECT_TRUE(fs::is_symlink(folder / "link.jpg"));
    EXPECT_EQ(int(fs::status(path).permissions()), 0640);
    const auto kept = read(path);
    EXPECT_EQ(kept.size(), user.encode(image).size());

    // Names of temporary files that are taken already, by links to what is not ours.
    std::ofstream(folder / "others") << "theirs";
    for (int n = 0; n < 2000; n++)
        fs::create_symlink(folder / "others", path.string() + "." + std::to_string(getpid()) + "-" +
                                                  std::to_string(n) + ".tmp");
    ASSERT_EQ(velaEncodeToFile(user.encoder, &image, &user.options, path.c_str()), ENC_STATUS_OK);
    EXPECT_EQ(read(folder / "others").size(), 6u);
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().extension() == ".tmp")
            fs::remove(entry.path());
    fs::remove(folder / "others");

    const VelaImage broken = picture.imageByRows(3);
    EXPECT_EQ(velaEncodeToFile(user.encoder, &broken, &user.options, path.c_str()),
              VELA_STATUS_READ);
    EXPECT_TRUE(read(path) == kept);
    EXPECT_EQ(count(), 2);
    const auto refused = [&](const fs::path& target, const char* word) {
        EXPECT_EQ(velaEncodeToFile(user.encoder, &image, &user.options, target.c_str()),
                  VELA_STATUS_WRITE);
        EXPECT_NE(std::strstr(velaErrorText(user.encoder), word), nullptr)
            << velaErrorText(user.encoder);
    };
    refused(folder / "none" / "x.jpg", "No such file");
    refused(folder, "directory");
    refused("/dev/full", "No space");
    EXPECT_EQ(count(), 2);

    const auto readOnly =
        [&] { // a name that may be taken by another file, of a file that may not be written
            if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
                std::exit(9);
            std::exit(velaEncodeToFile(user.encoder, &image, &user.options, path.c_str()) & 0xFF);
        };
    chmod(folder.c_str(), 0777);
    chmod(path.c_str(), 0444);
    EXPECT_EXIT(readOnly(), testing::ExitedWithCode(VELA_STATUS_WRITE & 0xFF), "");
    EXPECT_TRUE(read(path) == kept);
    fs::remove_all(folder);
}

TEST(EasyContract, SignalsCutNoFileShort) {
    // Fault: a write, or the opening of a pipe that nobody reads yet, that a signal ends.
    const fs::path folder = newFolder();
    const auto path = folder / "pipe.jpg";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EasyPicture picture(VELA_FORMAT_RGB24, 700, 700);
    const VelaImage image = picture.image();
    EncoderHolder user;
    user.options.quality = 100;
    const auto expected = user.encode(image);
    ASSERT_GT(expected.size(), 5u << 16); // more than a pipe holds

    struct sigaction counts {
    }, before{};
    static std::atomic<int> signals;
    counts.sa_handler = [](int) { signals++; };
    ASSERT_EQ(sigaction(SIGUSR1, &counts, &before), 0);
    int32_t status = ENC_STATUS_ERR;
    std::atomic<bool> done = false;
    std::thread writer([&] {
        status = velaEncodeToFile(user.encoder, &image, &user.options, path.c_str());
        done = true;
    });
    const auto interrupt = [&] { // so often that the writer stands in its call again each time
        for (int i = 0; i < 5 && !done; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            pthread_kill(writer.native_handle(), SIGUSR1);
        }
    };
    interrupt();
    std::vector<char> got, part(1 << 16);
    std::ifstream in(path, std::ios::binary);
    while (in.read(part.data(), std::ssize(part)), in.gcount() > 0) {
        got.insert(got.end(), part.begin(), part.begin() + in.gcount());
        interrupt();
    }
    writer.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(status, ENC_STATUS_OK) << velaErrorText(user.encoder);
    EXPECT_GT(signals, 5);
    EXPECT_TRUE(sameBytes(std::vector<char>(expected.begin(), expected.end()), got));
    fs::remove_all(folder);
}

} // namespace
