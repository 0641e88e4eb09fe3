// Every callback and every allocation of the easy layer failing at every call: the status and its words, what is
// called afterwards, the memory, the file that was there, and the next picture of the same encoder.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include <gtest/gtest.h>

#include "easy/easy_picture.h"
#include "support/failing_memory.h"
#include "support/fault_count.h"

namespace {

using namespace test;
namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;
using Encoder = std::unique_ptr<VelaEncoder, decltype(&velaEncoderDelete)>;

Encoder newEncoder() {
    return Encoder(velaEncoderNew(), &velaEncoderDelete);
}

/// Takes bytes, and fails at the n-th call (from 1; 0: never). Its room is made before memory is refused.
struct Taken {
    explicit Taken(int n = 0) : failsAt(n) { bytes.reserve(1 << 20); }

    static int write(void* context, const void* from, size_t count) {
        auto& self = *static_cast<Taken*>(context);
        if (++self.calls == self.failsAt)
            return -1;
        const auto* const first = static_cast<const uint8_t*>(from);
        self.bytes.insert(self.bytes.end(), first, first + count);
        return 0;
    }

    int failsAt, calls = 0;
    Bytes bytes;
};

/// A picture of some format, the way that it comes, and the options that go with it.
struct Job {
    explicit Job(size_t i)
        : picture(kEasyFormats[i], kSizes[i % 4][0], kSizes[i % 4][1], uint32_t(i),
                  int(i % 3) * 5 - 5),
          byRows(i % 3 == 1) {
        velaOptionsInit(&options);
        options.quality = 97;
        options.threads = i % 4 == 3 ? 3 : 1;
        options.progressive = i % 4 == 1 ? 1 : 0;
        options.restartRows = i % 5 == 0 ? 2 : -1;
        options.orientation = i % 2 == 0 ? 6 : 0;
        options.comment = i % 2 == 0 ? "a comment" : nullptr;
        if (i % 5 == 2 && !byRows)
            options.maxBytes = 9000;
        range = i % 4 == 2 ? VELA_RANGE_LIMITED : VELA_RANGE_FULL;
    }

    VelaImage image(int failingRead = 0) {
        VelaImage from = byRows ? picture.imageByRows(failingRead) : picture.image();
        from.range = range;
        return from;
    }
    int32_t encode(VelaEncoder* encoder, Taken& taken, int failingRead = 0) {
        const VelaImage from = image(failingRead);
        return velaEncode(encoder, &from, &options, Taken::write, &taken);
    }
    Bytes whole(VelaEncoder* encoder) {
        Taken taken;
        EXPECT_EQ(encode(encoder, taken), ENC_STATUS_OK) << velaErrorText(encoder);
        EXPECT_STREQ(velaErrorText(encoder), "");
        return taken.bytes;
    }

    static constexpr int kSizes[4][2] = {{133, 140}, {64, 164}, {230, 47}, {37, 300}};
    EasyPicture picture;
    bool byRows;
    VelaRange range;
    VelaOptions options;
};

/// Does body(job, stream) for every format.
template <class Body>
void forEveryFormat(const Body& body) {
    for (size_t i = 0; i < std::size(kEasyFormats); i++) {
        SCOPED_TRACE(testing::Message() << "format " << kEasyFormats[i]);
        Job job(i);
        ASSERT_NO_FATAL_FAILURE(body(job, job.whole(newEncoder().get())));
    }
}

/// A call has failed: its words are there, what was written is the stream's beginning, and the encoder is good
/// for the next picture.
void expectFailed(Job& job, VelaEncoder* encoder, const Bytes& jpeg, const Bytes& written) {
    test::faultsInjected++;
    EXPECT_STRNE(velaErrorText(encoder), "");
    EXPECT_EQ(velaQualityUsed(encoder), -1);
    EXPECT_TRUE(written.size() < jpeg.size() &&
                std::equal(written.begin(), written.end(), jpeg.begin()));
    ASSERT_TRUE(job.whole(encoder) == jpeg);
}

TEST(EasyFailures, EveryWrite) {
    // Fault: a status that is lost, a write after the failure, a thread that goes on, an encoder that is of no
    // use afterwards.
    forEveryFormat([](Job& job, const Bytes& jpeg) {
        const Encoder encoder = newEncoder();
        for (int n = 1;; n++) {
            Taken taken(n);
            const int32_t status = job.encode(encoder.get(), taken);
            if (taken.calls < n) {
                EXPECT_EQ(status, ENC_STATUS_OK);
                EXPECT_GT(n, 1);
                return;
            }
            ASSERT_EQ(status, VELA_STATUS_WRITE) << n;
            ASSERT_EQ(taken.calls, n);
            ASSERT_NO_FATAL_FAILURE(expectFailed(job, encoder.get(), jpeg, taken.bytes)) << n;
        }
    });
}

TEST(EasyFailures, EveryRead) {
    // Fault: the same for rows; a stream that is made of what the last picture has left.
    forEveryFormat([](Job& job, const Bytes& jpeg) {
        const Encoder encoder = newEncoder();
        for (int n = 1; job.byRows; n++) {
            Taken taken;
            const int32_t status = job.encode(encoder.get(), taken, n);
            if (job.picture.calls() < n) {
                EXPECT_EQ(status, ENC_STATUS_OK);
                EXPECT_GT(n, 1);
                return;
            }
            ASSERT_EQ(status, VELA_STATUS_READ) << n;
            ASSERT_EQ(job.picture.calls(), n);
            ASSERT_NO_FATAL_FAILURE(expectFailed(job, encoder.get(), jpeg, taken.bytes)) << n;
        }
    });
}

TEST(EasyFailures, EveryAllocation) {
    // Fault: an exception that leaves the library, a leak, a failure that is passed over, an encoder that is of no
    // use afterwards.
    forEveryFormat([](Job& job, const Bytes& jpeg) {
        int refusals = 0, growths = 0;
        for (const bool forGood : {false, true})
            for (int n = 1;; n++) {
                Taken taken;
                const int before = blocksInUse();
                VelaEncoder* encoder;
                int32_t status = ENC_STATUS_NOMEM;
                bool happened;
                {
                    const RefusedAllocation refused(n, forGood);
                    encoder = velaEncoderNew();
                    if (encoder != nullptr)
                        status = job.encode(encoder, taken);
                    happened = RefusedAllocation::happened();
                }
                // A growth that is refused tries a smaller one; threads do without each other.
                if (status == ENC_STATUS_OK) {
                    ASSERT_TRUE(!happened || !forGood || job.options.threads > 1) << n;
                    ASSERT_TRUE(taken.bytes == jpeg) << n;
                    growths += happened ? 1 : 0;
                } else {
                    ASSERT_EQ(status, ENC_STATUS_NOMEM) << n;
                    refusals++;
                    if (encoder != nullptr) {
                        ASSERT_NO_FATAL_FAILURE(expectFailed(job, encoder, jpeg, taken.bytes)) << n;
                    }
                }
                velaEncoderDelete(encoder);
                ASSERT_EQ(blocksInUse(), before) << n;
                if (!happened)
                    break;
            }
        EXPECT_GT(refusals, 10);
        EXPECT_TRUE(growths > 0 || job.options.progressive == 0);
    });
}

TEST(EasyFailures, EveryAllocationWhileAFileIsReplaced) {
    // Fault: a target that is lost, a temporary file that stays, somebody else's file taken away.
    std::string name = fs::temp_directory_path() / "velaXXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    const fs::path folder = name;
    const std::string link = folder / "a link with a name that needs memory.jpg";
    const fs::path target = folder / "the file that has its name from it.jpg";
    fs::create_symlink(target, link);
    Job job(1);
    for (const bool forGood : {false, true})
        for (int n = 1;; n++) {
            const Encoder encoder = newEncoder();
            std::ofstream(target) << "old";
            const VelaImage image = job.image();
            int32_t status;
            bool happened;
            {
                const RefusedAllocation refused(n, forGood);
                status = velaEncodeToFile(encoder.get(), &image, &job.options, link.c_str());
                happened = RefusedAllocation::happened();
            }
            ASSERT_TRUE(status == ENC_STATUS_OK ? !happened || !forGood
                                                : status == ENC_STATUS_NOMEM)
                << n;
            ASSERT_EQ(status != ENC_STATUS_OK, fs::file_size(target) == 3) << n;
            ASSERT_EQ(std::distance(fs::directory_iterator(folder), {}), 2) << n;
            if (!happened)
                break;
        }
    fs::remove_all(folder);
}

} // namespace
