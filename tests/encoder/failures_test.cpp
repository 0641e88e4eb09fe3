// Every callback of the core failing at every call, and output buffers of every size: the status, what is called
// afterwards, the memory, and the bytes that had been handed over by then.
#include <algorithm>
#include <climits>
#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "encoder/routine_choice.h"
#include "support/fault_count.h"
#include "support/host.h"

namespace {

using namespace test;

constexpr uint32_t kModes[] = {ENC_MODE_BASELINE, ENC_MODE_PROGRESSIVE};
constexpr uint32_t kBufferModes[] = {ENC_BUFFER_INTEGRATED, ENC_BUFFER_SLICE};

/// What to encode, and how the host goes about it.
struct Job {
    TestPicture picture;
    EncoderParams_JPEG params;
    std::function<void(Host&)> prepare;

    std::string name() const {
        return describe(picture) +
               (params.mode == ENC_MODE_BASELINE ? " baseline" : " progressive") +
               (params.bufferMode == ENC_BUFFER_SLICE ? ", slices" : ", whole") + ", restart " +
               std::to_string(params.restartInterval);
    }
};

struct Encoding {
    explicit Encoding(const Job& job, const Faults& faults = {}, int32_t outputBytes = 0) {
        job.prepare(host);
        host.faults = faults;
        if (outputBytes != 0)
            host.outputBytes = outputBytes;
        result = host.encode(job.params, job.picture);
    }

    Host host;
    Result result;
};

bool isPrefix(const std::vector<uint8_t>& part, const std::vector<uint8_t>& jpeg) {
    return part.size() <= jpeg.size() && std::equal(part.begin(), part.end(), jpeg.begin());
}

/// The calls before the n-th of a kind are those of the run without a failure, and behind it everything is given
/// back and nothing else is called: that it would fail again, or that it would not, makes no difference.
testing::AssertionResult endsWithCall(const Encoding& failed, const Encoding& whole,
                                      const std::vector<uint8_t>& jpeg, Call::Kind kind, int n) {
    const std::vector<Call>& calls = failed.host.calls;
    size_t at = 0;
    for (int left = n; at < calls.size(); at++)
        if (calls[at].kind == kind && --left == 0)
            break;
    if (at == calls.size())
        return testing::AssertionFailure() << "no such call";
    for (size_t i = 0; i < at; i++)
        if (calls[i] != whole.host.calls[i])
            return testing::AssertionFailure() << firstDifference(calls, whole.host.calls);
    for (size_t i = at + 1; i < calls.size(); i++)
        if (calls[i].kind != Call::release)
            return testing::AssertionFailure()
                   << "call " << i << " comes after call " << at << ", which failed";
    if (!failed.host.faultless())
        return testing::AssertionFailure()
               << "memory, canaries, or a callback called otherwise than promised";
    if (!isPrefix(failed.host.flushed(), jpeg))
        return testing::AssertionFailure() << "flush has had other bytes than the stream's";
    return testing::AssertionSuccess();
}

/// Fails the n-th call for every n until none fails any more: the last ones, as many as are free, do no harm.
/// Returns how many did.
int failEvery(const Job& job, int Faults::*fault, Call::Kind kind, int32_t status,
              Faults faults = {}, int free = 0) {
    const Encoding whole(job);
    EXPECT_EQ(whole.result.status, ENC_STATUS_OK);
    const auto calls = std::count_if(whole.host.calls.begin(), whole.host.calls.end(),
                                     [kind](const Call& call) { return call.kind == kind; });
    for (int n = 1;; n++) {
        faults.*fault = n;
        const Encoding failed(job, faults);
        if (failed.result.status == ENC_STATUS_OK) {
            EXPECT_EQ(n - 1, calls - free) << "the failure of call " << n << " is passed over";
            EXPECT_TRUE(failed.host.faultless());
            return n - 1;
        }
        faultsInjected++;
        EXPECT_EQ(failed.result.status, status) << "call " << n;
        EXPECT_TRUE(endsWithCall(failed, whole, whole.result.jpeg, kind, n)) << "call " << n;
        if (testing::Test::HasFailure())
            return n;
    }
}

/// Every format in both modes and both buffer modes; sizes, restart intervals, contents, instruction sets and
/// the ways of read go round.
std::vector<Job> jobs() {
    std::vector<Job> all;
    constexpr std::pair<int, int> kSizes[] = {{35, 37}, {16, 48}, {53, 17}, {64, 33}, {9, 50}};
    constexpr uint32_t kRestarts[] = {0, 1, 2, 5};
    constexpr Read kReads[] = {Read::copies, Read::points, Read::byTurns};
    std::vector<const vela::RoutineTable*> sets;
    for (const vela::RoutineTable* const set : vela::routineTables())
        if (vela::canRun(*set))
            sets.push_back(set);
    for (const Format& format : kFormats)
        for (const uint32_t mode : kModes)
            for (const uint32_t bufferMode : kBufferModes) {
                const size_t i = all.size();
                const auto [width, height] = kSizes[i % 5];
                const bool bottomUp = format.planes() == 1 && i % 3 == 0;
                all.push_back(
                    {TestPicture(format, width, height,
                                 i % 7 == 0 ? Content::extremes : Content::noise,
                                 static_cast<uint32_t>(i), static_cast<int>(i % 4), bottomUp),
                     params(format, 95, kRestarts[i / 4 % 4], bufferMode, mode),
                     [i, sets, read = kReads[i % 3]](Host& host) {
                         host.outputBytes = 1000;
                         host.readBehaviour = read;
                         host.routines = sets[i % sets.size()];
                     }});
            }
    return all;
}

TEST(FailingCallbacks, EveryAllocation) {
    // Fault: memory used that was refused, a leak after it.
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name());
        ASSERT_GE(failEvery(job, &Faults::allocate, Call::allocate, ENC_STATUS_NOMEM), 2);
    }
}

TEST(FailingCallbacks, EveryGrowth) {
    // Fault: a scan buffer lost or released twice once it could not grow.
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name());
        const int growths = failEvery(job, &Faults::grow, Call::grow, ENC_STATUS_NOMEM);
        ASSERT_EQ(growths > 0, job.params.mode == ENC_MODE_PROGRESSIVE);
    }
}

TEST(FailingCallbacks, EveryFlush) {
    // Fault: a status dropped, a stream called complete that lacks bytes; an answer that is believed.
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name());
        for (const Flush gives : {Flush::takesNothing, Flush::negative, Flush::tooMuch}) {
            Faults faults;
            faults.flushGives = gives;
            ASSERT_GE(failEvery(job, &Faults::flush, Call::flush, ENC_STATUS_OUTPUT_FULL, faults),
                      1);
        }
    }
}

TEST(FailingCallbacks, EveryRead) {
    // Fault: rows encoded that the source did not deliver, a null pointer that is followed.
    for (const Job& job : jobs()) {
        if (job.params.bufferMode != ENC_BUFFER_SLICE)
            continue;
        SCOPED_TRACE(job.name());
        // Of a single plane the bottom band's count is not examined where it is not a whole one.
        const bool lastIsFree = job.picture.format().planes() == 1 &&
                                job.picture.height() % job.picture.bandRows(0) != 0;
        for (const int32_t gives : {-1, 1, INT_MIN / 2}) {
            Faults faults;
            faults.readGives = gives;
            failEvery(job, &Faults::read, Call::read, ENC_STATUS_ERR, faults, lastIsFree ? 1 : 0);
        }
        ASSERT_GT(failEvery(job, &Faults::nullRead, Call::read, ENC_STATUS_ERR), 0);
    }
}

/// One picture for every format class, content and mode, small enough for thousands of runs.
std::vector<Job> smallJobs() {
    std::vector<Job> all;
    for (const uint32_t mode : kModes)
        for (const auto& [format, content, restart] :
             {std::tuple(kFormats[11], Content::extremes, 1u),
              {kFormats[2], Content::noise, 0u},
              {kFormats[12], Content::smooth, 1u}}) {
            const uint32_t bufferMode = restart == 0 ? ENC_BUFFER_SLICE : ENC_BUFFER_INTEGRATED;
            const bool large = content == Content::extremes; // MCUs of 700 bytes
            all.push_back({TestPicture(format, large ? 70 : 33, large ? 32 : 17, content, 7),
                           params(format, 100, restart, bufferMode, mode), [](Host&) {}});
        }
    return all;
}

/// Adds the markers before which a run has flushed: they did not fit any more. The byte that they complete, and a
/// 0 that is stuffed, lie between.
void addMarkersAfterFlushes(const Encoding& run, const std::vector<uint8_t>& jpeg,
                            std::set<int>& markers) {
    size_t at = 0;
    for (const Call& call : run.host.calls) {
        if (call.kind != Call::flush)
            continue;
        at += static_cast<size_t>(call.second);
        for (size_t i = at; i < at + 3 && i + 1 < jpeg.size(); i++)
            if (jpeg[i] == 0xFF && jpeg[i + 1] >= 0xC0)
                markers.insert((jpeg[i + 1] & 0xF8) == 0xD0 ? 0xD0 : jpeg[i + 1]);
    }
}

TEST(OutputBuffers, OfEverySizeWithEveryFlushFailing) {
    // Fault: the status of a segment, restart marker, table, block or EOI dropped that a full buffer refuses; a
    // byte written beyond it; a size that fails although it is promised to do.
    std::map<uint32_t, std::set<int>>
        refused; // by mode, the markers that found no room; RST0 for all of its kind
    for (const Job& job : smallJobs()) {
        SCOPED_TRACE(job.name());
        const bool baseline = job.params.mode == ENC_MODE_BASELINE;
        const std::vector<uint8_t> jpeg = encodeWhole(job.params, job.picture);
        for (int32_t bytes = -1; bytes <= 2000; bytes++) {
            const Encoding whole(job, {}, bytes == 0 ? INT_MIN : bytes);
            ASSERT_TRUE(whole.host.faultless()) << bytes;
            const bool good = whole.result.status == ENC_STATUS_OK;
            ASSERT_TRUE(good || whole.result.status == ENC_STATUS_OUTPUT_FULL) << bytes;
            ASSERT_TRUE(good ? whole.result.jpeg == jpeg : isPrefix(whole.host.flushed(), jpeg))
                << bytes;
            addMarkersAfterFlushes(whole, jpeg, refused[job.params.mode]);
            // Baseline wants 768 bytes for whatever comes, progressive never more than 264.
            ASSERT_TRUE(baseline ? good == (bytes >= 768) : good || bytes < 264) << bytes;
            for (int n = 1; n <= whole.host.flushes; n++) {
                Faults faults;
                faults.flush = n;
                const Encoding failed(job, faults, bytes == 0 ? INT_MIN : bytes);
                faultsInjected++;
                ASSERT_EQ(failed.result.status, ENC_STATUS_OUTPUT_FULL) << bytes << ", flush " << n;
                ASSERT_TRUE(endsWithCall(failed, whole, jpeg, Call::flush, n))
                    << bytes << ", flush " << n;
            }
        }
    }
    // The sweep has come to every writer of a marker. RST and EOI of a baseline stream find no room only after an
    // MCU of 766 bytes or more, since 768 are asked for before it.
    EXPECT_EQ(refused[ENC_MODE_BASELINE], (std::set{0xC0, 0xC4, 0xD8, 0xDA, 0xDB, 0xDD, 0xE0}));
    EXPECT_EQ(refused[ENC_MODE_PROGRESSIVE],
              (std::set{0xC2, 0xC4, 0xD0, 0xD8, 0xD9, 0xDA, 0xDB, 0xDD, 0xE0}));
}

} // namespace
