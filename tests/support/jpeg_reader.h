// What libjpeg reads in a stream; its warnings are failures.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace test {

using Block = std::array<int16_t, 64>; // natural order

struct Component {
    int h;
    int v;
    int blocksAcross; // of the whole MCU grid
    int blocksDown;
    std::vector<Block> blocks;
    std::array<uint16_t, 64> quantizers; // natural order

    bool operator==(const Component&) const = default;
};

struct DecodedJpeg {
    std::string error; // empty if all went well
    int width;
    int height;
    bool progressive;
    unsigned restartInterval;
    std::vector<Component> components;

    bool operator==(const DecodedJpeg&) const = default;
};

DecodedJpeg readCoefficients(const std::vector<uint8_t>& jpeg);

} // namespace test
