// A whole encoding with two instruction sets: hostile records through set-up; pictures of any format, size and
// layout, of the fuzzer's own bytes, in both modes and buffer modes, with odd answers and failing callbacks. Both
// make the same calls and the same bytes, and what comes out decodes to what went in.
#include <algorithm>

#include "fuzz/input.h"
#include "support/host.h"
#include "support/strict_decoder.h"
#include "support/walk_coefficients.h"
#ifdef VELA_TEST_LIBJPEG
#include "support/jpeg_reader.h"
#endif

namespace {

using namespace test;
using fuzz::Input;
using fuzz::require;

struct Job {
    TestPicture picture;
    EncoderParams_JPEG params;
    int32_t outputBytes;
    Flush flush;
    Read read;
    Faults faults;

    static TestPicture pictureOf(Input& input) {
        const Format format = input.choose(kFormats);
        // Mostly small, since they are fast; now and then thin and up to the longest that there is.
        const uint8_t kind = input.byte();
        const int most = kind % 32 == 0 ? 300 : 40;
        int width = input.integer(1, most), height = input.integer(1, most);
        if (kind % 128 == 1) {
            width = 1 + width % 3;
            height = input.integer(1, 65535);
        } else if (kind % 32 == 2) {
            width = input.integer(1, 700);
        }
        if (kind >= 128)
            std::swap(width, height);
        const int padding = input.integer(0, 40);
        const bool bottomUp = format.planes() == 1 && input.flag();
        const auto seed = input.byte();
        return {format,
                width,
                height,
                input.choose({Content::noise, Content::smooth, Content::flat, Content::extremes}),
                seed,
                padding,
                bottomUp};
    }

    explicit Job(Input& input)
        : picture(pictureOf(input)),
          params(test::params(picture.format(),
                              input.flag() ? 100 : input.integer<uint32_t>(0, 100),
                              input.flag() ? input.integer<uint32_t>(0, 30) : input.any<uint16_t>(),
                              input.flag() ? ENC_BUFFER_SLICE : ENC_BUFFER_INTEGRATED,
                              input.flag() ? ENC_MODE_PROGRESSIVE : ENC_MODE_BASELINE)),
          outputBytes(input.integer(0, 3) == 0 ? input.integer(0, 2000)
                      : input.flag()           ? input.integer(768, 1700)
                                               : input.integer(700, 70000)),
          flush(input.choose({Flush::takesAll, Flush::takesAll, Flush::takesSome, Flush::negative,
                              Flush::tooMuch})),
          read(input.choose({Read::copies, Read::points, Read::byTurns})) {
        if (input.flag())
            faults = {.allocate = input.integer(0, 20),
                      .grow = input.integer(0, 20),
                      .flush = input.integer(0, 20),
                      .read = input.integer(0, 20),
                      .nullRead = input.integer(0, 20)};
        if (!input.empty())
            picture.paint(input.rest());
    }
};

struct Seen {
    Host host;
    Result result;

    Seen(const Job& job, const vela::RoutineTable& routines) {
        host.outputBytes = job.outputBytes;
        host.flushBehaviour = job.flush;
        host.readBehaviour = job.read;
        host.faults = job.faults;
        host.routines = &routines;
        result = host.encode(job.params, job.picture);
        require(host.faultless() && result.status <= 0, "the host was used as promised");
    }
};

/// Good records of which one word or two are another; set-up reads no pixel.
void setUp(Input& input) {
    const Job job(input);
    EncoderParams_JPEG params = job.params;
    Picture_JPEG picture = job.picture.record();
    uint8_t output[2048];
    Bitstream_JPEG stream{output, input.integer<int32_t>(-1, sizeof output), nullptr, 0};
    for (int n = input.integer(0, 2); n > 0; n--) {
        const uint32_t word = input.flag() ? input.integer<uint32_t>(0, 16) : input.any<uint32_t>();
        const auto number = static_cast<int32_t>(word);
        const int p = input.integer(0, 2);
        switch (input.integer(0, 12)) {
        case 0:
            params.quality = word;
            break;
        case 1:
            params.restartInterval = word;
            break;
        case 2:
            params.mode = word;
            break;
        case 3:
            params.subsampling = word;
            break;
        case 4:
            params.bufferMode = word;
            break;
        case 5:
            picture.width = number;
            break;
        case 6:
            picture.height = number;
            break;
        case 7:
            picture.step[p] = number;
            break;
        case 8:
            picture.planeCount = number;
            break;
        case 9:
            picture.componentCount = number;
            break;
        case 10:
            picture.colorFormat = word;
            break;
        case 11:
            picture.plane[p] = nullptr;
            break;
        default:
            stream.start = nullptr;
            break;
        }
    }
    Host host;
    host.faults.allocate = input.integer(0, 12);
    CallbackTable_JPEG callbacks = host.callbacks();
    switch (input.integer(0, 20)) {
    case 0:
        callbacks.flush = nullptr;
        break;
    case 1:
        callbacks.allocate = nullptr;
        break;
    case 2:
        callbacks.release = nullptr;
        break;
    case 3:
        callbacks.grow = nullptr;
        break;
    case 4:
        callbacks.read = nullptr;
        break;
    default:
        break;
    }
    EncoderState_JPEG* state = nullptr;
    const int32_t status = EncoderInitAlloc_JPEG(&params, &picture, &stream, &callbacks, &state);
    require(status <= 0, "a status is 0 or an error");
    require(status != ENC_STATUS_OK || stream.cursor > stream.start, "set-up writes the head");
    EncoderFree_JPEG(&state);
    require(state == nullptr && host.faultless(), "everything is given back");
    char text[100];
    const int32_t length = input.integer<int32_t>(-1, sizeof text);
    require((GetLibVersion_JPEGENC(text, length) == ENC_STATUS_OK) == (length >= 86),
            "the version's text has its room");
}

void encoding(Input& input) {
    const vela::RoutineTable& one = fuzz::anyInstructionSet(input);
    const vela::RoutineTable& other = fuzz::anyInstructionSet(input);
    const Job job(input);
    std::vector<Call> calls;
    Result result;
    {
        const Seen seen(job, one); // one host at a time
        calls = seen.host.calls;
        result = seen.result;
    }
    {
        const Seen seen(job, &other != &one ? other : vela::kPlainRoutines);
        require(seen.result.status == result.status, "every instruction set has the same status");
        require(seen.host.calls == calls, "and makes the same calls");
        require(seen.result.jpeg == result.jpeg, "and the same bytes");
    }
    if (result.status != ENC_STATUS_OK)
        return;
    const DecodedJpeg decoded = decodeStrictly(result.jpeg);
    require(decoded.error.empty(), "the stream has nothing but what the standard allows");
    require(decoded.width == job.picture.width() && decoded.height == job.picture.height(),
            "the picture's size");
    EncoderParams_JPEG whole = job.params;
    whole.bufferMode = ENC_BUFFER_INTEGRATED; // which needs no reads to look at the coefficients
    // A read that brings too little is not noticed at the bottom of a single plane.
    if (job.faults.read == 0)
        require(decoded.components == codedCoefficients(whole, job.picture), "our coefficients");
#ifdef VELA_TEST_LIBJPEG
    constexpr int kLongest = 65500; // that libjpeg takes
    if (decoded.width <= kLongest && decoded.height <= kLongest)
        require(readCoefficients(result.jpeg) == decoded, "libjpeg reads the same");
#endif
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    if (input.byte() % 16 == 0)
        setUp(input);
    else
        encoding(input);
    return 0;
}
