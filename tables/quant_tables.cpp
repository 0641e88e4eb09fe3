#include "tables/quant_tables.h"

#include <algorithm>

#include "state/dct_scale.h"
#include "stream/markers.h"
#include "tables/default_tables.h"

namespace vela {
namespace {

// Numerators of the reciprocals, n(u, v) of state/dct_scale.h; row = vertical, column = horizontal
// frequency. Four entries differ by 1 from the rounded formula; these are the values that define the
// stream.
constexpr uint16_t kForwardNumerators[64] = {
    16384, 11812, 12541, 13933, 16384, 20853, 30274, 29692, //
    11812, 8516,  9041,  10045, 11812, 15034, 21826, 21407, //
    12541, 9041,  9598,  10664, 12541, 15960, 23170, 22725, //
    13933, 10045, 10664, 11850, 13933, 17734, 25746, 25251, //
    8192,  5906,  6270,  6967,  8192,  5213,  7568,  7423,  //
    10426, 7517,  7980,  8867,  10426, 6635,  9633,  9448,  //
    15137, 10913, 11585, 12873, 15137, 9633,  13985, 13716, //
    29692, 21407, 22725, 25251, 29692, 18895, 27432, 26905, //
};

constexpr int32_t preScale(int32_t row, int32_t column) {
    return 1 << kPreScaleShift.of[8 * column + row];
}

/// Entries that are not n(u, v) to nearest; 64 if one differs by more than 1.
consteval int32_t entriesOffByOne() {
    int32_t count = 0;
    for (int32_t i = 0; i < 64; i++) {
        const int32_t row = i / 8, column = i % 8;
        const double n =
            16384 / (transformScale(column) * transformScale(row) * preScale(row, column));
        const int32_t difference = kForwardNumerators[i] - static_cast<int32_t>(n + 0.5);
        if (difference < -1 || difference > 1)
            return 64;
        count += difference != 0 ? 1 : 0;
    }
    return count;
}
static_assert(entriesOffByOne() == 4);

/// Inverse multipliers: the numerators without the power of two that the forward transform applies, with
/// 3 bits more.
constexpr Table<uint32_t, 64> kInverseMultipliers = makeTable<uint32_t, 64>(
    [](int32_t i) { return 8 * preScale(i / 8, i % 8) * kForwardNumerators[i]; });
static_assert(kInverseMultipliers.of[0] == 131072 && kInverseMultipliers.of[63] == 1721920);

Status buildAndWrite(int32_t tableId, const int16_t* base, Bitstream_JPEG* stream,
                     EncoderState_JPEG* state) {
    uint8_t* const quantizers = state->quantTables + kBlockSamples * tableId;
    czBuildEnQuantTable(state->qualityFactor, base, quantizers);
    veliDCTQuantFwdTableInit_JPEGENC_8u16u(quantizers,
                                           state->dctQuantTables + kBlockSamples * tableId);
    return velaWrite_DQT_JPEG(static_cast<uint32_t>(tableId), state->precision, quantizers, stream,
                              state->flush, state->flushContext);
}

} // namespace

Status velaBuildEncodeQuantTables_JPEG(int32_t componentCount, const int16_t* custom,
                                       Bitstream_JPEG* stream, EncoderState_JPEG* state) {
    const int16_t* const luma = custom != nullptr ? custom : _DefLumQuantTable_JPEGENC;
    const int16_t* const chroma =
        custom != nullptr ? custom + kBlockSamples : _DefChromQuantTable_JPEGENC;

    const Status status = buildAndWrite(0, luma, stream, state);
    if (status != ENC_STATUS_OK || componentCount <= 1)
        return status;
    return buildAndWrite(1, chroma, stream, state);
}

} // namespace vela

int32_t velaCalcQuantQualityFactor_JPEG(int32_t quality) {
    if (quality <= 0)
        return 6400;
    if (quality > 100)
        return 0;
    // The order of the two divisions is part of the result.
    return quality < 50 ? 5000 / quality * 128 / 100 : (100 - quality) * 256 / 100;
}

int32_t czBuildEnQuantTable(int32_t scale, const int16_t base[64], uint8_t out[64]) {
    for (int32_t i = 0; i < vela::kBlockSamples; i++)
        out[i] = static_cast<uint8_t>(std::clamp<int32_t>((scale * base[i] + 64) >> 7, 1, 255));
    return ENC_STATUS_OK;
}

int32_t veliDCTQuantFwdTableInit_JPEGENC_8u16u(const uint8_t q[64], uint16_t out[64]) {
    for (int32_t row = 0; row < 8; row++) {
        for (int32_t column = 0; column < 8; column++) {
            const uint32_t quantizer = q[8 * row + column];
            const uint32_t numerator = vela::kForwardNumerators[8 * row + column];
            out[8 * column + row] = static_cast<uint16_t>((numerator + quantizer / 2) / quantizer);
        }
    }
    return ENC_STATUS_OK;
}

int32_t veliDCTQuantInvTableInit_JPEGENC_8u16u(const uint8_t q[64], uint32_t out[64]) {
    for (int32_t i = 0; i < vela::kBlockSamples; i++)
        out[i] = q[i] * vela::kInverseMultipliers.of[i];
    return ENC_STATUS_OK;
}
