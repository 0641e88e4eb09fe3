// Transparent pixels on a background.
#ifndef VELA_CLI_INPUT_BLEND_H
#define VELA_CLI_INPUT_BLEND_H

#include <cstdint>

namespace cli {

/// A sample with its alpha, both 0 to most (at most 65535), over a background of 0 to 255: of the values as
/// they are coded, as browsers do it, rounded to nearest.
inline uint8_t blend(uint32_t sample, uint32_t alpha, uint32_t most, uint8_t ground) {
    const uint64_t whole = uint64_t(most) * most;
    const uint64_t sum = uint64_t(sample) * alpha * 255 + uint64_t(most - alpha) * most * ground;
    return uint8_t((sum + whole / 2) / whole);
}

} // namespace cli

#endif
