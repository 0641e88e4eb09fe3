// The scan script, and what becomes of the scan buffers of whole pictures.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "progressive/scan_script.h"
#include "state/encoder_state.h"
#include "state/zigzag.h"
#include "support/differences.h"
#include "support/host.h"
#include "support/jpeg_check.h"
#include "support/textbook.h"
#include "tables/default_tables.h"

namespace {

using namespace vela;
using Bytes = std::vector<uint8_t>;

/// The markers of a stream with their segments, entropy-coded data left out.
struct Segment {
    uint8_t marker;
    Bytes body;
};
std::vector<Segment> segments(const Bytes& jpeg) {
    std::vector<Segment> found;
    for (size_t i = 0; i + 1 < jpeg.size(); i++) {
        const uint8_t marker = jpeg[i + 1];
        if (jpeg[i] != 0xFF || marker == 0 || (marker >= 0xD0 && marker <= 0xD8))
            continue;
        Segment segment{marker, {}};
        if (marker != 0xD9) {
            const size_t length = 256u * jpeg[i + 2] + jpeg[i + 3];
            segment.body.assign(jpeg.begin() + static_cast<ptrdiff_t>(i + 4),
                                jpeg.begin() + static_cast<ptrdiff_t>(i + 2 + length));
            i += 1 + length;
        }
        found.push_back(segment);
    }
    return found;
}

TEST(ScanScript, OrderTablesAndParameters) {
    // Fault: a wrong table selector, band or approximation, a table that a scan does not use.
    const auto outline = [](const test::Format& format) {
        const test::TestPicture picture(format, 50, 40, test::Content::noise, 3);
        std::vector<std::pair<int, Bytes>> lines;
        for (const Segment& s : segments(encodeWhole(
                 test::params(format, 75, 0, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE),
                 picture))) {
            if (s.marker == 0xC4)
                lines.emplace_back(s.marker, Bytes{s.body[0]}); // class and number
            else if (s.marker >= 0xC0 && s.marker != 0xDB && s.marker != 0xE0)
                lines.emplace_back(s.marker, s.marker == 0xDA ? s.body : Bytes{});
        }
        return lines;
    };
    const Bytes dcFirst = {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 0, 0x01};
    const Bytes dcRefine = {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 0, 0x10};
    const auto ac = [](uint8_t component, uint8_t approximation) {
        const uint8_t tables = component == 1 ? 0x00 : 0x11;
        return std::pair<int, Bytes>{0xDA, {1, component, tables, 1, 63, approximation}};
    };
    const auto dht = [](uint8_t table) { return std::pair<int, Bytes>{0xC4, {table}}; };
    EXPECT_EQ(outline(test::kFormats[11]), (std::vector<std::pair<int, Bytes>>{{0xC2, {}},
                                                                               dht(0x00),
                                                                               dht(0x01),
                                                                               {0xDA, dcFirst},
                                                                               dht(0x10),
                                                                               ac(1, 0x01),
                                                                               dht(0x11),
                                                                               ac(2, 0x01),
                                                                               dht(0x11),
                                                                               ac(3, 0x01),
                                                                               {0xDA, dcRefine},
                                                                               dht(0x10),
                                                                               ac(1, 0x10),
                                                                               dht(0x11),
                                                                               ac(2, 0x10),
                                                                               dht(0x11),
                                                                               ac(3, 0x10),
                                                                               {0xD9, {}}}));
    EXPECT_EQ(outline(test::kFormats[12]),
              (std::vector<std::pair<int, Bytes>>{{0xC2, {}},
                                                  dht(0x00),
                                                  {0xDA, {1, 1, 0x00, 0, 0, 0x01}},
                                                  dht(0x10),
                                                  ac(1, 0x01),
                                                  {0xDA, {1, 1, 0x00, 0, 0, 0x10}},
                                                  dht(0x10),
                                                  ac(1, 0x10),
                                                  {0xD9, {}}}));
}

/// A block whose quantized coefficients, at quality 50, are 0 or 1 above 2 as the bits say, in zigzag
/// order from the first AC coefficient on.
test::TestPicture pictureOf(const std::vector<int>& bits) {
    test::TestPicture picture(test::kFormats[12], 8, 8, test::Content::flat, 1);
    uint8_t* const pixels = picture.record().plane[0];
    for (int i = 0; i < 64; i++) {
        double sample = 128;
        for (size_t k = 0; k < bits.size(); k++) {
            const uint8_t place = kZigzag[k + 1];
            sample += (2 + bits[k]) * _DefLumQuantTable_JPEGENC[place] *
                      test::basis(place % 8, i % 8) * test::basis(place / 8, i / 8);
        }
        pixels[i] = static_cast<uint8_t>(std::lround(sample));
    }
    return picture;
}

TEST(ScanBuffersOfAPicture, CorrectionBitsThatLookLikeAMarkerStay) {
    // Fault: bytes of a last record that are taken for a restart marker and taken back. The refinement
    // scan ends with sixteen correction bits that read 0xFF 0xD5.
    const test::TestPicture picture = pictureOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 0, 1, 0, 1});
    const EncoderParams_JPEG p =
        test::params(picture.format(), 50, 50, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE);
    test::Host host;
    uint8_t output[2048];
    Bitstream_JPEG stream{output, sizeof output, nullptr, 0};
    const Picture_JPEG record = picture.record();
    const CallbackTable_JPEG callbacks = host.callbacks();
    EncoderState_JPEG* state = nullptr;
    ASSERT_EQ(EncoderInitAlloc_JPEG(&p, &record, &stream, &callbacks, &state), 0);
    ASSERT_EQ(Encode_JPEG(nullptr, &stream, state), 0);
    const uint8_t* const end = state->scanBuffer[3].cursor; // AC refinement
    ASSERT_EQ(Bytes(end - 4, end), (Bytes{0xFE, 16, 0xFF, 0xD5}));
    std::array<int16_t, 64> block;
    for (size_t i = 0; i < 64; i++)
        block[i] = state->blockSpec.blockSamples[0][8 * (i % 8) + i / 8];
    test::expectReads(Bytes(stream.start, stream.cursor), test::describe(picture),
                      [&](const test::DecodedJpeg& decoded) {
                          EXPECT_TRUE(test::sameBlocks(block, decoded.components[0].blocks[0]));
                      });
    EncoderFree_JPEG(&state);
}

TEST(ScanScript, EndsAfterItsLastScan) {
    // Fault: a scan that is read behind the script's rows.
    for (const auto& [format, scans] :
         {std::pair(test::kFormats[12], 4), {test::kFormats[11], 8}}) {
        const test::TestPicture picture(format, 20, 20, test::Content::flat, 1);
        const EncoderParams_JPEG p =
            test::params(format, 50, 0, ENC_BUFFER_INTEGRATED, ENC_MODE_PROGRESSIVE);
        test::Host host;
        uint8_t output[2048];
        Bitstream_JPEG stream{output, sizeof output, nullptr, 0};
        const Picture_JPEG record = picture.record();
        const CallbackTable_JPEG callbacks = host.callbacks();
        EncoderState_JPEG* state = nullptr;
        ASSERT_EQ(EncoderInitAlloc_JPEG(&p, &record, &stream, &callbacks, &state), 0);
        int taken = 0;
        while (taken < 20 && velaInitScanParam_P_JPEG(state) != ENC_STATUS_ERR)
            taken++;
        EXPECT_EQ(taken, scans);
        EncoderFree_JPEG(&state);
    }
}

} // namespace
