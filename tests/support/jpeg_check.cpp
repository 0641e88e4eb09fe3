#include "support/jpeg_check.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

namespace test {
namespace {

std::string describe(const std::vector<uint8_t>& jpeg, const std::string& what) {
    uint64_t sum = 0xCBF29CE484222325; // FNV-1a
    for (const uint8_t byte : jpeg)
        sum = (sum ^ byte) * 0x100000001B3;
    char text[64];
    std::snprintf(text, sizeof text, "%016" PRIx64 " %zu ", sum, jpeg.size());
    return text + what;
}

/// The file of the test that runs, from its start on.
std::fstream& sumsOfTest(std::ios::openmode mode) {
    static std::fstream file;
    static const testing::TestInfo* owner = nullptr;
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    if (owner != test) {
        owner = test;
        std::string name = std::string(test->test_suite_name()) + "." + test->name();
        std::replace(name.begin(), name.end(), '/', '.');
        file.close();
        file.open(VELA_TEST_SUMS "/" + name, mode);
        EXPECT_TRUE(file.is_open()) << VELA_TEST_SUMS "/" << name;
    }
    return file;
}

} // namespace

#ifdef VELA_TEST_LIBJPEG

void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check) {
    const DecodedJpeg decoded = readCoefficients(jpeg);
    ASSERT_EQ(decoded.error, "") << what;
    check(decoded);
    if (!testing::Test::HasFailure())
        sumsOfTest(std::ios::out) << describe(jpeg, what) << '\n';
}

#else

void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>&) {
    std::string expected;
    std::getline(sumsOfTest(std::ios::in), expected);
    ASSERT_EQ(describe(jpeg, what), expected);
}

#endif

} // namespace test
