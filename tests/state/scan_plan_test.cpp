// The scan plan: which scripts are progressions.
#include <algorithm>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "state/scan_plan.h"

namespace {

using namespace vela;
using Script = std::vector<ScanRow>;

Script colour() {
    return {std::begin(kColorScans), std::end(kColorScans)};
}

Script grey() {
    return {std::begin(kGrayScans), std::end(kGrayScans)};
}

bool isProgression(const Script& script, int32_t components) {
    return vela::isProgression(script.data(), static_cast<int32_t>(script.size()), components);
}

TEST(ScanPlan, OrdersOfTheGreyScript) {
    // Fault: an order that sends AC before DC, or a bit before the ones above it, or a legal one refused.
    Script script = grey();
    enum { dcFirst, acFirst, dcRefine, acRefine };
    int order[] = {dcFirst, acFirst, dcRefine, acRefine};
    int legal = 0;
    do {
        for (size_t i = 0; i < 4; i++)
            script[i] = kGrayScans[order[i]];
        const auto at = [&](int scan) { return std::find(order, order + 4, scan); };
        const bool expected = order[0] == dcFirst && at(acFirst) < at(acRefine);
        EXPECT_EQ(isProgression(script, 1), expected)
            << order[0] << order[1] << order[2] << order[3];
        legal += expected ? 1 : 0;
    } while (std::next_permutation(order, order + 4));
    EXPECT_EQ(legal, 3);
}

TEST(ScanPlan, WhatIsNoProgression) {
    // Fault: a coefficient that is never sent, or not to its last bit, or twice; a scan T.81 does not know.
    for (size_t missing = 0; missing < 8; missing++) {
        Script script = colour();
        script.erase(script.begin() + static_cast<ptrdiff_t>(missing));
        EXPECT_FALSE(isProgression(script, 3)) << missing;
    }
    Script twice = colour();
    twice.push_back(twice.back());
    EXPECT_FALSE(isProgression(twice, 3));

    const auto changed = [](auto change) {
        Script script = grey();
        change(script);
        return isProgression(script, 1);
    };
    EXPECT_FALSE(changed([](Script& s) { s[1].Se = 62; }));
    EXPECT_FALSE(changed([](Script& s) { s[1].Ss = 0; }));
    EXPECT_FALSE(changed([](Script& s) { s[1].component = 1; }));
    EXPECT_FALSE(changed([](Script& s) { s[1].component = kAllComponents; }));
    EXPECT_FALSE(changed([](Script& s) { s[1].Al = 2; }));
    EXPECT_FALSE(changed([](Script& s) { s[3].Ah = 2; }));
    EXPECT_FALSE(changed([](Script& s) { s[3].Al = 14; }));
    EXPECT_FALSE(changed([](Script& s) { s[0].Se = 1; }));
    EXPECT_FALSE(changed([](Script& s) { std::swap(s[0].kind, s[2].kind); }));
}

TEST(ScanPlan, OtherBandsAndBits) {
    // Fault: spectral selection or further bits refused.
    Script script = grey();
    script[1].Se = 5; // 1..5 to its last bit but one, then 6..63 with all bits at once
    script[3].Se = 5;
    script.push_back({ScanKind::acFirst, 0, 6, 63, 0, 0, 8, 1024});
    EXPECT_TRUE(isProgression(script, 1));
    script[1].Al = 2;
    EXPECT_FALSE(isProgression(script, 1));
    script.insert(script.begin() + 2, {ScanKind::acRefine, 0, 1, 5, 2, 1, 8, 1024});
    EXPECT_TRUE(isProgression(script, 1));
    std::swap(script[2], script[4]);
    EXPECT_FALSE(isProgression(script, 1));
}

} // namespace
